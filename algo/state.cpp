// Per-model defaults and the State-level setters.
//
// The arms' dynamics, drag and collision data are not part of the model tables we have, so
// every model loads neutral values for them: link dynamics parameters 0, drag regulation
// factors 1.0 (second drag group 0), identification parameters 0, collision thresholds 0.
// Callers that know their arm's data set it with the libalgo_* setters.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"

namespace ky::algo {

namespace {

constexpr float kDeg = 0.017453292f;   // degrees to radians, as the model tables store them
constexpr float kPi2 = 1.5707964f;     // 90 degrees
constexpr float kPi = 3.1415927f;

struct Model {
    int dof;
    bool accepts_sensors;
    float last_d[3];        // last-link d for sensor types 0, 1, 2
    float d[7], a[7], alpha_deg[7], offset_deg[7];
    float max_pos[7], min_pos[7], max_vel[7], max_acc[7];
    float direction[7];
};

// Indexed by robot type; type 2 has no entry (dof 0).
const Model kModels[10] = {
    // 0 KY6A
    {6, true, {0.144f, 0.152f, 0.1725f},
     {0.2405f, 0, 0, 0.21f, 0, 0.144f},
     {0, 0, 0.256f, 0, 0, 0},
     {0, 90, 0, 90, -90, 90},
     {0, 90, 90, 0, 0, 0},
     {178, 130, 135, 178, 128, 360},
     {-178, -130, -135, -178, -128, -360},
     {180, 180, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, 1, 1, 1, 1, 1}},
    // 1 KY7A (standard convention: twist after the joint)
    {7, true, {0.144f, 0.152f, 0.1725f},
     {0.2405f, 0, 0.256f, 0, 0.21f, 0, 0.144f},
     {0, 0, 0, 0, 0, 0, 0},
     {-90, 90, -90, 90, -90, 90, 0},
     {0, 0, 0, 0, 0, 0, 0},
     {178, 130, 178, 135, 178, 128, 360},
     {-178, -130, -178, -135, -178, -128, -360},
     {180, 180, 225, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000, 1000},
     {1, 1, 1, 1, 1, 1, 1}},
    // 2: no model
    {0, false, {0, 0, 0}, {}, {}, {}, {}, {}, {}, {}, {}, {}},
    // 3 KYL6C revision 2
    {6, true, {0.115f, 0.123f, 0.1435f},
     {0.172f, 0, 0, 0.405f, 0, 0.115f},
     {0, -0.086f, 0.38f, 0.069f, 0, 0},
     {0, -90, 0, 90, -90, -90},
     {0, -90, 90, 0, 180, 180},
     {178, 178, 145, 178, 178, 360},
     {-178, -178, -178, -178, -178, -360},
     {180, 180, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, -1, 1, 1, 1, 1}},
    // 4 KYL6C revision 3
    {6, true, {0.115f, 0.123f, 0.1435f},
     {0.162f, -0.0084f, 0, 0.405f, 0, 0.115f},
     {0, -0.086f, 0.38f, 0.069f, 0, 0},
     {0, -90, 0, 90, -90, -90},
     {0, -90, 90, 0, 0, 0},
     {178, 178, 145, 178, 178, 360},
     {-178, -178, -178, -178, -178, -360},
     {180, 180, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, -1, 1, 1, 1, 1}},
    // 5 LUX6A
    {6, true, {0.0795f, 0.0875f, 0.108f},
     {0.1625f, 0, 0, -0.05888f, 0.11f, 0.0795f},
     {0, -0.086f, 0.26f, 0.24f, 0, 0},
     {0, -90, 0, 0, 90, -90},
     {0, -90, 0, 90, 0, 0},
     {180, 180, 145, 140, 180, 180},
     {-180, -180, -160, -140, -180, -180},
     {180, 180, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, -1, 1, -1, 1, 1}},
    // 6 LUX6B (no end sensor; its velocity order is its own)
    {6, false, {0.0707f, 0.0707f, 0.0707f},
     {0.136f, 0, 0, -0.0585f, 0.071f, 0.0707f},
     {0, -0.07f, 0.148f, 0.136f, 0, 0},
     {0, -90, 0, 0, 90, -90},
     {0, -90, 0, 90, 0, 0},
     {180, 180, 145, 140, 180, 180},
     {-180, -180, -160, -140, -180, -180},
     {225, 225, 225, 180, 180, 180},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, -1, 1, -1, 1, 1}},
    // 7 NOV7B (no end sensor)
    {7, false, {0.0905f, 0.0905f, 0.0905f},
     {0.218f, 0, 0.28f, 0, 0.2525f, 0, 0.0905f},
     {0, 0, 0, 0.04f, -0.019f, 0, 0.067f},
     {0, -90, 90, 90, -90, 90, 90},
     {0, 0, 0, 0, 0, 90, 0},
     {172, 105, 172, 55, 172, 120, 172},
     {-172, -105, -172, -170, -172, -90, -172},
     {180, 180, 180, 180, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000, 1000},
     {-1, 1, -1, 1, -1, 1, -1}},
    // 8 LUX6C
    {6, true, {0.0795f, 0.0875f, 0.108f},
     {0.1625f, 0, 0, -0.0589f, 0.11f, 0.0795f},
     {0, -0.086f, 0.41f, 0.38f, 0, 0},
     {0, -90, 0, 0, 90, -90},
     {0, -90, 0, 90, 0, 0},
     {180, 180, 145, 140, 180, 180},
     {-180, -180, -160, -140, -180, -180},
     {180, 180, 225, 225, 225, 225},
     {1000, 1000, 1000, 1000, 1000, 1000},
     {1, -1, 1, -1, 1, 1}},
    // 9: unnamed 7-joint model, all-zero DH table (no sensor types of its own)
    {7, true, {0, 0, 0},
     {0, 0, 0, 0, 0, 0, 0},
     {0, 0, 0, 0, 0, 0, 0},
     {0, 0, 0, 0, 0, 0, 0},
     {0, 0, 0, 0, 0, 0, 0},
     {360, 360, 360, 360, 360, 360, 360},
     {-360, -360, -360, -360, -360, -360, -360},
     {300, 300, 300, 300, 300, 300, 300},
     {1000, 1000, 1000, 1000, 1000, 1000, 1000},
     {1, 1, 1, 1, 1, 1, 1}},
};

// Twists are stored as exact multiples of 90 degrees.
float twist(float deg) {
    if (deg == 90.0f) return kPi2;
    if (deg == -90.0f) return -kPi2;
    if (deg == 180.0f) return kPi;
    return deg * kDeg;
}

int load_defaults(State &s, uint32_t type, uint32_t sensor) {
    if (type > 9 || type == 2 || sensor > 2) return -1;
    const Model &m = kModels[type];
    if (!m.accepts_sensors && sensor != 0) return -1;
    const int n = m.dof;
    for (int i = 0; i < n; ++i) {
        s.dh.d[i] = m.d[i];
        s.dh.a[i] = m.a[i];
        s.dh.alpha[i] = twist(m.alpha_deg[i]);
        s.dh.offset[i] = twist(m.offset_deg[i]);
        float *cfg = s.joint_config[i];
        cfg[kCfgMaxPos] = m.max_pos[i] * kDeg;
        cfg[kCfgMinPos] = m.min_pos[i] * kDeg;
        cfg[kCfgMaxVel] = m.max_vel[i] * kDeg;
        cfg[kCfgMaxAcc] = m.max_acc[i] * kDeg;
        s.direction[i] = m.direction[i];
        s.dynamics[i] = 1.0f;  // neutral drag regulation factor
    }
    if (type != 9) s.dh.d[n - 1] = m.last_d[sensor];
    // The revision-3 KYL6C base is 0.162 m without a sensor but 0.172 m with one.
    if (type == 4 && sensor != 0) s.dh.d[0] = 0.172f;
    const float tcp[kTcpConfigLen] = {0.25f, 1.6f, 0.6f, 4.0f};
    std::memcpy(s.tcp_config, tcp, sizeof tcp);
    s.dof = static_cast<int16_t>(n);
    s.system_dof = n;
    s.dh_default = s.dh;
    std::memcpy(s.dynamics_default, s.dynamics, sizeof s.dynamics);
    return 0;
}

}  // namespace

void reset_state(State &s, uint32_t type, uint32_t sensor) {
    s = State{};
    s.control_period = 0.002f;
    s.gravity[2] = -9.81f;
    s.robot_type = type;
    s.sensor_type = sensor;
    s.tool_matrix = identity_matrix(4);
    s.work_to_base = identity_matrix(4);
    s.install_rotation = identity_matrix(4);
    s.search_strategy = 1;
    s.solution_range = 0.013f;
}

int select_model(State &s, uint32_t type, uint32_t sensor) {
    reset_state(s, type, sensor);
    return load_defaults(s, type, sensor);
}

int joint_count(const State &s) { return s.dof; }

void set_install_angles(State &s, float a, float b, float c) {
    s.install_angles[0] = a;
    s.install_angles[1] = b;
    s.install_angles[2] = c;
    const ky_matrix r =
        mat_mul(mat_mul(homogeneous(rotz(c)), homogeneous(roty(b))), homogeneous(rotx(a)));
    s.install_rotation = r;
    const float sa = std::sin(a), ca = std::cos(a), sb = std::sin(b), cb = std::cos(b);
    s.gravity[0] = 9.81f * sb;
    s.gravity[1] = -9.81f * sa * cb;
    s.gravity[2] = -9.81f * ca * cb;
}

void set_tool_frame(State &s, const float params[6]) {
    std::memcpy(s.tool_params, params, sizeof s.tool_params);
    s.tool_matrix = transform_from_params(params);
}

void set_work_frame(State &s, const float params[6]) {
    std::memcpy(s.work_params, params, sizeof s.work_params);
    s.work_to_base = transform_inverse(transform_from_params(params));
}

void set_joint_limits(State &s, const float max_pos[], const float min_pos[]) {
    for (int i = 0; i < kMaxJoints; ++i) {
        if (max_pos) s.joint_config[i][kCfgMaxPos] = max_pos[i];
        if (min_pos) s.joint_config[i][kCfgMinPos] = min_pos[i];
    }
}

void get_joint_limits(const State &s, float max_pos[], float min_pos[], float max_vel[],
                      float max_acc[]) {
    for (int i = 0; i < kMaxJoints; ++i) {
        if (max_pos) max_pos[i] = s.joint_config[i][kCfgMaxPos];
        if (min_pos) min_pos[i] = s.joint_config[i][kCfgMinPos];
        if (max_vel) max_vel[i] = s.joint_config[i][kCfgMaxVel];
        if (max_acc) max_acc[i] = s.joint_config[i][kCfgMaxAcc];
    }
}

void modelling_limits(const State &s, float max_pos[], float min_pos[]) {
    for (int i = 0; i < kMaxJoints; ++i) {
        max_pos[i] = s.joint_config[i][kCfgMaxPos] + s.dh.offset[i];
        min_pos[i] = s.joint_config[i][kCfgMinPos] + s.dh.offset[i];
    }
}

bool joints_within_reported_limits(const State &s, const float deg[], int n) {
    for (int i = 0; i < n && i < kMaxJoints; ++i) {
        const float *cfg = s.joint_config[i];
        if (!(deg[i] >= reported_degrees(cfg[kCfgMinPos]) && deg[i] <= reported_degrees(cfg[kCfgMaxPos])))
            return false;
    }
    return true;
}

namespace {
// The rounding allowance at a limit: kLimitRoundingUlps units in the last place of the
// limit, measured at no less than 1 rad (the solvers' rounding is absolute near zero).
float rounding_allowance(float limit) {
    const float mag = std::max(std::fabs(limit), 1.0f);
    return kLimitRoundingUlps * (std::nextafter(mag, INFINITY) - mag);
}
}  // namespace

bool settle_on_limits(const State &s, float q[], int n) {
    bool inside = true;
    for (int i = 0; i < n && i < kMaxJoints; ++i) {
        const float hi = s.joint_config[i][kCfgMaxPos], lo = s.joint_config[i][kCfgMinPos];
        if (q[i] > hi && q[i] - hi <= rounding_allowance(hi)) q[i] = hi;
        if (q[i] < lo && lo - q[i] <= rounding_allowance(lo)) q[i] = lo;
        inside = inside && q[i] >= lo && q[i] <= hi;
    }
    return inside;
}

State &global_state() {
    // Zero until the first model selection, apart from the 7-joint solver settings, which
    // live beside the record and start at strategy 1, range 0.013 rad.
    static State s = [] {
        State st{};
        st.search_strategy = 1;
        st.solution_range = 0.013f;
        return st;
    }();
    return s;
}

std::mutex &global_mutex() {
    static std::mutex m;
    return m;
}

}  // namespace ky::algo
