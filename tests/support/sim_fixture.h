// Simulators started in-process on ephemeral ports with the library connected to them:
// SimTest in mode 2 (its realtime pushes reach the library's UDP receiver), TcpSimTest in
// mode 1 without pushes.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ky_api.h"
#include "realtime/realtime_util.h"
#include "sim/simulator.h"
#include "support/test_util.h"

namespace kytest {

// Mode 1, no realtime pushes, the arm moving four times as fast as the real one.
class TcpSimTest : public ::testing::Test {
protected:
    ky::sim::Simulator sim{[] {
        ky::sim::Options o;
        o.push_enable = false;
        o.speed_scale = 4.0;
        return o;
    }()};
    kytest::Library lib{1, 500, 1000};
    ky_robot_handle *robot = nullptr;

    void SetUp() override {
        ASSERT_TRUE(sim.start()) << sim.error();
        robot = ky_create_robot_arm("127.0.0.1", sim.port());
        ASSERT_NE(robot, nullptr);
        ASSERT_EQ(robot->id, 1);
    }
    void TearDown() override { sim.stop(); }
};

class SimTest : public ::testing::Test {
protected:
    // Options of the simulator; tests adjust them in their constructor before SetUp.
    ky::sim::Options options;
    std::unique_ptr<ky::sim::Simulator> sim;
    std::unique_ptr<kytest::Library> lib;
    ky_robot_handle *robot = nullptr;
    int push_port = 0;

    SimTest() {
        push_port = rttest::free_udp_port();
        options.port = 0;
        options.push_port = push_port;
        options.push_cycle_ms = 10;
        options.speed_scale = 4.0;
    }

    void SetUp() override {
        sim = std::make_unique<ky::sim::Simulator>(options);
        ASSERT_TRUE(sim->start()) << sim->error();
        lib = std::make_unique<kytest::Library>(2, 1000, 1500);
        rttest::Collector::install();
        robot = ky_create_robot_arm("127.0.0.1", sim->port());
        ASSERT_NE(robot, nullptr);
        ASSERT_GE(robot->id, 1);
    }

    void TearDown() override {
        lib.reset();  // ky_destory before the simulator goes away
        sim.reset();
    }
};

}  // namespace kytest
