// A controller that reboots: the simulator is stopped and started again on the same port,
// and the same robot handle reconnects and moves again.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "sim/simulator.h"
#include "support/test_util.h"

using namespace std::chrono_literals;

namespace {

ky::sim::Options sim_options(int port) {
    ky::sim::Options o;
    o.port = port;
    o.push_enable = false;
    o.speed_scale = 4.0;
    return o;
}

TEST(ReconnectSim, SameHandleMovesAgainAfterTheControllerRestarts) {
    auto sim = std::make_unique<ky::sim::Simulator>(sim_options(0));
    ASSERT_TRUE(sim->start()) << sim->error();
    const int port = sim->port();
    kytest::Library lib(1, 500, 1000);
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", port);
    ASSERT_NE(robot, nullptr);
    ASSERT_EQ(robot->id, 1);
    const float first[7] = {5, -10, 20, 0, 10, 0, 0};
    ASSERT_EQ(ky_movej_block(robot, first, 50, 0, 0, 1), 0);

    sim.reset();  // the controller goes away
    for (int i = 0; i < 400 && ky_get_connection_state(robot) != KY_CONNECTION_CLOSED; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_EQ(ky_get_connection_state(robot), KY_CONNECTION_CLOSED);
    EXPECT_EQ(ky_reconnect_robot_arm(robot), -2);  // nothing listens yet

    sim = std::make_unique<ky::sim::Simulator>(sim_options(port));
    ASSERT_TRUE(sim->start()) << sim->error();
    ASSERT_EQ(ky_reconnect_robot_arm(robot), 0);
    EXPECT_EQ(robot->id, 1);
    EXPECT_EQ(ky_get_connection_state(robot), KY_CONNECTION_CONNECTED);
    const float second[7] = {-15, 20, 35, 5, -20, 10, 0};
    ASSERT_EQ(ky_movej_block(robot, second, 50, 0, 0, 1), 0);
    const auto q = sim->joints();
    ASSERT_EQ(q.size(), 6u);
    for (size_t i = 0; i < q.size(); ++i) EXPECT_NEAR(q[i], second[i], 0.01) << "joint " << i;
}

}  // namespace
