// The public algorithm API as a host uses it: offline set-up, forward and inverse solves in
// degrees, frame changes and Cartesian offsets, and the arm settings loaded from a robot
// connected to a fake controller.
#include <gtest/gtest.h>

#include <cmath>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "algo/api_internal.h"
#include "algo/state.h"
#include "kdl_support.h"
#include "support/fake_controller.h"
#include "support/test_util.h"

namespace {

ky_pose pose(float x, float y, float z, float rx, float ry, float rz) {
    ky_pose p{};
    p.position = {x, y, z};
    p.euler = {rx, ry, rz};
    p.quaternion = ky_algo_euler2quaternion(p.euler);
    return p;
}

ky_frame frame(const char *name, const ky_pose &p) {
    ky_frame f{};
    std::strncpy(f.frame_name, name, sizeof f.frame_name - 1);
    f.pose = p;
    return f;
}

void expect_same_pose(const ky_pose &a, const ky_pose &b, float tol = 1e-5f) {
    EXPECT_NEAR(a.position.x, b.position.x, tol);
    EXPECT_NEAR(a.position.y, b.position.y, tol);
    EXPECT_NEAR(a.position.z, b.position.z, tol);
    const ky_matrix ma = ky_algo_euler2matrix(a.euler), mb = ky_algo_euler2matrix(b.euler);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(ma.data[i][j], mb.data[i][j], 10 * tol);
}

TEST(AlgoApi, InitMapsUnknownTypesToKy6a) {
    EXPECT_STREQ(ky_algo_version(), "1.4.7");
    EXPECT_EQ(ky_algo_init_sys_data(12, 5), 0);
    EXPECT_EQ(libalgo_get_robot_type(), 0u);
    EXPECT_EQ(libalgo_get_sensor_type(), 0u);
    EXPECT_EQ(libalgo_get_rbt_dof(), 6);
    EXPECT_EQ(ky_algo_init_sys_data(2, 0), -1);  // type 2 passes the mapping and is refused
    EXPECT_EQ(ky_algo_init_sys_data(6, 1), -1);  // LUX6B takes no sensor
    EXPECT_EQ(ky_algo_init_sys_data(1, 2), 0);
    EXPECT_EQ(libalgo_get_rbt_dof(), 7);
}

TEST(AlgoApi, SettersConvertDegrees) {
    ASSERT_EQ(ky_algo_init_sys_data(1, 0), 0);
    ky_algo_set_angle(90, 0, 45);
    float x = 0, y = 0, z = 0;
    ky_algo_get_angle(&x, &y, &z);
    EXPECT_NEAR(x, 90, 1e-4);
    EXPECT_NEAR(z, 45, 1e-4);
    float radians[3];
    libalgo_get_robot_install_angle(radians);
    EXPECT_NEAR(radians[0], 1.5707964f, 1e-6);
    ky_algo_get_angle(&x, nullptr, &z);  // ignored, no crash

    const float max_deg[7] = {170, 120, 170, 130, 170, 120, 350};
    ky_algo_set_joint_max_limit(max_deg);
    float rad[8], back[7];
    libalgo_get_jointlim_max(rad);
    EXPECT_NEAR(rad[6], 350 * 0.017453292519943295, 1e-6);
    ky_algo_get_joint_max_limit(back);
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(back[i], max_deg[i], 1e-4);
    const float speed[7] = {90, 90, 90, 90, 90, 90, 90};
    ky_algo_set_joint_max_speed(speed);
    ky_algo_get_joint_max_speed(back);
    EXPECT_NEAR(back[3], 90, 1e-4);

    // Tool frame: pose and payload go into the state and come back with the name.
    ky_frame tool = frame("gripper", pose(0, 0, 0.1f, 0, 0, 0.5f));
    tool.payload = 1.5f;
    tool.x = 0.01f;
    ky_algo_set_toolframe(&tool);
    float payload[11];
    libalgo_get_payload_params(payload);
    EXPECT_FLOAT_EQ(payload[0], 1.5f);
    EXPECT_FLOAT_EQ(payload[1], 0.01f);
    ky_frame got{};
    ky_algo_get_curr_toolframe(&got);
    EXPECT_STREQ(got.frame_name, "gripper");
    EXPECT_FLOAT_EQ(got.pose.position.z, 0.1f);
    EXPECT_FLOAT_EQ(got.payload, 1.5f);
    EXPECT_NEAR(got.pose.quaternion.w, std::cos(0.25f), 1e-6);
    ky_algo_set_toolframe(nullptr);
}

TEST(AlgoApi, OverposAndForwardKinematics) {
    ASSERT_EQ(ky_algo_init_sys_data(0, 0), 0);
    float joints[7] = {0, 0, 0, 0, 0, 0, 999};  // joint 7 of a 6-joint arm is not checked
    EXPECT_EQ(ky_algo_judgment_overpos(joints), 0);
    joints[0] = 178.1f;
    EXPECT_EQ(ky_algo_judgment_overpos(joints), -1);
    joints[0] = -178.0f;
    EXPECT_EQ(ky_algo_judgment_overpos(joints), 0);

    const ky_pose zero = ky_algo_forward_kinematics(nullptr, nullptr);
    EXPECT_EQ(zero.position.z, 0.0f);
    EXPECT_EQ(zero.quaternion.w, 0.0f);
    const float home[7] = {};
    const ky_pose up = ky_algo_forward_kinematics(nullptr, home);
    EXPECT_NEAR(up.position.z, 0.2405f + 0.256f + 0.21f + 0.144f, 1e-5);
    // The pose comes out in the work frame.
    const ky_frame wf = frame("table", pose(0, 0, 0.5f, 0, 0, 0));
    ky_algo_set_workframe(&wf);
    EXPECT_NEAR(ky_algo_forward_kinematics(nullptr, home).position.z, up.position.z - 0.5f, 1e-5);
    ky_frame wf_back{};
    ky_algo_get_curr_workframe(&wf_back);
    EXPECT_STREQ(wf_back.frame_name, "table");
}

TEST(AlgoApi, InverseKinematicsResultsAndQuaternionCheck) {
    ASSERT_EQ(ky_algo_init_sys_data(5, 0), 0);  // LUX6A
    const float q[7] = {10, -20, 30, 40, 50, 60, 0};
    const ky_pose target = ky_algo_forward_kinematics(nullptr, q);
    ky_inverse_kinematics_params p{};
    for (int i = 0; i < 6; ++i) p.current_joints[i] = q[i] + 1.0f;
    p.target_pose = target;
    p.flag = 1;
    float out[7] = {};
    ASSERT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), 0);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(out[i], q[i], 1e-2) << i;

    // A quaternion off the unit norm is refused before anything else; the same request
    // with the Euler flag solves.
    p.target_pose.quaternion = {1.0f, 0.001f, 0.0f, 0.0f};
    p.flag = 0;
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), -2);
    p.flag = 1;
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), 0);
    p.target_pose.quaternion = {1.0f, 0.0f, 0.0f, 0.0f};  // exactly unit: accepted
    p.target_pose.euler = {9, 9, 9};                      // and the Euler angles are not read
    p.target_pose.position = target.position;
    p.flag = 0;
    const int rc_quat = ky_algo_inverse_kinematics(nullptr, &p, out);
    EXPECT_TRUE(rc_quat == 0 || rc_quat == 1);

    // Current joints 0.1 deg beyond a limit: -1 before any solving.
    p.flag = 1;
    p.target_pose = target;
    p.current_joints[1] = -180.1f;
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), -1);
    p.current_joints[1] = q[1];
    // Unreachable: 1, output untouched.
    p.target_pose.position = {5.0f, 0.0f, 0.0f};
    float untouched[7] = {7, 7, 7, 7, 7, 7, 7};
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, &p, untouched), 1);
    EXPECT_EQ(untouched[0], 7.0f);
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, nullptr, out), -1);
    // No solver for the unnamed type 9 (only reachable through the state functions).
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(9, 0), 0);
    p.target_pose = target;
    EXPECT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), 1);
}

TEST(AlgoApi, TraversalModeSticksOnceSet) {
    ASSERT_EQ(ky_algo_init_sys_data(1, 0), 0);
    const float q[7] = {10, 20, 30, 40, 50, 60, 70};
    ky_inverse_kinematics_params p{};
    std::memcpy(p.current_joints, q, sizeof q);
    p.target_pose = ky_algo_forward_kinematics(nullptr, q);
    p.flag = 1;
    float out[7];
    auto &state = ky::algo::global_state();
    if (ky::algo::public_state().traversal_flag) {
        // Before the mode is ever chosen, every solve resets to the near search.
        state.solution_range = 3.14f;
        state.search_strategy = 0;
        ASSERT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), 0);
        EXPECT_FLOAT_EQ(state.solution_range, 0.013f);
        EXPECT_EQ(state.search_strategy, 1);
    }
    ky_algo_set_redundant_parameter_traversal_mode(true);
    for (int n = 0; n < 3; ++n) {
        ASSERT_EQ(ky_algo_inverse_kinematics(nullptr, &p, out), 0);
        EXPECT_FLOAT_EQ(state.solution_range, 3.14f);
        EXPECT_EQ(state.search_strategy, 0);
    }
    // A model selection keeps the solver settings.
    ASSERT_EQ(ky_algo_init_sys_data(7, 0), 0);
    EXPECT_EQ(state.search_strategy, 0);
    ky_algo_set_redundant_parameter_traversal_mode(false);
    EXPECT_FLOAT_EQ(state.solution_range, 0.013f);
    EXPECT_EQ(state.search_strategy, 1);
}

TEST(FrameHelpers, WorkFrameRoundTripAndMeaning) {
    const ky_frame wf = frame("bench", pose(0.4f, -0.2f, 0.1f, 0.1f, -0.2f, 1.2f));
    const ky_pose cases[] = {pose(0.3f, 0.2f, 0.5f, 3.0f, 0.1f, -0.4f), pose(0, 0, 0, 0, 0, 0),
                             pose(-0.5f, 0.1f, 0.9f, -1.0f, 1.4f, 2.5f)};
    for (const auto &p : cases) {
        const ky_pose in_work = ky_algo_base2workframe(&wf, p);
        expect_same_pose(ky_algo_workframe2base(&wf, in_work), p);
        // The quaternion of the result matches its Euler angles.
        const ky_matrix mq = ky_algo_pos2matrix(in_work);
        const ky_quaternion q = ky_algo_euler2quaternion(in_work.euler);
        EXPECT_NEAR(std::fabs(q.w * in_work.quaternion.w + q.x * in_work.quaternion.x +
                              q.y * in_work.quaternion.y + q.z * in_work.quaternion.z),
                    1.0f, 1e-5);
        (void)mq;
    }
    // The work frame's own origin is the zero pose in the work frame.
    const ky_pose origin = ky_algo_base2workframe(&wf, wf.pose);
    expect_same_pose(origin, pose(0, 0, 0, 0, 0, 0));
    // A pure shift: a point 0.1 m above the frame's origin reads (0, 0, 0.1).
    const ky_frame shifted = frame("up", pose(1, 2, 3, 0, 0, 0));
    const ky_pose p = ky_algo_base2workframe(&shifted, pose(1, 2, 3.1f, 0, 0, 0));
    EXPECT_NEAR(p.position.z, 0.1f, 1e-6);
    EXPECT_NEAR(p.position.x, 0.0f, 1e-6);
    // A null frame is the identity.
    expect_same_pose(ky_algo_base2workframe(nullptr, cases[0]), cases[0]);
}

TEST(FrameHelpers, ToolOffsetsFollowTheToolAxes) {
    // Tool 0.1 m along the flange z axis; flange turned so its z axis points along base -x.
    const ky_frame tool = frame("pen", pose(0, 0, 0.1f, 0, 0, 0));
    const ky_pose flange = pose(0.5f, 0, 0.3f, 0, -1.5707964f, 0);
    const ky_pose tip = ky_algo_end2tool(&tool, flange);
    EXPECT_NEAR(tip.position.x, 0.4f, 1e-6);
    EXPECT_NEAR(tip.position.z, 0.3f, 1e-6);
    expect_same_pose(ky_algo_tool2end(&tool, tip), flange);

    // Moving 0.05 m along the tool's own z axis moves the point along base -x; the
    // orientation stays.
    const float along_z[6] = {0, 0, 0.05f, 0, 0, 0};
    const ky_pose moved = ky_algo_pose_move(tip, along_z, 1);
    EXPECT_NEAR(moved.position.x, 0.35f, 1e-6);
    EXPECT_NEAR(moved.position.z, 0.3f, 1e-6);
    expect_same_pose(pose(moved.position.x, moved.position.y, moved.position.z, moved.euler.rx,
                          moved.euler.ry, moved.euler.rz),
                     pose(0.35f, 0, 0.3f, tip.euler.rx, tip.euler.ry, tip.euler.rz));
    // The same offset in the base frame moves along base z.
    const ky_pose base_moved = ky_algo_pose_move(tip, along_z, 0);
    EXPECT_NEAR(base_moved.position.x, 0.4f, 1e-6);
    EXPECT_NEAR(base_moved.position.z, 0.35f, 1e-6);
    // A rotation offset in the base frame turns about the fixed axes, in the tool frame
    // about the tool's own axes; both keep the point.
    const float turn[6] = {0, 0, 0, 0, 0, 0.3f};
    const ky_pose base_turn = ky_algo_pose_move(tip, turn, 0);
    const ky_pose tool_turn = ky_algo_pose_move(tip, turn, 1);
    EXPECT_NEAR(base_turn.position.x, tip.position.x, 1e-6);
    EXPECT_NEAR(tool_turn.position.x, tip.position.x, 1e-6);
    const ky_matrix rb = ky_algo_pos2matrix(base_turn), rt = ky_algo_pos2matrix(tool_turn);
    // Base z turn keeps the base-z component of every axis; tool z turn keeps the tool z.
    const ky_matrix r0 = ky_algo_pos2matrix(tip);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(rb.data[2][c], r0.data[2][c], 1e-5);
    for (int r = 0; r < 3; ++r) EXPECT_NEAR(rt.data[r][2], r0.data[r][2], 1e-5);
    // Invalid frame selector or null offset: unchanged.
    expect_same_pose(ky_algo_pose_move(tip, turn, 3), tip);
    expect_same_pose(ky_algo_pose_move(tip, nullptr, 0), tip);

    // Cartesian tool offset from joints: the point moves along the tool's z axis.
    ASSERT_EQ(ky_algo_init_sys_data(0, 0), 0);
    ky_algo_set_toolframe(&tool);
    const float q[7] = {10, 20, 30, 40, 50, 60, 0};
    const ky_pose here = ky_algo_forward_kinematics(nullptr, q);
    const ky_pose there = ky_algo_cartesian_tool(nullptr, q, 0, 0, 0.02f);
    const ky_matrix m = ky_algo_pos2matrix(here);
    EXPECT_NEAR(there.position.x - here.position.x, 0.02f * m.data[0][2], 1e-6);
    EXPECT_NEAR(there.position.y - here.position.y, 0.02f * m.data[1][2], 1e-6);
    EXPECT_NEAR(there.position.z - here.position.z, 0.02f * m.data[2][2], 1e-6);
    EXPECT_EQ(ky_algo_cartesian_tool(nullptr, nullptr, 0, 0, 1).position.x, 0.0f);
}

TEST(FrameHelpers, RotateMoveAboutReferenceAxes) {
    const ky_pose p = pose(1.0f, 0, 0, 0, 0, 0);
    // About the base z axis through the base origin: the point swings round.
    const ky_pose swung = ky_algo_rotate_move(p, 2, 1.5707964f, pose(0, 0, 0, 0, 0, 0));
    EXPECT_NEAR(swung.position.x, 0.0f, 1e-6);
    EXPECT_NEAR(swung.position.y, 1.0f, 1e-6);
    EXPECT_NEAR(swung.euler.rz, 1.5707964f, 1e-6);
    // About its own x axis: the point stays, the orientation turns.
    const ky_pose own = ky_algo_rotate_move(p, 0, 0.5f, p);
    EXPECT_NEAR(own.position.x, 1.0f, 1e-6);
    EXPECT_NEAR(own.euler.rx, 0.5f, 1e-6);
    expect_same_pose(ky_algo_rotate_move(p, 5, 1.0f, p), p);
}

TEST(ArmGlue, LoadsTheConnectedArmsSettings) {
    kytest::Library lib(1);
    kytest::FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake, "KY7A-6F");
    ASSERT_NE(robot, nullptr);
    ASSERT_GT(robot->id, 0);
    ASSERT_EQ(ky_algo_init_sys_data(5, 0), 0);  // something else first
    // The cached record is what the glue copies; give it distinctive values.
    robot->install_x = 0;
    robot->install_y = 0;
    robot->install_z = 30;
    robot->tool_frame = frame("tip", pose(0, 0, 0.05f, 0, 0, 0));
    robot->tool_frame.payload = 2.0f;
    for (int i = 0; i < 7; ++i) robot->joint_max_pos[i] = 100.0f + i;
    ky_algo_arm_state_set(robot);
    EXPECT_EQ(libalgo_get_robot_type(), static_cast<uint32_t>(robot->model));
    EXPECT_EQ(libalgo_get_sensor_type(), static_cast<uint32_t>(robot->force_type));
    EXPECT_EQ(libalgo_get_rbt_dof(), robot->dof);
    float x, y, z;
    ky_algo_get_angle(&x, &y, &z);
    EXPECT_NEAR(z, 30.0f, 1e-4);
    float mx[7];
    ky_algo_get_joint_max_limit(mx);
    EXPECT_NEAR(mx[6], 106.0f, 1e-3);
    float payload[11];
    libalgo_get_payload_params(payload);
    EXPECT_FLOAT_EQ(payload[0], 2.0f);

    // Forward kinematics through the handle equal the offline ones with the same settings.
    const float q[7] = {5, 10, 15, 20, 25, 30, 35};
    const ky_pose via_handle = ky_algo_forward_kinematics(robot, q);
    ASSERT_EQ(ky_algo_init_sys_data(static_cast<uint32_t>(robot->model),
                                    static_cast<uint32_t>(robot->force_type)), 0);
    ky_algo_set_angle(0, 0, 30);
    ky_algo_set_toolframe(&robot->tool_frame);
    expect_same_pose(ky_algo_forward_kinematics(nullptr, q), via_handle);

    // Inverse kinematics through the handle.
    ky_inverse_kinematics_params p{};
    std::memcpy(p.current_joints, q, sizeof q);
    p.current_joints[0] += 0.5f;
    p.target_pose = via_handle;
    p.flag = 1;
    float out[7];
    ASSERT_EQ(ky_algo_inverse_kinematics(robot, &p, out), 0);
    expect_same_pose(ky_algo_forward_kinematics(robot, out), via_handle, 5e-5f);

    // An unknown handle leaves the state alone and warns.
    kytest::LogCapture log(KY_LOG_DEBUG);
    ky_robot_handle stranger{};
    ASSERT_EQ(ky_algo_init_sys_data(8, 1), 0);
    ky_algo_arm_state_set(&stranger);
    EXPECT_EQ(libalgo_get_robot_type(), 8u);
    EXPECT_TRUE(log.contains("The robotic arm is not connected!"));
    log.clear();
    ky_algo_arm_state_set(nullptr);
    EXPECT_FALSE(log.contains("not connected"));
    ky_delete_robot_arm(robot);
}

}  // namespace

namespace {

// Several host threads using the algorithm functions at once: every call sees a whole
// state (the rewriting thread stores the same settings again and again, so any torn read
// would show as a different pose), and ThreadSanitizer sees the calls serialised.
TEST(AlgoApiConcurrency, CallsFromSeveralThreadsAreSerialised) {
    ASSERT_EQ(ky_algo_init_sys_data(0, 0), 0);
    const ky_frame tool = frame("tcp", pose(0.01f, 0.0f, 0.12f, 0.0f, 0.3f, 0.0f));
    ky_algo_set_toolframe(&tool);
    const float q[7] = {10, -20, 30, -40, 50, -60, 0};
    const ky_pose want = ky_algo_forward_kinematics(nullptr, q);
    std::atomic<int> bad{0};
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        const float max_deg[7] = {178, 130, 135, 178, 128, 360, 0};
        while (!stop) {
            ky_algo_set_toolframe(&tool);
            ky_algo_set_joint_max_limit(max_deg);
            ky_algo_set_angle(0, 0, 0);
        }
    });
    std::vector<std::thread> users;
    for (int t = 0; t < 3; ++t) {
        users.emplace_back([&, t] {
            for (int n = 0; n < kytest::samples(300); ++n) {
                const ky_pose got = ky_algo_forward_kinematics(nullptr, q);
                if (std::memcmp(&got, &want, sizeof got) != 0) ++bad;
                ky_inverse_kinematics_params p{};
                for (int i = 0; i < 6; ++i) p.current_joints[i] = q[i] + 0.3f * (t + 1);
                p.target_pose = want;
                p.flag = 1;
                float out[7];
                if (ky_algo_inverse_kinematics(nullptr, &p, out) != 0) ++bad;
                for (int i = 0; i < 6; ++i)
                    if (std::fabs(out[i] - q[i]) > 0.01f) ++bad;
            }
        });
    }
    for (auto &u : users) u.join();
    stop = true;
    writer.join();
    EXPECT_EQ(bad.load(), 0);
}

}  // namespace
