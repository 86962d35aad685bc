// Pose conversions: thresholds, the -3.13 wrap and the quaternion branches.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "algo/pose.h"
#include "ky_api.h"

using namespace ky::algo;

namespace {

TEST(PoseConversions, EulerEdgeCases) {
    // ry = +90 degrees: rz is 0 and the whole rotation about the common axis lands in rx.
    const ky_euler gimbal = matrix_to_euler(euler_to_matrix({0.3f, 1.5707964f, 0.2f}));
    EXPECT_NEAR(gimbal.ry, 1.5707964f, 1e-3);
    EXPECT_EQ(gimbal.rz, 0.0f);
    EXPECT_NEAR(gimbal.rx, 0.1f, 2e-3);  // rx - rz about the shared axis
    const ky_euler down = matrix_to_euler(euler_to_matrix({0.3f, -1.5707964f, 0.2f}));
    EXPECT_EQ(down.rz, 0.0f);
    EXPECT_NEAR(down.rx, 0.5f, 2e-3);

    // Angles just above -pi read as just above +pi.
    const ky_euler wrapped = matrix_to_euler(euler_to_matrix({-3.1398f, 0.0f, 0.0f}));
    EXPECT_NEAR(wrapped.rx, 3.1434f, 1e-3);
    const ky_euler kept = matrix_to_euler(euler_to_matrix({-3.12f, 0.0f, 0.0f}));
    EXPECT_NEAR(kept.rx, -3.12f, 1e-4);

    const ky_quaternion unit = euler_to_quat({0, 0, 0});
    EXPECT_EQ(unit.w, 1.0f);
    EXPECT_EQ(unit.x, 0.0f);
    EXPECT_EQ(unit.y, 0.0f);
    EXPECT_EQ(unit.z, 0.0f);
}

TEST(PoseConversions, DegenerateQuaternionsGiveIdentity) {
    const ky_quaternion cases[] = {{0, 0, 0, 0}, {2, 0, 0, 0}, {1e-4f, 0, 0, 0}};
    for (const auto &q : cases) {
        const ky_matrix m = quat_to_matrix(q);
        EXPECT_EQ(m.rows, 3);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(m.data[i][j], i == j ? 1.0f : 0.0f, 1e-6);
    }
    // An unnormalised quaternion describes the same rotation as its normalised form.
    const ky_matrix a = quat_to_matrix({2.0f, 0.4f, -0.6f, 1.0f});
    const float n = std::sqrt(4.0f + 0.16f + 0.36f + 1.0f);
    const ky_matrix b = quat_to_matrix({2.0f / n, 0.4f / n, -0.6f / n, 1.0f / n});
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(a.data[i][j], b.data[i][j], 1e-6);
}

TEST(PoseConversions, RoundTripsThroughEveryQuaternionBranch) {
    // Half turns about each axis force the three non-trace branches.
    std::vector<ky_euler> angles = {{3.1f, 0.01f, 0.02f}, {0.01f, 3.0f, 0.0f}, {0.0f, 0.02f, 3.1f},
                                    {0.0f, 0.0f, 0.0f}};
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-3.1f, 3.1f), v(-1.5f, 1.5f);
    for (int i = 0; i < 2000; ++i) angles.push_back({u(rng), v(rng), u(rng)});
    for (const auto &e : angles) {
        const ky_matrix m = euler_to_matrix(e);
        const ky_matrix from_q = quat_to_matrix(matrix_to_quat(m));
        const ky_matrix from_euler_q = quat_to_matrix(euler_to_quat(e));
        const ky_matrix from_e = euler_to_matrix(matrix_to_euler(m));
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(from_q.data[r][c], m.data[r][c], 2e-6);
                EXPECT_NEAR(from_euler_q.data[r][c], m.data[r][c], 2e-6);
                EXPECT_NEAR(from_e.data[r][c], m.data[r][c], 2e-6);
            }
        const ky_euler back = quat_to_euler(euler_to_quat(e));
        EXPECT_GE(back.rx, -3.13f);
        EXPECT_GE(back.rz, -3.13f);
    }
}

TEST(PoseConversions, TransformsAndMyAtan2) {
    ky_pose p{};
    p.position = {0.1f, -0.2f, 0.3f};
    p.euler = {0.2f, -0.3f, 0.4f};
    p.quaternion = euler_to_quat(p.euler);
    const ky_matrix te = pose_euler_to_transformation_matrix(p);
    const ky_matrix tq = pose_quat_to_transformation_matrix(p);
    EXPECT_EQ(te.rows, 4);
    EXPECT_EQ(te.data[3][3], 1.0f);
    EXPECT_EQ(te.data[3][0], 0.0f);
    const ky_pose back = transformation_matrix_to_pose(te);
    EXPECT_FLOAT_EQ(back.position.y, -0.2f);
    EXPECT_NEAR(back.euler.rz, 0.4f, 1e-6);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_NEAR(te.data[r][c], tq.data[r][c], 1e-6);
    const ky_matrix inv = mat_mul(te, transform_inverse(te));
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_NEAR(inv.data[r][c], r == c ? 1.0f : 0.0f, 1e-6);

    const struct {
        float y, x, expect;
    } atan_cases[] = {{0, 1, 0}, {1, 0, 1.5707964f}, {-1, 0, -1.5707964f}, {0, -1, 3.1415927f},
                      {-1, -1, -2.3561945f}, {0, 0, 0}};
    for (const auto &c : atan_cases) EXPECT_NEAR(my_atan2f(c.y, c.x), c.expect, 1e-6);
}

}  // namespace
