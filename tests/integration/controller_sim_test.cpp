// Controller state, power and maintenance counters against the simulator running in-process.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

using namespace std::chrono_literals;

namespace {

class ControllerSim : public kytest::TcpSimTest {
protected:

    int power_state() {
        int p = -1;
        EXPECT_EQ(ky_get_arm_power_state(robot, &p), 0);
        return p;
    }
    std::vector<float> odom() {
        float o[7] = {};
        EXPECT_EQ(ky_get_joint_odom(robot, o), 0);
        return {o, o + 6};
    }
    float current() {
        float v = 0, c = 0, t = 0;
        int err = -1;
        EXPECT_EQ(ky_get_controller_state(robot, &v, &c, &t, &err), 0);
        return c;
    }
};

TEST_F(ControllerSim, PoweredOffArmRefusesMotionUntilPoweredOn) {
    const float target[7] = {10.0f, -20.0f, 30.0f, 0.0f, 15.0f, -5.0f, 0.0f};
    EXPECT_EQ(power_state(), 1);
    ASSERT_EQ(ky_set_arm_power(robot, 0), 0);
    EXPECT_EQ(power_state(), 0);
    EXPECT_EQ(ky_movej_block(robot, target, 50, 0, 0, 1), 1);
    EXPECT_FALSE(sim.moving());
    EXPECT_EQ(sim.joints()[0], 0.0);
    EXPECT_EQ(ky_set_arm_power(robot, 2), 1);  // neither on nor off
    ASSERT_EQ(ky_set_arm_power(robot, 1), 0);
    EXPECT_EQ(power_state(), 1);
    EXPECT_EQ(ky_movej_block(robot, target, 50, 0, 0, 1), 0);
    EXPECT_NEAR(sim.joints()[2], 30.0, 0.01);
}

TEST_F(ControllerSim, OdometerGrowsWithTheTravelAndClears) {
    ASSERT_EQ(ky_clear_joint_odom(robot), 0);
    for (float o : odom()) EXPECT_EQ(o, 0.0f);
    const float out[7] = {10.0f, -20.0f, 30.0f, 0.0f, 15.0f, -5.0f, 0.0f};
    const float back[7] = {};
    ASSERT_EQ(ky_movej_block(robot, out, 50, 0, 0, 1), 0);
    auto first = odom();
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(first[i], std::fabs(out[i]), 0.005) << "joint " << i;
    ASSERT_EQ(ky_movej_block(robot, back, 50, 0, 0, 1), 0);  // travel back counts too
    auto both = odom();
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(both[i], 2 * std::fabs(out[i]), 0.005) << "joint " << i;
    ASSERT_EQ(ky_clear_joint_odom(robot), 0);
    for (float o : odom()) EXPECT_EQ(o, 0.0f);
}

TEST_F(ControllerSim, RuntimeCountsFromStartAndClears) {
    int d = -1, h = -1, m = -1, s = -1;
    ASSERT_EQ(ky_get_system_runtime(robot, &d, &h, &m, &s), 0);
    EXPECT_EQ(d, 0);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(m, 0);
    EXPECT_GE(s, 0);
    EXPECT_LT(s, 60);
    std::this_thread::sleep_for(1100ms);
    ASSERT_EQ(ky_get_system_runtime(robot, &d, &h, &m, &s), 0);
    EXPECT_GE(s, 1);
    ASSERT_EQ(ky_clear_system_runtime(robot), 0);
    ASSERT_EQ(ky_get_system_runtime(robot, &d, &h, &m, &s), 0);
    EXPECT_EQ(d + h + m + s, 0);
}

// The current rises while the arm moves; cutting the power under a moving arm stops it and
// raises the system error flag until it is cleared.
TEST_F(ControllerSim, ControllerStateFollowsMotionAndPowerCuts) {
    float v = 0, c = 0, t = 0;
    int err = -1;
    ASSERT_EQ(ky_get_controller_state(robot, &v, &c, &t, &err), 0);
    EXPECT_NEAR(v, 48.0f, 1.0f);
    EXPECT_GT(t, 20.0f);
    EXPECT_LT(t, 60.0f);
    EXPECT_EQ(err, 0);
    const float idle = c;

    const float target[7] = {60.0f, -40.0f, 50.0f, 60.0f, 50.0f, -60.0f, 0.0f};
    ASSERT_EQ(ky_movej_nblock(robot, target, 50, 0, 0), 0);
    float peak = 0;
    for (int i = 0; i < 400 && (i < 20 || sim.moving()); ++i) {
        peak = std::max(peak, current());
        std::this_thread::sleep_for(2ms);
    }
    EXPECT_GT(peak, idle + 0.5f);
    ASSERT_TRUE(sim.wait_idle(5000));

    const float home[7] = {};
    ASSERT_EQ(ky_movej_nblock(robot, home, 10, 0, 0), 0);
    for (int i = 0; i < 200 && !sim.moving(); ++i) std::this_thread::sleep_for(2ms);
    ASSERT_EQ(ky_set_arm_power(robot, 0), 0);
    EXPECT_FALSE(sim.moving());
    ASSERT_EQ(ky_get_controller_state(robot, &v, &c, &t, &err), 0);
    EXPECT_EQ(err, 1);
    EXPECT_LT(c, idle);
    ASSERT_EQ(ky_clear_system_err(robot), 0);
    ASSERT_EQ(ky_get_controller_state(robot, &v, &c, &t, &err), 0);
    EXPECT_EQ(err, 0);
}

}  // namespace
