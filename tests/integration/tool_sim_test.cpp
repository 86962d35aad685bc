// Gripper, dexterous hand, lift and expansion axis against the simulator running in-process:
// the blocking calls return when the simulated device has arrived, and a report of another
// device (or none) gives each call's own code.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class ToolSim : public kytest::TcpSimTest {
protected:
    ky_gripper_state gripper() {
        ky_gripper_state s{};
        EXPECT_EQ(ky_get_gripper_state(robot, &s), 0);
        return s;
    }
};

TEST_F(ToolSim, BlockingPickReturnsOnceClosedOnThePartAndHoldsTheForce) {
    sim.set_gripper_object(300);
    ASSERT_EQ(ky_set_gripper_release(robot, 1000, true, 5), 0);
    EXPECT_EQ(gripper().actpos, 1000);

    ASSERT_EQ(ky_set_gripper_pick(robot, 500, 200, true, 5), 0);
    const ky_gripper_state held = gripper();
    EXPECT_EQ(held.actpos, 300);
    EXPECT_EQ(held.current_force, 200);

    // Without a part the fingers close fully; a release lets go of the force.
    sim.set_gripper_object(-1);
    ASSERT_EQ(ky_set_gripper_release(robot, 1000, true, 5), 0);
    EXPECT_EQ(gripper().current_force, 0);
    ASSERT_EQ(ky_set_gripper_position(robot, 400, true, 5), 0);
    EXPECT_EQ(gripper().actpos, 400);
}

TEST_F(ToolSim, FireAndForgetReleaseStillMovesTheGripper) {
    ASSERT_EQ(ky_set_gripper_position(robot, 100, true, 5), 0);
    const auto t0 = Clock::now();
    ASSERT_EQ(ky_set_gripper_release(robot, 1000, false, 0), 0);
    EXPECT_GE(Clock::now() - t0, 900ms);  // m_nOutTime_max of the fixture: 1000 ms
    EXPECT_EQ(gripper().actpos, 1000);
}

TEST_F(ToolSim, LiftAndExpansionAxisBlockUntilArrived) {
    ASSERT_EQ(ky_set_lift_height(robot, 80, 300, 1), 0);
    int lift[4] = {-1, -1, -1, -1};
    ASSERT_EQ(ky_get_lift_state(robot, lift), 0);
    EXPECT_EQ(lift[KY_LIFT_HEIGHT], 300);
    EXPECT_EQ(lift[KY_LIFT_MODE], 0);

    ASSERT_EQ(ky_set_expand_pos(robot, 50, 30000, 1), 0);
    int expand[4] = {-1, -1, -1, -1};
    ASSERT_EQ(ky_get_expand_state(robot, expand), 0);
    EXPECT_EQ(expand[KY_EXPAND_POS], 30000);
    EXPECT_EQ(expand[KY_EXPAND_MODE], 0);
}

TEST_F(ToolSim, HandPostureAndSequenceBlockUntilDone) {
    ASSERT_EQ(ky_set_hand_speed(robot, 500), 0);
    ASSERT_EQ(ky_set_hand_force(robot, 300), 0);
    EXPECT_EQ(ky_set_hand_posture(robot, 3, true, 5), 0);
    EXPECT_EQ(ky_set_hand_seq(robot, 2, true, 5), 0);
    const int angles[6] = {100, 200, 300, 400, 500, 600};
    EXPECT_EQ(ky_set_hand_angle(robot, angles), 0);
    EXPECT_EQ(ky_set_hand_follow_angle(robot, angles), 0);
}

// What the simulated device reports, and the code each blocking call makes of it.
TEST_F(ToolSim, ReportsOfAnotherDeviceOrNoneGiveEachCallsCode) {
    struct Case {
        const char *name;
        int device;                // the device whose report is changed
        ky::sim::DeviceReport report;
        std::function<int()> call;
        int expected;
    } cases[] = {
        {"pick, hand's report", 1, {true, 2, true, 0}, [this] { return ky_set_gripper_pick(robot, 500, 100, true, 3); }, -5},
        {"release, hand's report", 1, {true, 2, true, 0}, [this] { return ky_set_gripper_release(robot, 500, true, 3); }, -4},
        {"pick, failed", 1, {true, -1, false, 0}, [this] { return ky_set_gripper_pick(robot, 500, 100, true, 3); }, 1},
        {"posture, no report", 2, {false, -1, true, 0}, [this] { return ky_set_hand_posture(robot, 1, true, 1); }, -5},
        {"posture, gripper's report", 2, {true, 1, true, 0}, [this] { return ky_set_hand_posture(robot, 2, true, 3); }, -4},
        {"lift, connect 2", 3, {true, -1, true, 2}, [this] { return ky_set_lift_height(robot, 100, 50, 1); }, -4},
        {"expansion, failed", 4, {true, -1, false, 0}, [this] { return ky_set_expand_pos(robot, 100, -5000, 1); }, 1},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(sim.set_device_report(c.device, c.report));
        EXPECT_EQ(c.call(), c.expected) << c.name;
        ASSERT_TRUE(sim.set_device_report(c.device, ky::sim::DeviceReport{}));
        std::this_thread::sleep_for(300ms);  // the device comes to rest before the next case
    }
}

}  // namespace
