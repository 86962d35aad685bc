/*
 * kyarm/algo.h: kinematics (libalgo_* and ky_algo_*).
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_ALGO_H
#define KYARM_ALGO_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Algorithms (ky_algo_*) */
/*
 * The library carries its own kinematics for the arm models it drives. Two layers:
 *
 *  - libalgo_*: the process-wide algorithm state (arm model, DH table, limits, frames,
 *    payload, solver settings). SI units: radians, metres, rad/s, rad/s^2, seconds.
 *  - ky_algo_*: the host-facing layer in the units of the rest of this interface (joint
 *    angles in degrees, speeds in degrees/s, Cartesian positions in metres, Euler angles in
 *    radians). It works offline after ky_algo_init_sys_data(), or for a connected arm: the
 *    functions taking a robot handle first copy that arm's model, installation angles,
 *    frames and limits into the algorithm state.
 *
 * Every libalgo_* and ky_algo_* function locks the algorithm state for its whole call, so
 * calls from several threads are serialised (never interleaved); the state itself is one
 * per process, so threads that configure it differently still see each other's settings.
 * None of them blocks on the network. Setters ignore a null record; getters leave a null
 * output untouched. Robot types: 0 KY6A, 1 KY7A, 3 KYL6C rev. 2, 4 KYL6C rev. 3, 5 LUX6A,
 * 6 LUX6B, 7 NOV7B, 8 LUX6C, 9 an unnamed 7-joint model with an all-zero table. Sensor
 * types: 0 none, 1 one-axis force sensor, 2 six-axis force sensor (LUX6B and NOV7B: 0 only).
 */

/** Joints the records below hold room for; only the arm's joint count is used. */
#define KY_ALGO_MAX_JOINTS 8

/** DH table: one entry per joint, entries past the joint count zero. KY7A's twist is that
 *  of the link after each joint (standard convention); the other models list the twist and
 *  length of the link before the joint (modified convention). */
typedef struct {
    float d[KY_ALGO_MAX_JOINTS];      /**< link offset along the previous z axis, metres */
    float a[KY_ALGO_MAX_JOINTS];      /**< link length, metres */
    float alpha[KY_ALGO_MAX_JOINTS];  /**< link twist, radians */
    float offset[KY_ALGO_MAX_JOINTS]; /**< theta offset added to every joint angle, radians */
} ky_dh_table;

/* ------------------------------------------------------- algorithm state (libalgo_*) */

/** Same as libalgo_set_robot_and_sensor_type(0, 0). Returns 0. */
KY_API int libalgo_init(void);
/** Clears the whole state (frames, limits, installation, payload: all earlier settings are
 *  lost) and loads the model's defaults: DH table, limits, joint directions, TCP
 *  configuration (0.25, 1.6, 0.6, 4.0), control period 0.002 s, gravity (0, 0, -9.81).
 *  The arms' dynamics, drag and collision data are not part of the model tables, so they
 *  load neutral values: link dynamics and identification parameters 0, drag factors 1.0,
 *  collision thresholds 0. Returns 0; -1 for type 2, a type above 9, a sensor above 2 or a
 *  sensor other than 0 on LUX6B or NOV7B (the state is then cleared, with identity frames
 *  and an empty DH table). */
KY_API int libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type);
KY_API uint32_t libalgo_get_robot_type(void);
KY_API uint32_t libalgo_get_sensor_type(void);
/** Installation angles a, b, c (rad): the base is mounted rotated by Rz(c) * Ry(b) * Rx(a)
 *  in the world. Rebuilds the installation rotation and the gravity vector
 *  (9.81 sin b, -9.81 sin a cos b, -9.81 cos a cos b) in the base frame. */
KY_API void libalgo_set_robot_install_angle(float a, float b, float c);
KY_API void libalgo_get_robot_install_angle(float angles[3]);
/** The installation rotation as a 4x4 transform without translation. */
KY_API void libalgo_get_robot_install_angle_matrix(ky_matrix *matrix);
/** Gravity in the base frame, m/s^2. */
KY_API void libalgo_get_robot_gravity_acc(float gravity[3]);
/** Tool frame on the flange: x, y, z (m), rx, ry, rz (rad). Rebuilds the tool matrix. */
KY_API void libalgo_set_tool_cs_params(const float params[6]);
KY_API void libalgo_get_tool_cs_params(float params[6]);
/** Tool-to-flange transform (the tool frame's pose in the flange frame). */
KY_API void libalgo_get_tool_cs_matrix(ky_matrix *matrix);
/** Work frame in the base: x, y, z (m), rx, ry, rz (rad). Stores the inverse transform. */
KY_API void libalgo_set_work_cs_params(const float params[6]);
KY_API void libalgo_get_work_cs_params(float params[6]);
/** Inverse of the work frame's transform: maps base coordinates into the work frame. */
KY_API void libalgo_get_work_cs_to_base_matrix(ky_matrix *matrix);
/** Payload: mass (kg), centre of mass x, y, z (m), then 7 further values (zero). */
KY_API void libalgo_set_payload_params(const float payload[11]);
KY_API void libalgo_get_payload_params(float payload[11]);
/** Copies the first 7 entries of each array into the state. */
KY_API void libalgo_set_dh_params(const ky_dh_table *dh);
/** Copies the whole DH table out. */
KY_API void libalgo_get_dh_value(ky_dh_table *dh);
/** Restores the DH table saved at the last model selection. */
KY_API void libalgo_set_dh_params_default(void);
KY_API void libalgo_get_dh_params_default(ky_dh_table *dh);
/** 1 when every entry of every joint differs from the saved default by less than 1e-10
 *  (also when the joint count is below 1), else 0. */
KY_API int libalgo_check_dh_params_is_default(void);
/** DH compensation table: kept beside the DH table (zero after a model selection); the
 *  kinematics do not read it. Copies 7 entries of each array. */
KY_API void libalgo_set_dh_compensation_value(const ky_dh_table *dh);
KY_API void libalgo_get_dh_compensation_value(ky_dh_table *dh);
/** Joint limits of all 8 joint records: position (rad), velocity (rad/s), acceleration
 *  (rad/s^2). */
KY_API void libalgo_set_jointlim_max(const float values[8]);
KY_API void libalgo_set_jointlim_min(const float values[8]);
KY_API void libalgo_set_joint_vel_maxlim(const float values[8]);
KY_API void libalgo_set_joint_acc_maxlim(const float values[8]);
KY_API void libalgo_get_jointlim_max(float values[8]);
KY_API void libalgo_get_jointlim_min(float values[8]);
KY_API void libalgo_get_joint_vel_maxlim(float values[8]);
KY_API void libalgo_get_joint_acc_maxlim(float values[8]);
/** Position limits plus each joint's theta offset (rad): the limits in DH angle space. */
KY_API void libalgo_get_modeling_jointlim_max(float values[8]);
KY_API void libalgo_get_modeling_jointlim_min(float values[8]);
/** One joint's 17-float configuration record (joint 0..7); floats 11 to 14 are maximum
 *  position, minimum position (rad), maximum velocity (rad/s), maximum acceleration
 *  (rad/s^2). An index outside 0..7 is ignored. */
KY_API void libalgo_set_joint_config(int joint, const float record[17]);
KY_API void libalgo_get_joint_config(int joint, float record[17]);
/** Feedback record (71 floats): floats 0-7 and 8-15 are joint-angle vectors (rad); they
 *  are stored with each joint's theta offset added. The rest is kept as given. */
KY_API void libalgo_update_feedback_data(const float data[71]);
KY_API void libalgo_get_robot_feedback_data(float data[71]);
/** Joint directions: for each joint, a positive value stores +1, a negative -1, and 0
 *  keeps the stored direction (so a partial update is possible). */
KY_API void libalgo_set_joint_direction(const float directions[8]);
KY_API void libalgo_get_joint_direction(float directions[8]);
/** Link dynamics parameters, 10 per joint, joint count x 10 floats. */
KY_API void libalgo_set_link_dynamics_params(const float *params);
KY_API void libalgo_get_link_dynamics_params(float *params);
/** Restores / reads the link dynamics saved at the last model selection. */
KY_API void libalgo_set_link_dynamics_params_default(void);
KY_API void libalgo_get_link_dynamics_params_default(float *params);
/** Dynamics block, 152 floats: drag factors (8), second drag group (8), identification
 *  parameters (56), link dynamics (8 x 10). */
KY_API void libalgo_get_dynamics_params(float params[152]);
KY_API void libalgo_set_dynamics_identification_params(const float params[56]);
/** Drag regulation: 8 factors then 8 second-group values. A factor of a used joint whose
 *  magnitude is below 0.001 is stored as 1.0. */
KY_API void libalgo_set_drag_regulation_factor(const float factors[16]);
/** Safety level 0..8: 0, or -1 (unchanged) above 8. */
KY_API int libalgo_set_safety_level(uint16_t level);
KY_API uint16_t libalgo_get_safety_level(void);
/** Joint count of the whole system (arm plus external axes): 0, or -1 (unchanged) when
 *  below the arm's joint count. */
KY_API int libalgo_set_system_all_dof(int32_t count);
KY_API int32_t libalgo_get_system_all_dof(void);
/** Wrist-singularity avoidance of the KY6A and KYL6C rev. 2 solvers: 1 on, else off. */
KY_API void libalgo_set_is_avoid_Singularity(int32_t on);
KY_API int32_t libalgo_get_is_avoid_Singularity(void);
/** Dynamics model type: 2 stays 2, any other value becomes 1. Returns the stored value. */
KY_API int32_t libalgo_set_dynamics_model_type(int32_t type);
KY_API int32_t libalgo_get_dynamics_model_type(void);
/** Control loop period, seconds (0.002 after a model selection). */
KY_API void libalgo_set_control_loop_period(float seconds);
KY_API float libalgo_get_control_loop_period(void);
KY_API void libalgo_set_tcp_config(const float config[4]);
KY_API void libalgo_get_tcp_config(float config[4]);
KY_API void libalgo_set_user_collision_threshold(const float thresholds[21]);
KY_API void libalgo_get_user_collision_threshold(float thresholds[21]);
/** Joint command of the trajectory planner and the current joints (rad, 8 each). */
KY_API void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]);
KY_API void libalgo_get_trajectory_planning_joint_cmd(float joints[8]);
KY_API void libalgo_get_trajectory_planning_joint_cur(float joints[8]);
/** Joint count of the selected model (0 before a selection). */
KY_API int16_t libalgo_get_rbt_dof(void);
/** Clears the state as a model selection does before loading defaults (identity frames,
 *  period 0.002 s, gravity down) and leaves no model loaded (joint count 0). */
KY_API void libalgo_clear(void);

/* ------------------------------------------------------------ public algorithm API */

/** Inverse kinematics request. */
typedef struct {
    float current_joints[7]; /**< degrees; the solution nearest to these is chosen */
    ky_pose target_pose;     /**< tool pose in the base frame (see ky_algo_inverse_kinematics) */
    uint8_t flag;            /**< 0: orientation from the quaternion; otherwise from the Euler angles */
} ky_inverse_kinematics_params;

/** Algorithm version, "1.4.7". */
KY_API const char *ky_algo_version(void);
/** Selects the arm model for offline use: a type above 8 counts as 0, a sensor above 2 as 0.
 *  Discards earlier frames, limits and installation angles (set them afterwards). Returns
 *  the selection's result: 0, or -1 for type 2 or a sensor the model does not accept. */
KY_API int ky_algo_init_sys_data(uint32_t robot_type, uint32_t sensor_type);
/** Installation angles x, y, z in degrees (see libalgo_set_robot_install_angle). */
KY_API void ky_algo_set_angle(float x, float y, float z);
/** Reads them back in degrees; does nothing if any pointer is null. */
KY_API void ky_algo_get_angle(float *x, float *y, float *z);
/** Settings of the 7-joint solver. true: traverse the joint space (search range 3.14 rad
 *  around the current joints; finds solutions far from them, slower); false: stay near the
 *  current joints (range 0.013 rad). Until this is first called, every
 *  ky_algo_inverse_kinematics() call uses the near setting. */
KY_API void ky_algo_set_redundant_parameter_traversal_mode(bool traverse);
/** Work frame: its pose in the base (position m, Euler angles rad; the quaternion is not
 *  read). Name kept; payload and centre of mass ignored. */
KY_API void ky_algo_set_workframe(const ky_frame *frame);
/** The current work frame, both orientation forms filled. */
KY_API void ky_algo_get_curr_workframe(ky_frame *frame);
/** Tool frame: its pose on the flange (position m, Euler angles rad; the quaternion is not
 *  read), payload (kg) and centre of mass (m). */
KY_API void ky_algo_set_toolframe(const ky_frame *frame);
KY_API void ky_algo_get_curr_toolframe(ky_frame *frame);
/** Joint limits of the arm's joints: positions in degrees, speeds in degrees/s,
 *  accelerations in degrees/s^2 (7 entries; only the joint count is used). */
KY_API void ky_algo_set_joint_max_limit(const float joint[7]);
KY_API void ky_algo_set_joint_min_limit(const float joint[7]);
KY_API void ky_algo_set_joint_max_speed(const float joint[7]);
KY_API void ky_algo_set_joint_max_acc(const float joint[7]);
KY_API void ky_algo_get_joint_max_limit(float joint[7]);
KY_API void ky_algo_get_joint_min_limit(float joint[7]);
KY_API void ky_algo_get_joint_max_speed(float joint[7]);
KY_API void ky_algo_get_joint_max_acc(float joint[7]);
/** Copies a connected arm's model, sensor, installation angles, tool and work frames and
 *  joint limits into the algorithm state (taking the robot registry's read lock while it
 *  copies). An unknown handle leaves the state as it was and logs the warning
 *  "The robotic arm is not connected!"; a null handle is silently ignored. */
KY_API void ky_algo_arm_state_set(ky_robot_handle *robot_handle);
/** -1 if any joint of the arm (degrees) lies outside [minimum, maximum] limit (or the array
 *  is null), else 0. */
KY_API int ky_algo_judgment_overpos(const float joint[7]);
/** Tool pose for `joint` (degrees), expressed in the work frame: installation, tool and
 *  work frame applied. With a handle the arm's settings are loaded first; a null handle
 *  uses the current offline state. A null joint array gives an all-zero pose. */
KY_API ky_pose ky_algo_forward_kinematics(ky_robot_handle *robot_handle, const float joint[7]);
/** Joints (degrees) that put the tool at params->target_pose, nearest to
 *  params->current_joints. The target is the tool pose in the installation (world) frame
 *  of the base, as the forward kinematics give it with an identity work frame. With a
 *  handle the arm's settings are loaded first (null: the offline state).
 *  Returns 0 success (q_out written); 1 no acceptable solution (unreachable, nearest
 *  solution outside a joint limit, or no solver for the model; q_out untouched); -1 current
 *  joints outside the limits, or a null params or q_out; -2 flag 0 and the quaternion's
 *  squared norm, computed in single precision, is not exactly 1.0. Computes in the calling
 *  thread: microseconds for the 6-joint models, more for the 7-joint ones (see README). */
KY_API int ky_algo_inverse_kinematics(ky_robot_handle *robot_handle,
                                      const ky_inverse_kinematics_params *params, float q_out[7]);
/** Conversions (radians, metres). Euler angles rotate about the fixed X, then Y, then Z
 *  axes; an angle below -3.13 rad is reported plus 2 pi (a half turn reads +pi). */
KY_API ky_quaternion ky_algo_euler2quaternion(ky_euler euler);
KY_API ky_euler ky_algo_quaternion2euler(ky_quaternion quaternion);
/** Rotation matrix (counts 3 and 3). */
KY_API ky_matrix ky_algo_euler2matrix(ky_euler euler);
/** Homogeneous transform (counts 4 and 4) of a pose's position and Euler angles. */
KY_API ky_matrix ky_algo_pos2matrix(ky_pose pose);
/** Pose of a transform, both orientation forms filled. */
KY_API ky_pose ky_algo_matrix2pos(ky_matrix matrix);
/** Frame changes. Poses are read from position and Euler angles (the quaternion is not read)
 *  and returned with both orientation forms. A null frame counts as the identity.
 *  base2workframe: a pose given in the base frame, expressed in `work_frame` (W^-1 * P).
 *  workframe2base: a pose given in `work_frame`, expressed in the base frame (W * P). */
KY_API ky_pose ky_algo_base2workframe(const ky_frame *work_frame, ky_pose pose);
KY_API ky_pose ky_algo_workframe2base(const ky_frame *work_frame, ky_pose pose);
/** end2tool: the flange (end) pose to the pose of `tool_frame`'s tool point (F * T).
 *  tool2end: a tool point pose back to the flange pose (P * T^-1). */
KY_API ky_pose ky_algo_end2tool(const ky_frame *tool_frame, ky_pose flange_pose);
KY_API ky_pose ky_algo_tool2end(const ky_frame *tool_frame, ky_pose tool_pose);
/** Tool pose for `joint` (degrees, as ky_algo_forward_kinematics) moved by (dx, dy, dz)
 *  metres along the tool's own axes; the orientation is unchanged. A null joint array
 *  gives an all-zero pose. */
KY_API ky_pose ky_algo_cartesian_tool(ky_robot_handle *robot_handle, const float joint[7],
                                      float dx, float dy, float dz);
/** Rotates `pose` by `angle` (rad) about axis `axis` (0 x, 1 y, 2 z) of the frame
 *  `reference` through that frame's origin: result = Ref * Rot(axis, angle) * Ref^-1 * P.
 *  With reference = pose itself the tool turns about its own axis in place; with an
 *  identity reference it turns about the base axis through the base origin. Another axis
 *  value returns the pose unchanged. */
KY_API ky_pose ky_algo_rotate_move(ky_pose pose, int axis, float angle, ky_pose reference);
/** Offsets `pose` by offset = (dx, dy, dz in m, rx, ry, rz in rad, Euler as above).
 *  frame 0: in the pose's reference frame: the position is shifted by (dx, dy, dz) and the
 *  orientation is rotated about the fixed axes through the tool point (R' = Roff * R).
 *  frame 1: in the tool's own frame: result = P * Off (shift along and turn about the
 *  tool's axes). Another value, or a null offset, returns the pose unchanged. */
KY_API ky_pose ky_algo_pose_move(ky_pose pose, const float offset[6], int frame);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_ALGO_H */
