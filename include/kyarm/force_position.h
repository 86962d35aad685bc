/*
 * kyarm/force_position.h: force-position control (mode commands and streamed set-points).
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_FORCE_POSITION_H
#define KYARM_FORCE_POSITION_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ========================================================= Force-position control */
/*
 * The arm holds a contact force along chosen axes while it moves. The meaning of the
 * sensor, mode, direction and control-mode numbers is the controller's; they are sent as
 * given. Forces are in newtons. Two encodings of a force are used on the wire, both in
 * tenths of a newton:
 *   - ky_set_force_position, ky_force_position_move_joint and ky_force_position_move_pose
 *     cut the force to whole newtons first, then multiply by 10 (2.7 N goes out as 20);
 *   - ky_set_force_position_new and ky_force_position_move multiply by 10 in single
 *     precision and truncate (2.7 N goes out as 27).
 * Velocity limits go out x 1000 (single precision, truncated).
 *
 * Intended order: ky_start_force_position_move, a stream of ky_force_position_move*
 * set-points at the caller's rate, ky_stop_force_position_move.
 */

/** Axes of the Cartesian force arrays: x, y, z, rx, ry, rz. */
#define KY_FORCE_AXES 6

/** Extended force-position setting of ky_set_force_position_new. */
typedef struct {
    int32_t sensor;                      /**< "sensor", as the controller defines it */
    int32_t mode;                        /**< "mode", as the controller defines it */
    int32_t control_mode[KY_FORCE_AXES]; /**< "control_mode", one per Cartesian axis */
    float desired_force[KY_FORCE_AXES];  /**< "desired_force", newtons (x 10 on the wire) */
    float limit_vel[KY_FORCE_AXES];      /**< "limit_vel", velocity limits (x 1000 on the wire) */
} ky_force_position_params;

/* ---- Mode commands: one exchange each, waiting up to m_nOutTime for the reply.
 * Results: 0; 1 the controller refused; -1 unknown handle, send failure or a null record;
 * -2 no reply; -3 unreadable reply or state key missing. */

/** Switches force-position control on: {"command":"set_force_position","sensor":s,
 *  "mode":m,"direction":d,"force":f} with f = whole newtons x 10. Reply
 *  "set_force_position", state "set_state". */
KY_API int ky_set_force_position(ky_robot_handle *robot_handle, int sensor, int mode, int direction, float force);
/** Switches force-position control on with per-axis settings: {"command":
 *  "set_force_position","mode":m,"sensor":s,"desired_force":[6],"control_mode":[6],
 *  "limit_vel":[6]}. Reply "set_force_position", state "set_state". */
KY_API int ky_set_force_position_new(ky_robot_handle *robot_handle, const ky_force_position_params *params);
/** Switches force-position control off: {"command":"stop_force_position"}; reply
 *  "stop_force_position", state "stop_state". */
KY_API int ky_stop_force_position(ky_robot_handle *robot_handle);
/** Enters the streamed force-position mode: {"command":"Start_Force_Position_Move"};
 *  state "set_state". */
KY_API int ky_start_force_position_move(ky_robot_handle *robot_handle);
/** Leaves the streamed force-position mode: {"command":"Stop_Force_Position_Move"};
 *  state "set_state". */
KY_API int ky_stop_force_position_move(ky_robot_handle *robot_handle);

/* ---- Set-points: "Force_Position_Move" lines streamed like the pass-through commands
 * (kyarm/passthrough.h): each call builds one line in a per-thread buffer, sends it and
 * returns; it never waits and reads no reply. Joint vectors and poses are encoded as
 * there (joints x 1000; "pose_quat" when the quaternion's squared norm lies strictly
 * between 0.99 and 1.1, else "pose").
 * Results: 0 sent; -1 unknown handle, send failure, a null argument, or (joint targets)
 * the arm's dof is not 6 or 7, logged "[<function>] The robotic arm has been
 * disconnected" and nothing sent. */

/** Joint set-point: {"command":"Force_Position_Move","joint":[dof],"follow":b,"sensor":s,
 *  "mode":m,"dir":d,"force":f}, f = whole newtons x 10. Never waits. */
KY_API int ky_force_position_move_joint(ky_robot_handle *robot_handle, const float *joint, int sensor, int mode,
                                        int direction, bool follow, float force);
/** Cartesian set-point: {"command":"Force_Position_Move","follow":b,"sensor":s,"mode":m,
 *  "dir":d,"force":f,"pose_quat":[7]} (or "pose":[6]), f = whole newtons x 10. Never
 *  waits. */
KY_API int ky_force_position_move_pose(ky_robot_handle *robot_handle, ky_pose pose, int sensor, int mode,
                                       int direction, bool follow, float force);

/** Which target a ky_force_position_move_params record carries. */
typedef enum {
    KY_FORCE_TARGET_JOINT = 0, /**< `joint` (degrees, dof values) is sent as "joint" */
    KY_FORCE_TARGET_POSE = 1   /**< `pose` is sent as "pose_quat" or "pose" */
} ky_force_target_type;

/** Set-point of ky_force_position_move: one target, chosen by `target_type` (the other
 *  target field is ignored), and the per-axis force settings. */
typedef struct {
    int32_t target_type;                 /**< KY_FORCE_TARGET_JOINT or KY_FORCE_TARGET_POSE */
    float joint[7];                      /**< degrees; the first dof are sent */
    ky_pose pose;                        /**< metres, quaternion or radians */
    int32_t sensor;                      /**< "sensor" */
    int32_t mode;                        /**< "mode" */
    int32_t control_mode[KY_FORCE_AXES]; /**< "control_mode" */
    float desired_force[KY_FORCE_AXES];  /**< "desired_force", newtons (x 10, single precision) */
    float limit_vel[KY_FORCE_AXES];      /**< "limit_vel" (x 1000) */
    bool follow;                         /**< "follow" */
} ky_force_position_move_params;

/** General set-point: {"command":"Force_Position_Move", target ("joint":[dof], or
 *  "pose_quat":[7] / "pose":[6]), "sensor":s,"mode":m,"control_mode":[6],
 *  "desired_force":[6],"limit_vel":[6],"follow":b}. A target_type other than the two
 *  KY_FORCE_TARGET_* values gives -1 with nothing sent. Never waits. */
KY_API int ky_force_position_move(ky_robot_handle *robot_handle, const ky_force_position_move_params *params);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_FORCE_POSITION_H */
