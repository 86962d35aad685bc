// Pieces of the public algorithm layer shared by api.cpp and arm_glue.cpp. Functions named
// *_unlocked expect the caller to hold global_mutex().
#pragma once
#include <atomic>

#include "algo/kinematics.h"
#include "algo/state.h"

namespace ky::algo {

// Module variables of the public layer, beside the algorithm state.
struct PublicState {
    float install_rad[3] = {0, 0, 0};
    ky_frame tool_frame{};
    ky_frame work_frame{};
    // Set until ky_algo_set_redundant_parameter_traversal_mode() is first called; while it
    // is set, every public inverse solve uses the near-search settings.
    bool traversal_flag = true;
};
PublicState &public_state();

// Fastest and slowest inverse solve timed by the overspeed-judging glue, milliseconds.
extern std::atomic<double> invoke_inverse_time_total_min;
extern std::atomic<double> invoke_inverse_time_total_max;

int init_sys_data_unlocked(uint32_t robot_type, uint32_t sensor_type);
void set_angle_unlocked(float x_deg, float y_deg, float z_deg);
void set_toolframe_unlocked(const ky_frame &frame);
void set_workframe_unlocked(const ky_frame &frame);
// Writes the arm's joints of `joint` (degree units) into joint-record field `field`.
void set_joint_field_unlocked(const float joint[], int field);
int judgment_overpos_unlocked(const float joint_deg[]);

// 0, or the 1-based number of the first joint whose step from `from` to `to` (rad) exceeds
// its maximum velocity x control period x factor (a negative factor counts as 0).
int joint_overspeed_judgment(const State &s, const float from[], const float to[], float factor);
// Same with joints in degrees.
int invoke_joint_overspeed_judgment(const State &s, const float from_deg[], const float to_deg[],
                                    float factor);
// Inverse solve in degrees: the solver's code (0, -1, -2, -4); `out_deg` written on 0.
int invoke_inverse_kinematics(State &s, const float current_deg[], const ky_pose &target,
                              bool use_euler, float out_deg[]);
// As above, plus: KY7A's solution range reset to 0.013 rad before the solve, the solve
// timed into the statistics, and on success the overspeed judgement (factor 1) returned
// (0 or the joint number).
int invoke_inverse_kinematics_with_judgment_overspeed(State &s, const float current_deg[],
                                                      const ky_pose &target, bool use_euler,
                                                      float out_deg[]);

}  // namespace ky::algo
