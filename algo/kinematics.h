// Internal C++ interface of the algorithm module.
//
// Every kinematic routine works on an explicit `State` (one arm description). The
// process-wide record behind the libalgo_* and ky_algo_* functions is one instance,
// `global_state()`, guarded by `global_mutex()`; the simulator and tests keep their own
// instances, so they never disturb a host's algorithm state.
//
// Units: radians, metres, rad/s, rad/s^2.
#pragma once
#include <cstdint>
#include <mutex>

#include "ky_api.h"

namespace ky::algo {

constexpr int kMaxJoints = 8;

struct State;  // defined in algo/state.h

State &global_state();
std::mutex &global_mutex();

// Clears `s` and loads the defaults of robot type `type` with sensor `sensor`
// (libalgo_set_robot_and_sensor_type). 0, or -1 for an unsupported type or sensor.
int select_model(State &s, uint32_t type, uint32_t sensor);
int joint_count(const State &s);

void set_install_angles(State &s, float a, float b, float c);
// Tool frame on the flange / work frame in the base: x, y, z (m), rx, ry, rz (rad).
void set_tool_frame(State &s, const float params[6]);
void set_work_frame(State &s, const float params[6]);
// Position limits (rad), velocity (rad/s), acceleration (rad/s^2), kMaxJoints entries each.
void set_joint_limits(State &s, const float max_pos[], const float min_pos[]);
void get_joint_limits(const State &s, float max_pos[], float min_pos[], float max_vel[],
                      float max_acc[]);

// Flange transform in the arm's own base (forward_kinematics_e).
ky_matrix fk_flange(const State &s, const float q[]);
// Rotation part (counts 3 and 3) and position (m) of the flange transform.
ky_matrix fk_rotation(const State &s, const float q[]);
ky_position fk_position(const State &s, const float q[]);
// Tool pose in the world frame: installation and tool applied (forward_kinematics_for_unity).
ky_pose fk_world(const State &s, const float q[], ky_matrix *transform = nullptr);
// Tool pose expressed in the work frame (forward_kinematics).
ky_pose fk_work(const State &s, const float q[]);

// Inverse kinematics (inverse_kinematics): target tool pose in the base frame; `use_euler`
// selects the Euler angles of the pose, otherwise its quaternion. 0 success, -1 unreachable,
// -2 nearest solution outside a joint limit (written to `out`), -4 no solver for the type.
int inverse_kinematics(State &s, const float current[], const ky_pose &target, bool use_euler,
                       float out[]);

}  // namespace ky::algo
