/*
 * kyarm/joint_config.h: per-joint configuration.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_JOINT_CONFIG_H
#define KYARM_JOINT_CONFIG_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Joint configuration */
/*
 * Per-joint settings. `joint` is the controller's joint number, passed on as given. On the
 * wire: positions are degrees x 1000; the motion-limit speeds and accelerations and the
 * drive speed are (value / 6) x 1000 (revolutions per minute x 1000); the drive
 * acceleration is set as value x 1000 (no division by 6) but read back x 6 / 1000. Every
 * conversion to the wire truncates toward zero. Arrays read back hold `dof` values (6 or
 * 7), so output arrays need room for 7.
 * Each function is one exchange waiting m_nOutTime. Results: 0; 1 the controller refused;
 * -1 unknown handle, send failure, or (gets) the arm's dof is not 6 or 7 ("The robotic arm
 * has been disconnected"); -2 no reply; -3 unreadable reply or wrong array length.
 */

/** Drive speed limit of one joint, degrees/s. Reply state "joint_max_speed". */
KY_API int ky_set_joint_drive_max_speed(ky_robot_handle *robot_handle, int joint, float speed);
/** Drive acceleration limit of one joint, degrees/s^2 (sent x 1000, not divided by 6). */
KY_API int ky_set_joint_drive_max_acc(ky_robot_handle *robot_handle, int joint, float acc);
/** Drive minimum position of one joint, degrees. */
KY_API int ky_set_joint_drive_min_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Drive maximum position of one joint, degrees. */
KY_API int ky_set_joint_drive_max_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Reads every joint's drive speed limit (degrees/s) into speed[dof]. */
KY_API int ky_get_joint_drive_max_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads every joint's drive acceleration limit (wire value x 6 / 1000) into acc[dof]. */
KY_API int ky_get_joint_drive_max_acc(ky_robot_handle *robot_handle, float *acc);
/** Reads every joint's drive minimum position (degrees) into pos[dof]. */
KY_API int ky_get_joint_drive_min_pos(ky_robot_handle *robot_handle, float *pos);
/** Reads every joint's drive maximum position (degrees) into pos[dof]. */
KY_API int ky_get_joint_drive_max_pos(ky_robot_handle *robot_handle, float *pos);

/** Motion speed limit of one joint, degrees/s; on success all joints' limits are read back
 *  (ky_get_joint_max_speed) and that read's result is returned. */
KY_API int ky_set_joint_max_speed(ky_robot_handle *robot_handle, int joint, float speed);
/** Motion acceleration limit of one joint, degrees/s^2; then ky_get_joint_max_acc. */
KY_API int ky_set_joint_max_acc(ky_robot_handle *robot_handle, int joint, float acc);
/** Motion minimum position of one joint, degrees; then ky_get_joint_min_pos. */
KY_API int ky_set_joint_min_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Motion maximum position of one joint, degrees; then ky_get_joint_max_pos. */
KY_API int ky_set_joint_max_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Lets the controller set the joint position limits itself (`mode` as the controller
 *  defines it). The reply is named "auto_set_joint_limit " (with a trailing blank); on
 *  success the minimum and maximum positions are read back and the latter's result is
 *  returned. */
KY_API int ky_auto_set_joint_limit(ky_robot_handle *robot_handle, int mode);
/** Reads every joint's motion speed limit (degrees/s) into speed[dof] (may be null) and
 *  into the robot handle's joint_max_speed. */
KY_API int ky_get_joint_max_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads every joint's acceleration limit (degrees/s^2) into acc[dof] and joint_max_acc. */
KY_API int ky_get_joint_max_acc(ky_robot_handle *robot_handle, float *acc);
/** Reads every joint's minimum position (degrees) into pos[dof] and joint_min_pos. */
KY_API int ky_get_joint_min_pos(ky_robot_handle *robot_handle, float *pos);
/** Reads every joint's maximum position (degrees) into pos[dof] and joint_max_pos. */
KY_API int ky_get_joint_max_pos(ky_robot_handle *robot_handle, float *pos);

/** Enables (state non-zero) or disables one joint; `state` is sent as given. */
KY_API int ky_set_joint_en_state(ky_robot_handle *robot_handle, int joint, int state);
/** Takes the joint's current position as its zero. */
KY_API int ky_set_joint_zero_pos(ky_robot_handle *robot_handle, int joint);
/** Clears the joint's error. */
KY_API int ky_set_joint_clear_err(ky_robot_handle *robot_handle, int joint);
/** Reads every joint's enable state into state[dof], one byte per joint. */
KY_API int ky_get_joint_en_state(ky_robot_handle *robot_handle, uint8_t *state);
/** Reads every joint's error flag and brake state (each dof values; either pointer may be
 *  null). */
KY_API int ky_get_joint_err_flag(ky_robot_handle *robot_handle, uint16_t *err_flag, uint16_t *brake_state);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_JOINT_CONFIG_H */
