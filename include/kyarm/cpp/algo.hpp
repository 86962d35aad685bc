// kyarm/cpp/algo.hpp: the kinematics (ky::algo). Include <kyarm.hpp> rather than this file.
//
// Free functions over the process-wide algorithm state of <kyarm/algo.h>, one per C function,
// named after it without its prefix: ky_algo_forward_kinematics -> ky::algo::forward_kinematics,
// libalgo_get_dh_value -> ky::algo::get_dh_value (no two C functions give the same name).
// Units, conventions and locking are those of the C functions (the header is the reference).
//
// Shapes:
//   - Fixed C arrays become std::array of the C size, in and out: joints std::array<float, 7>
//     (degrees, only the arm's joint count is read; brace-initialise 6 values for a 6-joint
//     arm), frames' params std::array<float, 6>, limit records std::array<float, 8>, and so
//     on. Outputs are returned, zero-initialised where the C call leaves entries untouched.
//   - C records are passed and returned as they are (ky_pose, ky_frame, ky_matrix,
//     ky_dh_table, ky_inverse_kinematics_params).
//   - Calls that return a result code have two forms: `name(...)` throws ky::Error (family
//     algo) on a non-zero code and returns the value; `try_name(...)` returns ky::result<T>
//     (ky::result<void> when there is no value) and never throws. That covers
//     inverse_kinematics, init_sys_data, init, set_robot_and_sensor_type, set_safety_level
//     and set_system_all_dof. Predicates return bool (judgment_overpos: true when outside
//     the limits; check_dh_params_is_default), the other calls their C value.
//   - Calls that take a robot handle have an overload taking `const ky::Robot &` (the arm's
//     model, frames and limits are loaded first) and one without a robot (the offline state
//     selected by init_sys_data). A closed robot is refused (ky::Error / result code -1 in
//     the wrapper family) instead of silently falling back to the offline state.
#pragma once

#include <array>
#include <cstdint>

#include "core.hpp"
#include "robot.hpp"

namespace ky {

template <>
struct family_codes<family::algo> {
    static constexpr code_text table[] = {
        {1, "no acceptable inverse kinematics solution: unreachable, the nearest solution is outside a joint "
            "limit, or no solver for the model"},
        {-1, "current joints outside the joint limits, an unsupported robot or sensor type, or a value out of range"},
        // A refused quaternion, not a time-out.
        {-2, "flag 0 and the target quaternion's squared norm is not exactly 1.0 in single precision",
         static_cast<int>(errc::family_specific)},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};


}  // namespace ky

namespace ky::algo {

/** Joint vector of the kinematics: degrees (ky_algo_*) or radians (libalgo_*). */
using joint7 = std::array<float, 7>;
/** Per-joint records of the algorithm state (all 8 joint slots). */
using joint8 = std::array<float, 8>;
/** Frame parameters x, y, z (m), rx, ry, rz (rad). */
using params6 = std::array<float, 6>;
/** Link dynamics: 10 values per joint, room for 8 joints (the C calls use dof x 10). */
using link_dynamics = std::array<float, 80>;

namespace detail {

template <class T>
T finish(const char *fn, int code, T value) {
    if (code != 0) throw Error(make_error_code<family::algo>(code), fn);
    return value;
}
inline void finish(const char *fn, int code) {
    if (code != 0) throw Error(make_error_code<family::algo>(code), fn);
}
inline result<void> try_finish(const char *fn, int code) { return {make_error_code<family::algo>(code), fn}; }
template <class T>
result<T> try_finish(const char *fn, int code, T value) {
    if (code != 0) return {make_error_code<family::algo>(code), fn};
    return {std::move(value), fn};
}
/** The robot's C record; throws (wrapper family, -1) when the robot is closed. */
inline ky_robot_handle *handle_of(const Robot &robot, const char *fn) {
    ky_robot_handle *h = robot.handle();
    if (!h) throw Error(make_error_code<family::wrapper>(-1), fn);
    return h;
}

}  // namespace detail

// =============================================================== host-facing layer (ky_algo_*)

/** "1.4.7". */
inline const char *version() noexcept { return ky_algo_version(); }

/** Selects the arm model for offline use (discards frames, limits and installation angles).
 *  Throws ky::Error -1 for type 2 or a sensor the model does not accept. */
inline void init_sys_data(uint32_t robot_type, uint32_t sensor_type = 0) {
    detail::finish("ky_algo_init_sys_data", ky_algo_init_sys_data(robot_type, sensor_type));
}
inline result<void> try_init_sys_data(uint32_t robot_type, uint32_t sensor_type = 0) noexcept {
    return detail::try_finish("ky_algo_init_sys_data", ky_algo_init_sys_data(robot_type, sensor_type));
}

/** Installation angles x, y, z, degrees. */
inline void set_angle(float x, float y, float z) noexcept { ky_algo_set_angle(x, y, z); }
/** Installation angles x, y, z, degrees. */
inline std::array<float, 3> get_angle() noexcept {
    std::array<float, 3> v{};
    ky_algo_get_angle(&v[0], &v[1], &v[2]);
    return v;
}
inline void set_redundant_parameter_traversal_mode(bool traverse) noexcept {
    ky_algo_set_redundant_parameter_traversal_mode(traverse);
}
inline void set_workframe(const ky_frame &frame) noexcept { ky_algo_set_workframe(&frame); }
inline ky_frame get_curr_workframe() noexcept {
    ky_frame f{};
    ky_algo_get_curr_workframe(&f);
    return f;
}
inline void set_toolframe(const ky_frame &frame) noexcept { ky_algo_set_toolframe(&frame); }
inline ky_frame get_curr_toolframe() noexcept {
    ky_frame f{};
    ky_algo_get_curr_toolframe(&f);
    return f;
}

// Joint limits: degrees, degrees/s, degrees/s^2.
inline void set_joint_max_limit(const joint7 &joint) noexcept { ky_algo_set_joint_max_limit(joint.data()); }
inline void set_joint_min_limit(const joint7 &joint) noexcept { ky_algo_set_joint_min_limit(joint.data()); }
inline void set_joint_max_speed(const joint7 &joint) noexcept { ky_algo_set_joint_max_speed(joint.data()); }
inline void set_joint_max_acc(const joint7 &joint) noexcept { ky_algo_set_joint_max_acc(joint.data()); }
inline joint7 get_joint_max_limit() noexcept { joint7 v{}; ky_algo_get_joint_max_limit(v.data()); return v; }
inline joint7 get_joint_min_limit() noexcept { joint7 v{}; ky_algo_get_joint_min_limit(v.data()); return v; }
inline joint7 get_joint_max_speed() noexcept { joint7 v{}; ky_algo_get_joint_max_speed(v.data()); return v; }
inline joint7 get_joint_max_acc() noexcept { joint7 v{}; ky_algo_get_joint_max_acc(v.data()); return v; }

/** Copies the connected arm's model, frames, installation and limits into the state. */
inline void arm_state_set(const Robot &robot) {
    ky_algo_arm_state_set(detail::handle_of(robot, "ky_algo_arm_state_set"));
}

/** True when a joint of the arm (degrees) lies outside its limits. */
inline bool judgment_overpos(const joint7 &joint) noexcept { return ky_algo_judgment_overpos(joint.data()) != 0; }

/** Tool pose in the work frame for `joint` (degrees), with the robot's settings. */
inline ky_pose forward_kinematics(const Robot &robot, const joint7 &joint) {
    return ky_algo_forward_kinematics(detail::handle_of(robot, "ky_algo_forward_kinematics"), joint.data());
}
/** Tool pose in the work frame for `joint` (degrees), offline state. */
inline ky_pose forward_kinematics(const joint7 &joint) noexcept {
    return ky_algo_forward_kinematics(nullptr, joint.data());
}

/** Joints (degrees) putting the tool at params.target_pose (base/world frame), nearest to
 *  params.current_joints. Throws ky::Error: 1 no acceptable solution, -1 current joints
 *  outside the limits, -2 non-unit quaternion with flag 0. Computes in the calling thread. */
inline joint7 inverse_kinematics(const Robot &robot, const ky_inverse_kinematics_params &params) {
    joint7 q{};
    ky_robot_handle *h = detail::handle_of(robot, "ky_algo_inverse_kinematics");
    return detail::finish("ky_algo_inverse_kinematics", ky_algo_inverse_kinematics(h, &params, q.data()), q);
}
inline joint7 inverse_kinematics(const ky_inverse_kinematics_params &params) {
    joint7 q{};
    return detail::finish("ky_algo_inverse_kinematics", ky_algo_inverse_kinematics(nullptr, &params, q.data()), q);
}
/** Non-throwing forms of inverse_kinematics. */
inline result<joint7> try_inverse_kinematics(const Robot &robot, const ky_inverse_kinematics_params &params) {
    ky_robot_handle *h = robot.handle();
    if (!h) return {make_error_code<family::wrapper>(-1), "ky_algo_inverse_kinematics"};
    joint7 q{};
    return detail::try_finish("ky_algo_inverse_kinematics", ky_algo_inverse_kinematics(h, &params, q.data()), q);
}
inline result<joint7> try_inverse_kinematics(const ky_inverse_kinematics_params &params) {
    joint7 q{};
    return detail::try_finish("ky_algo_inverse_kinematics", ky_algo_inverse_kinematics(nullptr, &params, q.data()),
                              q);
}

// Conversions (radians, metres).
inline ky_quaternion euler2quaternion(ky_euler euler) noexcept { return ky_algo_euler2quaternion(euler); }
inline ky_euler quaternion2euler(ky_quaternion quaternion) noexcept { return ky_algo_quaternion2euler(quaternion); }
/** Rotation matrix, rows and cols 3. */
inline ky_matrix euler2matrix(ky_euler euler) noexcept { return ky_algo_euler2matrix(euler); }
/** Homogeneous transform, rows and cols 4. */
inline ky_matrix pos2matrix(ky_pose pose) noexcept { return ky_algo_pos2matrix(pose); }
inline ky_pose matrix2pos(ky_matrix matrix) noexcept { return ky_algo_matrix2pos(matrix); }

// Frame changes; a zero-initialised ky_frame is the identity.
inline ky_pose base2workframe(const ky_frame &work_frame, ky_pose pose) noexcept {
    return ky_algo_base2workframe(&work_frame, pose);
}
inline ky_pose workframe2base(const ky_frame &work_frame, ky_pose pose) noexcept {
    return ky_algo_workframe2base(&work_frame, pose);
}
inline ky_pose end2tool(const ky_frame &tool_frame, ky_pose flange_pose) noexcept {
    return ky_algo_end2tool(&tool_frame, flange_pose);
}
inline ky_pose tool2end(const ky_frame &tool_frame, ky_pose tool_pose) noexcept {
    return ky_algo_tool2end(&tool_frame, tool_pose);
}

/** Tool pose for `joint` (degrees) moved by dx, dy, dz metres along the tool's axes. */
inline ky_pose cartesian_tool(const Robot &robot, const joint7 &joint, float dx, float dy, float dz) {
    return ky_algo_cartesian_tool(detail::handle_of(robot, "ky_algo_cartesian_tool"), joint.data(), dx, dy, dz);
}
inline ky_pose cartesian_tool(const joint7 &joint, float dx, float dy, float dz) noexcept {
    return ky_algo_cartesian_tool(nullptr, joint.data(), dx, dy, dz);
}
/** `pose` turned by `angle` rad about axis `axis` (0 x, 1 y, 2 z) of `reference`. */
inline ky_pose rotate_move(ky_pose pose, int axis, float angle, ky_pose reference) noexcept {
    return ky_algo_rotate_move(pose, axis, angle, reference);
}
/** `pose` offset by dx, dy, dz (m), rx, ry, rz (rad); frame 0 reference frame, 1 tool frame. */
inline ky_pose pose_move(ky_pose pose, const params6 &offset, int frame) noexcept {
    return ky_algo_pose_move(pose, offset.data(), frame);
}

// ================================================================ algorithm state (libalgo_*)
// SI units: radians, metres, rad/s, rad/s^2, seconds.

inline void init() { detail::finish("libalgo_init", libalgo_init()); }
inline result<void> try_init() noexcept { return detail::try_finish("libalgo_init", libalgo_init()); }
/** Clears the state and loads the model's defaults; throws ky::Error -1 for an unsupported
 *  type or sensor (the state is then cleared). */
inline void set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type) {
    detail::finish("libalgo_set_robot_and_sensor_type", libalgo_set_robot_and_sensor_type(robot_type, sensor_type));
}
inline result<void> try_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type) noexcept {
    return detail::try_finish("libalgo_set_robot_and_sensor_type",
                              libalgo_set_robot_and_sensor_type(robot_type, sensor_type));
}
inline uint32_t get_robot_type() noexcept { return libalgo_get_robot_type(); }
inline uint32_t get_sensor_type() noexcept { return libalgo_get_sensor_type(); }

/** Installation angles a, b, c, radians. */
inline void set_robot_install_angle(float a, float b, float c) noexcept { libalgo_set_robot_install_angle(a, b, c); }
inline std::array<float, 3> get_robot_install_angle() noexcept {
    std::array<float, 3> v{};
    libalgo_get_robot_install_angle(v.data());
    return v;
}
inline ky_matrix get_robot_install_angle_matrix() noexcept {
    ky_matrix m{};
    libalgo_get_robot_install_angle_matrix(&m);
    return m;
}
/** Gravity in the base frame, m/s^2. */
inline std::array<float, 3> get_robot_gravity_acc() noexcept {
    std::array<float, 3> v{};
    libalgo_get_robot_gravity_acc(v.data());
    return v;
}

inline void set_tool_cs_params(const params6 &params) noexcept { libalgo_set_tool_cs_params(params.data()); }
inline params6 get_tool_cs_params() noexcept { params6 v{}; libalgo_get_tool_cs_params(v.data()); return v; }
inline ky_matrix get_tool_cs_matrix() noexcept { ky_matrix m{}; libalgo_get_tool_cs_matrix(&m); return m; }
inline void set_work_cs_params(const params6 &params) noexcept { libalgo_set_work_cs_params(params.data()); }
inline params6 get_work_cs_params() noexcept { params6 v{}; libalgo_get_work_cs_params(v.data()); return v; }
inline ky_matrix get_work_cs_to_base_matrix() noexcept {
    ky_matrix m{};
    libalgo_get_work_cs_to_base_matrix(&m);
    return m;
}

/** Mass (kg), centre of mass x, y, z (m), 7 further values. */
inline void set_payload_params(const std::array<float, 11> &payload) noexcept {
    libalgo_set_payload_params(payload.data());
}
inline std::array<float, 11> get_payload_params() noexcept {
    std::array<float, 11> v{};
    libalgo_get_payload_params(v.data());
    return v;
}

inline void set_dh_params(const ky_dh_table &dh) noexcept { libalgo_set_dh_params(&dh); }
inline ky_dh_table get_dh_value() noexcept { ky_dh_table t{}; libalgo_get_dh_value(&t); return t; }
inline void set_dh_params_default() noexcept { libalgo_set_dh_params_default(); }
inline ky_dh_table get_dh_params_default() noexcept { ky_dh_table t{}; libalgo_get_dh_params_default(&t); return t; }
inline bool check_dh_params_is_default() noexcept { return libalgo_check_dh_params_is_default() != 0; }
inline void set_dh_compensation_value(const ky_dh_table &dh) noexcept { libalgo_set_dh_compensation_value(&dh); }
inline ky_dh_table get_dh_compensation_value() noexcept {
    ky_dh_table t{};
    libalgo_get_dh_compensation_value(&t);
    return t;
}

// Joint limits of all 8 joint records: rad, rad/s, rad/s^2.
inline void set_jointlim_max(const joint8 &values) noexcept { libalgo_set_jointlim_max(values.data()); }
inline void set_jointlim_min(const joint8 &values) noexcept { libalgo_set_jointlim_min(values.data()); }
inline void set_joint_vel_maxlim(const joint8 &values) noexcept { libalgo_set_joint_vel_maxlim(values.data()); }
inline void set_joint_acc_maxlim(const joint8 &values) noexcept { libalgo_set_joint_acc_maxlim(values.data()); }
inline joint8 get_jointlim_max() noexcept { joint8 v{}; libalgo_get_jointlim_max(v.data()); return v; }
inline joint8 get_jointlim_min() noexcept { joint8 v{}; libalgo_get_jointlim_min(v.data()); return v; }
inline joint8 get_joint_vel_maxlim() noexcept { joint8 v{}; libalgo_get_joint_vel_maxlim(v.data()); return v; }
inline joint8 get_joint_acc_maxlim() noexcept { joint8 v{}; libalgo_get_joint_acc_maxlim(v.data()); return v; }
/** Position limits plus each joint's theta offset, rad. */
inline joint8 get_modeling_jointlim_max() noexcept { joint8 v{}; libalgo_get_modeling_jointlim_max(v.data()); return v; }
inline joint8 get_modeling_jointlim_min() noexcept { joint8 v{}; libalgo_get_modeling_jointlim_min(v.data()); return v; }

/** One joint's 17-float record (joint 0..7; another index is ignored, and the getter then
 *  returns zeros). */
inline void set_joint_config(int joint, const std::array<float, 17> &record) noexcept {
    libalgo_set_joint_config(joint, record.data());
}
inline std::array<float, 17> get_joint_config(int joint) noexcept {
    std::array<float, 17> v{};
    libalgo_get_joint_config(joint, v.data());
    return v;
}
/** Feedback record, 71 floats (joint vectors 0-7 and 8-15 in rad, stored with the offsets). */
inline void update_feedback_data(const std::array<float, 71> &data) noexcept { libalgo_update_feedback_data(data.data()); }
inline std::array<float, 71> get_robot_feedback_data() noexcept {
    std::array<float, 71> v{};
    libalgo_get_robot_feedback_data(v.data());
    return v;
}
/** Joint directions: positive stores +1, negative -1, 0 keeps the stored one. */
inline void set_joint_direction(const joint8 &directions) noexcept { libalgo_set_joint_direction(directions.data()); }
inline joint8 get_joint_direction() noexcept { joint8 v{}; libalgo_get_joint_direction(v.data()); return v; }

/** Link dynamics, 10 per joint; the C calls read and write the first dof x 10 values. */
inline void set_link_dynamics_params(const link_dynamics &params) noexcept {
    libalgo_set_link_dynamics_params(params.data());
}
inline link_dynamics get_link_dynamics_params() noexcept {
    link_dynamics v{};
    libalgo_get_link_dynamics_params(v.data());
    return v;
}
inline void set_link_dynamics_params_default() noexcept { libalgo_set_link_dynamics_params_default(); }
inline link_dynamics get_link_dynamics_params_default() noexcept {
    link_dynamics v{};
    libalgo_get_link_dynamics_params_default(v.data());
    return v;
}
/** Drag factors (8), second drag group (8), identification (56), link dynamics (80). */
inline std::array<float, 152> get_dynamics_params() noexcept {
    std::array<float, 152> v{};
    libalgo_get_dynamics_params(v.data());
    return v;
}
inline void set_dynamics_identification_params(const std::array<float, 56> &params) noexcept {
    libalgo_set_dynamics_identification_params(params.data());
}
/** 8 drag factors then 8 second-group values. */
inline void set_drag_regulation_factor(const std::array<float, 16> &factors) noexcept {
    libalgo_set_drag_regulation_factor(factors.data());
}

/** Safety level 0..8; throws ky::Error -1 (level unchanged) above 8. */
inline void set_safety_level(uint16_t level) { detail::finish("libalgo_set_safety_level", libalgo_set_safety_level(level)); }
inline result<void> try_set_safety_level(uint16_t level) noexcept {
    return detail::try_finish("libalgo_set_safety_level", libalgo_set_safety_level(level));
}
inline uint16_t get_safety_level() noexcept { return libalgo_get_safety_level(); }
/** Joint count of arm plus external axes; throws ky::Error -1 (unchanged) below the arm's. */
inline void set_system_all_dof(int32_t count) {
    detail::finish("libalgo_set_system_all_dof", libalgo_set_system_all_dof(count));
}
inline result<void> try_set_system_all_dof(int32_t count) noexcept {
    return detail::try_finish("libalgo_set_system_all_dof", libalgo_set_system_all_dof(count));
}
inline int32_t get_system_all_dof() noexcept { return libalgo_get_system_all_dof(); }
inline void set_is_avoid_Singularity(int32_t on) noexcept { libalgo_set_is_avoid_Singularity(on); }
inline int32_t get_is_avoid_Singularity() noexcept { return libalgo_get_is_avoid_Singularity(); }
/** Returns the stored type (2 stays 2, anything else becomes 1). */
inline int32_t set_dynamics_model_type(int32_t type) noexcept { return libalgo_set_dynamics_model_type(type); }
inline int32_t get_dynamics_model_type() noexcept { return libalgo_get_dynamics_model_type(); }
/** Control loop period, seconds. */
inline void set_control_loop_period(float seconds) noexcept { libalgo_set_control_loop_period(seconds); }
inline float get_control_loop_period() noexcept { return libalgo_get_control_loop_period(); }
inline void set_tcp_config(const std::array<float, 4> &config) noexcept { libalgo_set_tcp_config(config.data()); }
inline std::array<float, 4> get_tcp_config() noexcept {
    std::array<float, 4> v{};
    libalgo_get_tcp_config(v.data());
    return v;
}
inline void set_user_collision_threshold(const std::array<float, 21> &thresholds) noexcept {
    libalgo_set_user_collision_threshold(thresholds.data());
}
inline std::array<float, 21> get_user_collision_threshold() noexcept {
    std::array<float, 21> v{};
    libalgo_get_user_collision_threshold(v.data());
    return v;
}
/** Trajectory planner's joint command and current joints, rad. */
inline void set_trajectory_planning_joint_cmd(const joint8 &joints) noexcept {
    libalgo_set_trajectory_planning_joint_cmd(joints.data());
}
inline joint8 get_trajectory_planning_joint_cmd() noexcept {
    joint8 v{};
    libalgo_get_trajectory_planning_joint_cmd(v.data());
    return v;
}
inline joint8 get_trajectory_planning_joint_cur() noexcept {
    joint8 v{};
    libalgo_get_trajectory_planning_joint_cur(v.data());
    return v;
}
/** Joint count of the selected model (0 before a selection). */
inline int16_t get_rbt_dof() noexcept { return libalgo_get_rbt_dof(); }
/** Clears the state and leaves no model loaded. */
inline void clear() noexcept { libalgo_clear(); }

}  // namespace ky::algo
