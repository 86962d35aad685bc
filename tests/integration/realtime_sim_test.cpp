// Realtime pushes and connection loss during a blocking move, against the simulator.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "core/fifo.h"
#include "support/sim_fixture.h"

using namespace std::chrono_literals;

namespace {

class RealtimeSim : public kytest::SimTest {
};

TEST_F(RealtimeSim, CallbackRecordsMatchTheSimulatedArm) {
    const float target[7] = {20, -15, 60, 5, 40, 30, 0};
    ASSERT_EQ(ky_movej_block(robot, target, 80, 0, 0, 1), 0);
    ASSERT_TRUE(sim->wait_idle(2000));
    // Records pushed after the arm came to rest carry its joints and tool pose.
    std::this_thread::sleep_for(30ms);
    rttest::Collector::clear();
    ASSERT_TRUE(rttest::Collector::wait_for(3, 3s));
    const ky_realtime_arm_joint_state last = rttest::Collector::got().back();
    EXPECT_EQ(last.errCode, 0);
    EXPECT_STREQ(last.sender_ip, "127.0.0.1");
    const auto joints = sim->joints();
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(last.joint_position[i], joints[i], 2e-3) << "joint " << i;
    const ky::sim::Pose pose = sim->tool_pose();
    EXPECT_NEAR(last.position[0], pose.x, 2e-6);
    EXPECT_NEAR(last.position[1], pose.y, 2e-6);
    EXPECT_NEAR(last.position[2], pose.z, 2e-6);
    EXPECT_EQ(last.arm_current_status, KY_ARM_IDLE);
    // The library's own forward kinematics agrees with the pushed pose.
    ky_pose fk = ky_algo_forward_kinematics(robot, last.joint_position);
    EXPECT_NEAR(fk.position.x, last.position[0], 1e-4);
    EXPECT_NEAR(fk.position.z, last.position[2], 1e-4);
}

TEST_F(RealtimeSim, RecordsReportTheMotionWhileTheArmMoves) {
    const float target[7] = {-60, 20, 80, 0, 30, -45, 0};
    ASSERT_EQ(ky_movej_nblock(robot, target, 10, 0, 0), 0);
    std::this_thread::sleep_for(100ms);
    rttest::Collector::clear();
    ASSERT_TRUE(rttest::Collector::wait_for(3, 3s));
    const auto recs = rttest::Collector::got();
    EXPECT_EQ(recs.back().arm_current_status, KY_ARM_MOVE_J);
    EXPECT_NE(recs.front().joint_position[0], recs.back().joint_position[0]);
    EXPECT_EQ(ky_set_arm_stop(robot), 0);
}

TEST_F(RealtimeSim, DroppedConnectionEndsABlockingMoveWithAnError) {
    const float far[7] = {90, 30, 90, 0, 90, 90, 0};
    auto result = std::async(std::launch::async, [&] { return ky_movej_block(robot, far, 5, 0, 0, 1); });
    std::this_thread::sleep_for(300ms);
    ASSERT_TRUE(sim->moving());
    sim->disconnect_clients();
    // The wait ends with an error code, not a hang (six failed queries at most).
    ASSERT_EQ(result.wait_for(15s), std::future_status::ready);
    EXPECT_LT(result.get(), 0);
    int dof = 0;
    float joints[7];
    EXPECT_EQ(ky_get_arm_dof(robot, &dof), 0);     // the cached identity stays readable
    EXPECT_EQ(ky_get_joint_degree(robot, joints), -1);  // sends fail on the closed connection
}

}  // namespace
