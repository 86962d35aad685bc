// The arm description every kinematic routine reads: model, DH table, limits, frames,
// payload, solver settings. One instance per arm; the process-wide one is global_state().
//
// Units: radians, metres, rad/s, rad/s^2, seconds.
#pragma once
#include <cstdint>

#include "algo/kinematics.h"
#include "ky_api.h"

namespace ky::algo {

// Four arrays of kMaxJoints entries, one entry per joint; entries past the joint count are 0.
struct DhTable {
    float d[kMaxJoints];       // link offset along the previous z axis (m)
    float a[kMaxJoints];       // link length (m)
    float alpha[kMaxJoints];   // link twist (rad)
    float offset[kMaxJoints];  // theta offset added to every joint angle (rad)
};

// Per-joint configuration record: 17 floats; the eleventh to fourteenth hold the limits.
constexpr int kJointConfigLen = 17;
constexpr int kCfgMaxPos = 10, kCfgMinPos = 11, kCfgMaxVel = 12, kCfgMaxAcc = 13;

constexpr int kPayloadLen = 11;
constexpr int kTcpConfigLen = 4;
constexpr int kFeedbackLen = 71;
constexpr int kCollisionLen = 21;

// Dynamics block, 152 floats:
//   [0, 8)    drag regulation factors, one per joint
//   [8, 16)   second group of drag values, one per joint
//   [16, 72)  dynamics identification parameters
//   [72, 152) link dynamics parameters, 10 per joint
constexpr int kDynamicsLen = 152;
constexpr int kDragLen = 16;
constexpr int kDynIdentOffset = 16, kDynIdentLen = 56;
constexpr int kLinkDynOffset = 72, kLinkDynPerJoint = 10;

struct State {
    DhTable dh;
    DhTable dh_compensation;
    uint32_t robot_type;
    uint32_t sensor_type;
    float payload[kPayloadLen];  // mass (kg), centre of mass x, y, z (m), then zeros
    float tcp_config[kTcpConfigLen];
    float joint_config[kMaxJoints][kJointConfigLen];
    float feedback[kFeedbackLen];          // joint vectors stored with theta offsets added
    float feedback_second_raw[kMaxJoints];  // second joint vector without the offsets
    float tool_params[6];                   // x, y, z (m), rx, ry, rz (rad): tool on the flange
    float work_params[6];                   // same for the work frame in the base
    ky_matrix tool_matrix;                  // tool-to-flange transform
    ky_matrix work_to_base;                 // inverse of the work frame's transform
    ky_matrix install_rotation;             // Rz(c) * Ry(b) * Rx(a)
    float install_angles[3];
    float gravity[3];
    float dynamics[kDynamicsLen];
    float direction[kMaxJoints];
    float collision_threshold[kCollisionLen];
    float traj_joint_cmd[kMaxJoints];
    float traj_joint_cur[kMaxJoints];
    int16_t dof;
    uint16_t safety_level;
    int32_t system_dof;
    int32_t avoid_singularity;
    int32_t dynamics_model_type;
    float control_period;
    // Saved model defaults (what the *_default functions and the default check use).
    DhTable dh_default;
    float dynamics_default[kDynamicsLen];
    // 7-joint solver settings: search strategy (1 stays near the current joints, 0 traverses
    // the joint space) and the solution range (rad) of the restarts.
    int32_t search_strategy;
    float solution_range;
};

// Resets `s` to the cleared state of a model selection before the model is loaded:
// zeros, period 0.002 s, gravity (0, 0, -9.81), identity frames, solver settings 1 / 0.013.
void reset_state(State &s, uint32_t type, uint32_t sensor);

// Position limits plus theta offsets (the limits in the DH model's angle space).
void modelling_limits(const State &s, float max_pos[], float min_pos[]);

// The public layer's unit factors.
constexpr double kDegToRad = 0.017453292519943295;
constexpr double kRadToDeg = 57.29577951308232;

// Radians as the public layer reports them: single-precision degrees. Limits and solved
// joints both go out through this one conversion, so a joint solved onto a limit reads
// back equal to that limit.
inline float reported_degrees(float rad) { return static_cast<float>(rad / kDegToRad); }

// Whether the first `n` joints (degrees) lie within the position limits as the limit
// getters report them, bounds included. The comparison is made in those reported values:
// a joint set to the value read back is inside, and the next float beyond it is outside
// (in radians the two could round either way). NaN is outside.
bool joints_within_reported_limits(const State &s, const float deg[], int n);

// Solved joints (rad) may land a few units in the last place past a limit that the exact
// solution sits on (single-precision rounding in the solvers). Such a joint is put on the
// limit; a joint further out is left as it is. Returns false when any of the first `n`
// joints then lies outside its limits.
constexpr int kLimitRoundingUlps = 4;
bool settle_on_limits(const State &s, float q[], int n);

}  // namespace ky::algo
