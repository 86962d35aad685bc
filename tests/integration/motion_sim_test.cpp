// Blocking and non-blocking moves against the simulator running in-process.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <thread>

#include "core/fifo.h"
#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

using namespace std::chrono_literals;

namespace {

std::atomic<int> g_arm_events{0};
std::atomic<int> g_last_device{-1};
std::atomic<bool> g_last_state{false};
void on_event(ky_event_data e) {
    if (e.event_type != 1) return;
    g_last_device = e.device;
    g_last_state = e.trajectory_state;
    ++g_arm_events;
}

class MotionSim : public kytest::TcpSimTest {
protected:

    void expect_at(const float (&target)[7]) {
        const auto q = sim.joints();
        ASSERT_EQ(q.size(), 6u);
        for (size_t i = 0; i < q.size(); ++i) EXPECT_NEAR(q[i], target[i], 0.01) << "joint " << i;
    }
};

TEST_F(MotionSim, BlockingMoveFinishesAtTheTarget) {
    const float target[7] = {10.0f, -20.0f, 30.0f, 0.0f, 15.0f, -5.0f, 0.0f};
    EXPECT_EQ(ky_movej_block(robot, target, 50, 0, 0, 1), 0);
    EXPECT_FALSE(sim.moving());
    expect_at(target);
    // The trajectory query agrees: nothing runs, the joints are the target.
    int type = -1;
    float data[7] = {};
    EXPECT_EQ(ky_get_arm_current_trajectory(robot, &type, data), 0);
    EXPECT_EQ(type, 0);
    EXPECT_NEAR(data[0], 10.0f, 0.01);
}

TEST_F(MotionSim, TargetOutsideTheLimitsIsRefused) {
    const float target[7] = {400.0f, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(ky_movej_block(robot, target, 50, 0, 0, 1), 1);
    EXPECT_EQ(ky_movej_nblock(robot, target, 50, 0, 0), 1);
    EXPECT_EQ(kytest::pending_completions(robot), 0);
}

TEST_F(MotionSim, NonBlockingMoveRaisesTheEventCallback) {
    ky_get_arm_event_call_back(on_event);
    const int before = g_arm_events.load();
    const float target[7] = {-10.0f, 5.0f, 5.0f, 5.0f, 5.0f, 5.0f, 0.0f};
    ASSERT_EQ(ky_movej_nblock(robot, target, 50, 0, 0), 0);
    for (int i = 0; i < 1000 && g_arm_events.load() == before; ++i) std::this_thread::sleep_for(10ms);
    ASSERT_GT(g_arm_events.load(), before);
    EXPECT_EQ(g_last_device.load(), 0);
    EXPECT_TRUE(g_last_state.load());
    expect_at(target);
}

TEST_F(MotionSim, CompletionOfAnotherDeviceDoesNotEndTheWait) {
    const float target[7] = {40.0f, 20.0f, -20.0f, 10.0f, 10.0f, 10.0f, 0.0f};
    auto f = std::async(std::launch::async, [&] { return ky_movej_block(robot, target, 10, 0, 0, 1); });
    for (int i = 0; i < 200 && !sim.moving(); ++i) std::this_thread::sleep_for(5ms);
    ASSERT_TRUE(sim.moving());
    sim.broadcast(R"({"command":"current_trajectory_state","trajectory_state":true,"device":3,"trajectory_connect":0})");
    EXPECT_EQ(f.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(f.get(), 0);
    EXPECT_FALSE(sim.moving());
    expect_at(target);
}

TEST_F(MotionSim, CartesianMovesAndStepsComplete) {
    const float start[7] = {0.0f, -30.0f, -60.0f, 0.0f, -60.0f, 0.0f, 0.0f};
    ASSERT_EQ(ky_movej_block(robot, start, 50, 0, 0, 1), 0);
    const auto p = sim.tool_pose();
    ky_pose target{};
    target.position = {static_cast<float>(p.x + 0.02), static_cast<float>(p.y), static_cast<float>(p.z - 0.02)};
    target.euler = {static_cast<float>(p.rx), static_cast<float>(p.ry), static_cast<float>(p.rz)};
    EXPECT_EQ(ky_movel_block(robot, target, 50, 0, 0, 1), 0);
    EXPECT_NEAR(sim.tool_pose().x, p.x + 0.02, 1e-3);
    EXPECT_NEAR(sim.tool_pose().z, p.z - 0.02, 1e-3);
    const double before = sim.joints()[0];
    EXPECT_EQ(ky_set_joint_step(robot, 1, 50, 1, 2.0f), 0);  // joints are numbered from 1
    EXPECT_FALSE(sim.moving());
    EXPECT_NEAR(sim.joints()[0], before + 2.0, 0.01);
}

}  // namespace
