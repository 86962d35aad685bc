// Joint limits as a host reads them: a joint set to the value that the limit getter
// returns lies inside, a joint past it does not, and the inverse solve starts and ends on
// such a limit.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ky_api.h"

namespace {

struct Model {
    uint32_t type;
    int dof;
};

// Every robot type with defaults; the unnamed type 9 only through the state functions.
const Model kModels[] = {{0, 6}, {1, 7}, {3, 6}, {4, 6}, {5, 6}, {6, 6}, {7, 7}, {8, 6}, {9, 7}};

void select(const Model &m) {
    if (m.type == 9) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(9, 0), 0);
    } else {
        ASSERT_EQ(ky_algo_init_sys_data(m.type, 0), 0);
    }
    ASSERT_EQ(libalgo_get_rbt_dof(), m.dof);
}

struct Limits {
    float max[7] = {};
    float min[7] = {};
};

Limits read_limits() {
    Limits l;
    ky_algo_get_joint_max_limit(l.max);
    ky_algo_get_joint_min_limit(l.min);
    return l;
}

// A joint vector well inside every limit, away from the wrist's straight position.
std::vector<float> interior(const Limits &l, int dof) {
    static const float share[7] = {0.55f, 0.4f, 0.6f, 0.45f, 0.35f, 0.6f, 0.4f};
    std::vector<float> q(7, 0.0f);
    for (int i = 0; i < dof; ++i) q[i] = l.min[i] + (l.max[i] - l.min[i]) * share[i];
    return q;
}

TEST(JointLimits, JudgedInTheUnitsTheGettersReport) {
    for (const Model &m : kModels) {
        select(m);
        const Limits l = read_limits();
        for (int j = 0; j < m.dof; ++j) {
            for (int side = 0; side < 2; ++side) {
                const bool upper = side == 0;
                const float lim = upper ? l.max[j] : l.min[j];
                const float out = upper ? INFINITY : -INFINITY;
                const float in = upper ? -INFINITY : INFINITY;
                const float step = upper ? 1e-3f : -1e-3f;
                struct Case {
                    const char *what;
                    float value;
                    int expect;
                } cases[] = {
                    {"on the limit", lim, 0},
                    {"one step inside", std::nextafter(lim, in), 0},
                    {"one step outside", std::nextafter(lim, out), -1},
                    {"1e-3 deg outside", lim + step, -1},
                };
                for (const Case &c : cases) {
                    std::vector<float> q = interior(l, m.dof);
                    ASSERT_EQ(ky_algo_judgment_overpos(q.data()), 0) << "type " << m.type;
                    q[j] = c.value;
                    EXPECT_EQ(ky_algo_judgment_overpos(q.data()), c.expect)
                        << "type " << m.type << " joint " << j + 1 << (upper ? " max " : " min ") << c.what
                        << " value " << c.value;
                }
            }
        }
    }
}

TEST(JointLimits, LimitsSetByTheHostAreInclusive) {
    // Limits set in degrees and read back, with fractions that do not survive the trip
    // through single-precision radians unchanged.
    ASSERT_EQ(ky_algo_init_sys_data(0, 0), 0);
    const float max[7] = {128.3f, 99.99f, 33.3f, 0.1f, 127.7f, 359.9f, 0};
    const float min[7] = {-128.3f, -99.99f, -33.3f, -0.1f, -127.7f, -359.9f, 0};
    ky_algo_set_joint_max_limit(max);
    ky_algo_set_joint_min_limit(min);
    const Limits l = read_limits();
    for (int j = 0; j < 6; ++j) {
        for (const float lim : {l.max[j], l.min[j]}) {
            float q[7] = {};
            q[j] = lim;
            EXPECT_EQ(ky_algo_judgment_overpos(q), 0) << "joint " << j + 1 << " at " << lim;
            q[j] = std::nextafter(lim, lim > 0 ? INFINITY : -INFINITY);
            EXPECT_EQ(ky_algo_judgment_overpos(q), -1) << "joint " << j + 1 << " past " << lim;
        }
    }
}

TEST(JointLimits, InverseSolveFromJointsOnALimit) {
    // Current joints with one joint on its limit as read back; the target is the forward
    // pose of those joints, so the solve must succeed and give the joints back, the one on
    // the limit included (the result is judged as the current joints were). A target just
    // past the limit must not come back as a solution past it.
    for (const Model &m : kModels) {
        if (m.type == 9) continue;  // no inverse solver for this type
        select(m);
        const Limits l = read_limits();
        for (int j = 0; j < m.dof; ++j) {
            for (const float lim : {l.max[j], l.min[j]}) {
                std::vector<float> q = interior(l, m.dof);
                q[j] = lim;
                ky_inverse_kinematics_params p{};
                for (int i = 0; i < 7; ++i) p.current_joints[i] = q[i];
                p.target_pose = ky_algo_forward_kinematics(nullptr, q.data());
                p.flag = 1;
                float res[7] = {};
                const std::string where =
                    "type " + std::to_string(m.type) + " joint " + std::to_string(j + 1) + " at " + std::to_string(lim);
                const int rc = ky_algo_inverse_kinematics(nullptr, &p, res);
                EXPECT_EQ(rc, 0) << where;
                if (rc != 0) continue;
                for (int i = 0; i < m.dof; ++i) EXPECT_NEAR(res[i], q[i], 0.05) << where << ", joint " << i + 1;
                EXPECT_EQ(ky_algo_judgment_overpos(res), 0) << where;

                // A target reached 1e-3 deg past the limit: the solve fails, or finds another
                // configuration that reaches it (a turn away, or through the redundancy of a
                // 7-joint arm), never one past a limit.
                std::vector<float> past = q;
                past[j] = lim + (lim == l.max[j] ? 1e-3f : -1e-3f);
                p.target_pose = ky_algo_forward_kinematics(nullptr, past.data());
                float res_past[7] = {};
                if (ky_algo_inverse_kinematics(nullptr, &p, res_past) == 0) {
                    EXPECT_EQ(ky_algo_judgment_overpos(res_past), 0) << where << ", target past it";
                    const ky_pose got = ky_algo_forward_kinematics(nullptr, res_past);
                    EXPECT_NEAR(got.position.x, p.target_pose.position.x, 1e-5) << where << ", target past it";
                    EXPECT_NEAR(got.position.y, p.target_pose.position.y, 1e-5) << where << ", target past it";
                    EXPECT_NEAR(got.position.z, p.target_pose.position.z, 1e-5) << where << ", target past it";
                }
            }
        }
    }
}

TEST(JointLimits, InverseSolveOnALimitNearSingularPoses) {
    // Near an elbow or wrist singularity the closed form's rounding spreads over the coupled
    // joints, so the joint on the limit comes out well past it (up to 1e-4 rad); the solve
    // must still return a configuration within the limits that reaches the target.
    constexpr float kMax = 1000, kMin = -1000;  // stand for the limit as read back
    struct Case {
        uint32_t type;
        float q[6];
    } cases[] = {
        {0, {-87.56f, -58.69f, -9.02f, 113.05f, 3.31f, kMax}},      // wrist nearly straight
        {0, {51.02f, 97.81f, -17.39f, -8.06f, kMin, -109.63f}},
        {3, {64.92f, 90.66f, 12.99f, kMax, -2.05f, 168.3f}},
        {4, {-114.33f, -75.57f, 2.02f, -98.77f, 19.94f, kMin}},     // elbow nearly straight
        {5, {-94.24f, -91.18f, -27.65f, kMin, -3.52f, -129.4f}},
        {5, {-1.19f, kMin, -4.08f, -111.2f, 135.37f, -27.85f}},
        {8, {-65.24f, -7.46f, -4.79f, kMin, 31.28f, 118.73f}},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(ky_algo_init_sys_data(c.type, 0), 0);
        const Limits l = read_limits();
        ky_inverse_kinematics_params p{};
        for (int i = 0; i < 6; ++i)
            p.current_joints[i] = c.q[i] == kMax ? l.max[i] : c.q[i] == kMin ? l.min[i] : c.q[i];
        p.target_pose = ky_algo_forward_kinematics(nullptr, p.current_joints);
        p.flag = 1;
        float res[7] = {};
        const int rc = ky_algo_inverse_kinematics(nullptr, &p, res);
        EXPECT_EQ(rc, 0) << "type " << c.type << ", joints from " << c.q[0];
        if (rc != 0) continue;
        EXPECT_EQ(ky_algo_judgment_overpos(res), 0) << "type " << c.type;
        // Near the singularity the coupled joints are barely fixed by the pose (a straight
        // wrist leaves joints 4 and 6 turning together), so the pose is what must match.
        const ky_pose got = ky_algo_forward_kinematics(nullptr, res);
        EXPECT_NEAR(got.position.x, p.target_pose.position.x, 1e-5) << "type " << c.type;
        EXPECT_NEAR(got.position.y, p.target_pose.position.y, 1e-5) << "type " << c.type;
        EXPECT_NEAR(got.position.z, p.target_pose.position.z, 1e-5) << "type " << c.type;
        const ky_matrix want = ky_algo_euler2matrix(p.target_pose.euler), have = ky_algo_euler2matrix(got.euler);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(have.data[i][j], want.data[i][j], 1e-5) << "type " << c.type;
    }
}

}  // namespace
