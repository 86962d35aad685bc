/*
 * kyarm/tool.h: electric gripper and dexterous hand on the tool flange.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_TOOL_H
#define KYARM_TOOL_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Gripper and dexterous hand */
/*
 * Speeds, forces, positions, travel limits, posture and sequence numbers and finger angles
 * are the controller's units and numbers, sent as given (no range checks).
 *
 * Acknowledgement: every set command here waits up to m_nOutTime_max for its reply (only
 * ky_get_gripper_state waits m_nOutTime). All gripper actions (release, pick, pick-on,
 * position) are answered under the common reply name "set_gripper" with the boolean
 * "state"; the hand commands under their own name with "set_state".
 *
 * Blocking actions (`block` true): after the acknowledgement the call waits up to `timeout`
 * seconds for the controller's report {"command":"current_trajectory_state",
 * "trajectory_state":true,"device":D,...} and returns as soon as it is filed. D must be 1
 * for the gripper, 2 for the hand; "trajectory_connect" is not looked at. A report of an
 * arm move that arrives meanwhile is taken and rejected by this device check. Maximum
 * blocking time: m_nOutTime_max + `timeout` seconds.
 *
 * Gripper fire-and-forget: a gripper action with `block` false and `timeout` 0 is sent
 * without awaiting any reply; the call holds for m_nOutTime_max and returns 0 (or -1 when
 * the handle is unknown or sending fails). With `block` false and any other `timeout` the
 * acknowledgement's result is returned without waiting for completion. The hand actions
 * always await their acknowledgement.
 *
 * Results: 0 success; 1 the controller refused (state key false) or reported the action
 * as failed ("trajectory_state" false); -1 unknown handle, send error, null pointer, or a
 * completion report without a boolean "trajectory_state"; -2 no acknowledgement in time;
 * -3 unreadable acknowledgement or report (also a negative "device"); and the completion
 * codes of each blocking action:
 *
 *   action                                   no report in time   report of another device
 *   ky_set_gripper_release                   -4                  -4
 *   ky_set_gripper_pick, _pick_on            -4                  -5
 *   ky_set_gripper_position                  -4 (logs "[tag] timeout error")   -5
 *   ky_set_hand_posture, ky_set_hand_seq     -5                  -4
 *
 * A report of another device is logged "[tag] current device is: D".
 */

/** Gripper state as ky_get_gripper_state reads it; every field as the controller sends it. */
typedef struct {
    int enable;        /**< "enable" */
    int status;        /**< "status" */
    int error;         /**< "error" */
    int mode;          /**< "mode" */
    int current_force; /**< "current_force" */
    int temperature;   /**< "temperature" */
    int actpos;        /**< "actpos": actual opening position */
} ky_gripper_state;

/** Sets the gripper's travel limits: {"command":"set_gripper_route","min":..,"max":..},
 *  answered under "set_gripper_route" with "state". Blocks up to m_nOutTime_max. */
KY_API int ky_set_gripper_route(ky_robot_handle *robot_handle, int min, int max);
/** Opens the gripper at `speed`: {"command":"set_gripper_release","speed":..,"block":b}.
 *  Blocking, fire-and-forget and codes: see above. */
KY_API int ky_set_gripper_release(ky_robot_handle *robot_handle, int speed, bool block, int timeout);
/** Closes the gripper at `speed` until it holds with `force`:
 *  {"command":"set_gripper_pick","speed":..,"force":..,"block":b}. */
KY_API int ky_set_gripper_pick(ky_robot_handle *robot_handle, int speed, int force, bool block, int timeout);
/** As ky_set_gripper_pick, but the gripper keeps closing with `force` after it holds:
 *  {"command":"set_gripper_pick_on",...}. */
KY_API int ky_set_gripper_pick_on(ky_robot_handle *robot_handle, int speed, int force, bool block, int timeout);
/** Moves the gripper to `position`: {"command":"set_gripper_position","position":..,"block":b}. */
KY_API int ky_set_gripper_position(ky_robot_handle *robot_handle, int position, bool block, int timeout);
/** Reads the gripper state (reply "get_gripper_state", seven integers "enable", "status",
 *  "error", "mode", "current_force", "temperature", "actpos"). *state is written only on 0;
 *  -3 when a member is missing. Blocks up to m_nOutTime. */
KY_API int ky_get_gripper_state(ky_robot_handle *robot_handle, ky_gripper_state *state);

/** Moves the hand to stored posture `posture_num`: {"command":"set_hand_posture",
 *  "posture_num":..,"block":b}, answered with "set_state"; with `block` true waits for the
 *  hand's report (device 2). */
KY_API int ky_set_hand_posture(ky_robot_handle *robot_handle, int posture_num, bool block, int timeout);
/** Runs stored hand sequence `seq_num`: {"command":"set_hand_seq","seq_num":..,"block":b}. */
KY_API int ky_set_hand_seq(ky_robot_handle *robot_handle, int seq_num, bool block, int timeout);
/** Sets the six finger angles: {"command":"set_hand_angle","hand_angle":[6 ints]}, answered
 *  with "set_state". Blocks up to m_nOutTime_max. */
KY_API int ky_set_hand_angle(ky_robot_handle *robot_handle, const int angle[6]);
/** Streams six finger angles for the hand to follow: {"command":"hand_follow_angle",
 *  "hand_angle":[6 ints]}. No reply is awaited: holds m_nOutTime_max, returns 0 (-1 unknown
 *  handle, send error or null angle). */
KY_API int ky_set_hand_follow_angle(ky_robot_handle *robot_handle, const int angle[6]);
/** Sets the hand's speed ("speed"), answered with "set_state". */
KY_API int ky_set_hand_speed(ky_robot_handle *robot_handle, int speed);
/** Sets the hand's force threshold, sent as "hand_force", answered with "set_state". */
KY_API int ky_set_hand_force(ky_robot_handle *robot_handle, int force);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_TOOL_H */
