/*
 * kyarm/arm_limits.h: Cartesian speed and acceleration limits, collision sensitivity.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_ARM_LIMITS_H
#define KYARM_ARM_LIMITS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================= Cartesian limits and collision */
/*
 * Limits of the tool centre point: linear speed and acceleration, angular speed and
 * acceleration, in the controller's units (the library passes them on unchecked). On the
 * wire a limit is value x 1000 (single-precision product truncated toward zero: 0.25 goes
 * out as 250, 0.0019 as 1); a limit read back is the integer / 1000.
 * Each function is one exchange that waits up to m_nOutTime for its reply.
 * Results: 0; 1 the controller refused; -1 unknown handle or send failure; -2 no reply;
 * -3 (setters) unreadable reply or state key missing. The getters return a positive number
 * (the reply's length) when the reply lacks its member, and then leave the output as it
 * was.
 */

/** Maximum linear speed of the tool centre point. Sends {"command":"set_arm_max_line_speed",
 *  "arm_line_speed":v x 1000}; reply "set_arm_max_line_speed", state "arm_line_speed". */
KY_API int ky_set_arm_max_line_speed(ky_robot_handle *robot_handle, float speed);
/** Maximum linear acceleration. Key and state "arm_line_acc". */
KY_API int ky_set_arm_max_line_acc(ky_robot_handle *robot_handle, float acc);
/** Maximum angular speed. Key and state "arm_angular_speed". */
KY_API int ky_set_arm_max_angular_speed(ky_robot_handle *robot_handle, float speed);
/** Maximum angular acceleration. Key and state "arm_angular_acc". */
KY_API int ky_set_arm_max_angular_acc(ky_robot_handle *robot_handle, float acc);

/** Reads the maximum linear speed ("get_arm_max_line_speed" -> "arm_max_line_speed",
 *  member "arm_line_speed" / 1000) into *speed. */
KY_API int ky_get_arm_max_line_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads the maximum linear acceleration (reply "arm_max_line_acc", member "arm_line_acc"). */
KY_API int ky_get_arm_max_line_acc(ky_robot_handle *robot_handle, float *acc);
/** Reads the maximum angular speed (reply "arm_max_angular_speed", member
 *  "arm_angular_speed"). */
KY_API int ky_get_arm_max_angular_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads the maximum angular acceleration (reply "arm_max_angular_acc", member
 *  "arm_angular_acc"). */
KY_API int ky_get_arm_max_angular_acc(ky_robot_handle *robot_handle, float *acc);

/** Resets the tool-centre-point limits to the controller's initial values. Sends
 *  {"command":"set_arm_init"}; reply "set_arm_init", state "arm_init". */
KY_API int ky_set_arm_tcp_init(ky_robot_handle *robot_handle);

/** Sets the collision-detection stage (the range is the controller's). Sends
 *  {"command":"set_collision_stage","collision_stage":stage} and waits for the reply named
 *  "set_collision_state" with the state key "collision_state" (the controller answers under
 *  that name). */
KY_API int ky_set_collision_state(ky_robot_handle *robot_handle, int stage);
/** Reads the collision-detection stage ("get_collision_stage", member "collision_stage")
 *  into *stage. */
KY_API int ky_get_collision_stage(ky_robot_handle *robot_handle, int *stage);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_ARM_LIMITS_H */
