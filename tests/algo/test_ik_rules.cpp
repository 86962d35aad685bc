// Inverse kinematics selection rules: reference clamping, turn keeping, the widened limit
// filter, singularity avoidance, unsupported types, the 7-joint search settings, and the
// overspeed judgement and timing of the glue.
#include <gtest/gtest.h>

#include <cmath>

#include "algo/api_internal.h"
#include "algo/ik_internal.h"
#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"
#include "kdl_support.h"

using namespace ky::algo;

namespace {

constexpr float kDeg = 0.017453292f;

State model(uint32_t type, uint32_t sensor = 0) {
    State s{};
    EXPECT_EQ(select_model(s, type, sensor), 0);
    return s;
}

ky_pose target_of(const State &s, const float q[]) { return fk_world(s, q); }

TEST(IkRules, TypesWithoutSolverReturnMinus4) {
    for (uint32_t type : {2u, 9u, 12u}) {
        State s = model(0);
        s.robot_type = type;
        const float q[kMaxJoints] = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f};
        float out[kMaxJoints] = {9, 9, 9, 9, 9, 9, 9, 9};
        EXPECT_EQ(inverse_kinematics(s, q, target_of(s, q), true, out), -4);
        EXPECT_EQ(out[0], 9.0f);  // untouched
    }
}

TEST(IkRules, UnreachableTargetReturnsMinus1WithoutWriting) {
    State s = model(0);
    const float q[kMaxJoints] = {};
    ky_pose far{};
    far.position = {3.0f, 0.0f, 0.5f};
    float out[kMaxJoints] = {7, 7, 7, 7, 7, 7};
    EXPECT_EQ(inverse_kinematics(s, q, far, true, out), -1);
    EXPECT_EQ(out[0], 7.0f);
    State s7 = model(1);
    EXPECT_EQ(inverse_kinematics(s7, q, far, true, out), -1);
}

TEST(IkRules, LastJointReferenceJustPastATurnCountsAsTheTurn) {
    // The target needs joint 6 at 180.5 deg (or -179.5). From 361 deg, clamped to 360 deg,
    // the nearest is 360 - 179.5 = 180.5 deg; an unclamped 361 would pick 540.5 deg.
    State s = model(0);
    const float q[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 180.5f * kDeg};
    float cur[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 361.0f * kDeg};
    float out[kMaxJoints];
    ASSERT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), 0);
    EXPECT_NEAR(out[5], 180.5f * kDeg, 1e-4);
    // Beyond 2 deg past the turn the reference is left alone: the turn is kept, and the
    // result (540.5 - 360 ... ) is reported as out of limit.
    cur[5] = 363.0f * kDeg;
    ASSERT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), -2);
    EXPECT_NEAR(out[5], 540.5f * kDeg, 1e-4);
}

TEST(IkRules, JointSixKeepsItsWholeTurns) {
    State s = model(0);
    const float q[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 5.0f * kDeg};
    const float cur[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 725.0f * kDeg};
    float out[kMaxJoints];
    // 725 deg is beyond the 360 deg limit: written, and reported as out of limit.
    EXPECT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), -2);
    EXPECT_NEAR(out[5], 725.0f * kDeg, 1e-4);
    const float cur_neg[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, -355.0f * kDeg};
    EXPECT_EQ(inverse_kinematics(s, cur_neg, target_of(s, q), true, out), 0);
    EXPECT_NEAR(out[5], -355.0f * kDeg, 1e-4);
}

TEST(IkRules, WidenedLimitFindsNearestButReportsIt) {
    // KY6A joint 1 is limited to 178 deg. A target 0.005 rad beyond is still found as the
    // nearest configuration and returned with -2; 0.02 rad beyond is filtered out, leaving
    // only the far shoulder-flipped branches.
    struct Case {
        float beyond;
        int rc;
    } cases[] = {{0.005f, -2}, {-0.005f, 0}};
    for (const auto &c : cases) {
        State s = model(0);
        const float lim = s.joint_config[0][kCfgMaxPos];
        const float q[kMaxJoints] = {lim + c.beyond, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
        const float cur[kMaxJoints] = {lim - 0.01f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
        float out[kMaxJoints] = {};
        EXPECT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), c.rc) << c.beyond;
        EXPECT_NEAR(out[0], lim + c.beyond, 1e-4);
    }
    State s = model(0);
    const float lim = s.joint_config[0][kCfgMaxPos];
    const float q[kMaxJoints] = {lim + 0.02f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
    const float cur[kMaxJoints] = {lim - 0.01f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
    float out[kMaxJoints] = {};
    const int rc = inverse_kinematics(s, cur, target_of(s, q), true, out);
    if (rc == 0) {
        EXPECT_LT(out[0], 0.0f);  // a flipped shoulder, far from the reference
    }
    EXPECT_NE(rc, -2);
}

TEST(IkRules, SingularityAvoidanceKeepsWristDifference) {
    // q5 = 0: only q4 + q6 is determined by the pose.
    for (uint32_t type : {0u, 3u}) {
        State s = model(type);
        const float q[kMaxJoints] = {0.3f, 0.2f, 0.4f, 0.5f, 0.0f, 0.7f};
        const float cur[kMaxJoints] = {0.3f, 0.2f, 0.4f, 0.1f, 0.01f, 0.2f};
        float out[kMaxJoints];
        s.avoid_singularity = 1;
        ASSERT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), 0) << type;
        EXPECT_NEAR(out[3] - out[5], cur[3] - cur[5], 1e-4) << type;
        EXPECT_NEAR(out[3] + out[5], q[3] + q[5], 1e-3) << type;
        ky_matrix want, got;
        fk_world(s, q, &want);
        fk_world(s, out, &got);
        double dp, dr;
        kytest::frame_error(kytest::to_kdl(want), kytest::to_kdl(got), dp, dr);
        EXPECT_LT(dp, 1e-4);
        EXPECT_LT(dr, 1e-3);
    }
    // KYL6C revision 3 has no avoidance: at the exact singularity joint 4 keeps its
    // reference and joint 6 takes the rest of the wrist rotation.
    State s = model(4);
    s.avoid_singularity = 1;
    const float q[kMaxJoints] = {0.3f, 0.2f, 0.4f, 0.5f, 0.0f, 0.7f};
    const float cur[kMaxJoints] = {0.3f, 0.2f, 0.4f, 0.1f, 0.0f, 0.2f};
    float out[kMaxJoints];
    ASSERT_EQ(inverse_kinematics(s, cur, target_of(s, q), true, out), 0);
    EXPECT_NEAR(out[3], cur[3], 1e-6);
    ky_matrix want, got;
    fk_world(s, q, &want);
    fk_world(s, out, &got);
    double dp, dr;
    kytest::frame_error(kytest::to_kdl(want), kytest::to_kdl(got), dp, dr);
    EXPECT_LT(dp, 1e-4);
    EXPECT_LT(dr, 1e-3);
}

TEST(IkRules, NearestJointAndMinIndex) {
    const float lo = -3.0f, hi = 3.0f;
    struct Case {
        float ref, cand, expect, dist;
    } cases[] = {
        {0.0f, 6.2831855f, 0.0f, 0.0f},        // one turn back
        {2.9f, -3.2f, 3.0831855f, 0.1831855f}, // +2pi lands within the margin above hi
        {0.0f, 20.0f, 20.0f, 1e6f},            // no shift fits: unchanged
        {-2.0f, 12.566371f + 1.0f, 1.0f, 3.0f},
    };
    for (const auto &c : cases) {
        float v = c.cand;
        const float d = find_nearest_joint(c.ref, v, 0.0087f, lo, hi + 0.1f);
        EXPECT_NEAR(v, c.expect, 1e-5);
        EXPECT_NEAR(d, c.dist, 1e-4);
    }
    const float vals[] = {3, 1, 2, 1};
    EXPECT_EQ(find_min_index(vals, 4), 1);  // first of the equal smallest
    EXPECT_EQ(find_min_index(vals, 1), 0);
    EXPECT_EQ(find_min_index(vals, 0), 0);
}

TEST(IkRules, SevenJointSolutionStaysNearTheCurrentJoints) {
    // The redundant arm has infinitely many solutions; the near search must return one
    // close to the current configuration, not merely any.
    for (uint32_t type : {1u, 7u}) {
        State s = model(type);
        std::mt19937 rng(type);
        for (int n = 0; n < 200; ++n) {
            float q[kMaxJoints] = {}, cur[kMaxJoints] = {}, out[kMaxJoints] = {};
            kytest::random_joints(s, 7, rng, q, 0.05f);
            for (int i = 0; i < 7; ++i) cur[i] = q[i] + 0.01f * ((n + i) % 3 - 1);
            ASSERT_EQ(inverse_kinematics(s, cur, target_of(s, q), false, out), 0);
            float dist = 0;
            for (int i = 0; i < 7; ++i) dist += std::fabs(out[i] - cur[i]);
            EXPECT_LT(dist, 0.3f) << "type " << type << " sample " << n;
        }
    }
}

TEST(IkRules, TraversalFindsFarSolutions) {
    // Seeds at the middle of the limits, targets anywhere: traversal on finds them.
    for (uint32_t type : {1u, 7u}) {
        State s = model(type);
        s.search_strategy = 0;
        s.solution_range = 3.14f;
        std::mt19937 rng(40 + type);
        int ok = 0;
        const int total = kytest::samples(300);
        for (int n = 0; n < total; ++n) {
            float q[kMaxJoints] = {}, mid[kMaxJoints] = {}, out[kMaxJoints] = {};
            kytest::random_joints(s, 7, rng, q);
            for (int i = 0; i < 7; ++i)
                mid[i] = 0.5f * (s.joint_config[i][kCfgMaxPos] + s.joint_config[i][kCfgMinPos]);
            ky_matrix want, got;
            const ky_pose t = fk_world(s, q, &want);
            if (inverse_kinematics(s, mid, t, true, out) != 0) continue;
            fk_world(s, out, &got);
            double dp, dr;
            kytest::frame_error(kytest::to_kdl(want), kytest::to_kdl(got), dp, dr);
            if (dp < 1e-4 && dr < 1e-3) ++ok;
        }
        EXPECT_GE(ok, total * 97 / 100) << "type " << type;
    }
}

TEST(IkGlue, OverspeedJudgement) {
    State s = model(0);
    // Allowed step: 180 deg/s x 0.002 s = 0.36 deg for joint 1.
    const float from[7] = {0, 0, 0, 0, 0, 0, 0};
    struct Case {
        float to[7];
        float factor;
        int expect;
    } cases[] = {
        {{0.35f, 0, 0, 0, 0, 0, 0}, 1.0f, 0},
        {{0.37f, 0, 0, 0, 0, 0, 0}, 1.0f, 1},
        {{0.37f, 0, 0, 0, 0, 0, 0}, 2.0f, 0},
        {{0, 0, 0, 0.0001f, 0, 0, 0}, -1.0f, 4},  // a negative factor allows no motion
        {{0, 0, 0, 0, 0, -0.5f, 0}, 1.0f, 6},
        {{0, 0, 0, 0, 0, 0, 5.0f}, 1.0f, 0},     // joint 7 of a 6-joint arm is not judged
    };
    for (const auto &c : cases) EXPECT_EQ(invoke_joint_overspeed_judgment(s, from, c.to, c.factor), c.expect);
}

TEST(IkGlue, JudgingSolveTimesAndReportsOverspeed) {
    State s = model(0);
    const float q[kMaxJoints] = {0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
    float cur_deg[7], out_deg[7];
    for (int i = 0; i < 6; ++i) cur_deg[i] = q[i] * 57.29578f;
    cur_deg[6] = 0;
    invoke_inverse_time_total_min = 10000.0;
    invoke_inverse_time_total_max = 0.0;
    // Target equal to the current pose: no motion, no overspeed.
    EXPECT_EQ(invoke_inverse_kinematics_with_judgment_overspeed(s, cur_deg, target_of(s, q), true, out_deg), 0);
    EXPECT_LT(invoke_inverse_time_total_min.load(), 10000.0);
    EXPECT_GE(invoke_inverse_time_total_min.load(), 0.0);
    // A target 5 degrees of joint 2 away is far more than one control period allows.
    const float q2[kMaxJoints] = {0.2f, 0.3f + 5 * kDeg, 0.4f, 0.5f, 0.6f, 0.7f};
    EXPECT_EQ(invoke_inverse_kinematics_with_judgment_overspeed(s, cur_deg, target_of(s, q2), true, out_deg), 2);
    EXPECT_NEAR(out_deg[1], (0.3f + 5 * kDeg) * 57.29578f, 1e-2);
    // KY7A solves with the near range there, whatever was set.
    State s7 = model(1);
    s7.solution_range = 3.14f;
    const float q7[kMaxJoints] = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f};
    float c7[7];
    for (int i = 0; i < 7; ++i) c7[i] = q7[i] * 57.29578f;
    EXPECT_EQ(invoke_inverse_kinematics_with_judgment_overspeed(s7, c7, target_of(s7, q7), true, out_deg), 0);
    EXPECT_FLOAT_EQ(s7.solution_range, 0.013f);
}

}  // namespace
