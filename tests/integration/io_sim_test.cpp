// Controller and tool IO against the simulator running in-process.
#include <gtest/gtest.h>

#include <vector>

#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

namespace {

class IoSim : public kytest::TcpSimTest {};

TEST_F(IoSim, OutputsAreReadBack) {
    ASSERT_EQ(ky_set_DO_state(robot, 2, 1), 0);
    ASSERT_EQ(ky_set_DO_state(robot, 4, 1), 0);
    int dout[4] = {-1, -1, -1, -1};
    ASSERT_EQ(ky_get_IO_output(robot, dout), 0);
    EXPECT_EQ(std::vector<int>(dout, dout + 4), (std::vector<int>{0, 1, 0, 1}));

    // A channel switched to output reports its output level.
    int state = -1, mode = -1;
    ASSERT_EQ(ky_set_IO_mode(robot, 2, 1), 0);
    ASSERT_EQ(ky_get_IO_state(robot, 2, &state, &mode), 0);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(state, 1);

    ASSERT_EQ(ky_set_tool_IO_mode(robot, 1, 1), 0);
    ASSERT_EQ(ky_set_tool_DO_state(robot, 1, 1), 0);
    int tmode[2] = {-1, -1}, tstate[2] = {-1, -1};
    ASSERT_EQ(ky_get_tool_IO_state(robot, tmode, tstate), 0);
    EXPECT_EQ(std::vector<int>(tmode, tmode + 2), (std::vector<int>{1, 0}));
    EXPECT_EQ(std::vector<int>(tstate, tstate + 2), (std::vector<int>{1, 0}));

    int volts = -1;
    ASSERT_EQ(ky_set_voltage(robot, 2), 0);
    ASSERT_EQ(ky_get_voltage(robot, &volts), 0);
    EXPECT_EQ(volts, 2);
    ASSERT_EQ(ky_set_tool_voltage(robot, 3), 0);
    ASSERT_EQ(ky_get_tool_voltage(robot, &volts), 0);
    EXPECT_EQ(volts, 3);
}

TEST_F(IoSim, InputsDrivenByTheTestAreRead) {
    ASSERT_TRUE(sim.set_digital_input(1, 1));
    ASSERT_TRUE(sim.set_digital_input(3, 1));
    int di[4] = {-1, -1, -1, -1};
    ASSERT_EQ(ky_get_IO_input(robot, di), 0);
    EXPECT_EQ(std::vector<int>(di, di + 4), (std::vector<int>{1, 0, 1, 0}));
    int state = -1, mode = -1;
    ASSERT_EQ(ky_get_IO_state(robot, 3, &state, &mode), 0);  // channels start as inputs
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(state, 1);
    ASSERT_TRUE(sim.set_digital_input(3, 0));
    ASSERT_EQ(ky_get_IO_state(robot, 3, &state, &mode), 0);
    EXPECT_EQ(state, 0);

    ASSERT_TRUE(sim.set_tool_digital_input(2, 1));
    int tmode[2] = {-1, -1}, tstate[2] = {-1, -1};
    ASSERT_EQ(ky_get_tool_IO_state(robot, tmode, tstate), 0);
    EXPECT_EQ(tstate[1], 1);
    EXPECT_FALSE(sim.set_digital_input(5, 1));
    EXPECT_FALSE(sim.set_tool_digital_input(1, 2));
}

// Channels, modes, levels and voltage types the controller lacks are refused and change nothing.
TEST_F(IoSim, WhatTheControllerLacksIsRefused) {
    EXPECT_EQ(ky_set_DO_state(robot, 5, 1), 1);
    EXPECT_EQ(ky_set_DO_state(robot, 0, 1), 1);
    EXPECT_EQ(ky_set_DO_state(robot, 1, 2), 1);
    EXPECT_EQ(ky_set_IO_mode(robot, 9, 1), 1);
    EXPECT_EQ(ky_set_IO_mode(robot, 1, 7), 1);
    EXPECT_EQ(ky_set_tool_DO_state(robot, 3, 1), 1);
    EXPECT_EQ(ky_set_tool_IO_mode(robot, 3, 0), 1);
    EXPECT_EQ(ky_set_voltage(robot, 4), 1);
    EXPECT_EQ(ky_set_tool_voltage(robot, -1), 1);
    int dout[4] = {-1, -1, -1, -1};
    ASSERT_EQ(ky_get_IO_output(robot, dout), 0);
    EXPECT_EQ(std::vector<int>(dout, dout + 4), (std::vector<int>{0, 0, 0, 0}));
    int volts = -1;
    ASSERT_EQ(ky_get_tool_voltage(robot, &volts), 0);
    EXPECT_EQ(volts, 0);
    // The query of a missing channel is answered under its own name: no reply to read.
    int state = -5, mode = -5;
    EXPECT_EQ(ky_get_IO_state(robot, 5, &state, &mode), -2);
    EXPECT_EQ(state, -5);
    EXPECT_EQ(mode, -5);
}

}  // namespace
