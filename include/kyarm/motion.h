/*
 * kyarm/motion.h: planned moves.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_MOTION_H
#define KYARM_MOTION_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Motion */
/*
 * Planned moves. Each comes in three forms: `_nblock` returns once the controller accepted
 * the move; `_block` also waits until the controller reports that the trajectory finished;
 * the plain name picks `_block` when `block` is non-zero, else `_nblock`.
 *
 * Arguments: joint angles in degrees (dof values, sent x 1000 via double, truncated); a pose
 * sends position (metres, x 1,000,000) and Euler angles (radians, x 1000), single-precision
 * products truncated toward zero, the quaternion is ignored; `v` speed ratio in percent and
 * `r` blending radius, sent as given (movec sends r x 1000); `trajectory_connect` 0 plans
 * the trajectory by itself, 1 joins it to the next one sent.
 *
 * Acceptance: one exchange waiting m_nOutTime for {"receive_state":...}. Non-blocking forms
 * (modes 1 and 2, trajectory_connect 0) mark their completion line as an event: on that
 * robot, the first completion line filed after the acceptance goes to the event callback
 * (ky_get_arm_event_call_back) only and no reply wait sees it. The mark is kept per robot
 * and per accepted move, so two non-blocking moves followed by a blocking one leave the
 * blocking one waiting for its own completion. A move with trajectory_connect 1 reports no
 * completion of its own and marks nothing. A blocking wait never takes a completion line
 * filed before its call began.
 *
 * Blocking wait (modes 1 and 2): returns as soon as the completion line
 * {"command":"current_trajectory_state","trajectory_state":true,"device":0,
 * "trajectory_connect":0} arrives; meanwhile it queries the running trajectory
 * (ky_get_arm_current_trajectory) every 100 ms. It has no overall time limit while the
 * controller reports the trajectory running. A blocking move with trajectory_connect 1
 * returns 0 once accepted. Mode 0: waits for the completion line for `block` periods of
 * one second.
 *
 * Results: 0 accepted (non-blocking) / finished (blocking); 1 refused ("receive_state"
 * false) or the trajectory failed ("trajectory_state" false); -1 unknown handle, send
 * error, dof not 6 or 7 (movej), or a completion line without a boolean
 * "trajectory_state"; -2 no acceptance within m_nOutTime; -3 unreadable acceptance or
 * completion line (also a negative "device" or "trajectory_connect"); -4 the trajectory
 * ended but the last completion line named another device or connect value; -5 mode 0,
 * no completion within `block` seconds; -6 ky_movec with trajectory_connect other than 0 or
 * 1 (nothing sent); six failed trajectory queries during one wait return the query's code.
 */

/** Joint-space move to joint[dof] (degrees). Request "movej": v, joint, trajectory_connect, r. */
KY_API int ky_movej_nblock(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect);
/** Blocking movej; waits for trajectory type 1 (movej). */
KY_API int ky_movej_block(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_movej(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                    int block);
/** Straight-line move to `pose`. Request "movel": v, pose, trajectory_connect, r. */
KY_API int ky_movel_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking movel; waits for trajectory type 2 (movel). */
KY_API int ky_movel_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_movel(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);
/** Spline move through `pose` (join several with trajectory_connect 1). Request "moves". */
KY_API int ky_moves_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking moves; waits for trajectory type 4 (moves); logs under the tag "ky_movel". */
KY_API int ky_moves_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_moves(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);
/** Circular-arc move through `pose_via` to `pose_to`, `loop` full circles. Sent as one
 *  formatted (multi-line) JSON object followed by "\r\n" (no trailing NUL):
 *  command, pose {pose_via, pose_to}, v, r x 1000, loop, trajectory_connect. */
KY_API int ky_movec_nblock(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                           int trajectory_connect);
/** Blocking movec; waits for trajectory type 3 (movec). */
KY_API int ky_movec_block(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                          int trajectory_connect, int block);
/** Dispatcher; refuses trajectory_connect other than 0 and 1 with -6 before sending. */
KY_API int ky_movec(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                    int trajectory_connect, int block);
/** Joint-space move to a Cartesian target. Request "movej_p": v, pose, trajectory_connect, r. */
KY_API int ky_movej_p_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking movej_p; each pass starts with the trajectory query (type 1 while running) and
 *  the completion line is awaited for 1000 ms once the arm is idle. */
KY_API int ky_movej_p_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                            int block);
KY_API int ky_movej_p(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);

/** Waits for a completion line of `device` (0 arm, 3 lift, 4 expansion axis) with
 *  "trajectory_connect" 0: up to `attempts` waits of 1000 ms each (any mode). 0 done;
 *  1 "trajectory_state" false; -1 no boolean "trajectory_state"; -3 unreadable line;
 *  -5 attempts used up (at once for 0). Completion lines of other devices or connect values
 *  use up an attempt. */
KY_API int ky_movecmd_singlemode_parse(ky_robot_handle *robot_handle, int attempts, int device);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_MOTION_H */
