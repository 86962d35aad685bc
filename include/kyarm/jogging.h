/*
 * kyarm/jogging.h: jogging, stepping, stopping, the trajectory query.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_JOGGING_H
#define KYARM_JOGGING_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Jogging, stepping, stopping */
/*
 * Steps, teach jogging, stopping and the trajectory query. Unless stated, one exchange
 * waiting m_nOutTime: 0; 1 refused; -1 unknown handle or send error; -2 no reply; -3
 * unreadable reply.
 *
 * Steps: a joint step in degrees (sent x 1000), a position step in metres (x 1,000,000),
 * an orientation step in radians (x 1000), single-precision products truncated. `axis`
 * 0, 1, 2 selects x, y, z (rx, ry, rz); any other value sends no axis. `v` is the speed
 * ratio in percent. The `_nblock` forms send, pause m_nOutTime without reading the
 * controller's answer and return 0 (or -1 unknown handle / send error). The `_block` forms
 * read the acceptance ("receive_state") and then wait for the step's completion like
 * ky_movej_p_block (without the pause between queries while the step runs; completion line
 * awaited 1000 ms once idle); in mode 0 `block` one-second waits (-5 when none came).
 * Results of the blocking forms as the blocking moves.
 */
KY_API int ky_set_joint_step_nblock(ky_robot_handle *robot_handle, int joint, float step, int v);
KY_API int ky_set_joint_step_block(ky_robot_handle *robot_handle, int joint, float step, int v, int block);
/** Dispatcher: `block` non-zero selects the blocking form. Note the argument order. */
KY_API int ky_set_joint_step(ky_robot_handle *robot_handle, int joint, int v, int block, float step);
KY_API int ky_set_pos_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v);
KY_API int ky_set_pos_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block);
KY_API int ky_set_pos_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step);
KY_API int ky_set_ort_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v);
KY_API int ky_set_ort_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block);
KY_API int ky_set_ort_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step);

/** Slow stop of the current motion. */
KY_API int ky_set_arm_slow_stop(ky_robot_handle *robot_handle);
/** Immediate stop. */
KY_API int ky_set_arm_stop(ky_robot_handle *robot_handle);
/** Pauses the current trajectory. */
KY_API int ky_set_arm_pause(ky_robot_handle *robot_handle);
/** Continues a paused trajectory. */
KY_API int ky_set_arm_continue(ky_robot_handle *robot_handle);
/** Deletes the trajectory running now. */
KY_API int ky_set_delete_current_trajectory(ky_robot_handle *robot_handle);
/** Deletes every queued trajectory. */
KY_API int ky_set_arm_delete_trajectory(ky_robot_handle *robot_handle);

/** Jogs one joint until ky_set_stop_teach: `dir` non-zero positive, zero negative. Any
 *  failed exchange (a time-out included) returns -1. */
KY_API int ky_set_joint_teach(ky_robot_handle *robot_handle, int joint, int dir, int v);
/** Jogs along axis 0 x, 1 y, 2 z of the teach frame. Any failed exchange returns -1. */
KY_API int ky_set_pos_teach(ky_robot_handle *robot_handle, int axis, int dir, int v);
/** Jogs about axis 0 rx, 1 ry, 2 rz. A failed exchange returns its own code (-1 or -2). */
KY_API int ky_set_ort_teach(ky_robot_handle *robot_handle, int axis, int dir, int v);
/** Ends teach jogging. */
KY_API int ky_set_stop_teach(ky_robot_handle *robot_handle);
/** Frame of Cartesian jogging; `frame_type` as the controller numbers it. Reply "set_state". */
KY_API int ky_set_teach_frame(ky_robot_handle *robot_handle, int frame_type);
/** Reads the teach frame type. */
KY_API int ky_get_teach_frame(ky_robot_handle *robot_handle, int *frame_type);

/** Trajectory running now. *type: 0 none, 1 movej, 2 movel, 3 movec, 4 moves,
 *  5 re_trajectory. data: for 0, 1 and 5 the dof joint angles (degrees); for 2, 3 and 4
 *  the end-effector pose x, y, z (metres), rx, ry, rz (radians); room for 7 floats.
 *  0; -1 unknown handle, send error, dof not 6 or 7, or any problem with the reply
 *  (unreadable, "data" missing or not an array, "type" missing or unknown: *type is then
 *  left as it was); -2 no reply within m_nOutTime. */
KY_API int ky_get_arm_current_trajectory(ky_robot_handle *robot_handle, int *type, float *data);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_JOGGING_H */
