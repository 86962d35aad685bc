/*
 * kyarm/force_sensor.h: the arm's force sensing: six-axis force data, the one-axis force Fz,
 * their zero offsets, clearing them and calibrating the sensor.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_FORCE_SENSOR_H
#define KYARM_FORCE_SENSOR_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ============================================================== Force sensors */
/*
 * Units: forces in newtons (N), torques in newton-metres (Nm). The controller sends them as
 * integers in thousandths; each is divided by 1000.0 in single precision. A six-value vector
 * is [Fx, Fy, Fz, Mx, My, Mz].
 *
 * Results: 0 success (outputs written only then); 1 the controller answered its state key
 * false; -1 unknown handle, send failure, an argument refused, or the arm's joint count not
 * known (logged "[<function>] The robotic arm has been disconnected"); -2 no reply within the
 * wait; -3 unreadable reply (member missing, not an array, array of the wrong length, state
 * key not a boolean).
 *
 * Blocking: queries and clears wait m_nOutTime (500 ms by default). A calibration takes the
 * controller several seconds; with `block` true it waits up to 30000 ms for the controller's
 * end-of-calibration reply, which is always named "set_force_sensor" (also for
 * "auto_set_Fz", "manual_set_Fz" and "manual_set_force_pose4"), and returns its "set_state"
 * (no reply within 30 s: -2). With `block` false the request is sent, the call pauses 10 ms
 * and returns 0 without reading any reply.
 */

/** Six-axis force data: four [Fx, Fy, Fz, Mx, My, Mz] vectors (N, Nm). */
typedef struct {
    float force_data[6];           /**< current force and torque ("force_data") */
    float zero_force_data[6];      /**< zero offset in the sensor frame ("zero_force_data") */
    float work_zero_force_data[6]; /**< zero offset in the work frame ("work_zero_force_data") */
    float tool_zero_force_data[6]; /**< zero offset in the tool frame ("tool_zero_force_data") */
} ky_force_data;

/** One-axis force record: the four floats ky_get_Fz() writes, in the same order (N). */
typedef struct {
    float Fz;           /**< current force along the sensor's z axis ("Fz") */
    float zero_Fz;      /**< zero offset ("zero_Fz") */
    float work_zero_Fz; /**< zero offset in the work frame ("work_zero_Fz") */
    float tool_zero_Fz; /**< zero offset in the tool frame ("tool_zero_Fz") */
} ky_Fz_data;

/** Reads the six-axis force data: {"command":"get_force_data"}, reply "get_force_data" with
 *  the four arrays of six integers. `data` is untouched unless the result is 0; a null `data`
 *  is refused (-1) before anything is sent. */
KY_API int ky_get_force_data(ky_robot_handle *robot_handle, ky_force_data *data);
/** Zeroes the six-axis reading at the present load: {"command":"clear_force_data"}, answered
 *  with "clear_state". */
KY_API int ky_clear_force_data(ky_robot_handle *robot_handle);
/** Starts the automatic six-axis calibration: {"command":"set_force_sensor"}. See above for
 *  `block`. */
KY_API int ky_set_force_sensor(ky_robot_handle *robot_handle, bool block);
/** Manual six-axis calibration from four poses given one call each, in order, `type` 1 to 4:
 *  {"command":"manual_set_force_pose<type>","joint":[...]} with one angle per joint (degrees,
 *  sent in thousandths truncated toward zero; `joint` holds the arm's 6 or 7 values). Types 1
 *  to 3 are never awaited (`block` is ignored): 0 after the 10 ms pause. Type 4 with `block`
 *  true waits up to 30000 ms for "set_force_sensor" and returns its "set_state". A type
 *  outside 1..4 or a null `joint` is refused with -1 and nothing is sent. */
KY_API int ky_manual_set_force(ky_robot_handle *robot_handle, int type, float *joint, bool block);
/** Stops a calibration under way: {"command":"stop_set_force_sensor"}, answered with
 *  "stop_state". */
KY_API int ky_stop_set_force_sensor(ky_robot_handle *robot_handle);
/** Zeroes the one-axis reading: {"command":"clear_Fz"}, answered with "set_state". */
KY_API int ky_clear_Fz(ky_robot_handle *robot_handle);
/** Starts the automatic one-axis calibration: {"command":"auto_set_Fz"}; ends with
 *  "set_force_sensor". See above for `block`. */
KY_API int ky_auto_set_Fz(ky_robot_handle *robot_handle, bool block);
/** One-axis calibration from two poses: {"command":"manual_set_Fz","pose1":[...],
 *  "pose2":[...]} (joint angles as for ky_manual_set_force); ends with "set_force_sensor".
 *  A null pose is refused with -1. */
KY_API int ky_manual_set_Fz(ky_robot_handle *robot_handle, float *pose1, float *pose2, bool block);
/** Reads the one-axis force into Fz[0..3]: Fz, zero Fz, work-frame zero Fz, tool-frame zero
 *  Fz (the layout of ky_Fz_data). Only an arm whose cached force-sensor type is 2 is asked:
 *  for any other type (or an unknown handle) "arm force type check err!" is logged and -2
 *  returned without sending anything. Otherwise {"command":"get_Fz"}, reply "get_Fz" with the
 *  integers "Fz", "zero_Fz", "work_zero_Fz", "tool_zero_Fz". A null `Fz` is refused with -1. */
KY_API int ky_get_Fz(ky_robot_handle *robot_handle, float Fz[4]);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_FORCE_SENSOR_H */
