// Inverse kinematics: round trips through the forward model, and the selection rules.
#include <gtest/gtest.h>

#include <cmath>

#include "algo/ik_internal.h"
#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"
#include "kdl_support.h"

using namespace ky::algo;
using kytest::ModelCase;

namespace {

double rotation_distance(const ky_matrix &a, const ky_matrix &b) {
    double pos, rot;
    kytest::frame_error(kytest::to_kdl(a), kytest::to_kdl(b), pos, rot);
    return rot;
}

double position_distance(const ky_matrix &a, const ky_matrix &b) {
    double pos, rot;
    kytest::frame_error(kytest::to_kdl(a), kytest::to_kdl(b), pos, rot);
    return pos;
}

class IkRoundTrip : public ::testing::TestWithParam<ModelCase> {};

TEST_P(IkRoundTrip, ForwardPoseOfSolutionMatchesTarget) {
    const ModelCase mc = GetParam();
    State s{};
    ASSERT_EQ(select_model(s, mc.type, mc.sensor), 0);
    // A tool and an installation tilt: the solver has to remove both.
    const float tool[6] = {0.0f, 0.01f, 0.08f, 0.0f, 0.2f, 0.0f};
    set_tool_frame(s, tool);
    set_install_angles(s, 0.1f, 0.0f, -0.3f);
    std::mt19937 rng(77 + mc.type * 10 + mc.sensor);
    std::normal_distribution<float> jitter(0.0f, 0.02f);
    const int total = kytest::samples(mc.dof == 7 ? 2000 : 3000);
    int ok = 0;
    for (int n = 0; n < total; ++n) {
        float q[kMaxJoints] = {}, cur[kMaxJoints] = {}, out[kMaxJoints] = {};
        // Keep away from the limits by the perturbation, so the current joints are valid.
        kytest::random_joints(s, mc.dof, rng, q, 0.06f);
        for (int i = 0; i < mc.dof; ++i) cur[i] = q[i] + jitter(rng);
        ky_matrix target;
        // Alternate between the Euler and the quaternion form of the target. Near a quarter
        // turn in ry the Euler form folds rz into rx (up to 1.4e-3 rad off by design), so
        // those targets always go by quaternion.
        const ky_pose pose = fk_world(s, q, &target);
        const bool euler = n % 2 == 0 && std::fabs(target.data[2][0]) < 0.99999f;
        const int rc = inverse_kinematics(s, cur, pose, euler, out);
        if (rc != 0) {
            ADD_FAILURE() << "type " << mc.type << " sample " << n << " rc " << rc;
            continue;
        }
        ky_matrix reached;
        fk_world(s, out, &reached);
        const double dp = position_distance(reached, target), dr = rotation_distance(reached, target);
        if (dp < 1e-4 && dr < 1e-3)
            ++ok;
        else
            ADD_FAILURE() << "type " << mc.type << " sample " << n << " dp " << dp << " dr " << dr;
        for (int i = 0; i < mc.dof; ++i) {
            EXPECT_LE(out[i], s.joint_config[i][kCfgMaxPos]);
            EXPECT_GE(out[i], s.joint_config[i][kCfgMinPos]);
        }
        if (::testing::Test::HasFailure() && n > 20) break;  // one broken model, not 3000 lines
    }
    EXPECT_EQ(ok, total);
}

INSTANTIATE_TEST_SUITE_P(AllModels, IkRoundTrip, ::testing::ValuesIn(kytest::all_model_cases()),
                         [](const auto &info) {
                             return "type" + std::to_string(info.param.type) + "_sensor" +
                                    std::to_string(info.param.sensor);
                         });

}  // namespace

namespace {

// Near the wrist singularity (|q5| up to 1e-3, below 5e-5 the wrist keeps a reference
// angle) joints 4 and 6 are poorly determined one by one, but the pose must still be met.
TEST(IkNearSingularity, WristAlmostStraight) {
    for (uint32_t type : {0u, 3u, 4u, 5u, 6u, 8u}) {
        State s{};
        ASSERT_EQ(select_model(s, type, 0), 0);
        std::mt19937 rng(900 + type);
        std::uniform_real_distribution<float> tiny(0.0f, 1e-3f);
        std::normal_distribution<float> jitter(0.0f, 0.02f);
        int bad = 0;
        for (int n = 0; n < kytest::samples(1000); ++n) {
            float q[kMaxJoints] = {}, cur[kMaxJoints] = {}, out[kMaxJoints] = {};
            kytest::random_joints(s, 6, rng, q, 0.06f);
            q[4] = (n % 2 ? tiny(rng) : -tiny(rng)) - s.dh.offset[4] + (type == 3 ? 3.1415927f : 0.0f);
            for (int i = 0; i < 6; ++i) cur[i] = q[i] + jitter(rng);
            ky_matrix target, reached;
            const ky_pose pose = fk_world(s, q, &target);
            if (inverse_kinematics(s, cur, pose, false, out) != 0) {
                ++bad;
                continue;
            }
            fk_world(s, out, &reached);
            if (position_distance(reached, target) > 1e-4 || rotation_distance(reached, target) > 1e-3) ++bad;
        }
        EXPECT_EQ(bad, 0) << "type " << type;
    }
}

}  // namespace
