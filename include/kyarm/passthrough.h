/*
 * kyarm/passthrough.h: pass-through streaming of joint and Cartesian set-points.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_PASSTHROUGH_H
#define KYARM_PASSTHROUGH_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ============================================================ Pass-through motion */
/*
 * Streams set-points to the controller at the caller's rate (a host-side planner, a
 * teleoperation loop). Each call builds one JSON line, sends it and returns: it never
 * waits, never sleeps and reads no reply (whatever the controller answers to these
 * commands is not looked at). The cost of a call is one registry read lock, one line
 * built in a per-thread buffer (no allocation) and one socket send; a stream of
 * thousands of calls per second from one thread is the intended use.
 *
 * Joint vectors: degrees, `dof` values (6 or 7, see ky_get_arm_dof); on the wire
 * thousandths of a degree (widened to double, x 1000, truncated toward zero). A 6-axis
 * arm sends six values even when the array holds seven.
 *
 * Poses: when the squared norm of the pose's quaternion (w^2 + x^2 + y^2 + z^2 in single
 * precision) lies strictly between 0.99 and 1.1, the pose goes out as "pose_quat" =
 * [x, y, z, w, qx, qy, qz], every value x 1,000,000 (single precision, truncated);
 * otherwise as "pose" = [x, y, z in micrometres, rx, ry, rz in milliradians]. So fill the
 * quaternion to send the orientation as a quaternion, leave it zero to send the Euler
 * angles.
 *
 * Results: 0 the line was sent; -1 the handle is not registered, the send failed, or
 * (joint forms) the arm's dof is not 6 or 7, logged "[<function>] The robotic arm has
 * been disconnected" and nothing sent; a null joint array also gives -1 with nothing sent.
 * There is no -2 or -3: nothing is awaited.
 */

/** Streams a joint set-point: {"command":"movej_canfd","joint":[dof],"follow":bool,
 *  "expand":e} with `expand` (the expansion axis' set-point) x 1000 in single precision,
 *  truncated. `follow` is passed to the controller as a JSON boolean. Never waits. */
KY_API int ky_movej_canfd(ky_robot_handle *robot_handle, const float *joint, bool follow, float expand);

/** Streams a Cartesian set-point: {"command":"movep_canfd","follow":bool,"pose_quat":[7]}
 *  or {..., "pose":[6]} by the quaternion rule above. Never waits. */
KY_API int ky_movep_canfd(ky_robot_handle *robot_handle, ky_pose pose, bool follow);

/** Streams a joint set-point for the controller's follow mode:
 *  {"command":"movej_follow","joint":[dof]}. Never waits. */
KY_API int ky_movej_follow(ky_robot_handle *robot_handle, const float *joint);

/** Streams a Cartesian set-point for the controller's follow mode:
 *  {"command":"movep_follow","pose_quat":[7]} or {..., "pose":[6]}. Never waits. */
KY_API int ky_movep_follow(ky_robot_handle *robot_handle, ky_pose pose);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_PASSTHROUGH_H */
