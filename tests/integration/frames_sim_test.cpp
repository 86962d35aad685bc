// Tool and work frames, state queries and push configuration against the simulator.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "support/sim_fixture.h"

using namespace std::chrono_literals;

namespace {

// Wire resolution: 1 micrometre, 1 milliradian; float arithmetic on top.
constexpr float kPosTol = 2e-6f;
constexpr float kAngTol = 1.5e-3f;

float angle_diff(float a, float b) {
    float d = std::fmod(a - b + 3.0f * static_cast<float>(M_PI), 2.0f * static_cast<float>(M_PI));
    return std::fabs(d - static_cast<float>(M_PI));
}

void expect_pose_near(const ky_pose &a, const ky_pose &b, float pos_tol, float ang_tol, const char *what) {
    EXPECT_NEAR(a.position.x, b.position.x, pos_tol) << what;
    EXPECT_NEAR(a.position.y, b.position.y, pos_tol) << what;
    EXPECT_NEAR(a.position.z, b.position.z, pos_tol) << what;
    EXPECT_LT(angle_diff(a.euler.rx, b.euler.rx), ang_tol) << what;
    EXPECT_LT(angle_diff(a.euler.ry, b.euler.ry), ang_tol) << what;
    EXPECT_LT(angle_diff(a.euler.rz, b.euler.rz), ang_tol) << what;
}

ky_frame make_tool(const char *name, float x, float y, float z, float rx, float ry, float rz, float payload) {
    ky_frame f{};
    std::strncpy(f.frame_name, name, sizeof f.frame_name - 1);
    f.pose.position = {x, y, z};
    f.pose.euler = {rx, ry, rz};
    f.payload = payload;
    f.x = 0.01f;
    f.y = 0.02f;
    f.z = 0.03f;
    return f;
}

bool listed(ky_robot_handle *robot, const char *name, bool tool) {
    ky_frame_name names[32] = {};
    int count = 0;
    int r = tool ? ky_get_total_tool_frame(robot, names, &count) : ky_get_total_work_frame(robot, names, &count);
    EXPECT_EQ(r, 0);
    for (int i = 0; i < count; ++i) {
        if (std::strncmp(names[i].name, name, KY_FRAME_NAME_LEN) == 0) return true;
    }
    return false;
}

class FramesSim : public kytest::SimTest {
protected:
    FramesSim() { options.initial_joints = {10, -20, 30, -40, 50, -60}; }
};

TEST_F(FramesSim, ConnectionLeavesIdentityFramesLimitsAndPushPortInTheHandle) {
    EXPECT_EQ(robot->dof, 6);
    EXPECT_EQ(robot->model, 0);
    EXPECT_EQ(robot->force_type, 0);
    EXPECT_STREQ(robot->tool_frame.frame_name, sim->tool_frame_name().c_str());
    EXPECT_STREQ(robot->work_frame.frame_name, sim->work_frame_name().c_str());
    EXPECT_EQ(robot->push_port, push_port);
    EXPECT_GT(robot->joint_max_pos[0], 100.0f);
    EXPECT_LT(robot->joint_min_pos[0], -100.0f);
    EXPECT_GT(robot->joint_max_speed[5], 0.0f);
}

TEST_F(FramesSim, SwitchingTheToolFrameMovesTheComputedPoseLikeTheController) {
    ky_current_arm_state before{};
    ASSERT_EQ(ky_get_current_arm_state(robot, &before), 0);
    ky_pose fk = ky_algo_forward_kinematics(robot, before.joint);
    expect_pose_near(fk, before.pose, 1e-4f, kAngTol, "flange tool");

    ky_frame probe = make_tool("probe", 0.0f, 0.0f, 0.1f, 0.0f, 0.0f, 0.0f, 0.5f);
    ASSERT_EQ(ky_set_manual_tool_frame(robot, &probe), 0);
    ASSERT_EQ(ky_change_tool_frame(robot, "probe"), 0);
    EXPECT_STREQ(robot->tool_frame.frame_name, "probe");
    EXPECT_NEAR(Tool_Matrix.data[2][3], 0.1f, 1e-6f);

    ky_current_arm_state after{};
    ASSERT_EQ(ky_get_current_arm_state(robot, &after), 0);
    ky_pose fk2 = ky_algo_forward_kinematics(robot, after.joint);
    expect_pose_near(fk2, after.pose, 1e-4f, kAngTol, "probe tool");
    // The tool point moved 0.1 m along the flange's own z axis; the orientation is unchanged.
    float dx = fk2.position.x - fk.position.x, dy = fk2.position.y - fk.position.y,
          dz = fk2.position.z - fk.position.z;
    EXPECT_NEAR(std::sqrt(dx * dx + dy * dy + dz * dz), 0.1f, 1e-4f);
    EXPECT_LT(angle_diff(fk2.euler.rz, fk.euler.rz), kAngTol);

    ASSERT_EQ(ky_change_tool_frame(robot, "Arm_Tip"), 0);
    EXPECT_EQ(ky_delete_tool_frame(robot, "probe"), 0);
}

TEST_F(FramesSim, ToolFrameRoundTripsItsValuesWithinTheWireResolution) {
    ky_frame t = make_tool("gripper", 0.0123456f, -0.02f, 0.15f, 0.1f, -0.2f, 0.3f, 1.25f);
    ASSERT_EQ(ky_set_manual_tool_frame(robot, &t), 0);
    EXPECT_TRUE(listed(robot, "gripper", true));
    ky_frame got{};
    ASSERT_EQ(ky_get_given_tool_frame(robot, "gripper", &got), 0);
    EXPECT_STREQ(got.frame_name, "gripper");
    expect_pose_near(got.pose, t.pose, kPosTol, kAngTol, "given tool frame");
    EXPECT_NEAR(got.payload, 1.25f, 1e-3f);
    EXPECT_NEAR(got.x, 0.01f, kPosTol);
    EXPECT_NEAR(got.z, 0.03f, kPosTol);

    ASSERT_EQ(ky_change_tool_frame(robot, "gripper"), 0);
    ky_frame cur{};
    ASSERT_EQ(ky_get_current_tool_frame(robot, &cur), 0);
    expect_pose_near(cur.pose, t.pose, kPosTol, kAngTol, "current tool frame");
    EXPECT_EQ(sim->tool_frame_name(), "gripper");

    ky_frame updated = t;
    updated.pose.position.z = 0.2f;
    ASSERT_EQ(ky_update_tool_frame(robot, &updated), 0);
    ASSERT_EQ(ky_get_given_tool_frame(robot, "gripper", &got), 0);
    EXPECT_NEAR(got.pose.position.z, 0.2f, kPosTol);

    ASSERT_EQ(ky_change_tool_frame(robot, "Arm_Tip"), 0);
    ASSERT_EQ(ky_delete_tool_frame(robot, "gripper"), 0);
    EXPECT_FALSE(listed(robot, "gripper", true));
    EXPECT_NE(ky_get_given_tool_frame(robot, "gripper", &got), 0);
}

TEST_F(FramesSim, WorkFrameRoundTripsAndChangesTheReportedPose) {
    ky_pose wf{};
    wf.position = {0.3f, -0.1f, 0.05f};
    wf.euler = {0.0f, 0.0f, 1.5707963f};
    ASSERT_EQ(ky_set_manual_work_frame(robot, "table", &wf), 0);
    EXPECT_TRUE(listed(robot, "table", false));
    ky_pose got{};
    ASSERT_EQ(ky_get_given_work_frame(robot, "table", &got), 0);
    expect_pose_near(got, wf, kPosTol, kAngTol, "given work frame");

    ky_current_arm_state in_world{};
    ASSERT_EQ(ky_get_current_arm_state(robot, &in_world), 0);
    ASSERT_EQ(ky_change_work_frame(robot, "table"), 0);
    EXPECT_STREQ(robot->work_frame.frame_name, "table");
    ky_current_arm_state in_table{};
    ASSERT_EQ(ky_get_current_arm_state(robot, &in_table), 0);
    // The same tool point, expressed in the table frame, matches what the library computes.
    ky_pose fk = ky_algo_forward_kinematics(robot, in_table.joint);
    expect_pose_near(fk, in_table.pose, 1e-4f, kAngTol, "pose in work frame");
    ky_pose back = ky_algo_workframe2base(&robot->work_frame, in_table.pose);
    EXPECT_NEAR(back.position.x, in_world.pose.position.x, 1e-4f);
    EXPECT_NEAR(back.position.y, in_world.pose.position.y, 1e-4f);

    ASSERT_EQ(ky_change_work_frame(robot, "World"), 0);
    ASSERT_EQ(ky_delete_work_frame(robot, "table"), 0);
    EXPECT_FALSE(listed(robot, "table", false));
}

TEST_F(FramesSim, StateQueriesMatchTheSimulatedArm) {
    float joints[7] = {};
    ASSERT_EQ(ky_get_joint_degree(robot, joints), 0);
    auto sim_joints = sim->joints();
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(joints[i], sim_joints[i], 1e-3) << i;
    ky_arm_all_state all{};
    ASSERT_EQ(ky_get_arm_all_state(robot, &all), 0);
    float temps[7] = {}, volts[7] = {};
    ASSERT_EQ(ky_get_current_joint_temperature(robot, temps), 0);
    ASSERT_EQ(ky_get_current_joint_voltage(robot, volts), 0);
    for (int i = 0; i < 6; ++i) {
        EXPECT_GT(temps[i], 10.0f);
        EXPECT_LT(temps[i], 90.0f);
        EXPECT_GT(volts[i], 10.0f);
    }
}

TEST_F(FramesSim, PushConfigurationChangesWhatTheCallbackReceives) {
    ASSERT_TRUE(rttest::Collector::wait_for(5, 3s));
    auto recs = rttest::Collector::got();
    EXPECT_EQ(recs.back().errCode, 0);
    EXPECT_NEAR(recs.back().joint_position[0], 10.0f, 1e-3f);

    ky_realtime_push_config cfg{};
    ASSERT_EQ(ky_get_realtime_push(robot, &cfg), 0);
    EXPECT_TRUE(cfg.enable);
    EXPECT_EQ(cfg.port, push_port);

    // Off: the pushes stop.
    cfg.enable = false;
    ASSERT_EQ(ky_set_realtime_push(robot, &cfg), 0);
    std::this_thread::sleep_for(100ms);
    rttest::Collector::clear();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(rttest::Collector::count(), 0u);

    // On at a 50 ms cycle with the joint-speed block: about four records in 200 ms.
    cfg.enable = true;
    cfg.cycle = 50;
    cfg.custom.joint_speed = 1;
    cfg.custom.arm_current_status = -1;
    ASSERT_EQ(ky_set_realtime_push(robot, &cfg), 0);
    std::this_thread::sleep_for(60ms);
    rttest::Collector::clear();
    std::this_thread::sleep_for(500ms);
    size_t slow = rttest::Collector::count();
    EXPECT_GE(slow, 5u);
    EXPECT_LE(slow, 15u);
    ky_realtime_push_config back{};
    ASSERT_EQ(ky_get_realtime_push(robot, &back), 0);
    EXPECT_EQ(back.cycle, 50);
    EXPECT_EQ(back.custom.joint_speed, 1);
}

}  // namespace
