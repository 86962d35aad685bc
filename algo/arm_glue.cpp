// The ky_algo_* functions that take a robot handle: they load the connected arm's cached
// settings into the algorithm state, then compute. Lock order: the algorithm state's mutex
// first, then (briefly, while copying the arm's record) the registry's read lock.
#include <cstring>

#include "algo/api_internal.h"
#include "algo/pose.h"
#include "core/registry.h"

using namespace ky::algo;

namespace {

void arm_state_set_unlocked(ky_robot_handle *robot_handle) {
    if (!robot_handle) return;
    // A copy of the cached record, taken under the record lock that its writers hold too.
    ky_robot_handle arm;
    if (ky::with_robot(robot_handle, nullptr, [&](ky_handle &h) { arm = h.robot; }) != 0) {
        ky_log_warn("The robotic arm is not connected!");
        return;
    }
    init_sys_data_unlocked(static_cast<uint32_t>(arm.model), static_cast<uint32_t>(arm.force_type));
    set_angle_unlocked(arm.install_x, arm.install_y, arm.install_z);
    set_toolframe_unlocked(arm.tool_frame);
    set_workframe_unlocked(arm.work_frame);
    set_joint_field_unlocked(arm.joint_max_pos, kCfgMaxPos);
    set_joint_field_unlocked(arm.joint_min_pos, kCfgMinPos);
    set_joint_field_unlocked(arm.joint_max_acc, kCfgMaxAcc);
    set_joint_field_unlocked(arm.joint_max_speed, kCfgMaxVel);
}

ky_pose fk_deg(const float joint[7]) {
    const State &s = global_state();
    float q[kMaxJoints] = {};
    for (int i = 0; i < 7; ++i) q[i] = static_cast<float>(joint[i] * kDegToRad);
    return fk_work(s, q);
}

}  // namespace

extern "C" {

void ky_algo_arm_state_set(ky_robot_handle *robot_handle) {
    std::lock_guard<std::mutex> lock(global_mutex());
    arm_state_set_unlocked(robot_handle);
}

ky_pose ky_algo_forward_kinematics(ky_robot_handle *robot_handle, const float joint[7]) {
    std::lock_guard<std::mutex> lock(global_mutex());
    arm_state_set_unlocked(robot_handle);
    if (!joint) return ky_pose{};
    return fk_deg(joint);
}

int ky_algo_inverse_kinematics(ky_robot_handle *robot_handle,
                               const ky_inverse_kinematics_params *params, float q_out[7]) {
    if (!params || !q_out) return -1;
    if (params->flag == 0) {
        // Callers must pass a normalised quaternion; the check is exact on purpose.
        const ky_quaternion &q = params->target_pose.quaternion;
        const float n = q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z;
        if (n != 1.0f) return -2;
    }
    std::lock_guard<std::mutex> lock(global_mutex());
    arm_state_set_unlocked(robot_handle);
    if (judgment_overpos_unlocked(params->current_joints) == -1) return -1;
    State &s = global_state();
    if (public_state().traversal_flag) {
        s.solution_range = 0.013f;
        s.search_strategy = 1;
    }
    const int rc = invoke_inverse_kinematics(s, params->current_joints, params->target_pose,
                                             params->flag != 0, q_out);
    return rc == 0 ? 0 : 1;
}

ky_pose ky_algo_cartesian_tool(ky_robot_handle *robot_handle, const float joint[7], float dx,
                               float dy, float dz) {
    std::lock_guard<std::mutex> lock(global_mutex());
    arm_state_set_unlocked(robot_handle);
    if (!joint) return ky_pose{};
    const ky_pose p = fk_deg(joint);
    const float offset[6] = {dx, dy, dz, 0, 0, 0};
    return ky_algo_pose_move(p, offset, 1);
}

}  // extern "C"
