// libalgo_*: the exported setters and getters of the process-wide algorithm state.
// Each call holds the state's mutex for its whole duration.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"

using ky::algo::State;
namespace algo = ky::algo;

namespace {

template <class Fn>
auto locked(Fn &&fn) {
    std::lock_guard<std::mutex> lock(algo::global_mutex());
    return fn(algo::global_state());
}

template <class T, size_t N>
void copy_in(T (&dst)[N], const T *src, size_t count = N) {
    if (src) std::memcpy(dst, src, sizeof(T) * std::min(count, N));
}

template <class T, size_t N>
void copy_out(T *dst, const T (&src)[N], size_t count = N) {
    if (dst) std::memcpy(dst, src, sizeof(T) * std::min(count, N));
}

void copy_dh(algo::DhTable &dst, const ky_dh_table &src, int entries) {
    for (int i = 0; i < entries; ++i) {
        dst.d[i] = src.d[i];
        dst.a[i] = src.a[i];
        dst.alpha[i] = src.alpha[i];
        dst.offset[i] = src.offset[i];
    }
}

void dh_out(ky_dh_table *dst, const algo::DhTable &src) {
    if (!dst) return;
    std::memcpy(dst->d, src.d, sizeof dst->d);
    std::memcpy(dst->a, src.a, sizeof dst->a);
    std::memcpy(dst->alpha, src.alpha, sizeof dst->alpha);
    std::memcpy(dst->offset, src.offset, sizeof dst->offset);
}

void set_config_field(const float *values, int field) {
    if (!values) return;
    locked([&](State &s) {
        for (int i = 0; i < algo::kMaxJoints; ++i) s.joint_config[i][field] = values[i];
    });
}

void get_config_field(float *values, int field) {
    if (!values) return;
    locked([&](State &s) {
        for (int i = 0; i < algo::kMaxJoints; ++i) values[i] = s.joint_config[i][field];
    });
}

int dof_of(const State &s) { return std::clamp<int>(s.dof, 0, algo::kMaxJoints); }

}  // namespace

extern "C" {

int libalgo_init(void) { return libalgo_set_robot_and_sensor_type(0, 0); }

int libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type) {
    return locked([&](State &s) {
        // The solver settings live beside the record and survive a model selection.
        const int32_t strategy = s.search_strategy;
        const float range = s.solution_range;
        const int rc = algo::select_model(s, robot_type, sensor_type);
        s.search_strategy = strategy;
        s.solution_range = range;
        return rc;
    });
}

uint32_t libalgo_get_robot_type(void) { return locked([](State &s) { return s.robot_type; }); }
uint32_t libalgo_get_sensor_type(void) { return locked([](State &s) { return s.sensor_type; }); }

void libalgo_set_robot_install_angle(float a, float b, float c) {
    locked([&](State &s) { algo::set_install_angles(s, a, b, c); });
}
void libalgo_get_robot_install_angle(float angles[3]) {
    locked([&](State &s) { copy_out(angles, s.install_angles); });
}
void libalgo_get_robot_install_angle_matrix(ky_matrix *matrix) {
    if (matrix) locked([&](State &s) { *matrix = s.install_rotation; });
}
void libalgo_get_robot_gravity_acc(float gravity[3]) {
    locked([&](State &s) { copy_out(gravity, s.gravity); });
}

void libalgo_set_tool_cs_params(const float params[6]) {
    if (params) locked([&](State &s) { algo::set_tool_frame(s, params); });
}
void libalgo_get_tool_cs_params(float params[6]) {
    locked([&](State &s) { copy_out(params, s.tool_params); });
}
void libalgo_get_tool_cs_matrix(ky_matrix *matrix) {
    if (matrix) locked([&](State &s) { *matrix = s.tool_matrix; });
}
void libalgo_set_work_cs_params(const float params[6]) {
    if (params) locked([&](State &s) { algo::set_work_frame(s, params); });
}
void libalgo_get_work_cs_params(float params[6]) {
    locked([&](State &s) { copy_out(params, s.work_params); });
}
void libalgo_get_work_cs_to_base_matrix(ky_matrix *matrix) {
    if (matrix) locked([&](State &s) { *matrix = s.work_to_base; });
}

void libalgo_set_payload_params(const float payload[11]) {
    locked([&](State &s) { copy_in(s.payload, payload); });
}
void libalgo_get_payload_params(float payload[11]) {
    locked([&](State &s) { copy_out(payload, s.payload); });
}

void libalgo_set_dh_params(const ky_dh_table *dh) {
    if (dh) locked([&](State &s) { copy_dh(s.dh, *dh, 7); });
}
void libalgo_get_dh_value(ky_dh_table *dh) {
    locked([&](State &s) { dh_out(dh, s.dh); });
}
void libalgo_set_dh_params_default(void) {
    locked([](State &s) { s.dh = s.dh_default; });
}
void libalgo_get_dh_params_default(ky_dh_table *dh) {
    locked([&](State &s) { dh_out(dh, s.dh_default); });
}
int libalgo_check_dh_params_is_default(void) {
    return locked([](State &s) {
        for (int i = 0; i < dof_of(s); ++i) {
            const float diffs[4] = {s.dh.d[i] - s.dh_default.d[i], s.dh.a[i] - s.dh_default.a[i],
                                    s.dh.alpha[i] - s.dh_default.alpha[i],
                                    s.dh.offset[i] - s.dh_default.offset[i]};
            for (float d : diffs)
                if (!(std::fabs(d) < 1e-10f)) return 0;
        }
        return 1;
    });
}
void libalgo_set_dh_compensation_value(const ky_dh_table *dh) {
    if (dh) locked([&](State &s) { copy_dh(s.dh_compensation, *dh, 7); });
}
void libalgo_get_dh_compensation_value(ky_dh_table *dh) {
    if (!dh) return;
    locked([&](State &s) {
        ky_dh_table t{};
        dh_out(&t, s.dh_compensation);
        // Seven entries of each array, as they were set.
        for (int i = 0; i < 7; ++i) {
            dh->d[i] = t.d[i];
            dh->a[i] = t.a[i];
            dh->alpha[i] = t.alpha[i];
            dh->offset[i] = t.offset[i];
        }
    });
}

void libalgo_set_jointlim_max(const float v[8]) { set_config_field(v, algo::kCfgMaxPos); }
void libalgo_set_jointlim_min(const float v[8]) { set_config_field(v, algo::kCfgMinPos); }
void libalgo_set_joint_vel_maxlim(const float v[8]) { set_config_field(v, algo::kCfgMaxVel); }
void libalgo_set_joint_acc_maxlim(const float v[8]) { set_config_field(v, algo::kCfgMaxAcc); }
void libalgo_get_jointlim_max(float v[8]) { get_config_field(v, algo::kCfgMaxPos); }
void libalgo_get_jointlim_min(float v[8]) { get_config_field(v, algo::kCfgMinPos); }
void libalgo_get_joint_vel_maxlim(float v[8]) { get_config_field(v, algo::kCfgMaxVel); }
void libalgo_get_joint_acc_maxlim(float v[8]) { get_config_field(v, algo::kCfgMaxAcc); }

void libalgo_get_modeling_jointlim_max(float v[8]) {
    if (!v) return;
    locked([&](State &s) {
        float mn[algo::kMaxJoints];
        algo::modelling_limits(s, v, mn);
    });
}
void libalgo_get_modeling_jointlim_min(float v[8]) {
    if (!v) return;
    locked([&](State &s) {
        float mx[algo::kMaxJoints];
        algo::modelling_limits(s, mx, v);
    });
}

void libalgo_set_joint_config(int joint, const float record[17]) {
    if (!record || joint < 0 || joint >= algo::kMaxJoints) return;
    locked([&](State &s) { copy_in(s.joint_config[joint], record); });
}
void libalgo_get_joint_config(int joint, float record[17]) {
    if (!record || joint < 0 || joint >= algo::kMaxJoints) return;
    locked([&](State &s) { copy_out(record, s.joint_config[joint]); });
}

void libalgo_update_feedback_data(const float data[71]) {
    if (!data) return;
    locked([&](State &s) {
        copy_in(s.feedback, data);
        for (int i = 0; i < dof_of(s); ++i) {
            s.feedback_second_raw[i] = s.feedback[algo::kMaxJoints + i];
            s.feedback[i] += s.dh.offset[i];
            s.feedback[algo::kMaxJoints + i] += s.dh.offset[i];
        }
    });
}
void libalgo_get_robot_feedback_data(float data[71]) {
    locked([&](State &s) { copy_out(data, s.feedback); });
}

void libalgo_set_joint_direction(const float directions[8]) {
    if (!directions) return;
    locked([&](State &s) {
        for (int i = 0; i < dof_of(s); ++i) {
            if (directions[i] > 0) s.direction[i] = 1.0f;
            else if (directions[i] < 0) s.direction[i] = -1.0f;
        }
    });
}
void libalgo_get_joint_direction(float directions[8]) {
    locked([&](State &s) { copy_out(directions, s.direction); });
}

void libalgo_set_link_dynamics_params(const float *params) {
    if (!params) return;
    locked([&](State &s) {
        std::memcpy(s.dynamics + algo::kLinkDynOffset, params,
                    sizeof(float) * algo::kLinkDynPerJoint * dof_of(s));
    });
}
void libalgo_get_link_dynamics_params(float *params) {
    if (!params) return;
    locked([&](State &s) {
        std::memcpy(params, s.dynamics + algo::kLinkDynOffset,
                    sizeof(float) * algo::kLinkDynPerJoint * dof_of(s));
    });
}
void libalgo_set_link_dynamics_params_default(void) {
    locked([](State &s) {
        std::memcpy(s.dynamics + algo::kLinkDynOffset, s.dynamics_default + algo::kLinkDynOffset,
                    sizeof(float) * algo::kLinkDynPerJoint * dof_of(s));
    });
}
void libalgo_get_link_dynamics_params_default(float *params) {
    if (!params) return;
    locked([&](State &s) {
        std::memcpy(params, s.dynamics_default + algo::kLinkDynOffset,
                    sizeof(float) * algo::kLinkDynPerJoint * dof_of(s));
    });
}
void libalgo_get_dynamics_params(float params[152]) {
    locked([&](State &s) { copy_out(params, s.dynamics); });
}
void libalgo_set_dynamics_identification_params(const float params[56]) {
    if (!params) return;
    locked([&](State &s) {
        std::memcpy(s.dynamics + algo::kDynIdentOffset, params, sizeof(float) * algo::kDynIdentLen);
    });
}
void libalgo_set_drag_regulation_factor(const float factors[16]) {
    if (!factors) return;
    locked([&](State &s) {
        std::memcpy(s.dynamics, factors, sizeof(float) * algo::kDragLen);
        // A vanishing factor would stop the joint in drag teaching; treat it as neutral.
        for (int i = 0; i < dof_of(s); ++i)
            if (std::fabs(s.dynamics[i]) < 0.001f) s.dynamics[i] = 1.0f;
    });
}

int libalgo_set_safety_level(uint16_t level) {
    if (level > 8) return -1;
    locked([&](State &s) { s.safety_level = level; });
    return 0;
}
uint16_t libalgo_get_safety_level(void) { return locked([](State &s) { return s.safety_level; }); }

int libalgo_set_system_all_dof(int32_t count) {
    return locked([&](State &s) {
        if (count < s.dof) return -1;
        s.system_dof = count;
        return 0;
    });
}
int32_t libalgo_get_system_all_dof(void) { return locked([](State &s) { return s.system_dof; }); }

void libalgo_set_is_avoid_Singularity(int32_t on) {
    locked([&](State &s) { s.avoid_singularity = on; });
}
int32_t libalgo_get_is_avoid_Singularity(void) {
    return locked([](State &s) { return s.avoid_singularity; });
}

int32_t libalgo_set_dynamics_model_type(int32_t type) {
    return locked([&](State &s) {
        s.dynamics_model_type = type == 2 ? 2 : 1;
        return s.dynamics_model_type;
    });
}
int32_t libalgo_get_dynamics_model_type(void) {
    return locked([](State &s) { return s.dynamics_model_type; });
}

void libalgo_set_control_loop_period(float seconds) {
    locked([&](State &s) { s.control_period = seconds; });
}
float libalgo_get_control_loop_period(void) {
    return locked([](State &s) { return s.control_period; });
}

void libalgo_set_tcp_config(const float config[4]) {
    locked([&](State &s) { copy_in(s.tcp_config, config); });
}
void libalgo_get_tcp_config(float config[4]) {
    locked([&](State &s) { copy_out(config, s.tcp_config); });
}
void libalgo_set_user_collision_threshold(const float thresholds[21]) {
    locked([&](State &s) { copy_in(s.collision_threshold, thresholds); });
}
void libalgo_get_user_collision_threshold(float thresholds[21]) {
    locked([&](State &s) { copy_out(thresholds, s.collision_threshold); });
}

void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]) {
    locked([&](State &s) { copy_in(s.traj_joint_cmd, joints); });
}
void libalgo_get_trajectory_planning_joint_cmd(float joints[8]) {
    locked([&](State &s) { copy_out(joints, s.traj_joint_cmd); });
}
void libalgo_get_trajectory_planning_joint_cur(float joints[8]) {
    locked([&](State &s) { copy_out(joints, s.traj_joint_cur); });
}

int16_t libalgo_get_rbt_dof(void) { return locked([](State &s) { return s.dof; }); }

void libalgo_clear(void) {
    locked([](State &s) {
        const int32_t strategy = s.search_strategy;
        const float range = s.solution_range;
        algo::reset_state(s, 0, 0);
        s.search_strategy = strategy;
        s.solution_range = range;
    });
}

}  // extern "C"
