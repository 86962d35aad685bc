// ky_algo_*: the public algorithm layer without a robot handle, and the unit glue.
#include <sys/time.h>

#include <cmath>
#include <cstring>

#include "algo/api_internal.h"
#include "algo/pose.h"

using namespace ky::algo;

namespace ky::algo {

std::atomic<double> invoke_inverse_time_total_min{10000.0};
std::atomic<double> invoke_inverse_time_total_max{0.0};

PublicState &public_state() {
    static PublicState p;
    return p;
}

int init_sys_data_unlocked(uint32_t robot_type, uint32_t sensor_type) {
    if (robot_type > 8) robot_type = 0;
    if (sensor_type > 2) sensor_type = 0;
    State &s = global_state();
    const int32_t strategy = s.search_strategy;
    const float range = s.solution_range;
    select_model(s, 0, 0);  // the module's own initialisation first
    const int rc = select_model(s, robot_type, sensor_type);
    s.search_strategy = strategy;
    s.solution_range = range;
    PublicState &p = public_state();
    p.install_rad[0] = p.install_rad[1] = p.install_rad[2] = 0;
    p.tool_frame = ky_frame{};
    p.work_frame = ky_frame{};
    return rc;
}

void set_angle_unlocked(float x_deg, float y_deg, float z_deg) {
    PublicState &p = public_state();
    p.install_rad[0] = static_cast<float>(x_deg * kDegToRad);
    p.install_rad[1] = static_cast<float>(y_deg * kDegToRad);
    p.install_rad[2] = static_cast<float>(z_deg * kDegToRad);
    set_install_angles(global_state(), p.install_rad[0], p.install_rad[1], p.install_rad[2]);
}

namespace {
void frame_params(const ky_frame &f, float params[6]) {
    params[0] = f.pose.position.x;
    params[1] = f.pose.position.y;
    params[2] = f.pose.position.z;
    params[3] = f.pose.euler.rx;
    params[4] = f.pose.euler.ry;
    params[5] = f.pose.euler.rz;
}

// A frame record from the state's six parameters and the name kept at the last set.
ky_frame frame_record(const float params[6], const ky_frame &kept) {
    ky_frame f = kept;
    f.pose.position = {params[0], params[1], params[2]};
    f.pose.euler = {params[3], params[4], params[5]};
    f.pose.quaternion = euler_to_quat(f.pose.euler);
    return f;
}
}  // namespace

void set_toolframe_unlocked(const ky_frame &frame) {
    State &s = global_state();
    float params[6];
    frame_params(frame, params);
    set_tool_frame(s, params);
    std::memset(s.payload, 0, sizeof s.payload);
    s.payload[0] = frame.payload;
    s.payload[1] = frame.x;
    s.payload[2] = frame.y;
    s.payload[3] = frame.z;
    public_state().tool_frame = frame;
    public_state().tool_frame.frame_name[KY_FRAME_NAME_LEN - 1] = '\0';
}

void set_workframe_unlocked(const ky_frame &frame) {
    float params[6];
    frame_params(frame, params);
    set_work_frame(global_state(), params);
    public_state().work_frame = frame;
    public_state().work_frame.frame_name[KY_FRAME_NAME_LEN - 1] = '\0';
}

void set_joint_field_unlocked(const float joint[], int field) {
    State &s = global_state();
    const int n = std::min<int>(s.dof, 7);
    for (int i = 0; i < n; ++i) s.joint_config[i][field] = static_cast<float>(joint[i] * kDegToRad);
}

int judgment_overpos_unlocked(const float joint_deg[]) {
    const State &s = global_state();
    return joints_within_reported_limits(s, joint_deg, std::min<int>(s.dof, 7)) ? 0 : -1;
}

int joint_overspeed_judgment(const State &s, const float from[], const float to[], float factor) {
    if (factor < 0) factor = 0;
    for (int i = 0; i < s.dof && i < kMaxJoints; ++i) {
        const float allowed = s.joint_config[i][kCfgMaxVel] * s.control_period * factor;
        if (std::fabs(to[i] - from[i]) > allowed) return i + 1;
    }
    return 0;
}

int invoke_joint_overspeed_judgment(const State &s, const float from_deg[], const float to_deg[],
                                    float factor) {
    float from[kMaxJoints] = {}, to[kMaxJoints] = {};
    for (int i = 0; i < s.dof && i < 7; ++i) {
        from[i] = static_cast<float>(from_deg[i] * kDegToRad);
        to[i] = static_cast<float>(to_deg[i] * kDegToRad);
    }
    return joint_overspeed_judgment(s, from, to, factor);
}

int invoke_inverse_kinematics(State &s, const float current_deg[], const ky_pose &target,
                              bool use_euler, float out_deg[]) {
    const int n = std::min<int>(s.dof, 7);
    float cur[kMaxJoints] = {}, out[kMaxJoints] = {};
    for (int i = 0; i < n; ++i) cur[i] = static_cast<float>(current_deg[i] * kDegToRad);
    const int rc = inverse_kinematics(s, cur, target, use_euler, out);
    if (rc != 0) return rc;
    for (int i = 0; i < n; ++i) out_deg[i] = reported_degrees(out[i]);
    return 0;
}

int invoke_inverse_kinematics_with_judgment_overspeed(State &s, const float current_deg[],
                                                      const ky_pose &target, bool use_euler,
                                                      float out_deg[]) {
    // KY7A solves near the current joints here, whatever the traversal mode: the result
    // feeds a control cycle, where only a small step is acceptable.
    if (s.robot_type == 1) s.solution_range = 0.013f;
    timeval t0, t1;
    gettimeofday(&t0, nullptr);
    const int rc = invoke_inverse_kinematics(s, current_deg, target, use_euler, out_deg);
    gettimeofday(&t1, nullptr);
    const double ms = ((t1.tv_sec - t0.tv_sec) + (t1.tv_usec - t0.tv_usec) / 1e6) * 1000.0;
    if (ms < invoke_inverse_time_total_min.load())
        invoke_inverse_time_total_min.store(ms);
    else if (ms > invoke_inverse_time_total_max.load())
        invoke_inverse_time_total_max.store(ms);
    if (rc != 0) return rc;
    return invoke_joint_overspeed_judgment(s, current_deg, out_deg, 1.0f);
}

}  // namespace ky::algo

namespace {
template <class Fn>
auto locked(Fn &&fn) {
    std::lock_guard<std::mutex> lock(global_mutex());
    return fn();
}

void get_joint_field(float joint[], int field) {
    if (!joint) return;
    locked([&] {
        const State &s = global_state();
        const int n = std::min<int>(s.dof, 7);
        for (int i = 0; i < n; ++i) joint[i] = reported_degrees(s.joint_config[i][field]);
    });
}

void set_joint_field(const float joint[], int field) {
    if (joint) locked([&] { set_joint_field_unlocked(joint, field); });
}

ky_pose pose_of(const ky_matrix &m) { return transformation_matrix_to_pose(m); }
ky_matrix frame_matrix(const ky_frame *f) {
    return f ? pose_euler_to_transformation_matrix(f->pose) : identity_matrix(4);
}
}  // namespace

extern "C" {

const char *ky_algo_version(void) { return "1.4.7"; }

int ky_algo_init_sys_data(uint32_t robot_type, uint32_t sensor_type) {
    return locked([&] { return init_sys_data_unlocked(robot_type, sensor_type); });
}

void ky_algo_set_angle(float x, float y, float z) {
    locked([&] { set_angle_unlocked(x, y, z); });
}

void ky_algo_get_angle(float *x, float *y, float *z) {
    if (!x || !y || !z) return;
    locked([&] {
        const PublicState &p = public_state();
        *x = static_cast<float>(p.install_rad[0] * kRadToDeg);
        *y = static_cast<float>(p.install_rad[1] * kRadToDeg);
        *z = static_cast<float>(p.install_rad[2] * kRadToDeg);
    });
}

void ky_algo_set_redundant_parameter_traversal_mode(bool traverse) {
    locked([&] {
        State &s = global_state();
        public_state().traversal_flag = false;
        s.solution_range = traverse ? 3.14f : 0.013f;
        s.search_strategy = traverse ? 0 : 1;
    });
}

void ky_algo_set_workframe(const ky_frame *frame) {
    if (frame) locked([&] { set_workframe_unlocked(*frame); });
}

void ky_algo_get_curr_workframe(ky_frame *frame) {
    if (frame)
        locked([&] { *frame = frame_record(global_state().work_params, public_state().work_frame); });
}

void ky_algo_set_toolframe(const ky_frame *frame) {
    if (frame) locked([&] { set_toolframe_unlocked(*frame); });
}

void ky_algo_get_curr_toolframe(ky_frame *frame) {
    if (!frame) return;
    locked([&] {
        const State &s = global_state();
        *frame = frame_record(s.tool_params, public_state().tool_frame);
        frame->payload = s.payload[0];
        frame->x = s.payload[1];
        frame->y = s.payload[2];
        frame->z = s.payload[3];
    });
}

void ky_algo_set_joint_max_limit(const float joint[7]) { set_joint_field(joint, kCfgMaxPos); }
void ky_algo_set_joint_min_limit(const float joint[7]) { set_joint_field(joint, kCfgMinPos); }
void ky_algo_set_joint_max_speed(const float joint[7]) { set_joint_field(joint, kCfgMaxVel); }
void ky_algo_set_joint_max_acc(const float joint[7]) { set_joint_field(joint, kCfgMaxAcc); }
void ky_algo_get_joint_max_limit(float joint[7]) { get_joint_field(joint, kCfgMaxPos); }
void ky_algo_get_joint_min_limit(float joint[7]) { get_joint_field(joint, kCfgMinPos); }
void ky_algo_get_joint_max_speed(float joint[7]) { get_joint_field(joint, kCfgMaxVel); }
void ky_algo_get_joint_max_acc(float joint[7]) { get_joint_field(joint, kCfgMaxAcc); }

int ky_algo_judgment_overpos(const float joint[7]) {
    if (!joint) return -1;
    return locked([&] { return judgment_overpos_unlocked(joint); });
}

ky_quaternion ky_algo_euler2quaternion(ky_euler euler) { return euler_to_quat(euler); }
ky_euler ky_algo_quaternion2euler(ky_quaternion quaternion) { return quat_to_euler(quaternion); }
ky_matrix ky_algo_euler2matrix(ky_euler euler) { return euler_to_matrix(euler); }
ky_matrix ky_algo_pos2matrix(ky_pose pose) { return pose_euler_to_transformation_matrix(pose); }
ky_pose ky_algo_matrix2pos(ky_matrix matrix) { return transformation_matrix_to_pose(matrix); }

ky_pose ky_algo_base2workframe(const ky_frame *work_frame, ky_pose pose) {
    return pose_of(mat_mul(transform_inverse(frame_matrix(work_frame)),
                           pose_euler_to_transformation_matrix(pose)));
}

ky_pose ky_algo_workframe2base(const ky_frame *work_frame, ky_pose pose) {
    return pose_of(mat_mul(frame_matrix(work_frame), pose_euler_to_transformation_matrix(pose)));
}

ky_pose ky_algo_end2tool(const ky_frame *tool_frame, ky_pose flange_pose) {
    return pose_of(mat_mul(pose_euler_to_transformation_matrix(flange_pose), frame_matrix(tool_frame)));
}

ky_pose ky_algo_tool2end(const ky_frame *tool_frame, ky_pose tool_pose) {
    return pose_of(mat_mul(pose_euler_to_transformation_matrix(tool_pose),
                           transform_inverse(frame_matrix(tool_frame))));
}

ky_pose ky_algo_rotate_move(ky_pose pose, int axis, float angle, ky_pose reference) {
    const ky_matrix p = pose_euler_to_transformation_matrix(pose);
    ky_matrix rot;
    switch (axis) {
        case 0: rot = homogeneous(rotx(angle)); break;
        case 1: rot = homogeneous(roty(angle)); break;
        case 2: rot = homogeneous(rotz(angle)); break;
        default: return pose_of(p);
    }
    const ky_matrix ref = pose_euler_to_transformation_matrix(reference);
    return pose_of(mat_mul(mat_mul(mat_mul(ref, rot), transform_inverse(ref)), p));
}

ky_pose ky_algo_pose_move(ky_pose pose, const float offset[6], int frame) {
    ky_matrix p = pose_euler_to_transformation_matrix(pose);
    if (!offset || (frame != 0 && frame != 1)) return pose_of(p);
    const ky_matrix off = transform_from_params(offset);
    if (frame == 1) return pose_of(mat_mul(p, off));
    ky_matrix moved = mat_mul(homogeneous(matrix_T2R(off)), homogeneous(matrix_T2R(p)));
    for (int k = 0; k < 3; ++k) moved.data[k][3] = p.data[k][3] + offset[k];
    return pose_of(moved);
}

}  // extern "C"
