// Forward kinematics against orocos KDL chains built from the same DH rows.
#include <gtest/gtest.h>
#include <kdl/chainfksolverpos_recursive.hpp>

#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"
#include "kdl_support.h"

using namespace ky::algo;
using kytest::ModelCase;

namespace {

class FkAgainstKdl : public ::testing::TestWithParam<ModelCase> {};

TEST_P(FkAgainstKdl, FlangeAndWorldPoseMatch) {
    const ModelCase mc = GetParam();
    State s{};
    ASSERT_EQ(select_model(s, mc.type, mc.sensor), 0);
    ASSERT_EQ(joint_count(s), mc.dof);
    // A tool and an installation tilt, so the world pose exercises both products.
    const float tool[6] = {0.01f, -0.02f, 0.05f, 0.1f, -0.2f, 0.3f};
    set_tool_frame(s, tool);
    set_install_angles(s, 0.3f, -0.2f, 0.5f);
    const KDL::Chain chain = kytest::kdl_chain(s, mc.dof);
    ASSERT_EQ(static_cast<int>(chain.getNrOfJoints()), mc.dof);
    KDL::ChainFkSolverPos_recursive solver(chain);
    const KDL::Frame kdl_tool = kytest::to_kdl(s.tool_matrix);
    const KDL::Frame kdl_install = kytest::to_kdl(s.install_rotation);

    std::mt19937 rng(1000 * mc.type + mc.sensor);
    double worst_pos = 0, worst_rot = 0;
    for (int n = 0; n < kytest::samples(10000); ++n) {
        float q[kMaxJoints] = {};
        kytest::random_joints(s, mc.dof, rng, q);
        const KDL::JntArray jq = kytest::kdl_joints(s, mc.dof, q);
        KDL::Frame ref;
        ASSERT_GE(solver.JntToCart(jq, ref), 0);
        double pos, rot;
        kytest::frame_error(kytest::to_kdl(fk_flange(s, q)), ref, pos, rot);
        worst_pos = std::max(worst_pos, pos);
        worst_rot = std::max(worst_rot, rot);
        if (n % 10 == 0) {
            ky_matrix world;
            const ky_pose p = fk_world(s, q, &world);
            const KDL::Frame ref_world = kdl_install * ref * kdl_tool;
            kytest::frame_error(kytest::to_kdl(world), ref_world, pos, rot);
            worst_pos = std::max(worst_pos, pos);
            worst_rot = std::max(worst_rot, rot);
            // The pose's two orientation forms describe the same rotation as the transform.
            // Near a quarter turn in ry the Euler form loses single precision (and within
            // 1e-6 deliberately folds rz into rx), so those poses are compared by quaternion.
            kytest::frame_error(kytest::to_kdl(pose_quat_to_transformation_matrix(p)), ref_world,
                                pos, rot);
            EXPECT_LT(rot, 1e-5);
            if (std::fabs(world.data[2][0]) < 0.999f) {
                kytest::frame_error(kytest::to_kdl(pose_euler_to_transformation_matrix(p)),
                                    ref_world, pos, rot);
                EXPECT_LT(rot, 1e-5);
            }
        }
    }
    EXPECT_LT(worst_pos, 1e-5) << "type " << mc.type << " sensor " << mc.sensor;
    EXPECT_LT(worst_rot, 1e-5) << "type " << mc.type << " sensor " << mc.sensor;
}

INSTANTIATE_TEST_SUITE_P(AllModels, FkAgainstKdl, ::testing::ValuesIn(kytest::all_model_cases()),
                         [](const auto &info) {
                             return "type" + std::to_string(info.param.type) + "_sensor" +
                                    std::to_string(info.param.sensor);
                         });

TEST(Fk, TypesWithoutModelUseKy6aChain) {
    // Type 9 loads a 7-joint all-zero table; its forward model is the KY6A chain with those
    // rows: with all lengths zero the flange stays at the origin.
    State s{};
    ASSERT_EQ(select_model(s, 9, 0), 0);
    EXPECT_EQ(joint_count(s), 7);
    const float q[kMaxJoints] = {0.3f, -0.4f, 0.5f, 0.6f, 0.7f, -0.8f, 0.1f};
    const ky_matrix f = fk_flange(s, q);
    for (int k = 0; k < 3; ++k) EXPECT_FLOAT_EQ(f.data[k][3], 0.0f);

    // Type 2 is refused but evaluates KY6A's chain on whatever table the state holds.
    State ky6a{}, t2{};
    ASSERT_EQ(select_model(ky6a, 0, 0), 0);
    t2 = ky6a;
    t2.robot_type = 2;
    const ky_matrix a = fk_flange(ky6a, q), b = fk_flange(t2, q);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(a.data[r][c], b.data[r][c]);
    State refused{};
    EXPECT_EQ(select_model(refused, 2, 0), -1);
}

TEST(Fk, ZeroJointsGiveTableZeroConfiguration) {
    // KY6A at zero joints with offsets 90 deg on joints 2 and 3: the arm points straight up.
    State s{};
    ASSERT_EQ(select_model(s, 0, 0), 0);
    const float q[kMaxJoints] = {};
    const ky_matrix f = fk_flange(s, q);
    EXPECT_NEAR(f.data[0][3], 0.0f, 1e-6);
    EXPECT_NEAR(f.data[1][3], 0.0f, 1e-6);
    EXPECT_NEAR(f.data[2][3], 0.2405f + 0.256f + 0.21f + 0.144f, 1e-6);
}

TEST(Fk, InstallationAndWorkFrames) {
    State s{};
    ASSERT_EQ(select_model(s, 5, 0), 0);
    const float q[kMaxJoints] = {0.1f, -0.5f, 0.7f, 0.2f, 0.3f, -0.4f};
    // With identity installation, tool and work frames every form gives the flange pose.
    const ky_pose flange = transformation_matrix_to_pose(fk_flange(s, q));
    const ky_pose work = fk_work(s, q);
    EXPECT_FLOAT_EQ(work.position.x, flange.position.x);
    EXPECT_FLOAT_EQ(work.position.z, flange.position.z);
    EXPECT_FLOAT_EQ(work.euler.rz, flange.euler.rz);

    // Installation angles move the world pose but not the flange transform.
    const ky_matrix before = fk_flange(s, q);
    set_install_angles(s, 0.0f, 3.1415927f, 0.0f);  // hung upside down
    const ky_matrix after = fk_flange(s, q);
    EXPECT_EQ(0, std::memcmp(&before, &after, sizeof before));
    const ky_pose world = fk_world(s, q);
    EXPECT_NEAR(world.position.z, -flange.position.z, 1e-6);
    EXPECT_NEAR(world.position.x, -flange.position.x, 1e-6);
    EXPECT_NEAR(s.gravity[2], 9.81f, 1e-5);

    // A work frame shifted by +0.1 m in x reads the same point 0.1 m lower in x.
    const float wf[6] = {0.1f, 0, 0, 0, 0, 0};
    set_work_frame(s, wf);
    const ky_pose in_work = fk_work(s, q);
    EXPECT_NEAR(in_work.position.x, world.position.x - 0.1f, 1e-6);
}

}  // namespace
