// Fences through the library against the simulator in-process: a cube fence enabled around the
// tool refuses a move that leaves it (1) and accepts one inside it (0); the shape reads back
// as written, with the cube's "z_min_limit" carrying x_min_limit.
#include <gtest/gtest.h>

#include <cstring>

#include "support/sim_fixture.h"

namespace {

class FenceSim : public kytest::TcpSimTest {};

TEST_F(FenceSim, EnabledCubeRefusesMovesLeavingIt) {
    const float start[7] = {0.0f, -30.0f, -60.0f, 0.0f, -60.0f, 0.0f, 0.0f};
    ASSERT_EQ(ky_movej_block(robot, start, 50, 0, 0, 1), 0);
    const auto p = sim.tool_pose();

    // The cube's lower z bound goes out as x_min_limit: keep the two equal so the volume is
    // the one meant, a 0.2 m cube around the tool.
    ky_fence_config cube{};
    cube.form = KY_FENCE_CUBE;
    cube.x_min_limit = static_cast<float>(p.x - 0.1);
    cube.x_max_limit = static_cast<float>(p.x + 0.1);
    cube.y_min_limit = static_cast<float>(p.y - 0.1);
    cube.y_max_limit = static_cast<float>(p.y + 0.1);
    cube.z_min_limit = static_cast<float>(p.z - 0.1);
    cube.z_max_limit = static_cast<float>(p.z + 0.1);
    const float shift = cube.x_min_limit - cube.z_min_limit;  // the z bound the controller gets
    ASSERT_LT(shift, 0.1f) << "tool start must keep x_min below z";
    ASSERT_EQ(ky_set_electronic_fence_config(robot, &cube), 0);
    ASSERT_EQ(ky_set_electronic_fence_enable(robot, ky_fence_enable{true, 0, 0}), 0);

    ky_fence_config back{};
    ASSERT_EQ(ky_get_electronic_fence_config(robot, &back), 0);
    EXPECT_EQ(back.form, KY_FENCE_CUBE);
    EXPECT_NEAR(back.x_max_limit, cube.x_max_limit, 1e-3);
    EXPECT_NEAR(back.z_min_limit, cube.x_min_limit, 1e-3);
    ky_fence_enable e{};
    ASSERT_EQ(ky_get_electronic_fence_enable(robot, &e), 0);
    EXPECT_TRUE(e.enable_state);

    ky_pose target{};
    target.position = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
    target.euler = {static_cast<float>(p.rx), static_cast<float>(p.ry), static_cast<float>(p.rz)};
    target.position.y = static_cast<float>(p.y + 0.15);
    EXPECT_EQ(ky_movel_block(robot, target, 50, 0, 0, 1), 1);
    target.position.y = static_cast<float>(p.y + 0.05);
    EXPECT_EQ(ky_movel_block(robot, target, 50, 0, 0, 1), 0);
    EXPECT_NEAR(sim.tool_pose().y, p.y + 0.05, 1e-3);

    // Disabled, the move refused above is made: the fence alone refused it.
    ASSERT_EQ(ky_set_electronic_fence_enable(robot, ky_fence_enable{false, 0, 0}), 0);
    target.position.y = static_cast<float>(p.y + 0.15);
    EXPECT_EQ(ky_movel_block(robot, target, 50, 0, 0, 1), 0);
}

// Named fences round-trip through the simulator: added, listed, read (name cut at 10 bytes)
// and deleted.
TEST_F(FenceSim, NamedFencesRoundTrip) {
    ky_fence_config ball{};
    ball.form = KY_FENCE_SPHERE;
    std::memcpy(ball.form_name, "twelve_bytes", 12);
    ball.x = 0.25f, ball.y = -0.125f, ball.z = 0.5f, ball.radius = 0.1f;
    ASSERT_EQ(ky_add_electronic_fence_config(robot, &ball), 0);
    EXPECT_EQ(ky_add_electronic_fence_config(robot, &ball), 1);  // the name exists

    ky_fence_name names[KY_FENCE_LIST_MAX];
    int count = 0;
    ASSERT_EQ(ky_get_electronic_fence_list_names(robot, names, &count), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(std::string(names[0].name, 12), "twelve_bytes");

    ky_fence_config back{};
    ASSERT_EQ(ky_get_given_electronic_fence_config(robot, "twelve_bytes", &back), 0);
    EXPECT_EQ(std::string(back.form_name, 12), std::string("twelve_byt\0\0", 12));
    EXPECT_FLOAT_EQ(back.y, -0.125f);
    EXPECT_FLOAT_EQ(back.radius, 0.1f);

    ky_fence_config list[KY_FENCE_LIST_MAX] = {};
    ASSERT_EQ(ky_get_electronic_fence_list_infos(robot, list, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_FLOAT_EQ(list[0].x, 0.25f);

    ASSERT_EQ(ky_delete_electronic_fence_config(robot, "twelve_bytes"), 0);
    EXPECT_EQ(ky_get_given_electronic_fence_config(robot, "twelve_bytes", &back), 1);
}

}  // namespace
