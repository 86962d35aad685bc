// Steps, teach jogging, stop commands, the teach frame and the trajectory query.
#include <gtest/gtest.h>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

struct WireCase {
    const char *name;
    std::function<int(ky_robot_handle *)> call;
    const char *request;
};

// Non-blocking steps send, pause m_nOutTime and never read the answer.
TEST(Steps, NonBlockingStepsSendAndPause) {
    const WireCase cases[] = {
        {"joint", [](auto *r) { return ky_set_joint_step(r, 3, 20, 0, -1.5f); },
         R"({"command":"set_joint_step","joint_step":[3,-1500],"v":20})"},
        {"pos_y", [](auto *r) { return ky_set_pos_step_nblock(r, 1, 0.005f, 10); },
         R"({"command":"set_pos_step","v":10,"step":5000,"step_type":"y_step"})"},
        {"pos_truncated", [](auto *r) { return ky_set_pos_step(r, 2, 10, 0, 0.1234567f); },
         R"({"command":"set_pos_step","v":10,"step":123456,"step_type":"z_step"})"},
        {"pos_no_axis", [](auto *r) { return ky_set_pos_step(r, 3, 10, 0, 0.001f); },
         R"({"command":"set_pos_step","v":10,"step":1000})"},
        {"ort_rx", [](auto *r) { return ky_set_ort_step(r, 0, 5, 0, 0.0123f); },
         R"({"command":"set_ort_step","v":5,"step":12,"step_type":"rx_step"})"},
        {"ort_no_axis", [](auto *r) { return ky_set_ort_step_nblock(r, -1, -0.5f, 5); },
         R"({"command":"set_ort_step","v":5,"step":-500})"},
    };
    Arm arm;
    for (const char *c : {"set_joint_step", "set_pos_step", "set_ort_step"}) arm.fake.on(c, accepted(c, false));
    for (const auto &c : cases) {
        arm.fake.clear_received();
        const auto t0 = Clock::now();
        EXPECT_EQ(c.call(arm.robot), 0) << c.name;  // even though the controller refused
        EXPECT_GE(Clock::now() - t0, 95ms) << c.name;
        EXPECT_EQ(arm.fake.received(), std::string(c.request) + std::string("\r\n\0", 3)) << c.name;
    }
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_set_joint_step_nblock(&bogus, 1, 1.0f, 1), -1);
}

TEST(Steps, BlockingStepsWaitForTheirTrajectory) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *command, *running;
    } cases[] = {
        {"joint", [](auto *r) { return ky_set_joint_step(r, 1, 20, 1, 2.0f); }, "set_joint_step", "movej"},
        {"pos", [](auto *r) { return ky_set_pos_step_block(r, 0, 0.01f, 20, 1); }, "set_pos_step", "movel"},
        {"ort", [](auto *r) { return ky_set_ort_step(r, 2, 20, 1, 0.1f); }, "set_ort_step", "movel"},
    };
    Arm arm;
    for (const auto &c : cases) {
        arm.fake.on(c.command, accepted(c.command));
        const std::string running = c.running;
        // Running for three queries (polled back to back), then idle with the completion.
        QueryScript query(arm.fake, [running](int n) {
            if (n <= 3) return std::vector<std::string>{trajectory(running)};
            return std::vector<std::string>{trajectory("none"), completion()};
        });
        EXPECT_EQ(c.call(arm.robot), 0) << c.name;
        EXPECT_EQ(query.count(), 4) << c.name;

        arm.fake.on(c.command, accepted(c.command, false));
        EXPECT_EQ(c.call(arm.robot), 1) << c.name;
        arm.fake.on(c.command, R"({"command":")" + std::string(c.command) + "\"}");
        EXPECT_EQ(c.call(arm.robot), -3) << c.name;
    }
}

TEST(Steps, BlockingStepEndsWithTheDeviceErrorOrFailure) {
    Arm arm;
    arm.fake.on("set_joint_step", accepted("set_joint_step"));
    struct Case {
        std::string line;
        int expected;
        const char *log;
    } cases[] = {
        {completion(true, 4, 0), -4, "[ky_set_joint_step] current device is: 4 \n"},
        {completion(false, 0, 0), 1, nullptr},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        QueryScript query(arm.fake, [&c](int n) {
            if (n == 1) return std::vector<std::string>{trajectory("movej")};
            return std::vector<std::string>{trajectory("none"), c.line};
        });
        EXPECT_EQ(ky_set_joint_step_block(arm.robot, 1, 1.0f, 5, 1), c.expected);
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log));
        }
    }
}

TEST(Steps, ModeZeroWaitsBlockSeconds) {
    Arm arm(0);
    arm.fake.on("set_pos_step", accepted("set_pos_step"));
    auto f = start([&] { return ky_set_pos_step_block(arm.robot, 0, 0.01f, 20, 2); });
    ASSERT_TRUE(seen(arm.fake, "set_pos_step", 50ms));
    arm.fake.push(completion());
    EXPECT_EQ(f.get(), 0);
}

// ------------------------------------------------------------- one-exchange commands
struct CommandCase {
    const char *name;
    std::function<int(ky_robot_handle *)> call;
    const char *request;
    const char *state_key;
    int on_timeout;  // the result when nothing answers
};

TEST(Jogging, CommandsAndTheirStateKeys) {
    const CommandCase cases[] = {
        {"slow_stop", ky_set_arm_slow_stop, R"({"command":"set_arm_slow_stop"})", "arm_slow_stop", -2},
        {"stop", ky_set_arm_stop, R"({"command":"set_arm_stop"})", "arm_stop", -2},
        {"pause", ky_set_arm_pause, R"({"command":"set_arm_pause"})", "arm_pause", -2},
        {"continue", ky_set_arm_continue, R"({"command":"set_arm_continue"})", "arm_continue", -2},
        {"delete_current", ky_set_delete_current_trajectory, R"({"command":"set_delete_current_trajectory"})",
         "delete_current_trajectory", -2},
        {"delete_all", ky_set_arm_delete_trajectory, R"({"command":"set_arm_delete_trajectory"})",
         "arm_delete_trajectory", -2},
        {"joint_teach_neg", [](auto *r) { return ky_set_joint_teach(r, 2, 0, 30); },
         R"({"command":"set_joint_teach","teach_joint":2,"v":30,"direction":"neg"})", "joint_teach", -1},
        {"joint_teach_pos", [](auto *r) { return ky_set_joint_teach(r, 6, 5, 30); },
         R"({"command":"set_joint_teach","teach_joint":6,"v":30,"direction":"pos"})", "joint_teach", -1},
        {"pos_teach", [](auto *r) { return ky_set_pos_teach(r, 2, 1, 10); },
         R"({"command":"set_pos_teach","v":10,"direction":"pos","teach_type":"z"})", "pos_teach", -1},
        {"pos_teach_no_axis", [](auto *r) { return ky_set_pos_teach(r, 7, 0, 10); },
         R"({"command":"set_pos_teach","v":10,"direction":"neg"})", "pos_teach", -1},
        {"ort_teach", [](auto *r) { return ky_set_ort_teach(r, 1, -1, 10); },
         R"({"command":"set_ort_teach","v":10,"direction":"pos","teach_type":"ry"})", "ort_teach", -2},
        {"stop_teach", ky_set_stop_teach, R"({"command":"set_stop_teach"})", "stop_teach", -2},
        {"teach_frame", [](auto *r) { return ky_set_teach_frame(r, 1); },
         R"({"command":"set_teach_frame","frame_type":1})", "set_state", -2},
    };
    Arm arm(1, "KY6A-B", 30);
    for (const auto &c : cases) {
        const std::string command = kytest::member_of(c.request, "command");
        const std::string name = command.substr(1, command.size() - 2);
        const std::string head = R"({"command":")" + name + R"(",")" + c.state_key + "\":";
        for (auto [reply, expected] : {std::pair{head + "true}", 0}, std::pair{head + "false}", 1},
                                       std::pair{head + "1}", -3}}) {
            arm.fake.clear_received();
            arm.fake.on(name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), std::string(c.request) + std::string("\r\n\0", 3)) << c.name;
        }
        arm.fake.off(name);
        EXPECT_EQ(c.call(arm.robot), c.on_timeout) << c.name;
    }
}

TEST(Jogging, TeachFrameIsRead) {
    Arm arm;
    arm.fake.on("get_teach_frame", R"({"command":"get_teach_frame","frame_type":1})");
    int frame = -1;
    EXPECT_EQ(ky_get_teach_frame(arm.robot, &frame), 0);
    EXPECT_EQ(frame, 1);
    arm.fake.on("get_teach_frame", R"({"command":"get_teach_frame"})");
    frame = 7;
    EXPECT_EQ(ky_get_teach_frame(arm.robot, &frame), -3);
    EXPECT_EQ(frame, 7);
}

// --------------------------------------------------------------- trajectory query
TEST(TrajectoryQuery, EveryTypeAndItsData) {
    struct Case {
        const char *type;
        int code;
        std::vector<float> data;
        const char *log;
    } cases[] = {
        {"none", 0, {1.0f, -2.5f, 0, 0, 0, 90.0f}, "[ky_get_arm_current_trajectory] Current trajectory is None!\n"},
        {"movej", 1, {1.0f, -2.5f, 0, 0, 0, 90.0f}, "[ky_get_arm_current_trajectory] Current trajectory is MoveJ!\n"},
        {"re_trajectory", 5, {1.0f, -2.5f, 0, 0, 0, 90.0f},
         "[ky_get_arm_current_trajectory] Current trajectory is Re-Trajectory!\n"},
        {"movel", 2, {0.001f, -0.0025f, 0, 0, 0, 90.0f}, "[ky_get_arm_current_trajectory] Current trajectory is MoveL!\n"},
        {"moves", 4, {0.001f, -0.0025f, 0, 0, 0, 90.0f}, "[ky_get_arm_current_trajectory] Current trajectory is MoveS!\n"},
        {"movec", 3, {0.001f, -0.0025f, 0, 0, 0, 90.0f}, "[ky_get_arm_current_trajectory] Current trajectory is MoveC!\n"},
    };
    Arm arm;
    for (const auto &c : cases) {
        kytest::LogCapture log;
        arm.fake.on("get_arm_current_trajectory", trajectory(c.type, "[1000,-2500,0,0,0,90000]"));
        int type = -1;
        float data[7] = {};
        ASSERT_EQ(ky_get_arm_current_trajectory(arm.robot, &type, data), 0) << c.type;
        EXPECT_EQ(type, c.code) << c.type;
        for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(data[i], c.data[static_cast<size_t>(i)]) << c.type << " " << i;
        EXPECT_TRUE(log.contains(c.log)) << c.type;
        EXPECT_TRUE(log.contains("[ky_get_arm_current_trajectory] Current trajectory data size: 6, data : "
                                 "(1000, -2500, 0, 0, 0, 90000, 0)\n"));
        if (c.code == 2 || c.code == 3 || c.code == 4) {
            EXPECT_TRUE(log.contains("[ky_get_arm_current_trajectory] End effector pose:  0.001, -0.002, 0.000, 0.000, "
                                     "0.000, 90.000\n"));
            // The lone line end follows movel and moves only.
            const auto lines = log.lines();
            EXPECT_EQ(std::count(lines.begin(), lines.end(), "\n"), c.code == 3 ? 0 : 1) << c.type;
        } else {
            EXPECT_TRUE(log.contains(
                "[ky_get_arm_current_trajectory] Joint Angles: 1.000, -2.500, 0.000, 0.000, 0.000, 90.000\n"));
        }
    }
}

TEST(TrajectoryQuery, SevenAxesFillSevenJoints) {
    Arm arm(1, "KY7A-B");
    kytest::LogCapture log;
    arm.fake.on("get_arm_current_trajectory", trajectory("movej", "[1000,2000,3000,4000,5000,6000,7000,8000]"));
    int type = -1;
    float data[7] = {};
    ASSERT_EQ(ky_get_arm_current_trajectory(arm.robot, &type, data), 0);
    EXPECT_FLOAT_EQ(data[6], 7.0f);
    EXPECT_TRUE(log.contains("Joint Angles: 1.000, 2.000, 3.000, 4.000, 5.000, 6.000, 7.000\n"));
    EXPECT_TRUE(log.contains("data size: 8, data : (1000, 2000, 3000, 4000, 5000, 6000, 7000)\n"));
}

TEST(TrajectoryQuery, EveryProblemIsMinusOne) {
    struct Case {
        const char *reply;
        const char *log;  // null: nothing specific
    } cases[] = {
        {R"({"command":"arm_current_trajectory","type":"pause","data":[0,0,0,0,0,0]})", nullptr},
        {R"({"command":"arm_current_trajectory","type":"movej","data":{"a":1}})",
         "[ky_get_arm_current_trajectory] Data type parse err\n"},
        {R"({"command":"arm_current_trajectory","type":"movej"})",
         "[ky_get_arm_current_trajectory] Get arm current trajectory parse err\n"},
        {R"({"command":"arm_current_trajectory","data":[0,0,0,0,0,0]})",
         "[ky_get_arm_current_trajectory] Get arm current trajectory parse err\n"},
        {R"({"command":"arm_current_trajectory","type":7,"data":[]})",
         "[ky_get_arm_current_trajectory] Get arm current trajectory parse err\n"},
    };
    Arm arm;
    for (const auto &c : cases) {
        kytest::LogCapture log;
        arm.fake.on("get_arm_current_trajectory", c.reply);
        int type = 42;
        float data[7] = {};
        EXPECT_EQ(ky_get_arm_current_trajectory(arm.robot, &type, data), -1) << c.reply;
        EXPECT_EQ(type, 42) << c.reply;
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.reply;
        }
    }
    kytest::LogCapture log;
    arm.fake.on("get_arm_current_trajectory", trajectory("none"));
    ky::store_field(arm.robot->dof, 0);  // dof unknown, as before identification
    int type = 0;
    EXPECT_EQ(ky_get_arm_current_trajectory(arm.robot, &type, nullptr), -1);
    EXPECT_TRUE(log.contains("[parse_ky_get_arm_current_trajectory] The robotic arm has been disconnected\n"));
    ky::store_field(arm.robot->dof, 6);
    arm.fake.off("get_arm_current_trajectory");
    EXPECT_EQ(ky_get_arm_current_trajectory(arm.robot, &type, nullptr), -2);
}

}  // namespace
