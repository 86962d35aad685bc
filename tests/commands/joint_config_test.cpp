// Joint configuration: setting bytes and scalings, read-back and the cached limits.
#include <gtest/gtest.h>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

struct SetCase {
    const char *name;
    std::function<int(ky_robot_handle *)> call;
    const char *request;
    const char *state_key;
};

// Every setting: request bytes, then the reply's state key decides 0 / 1 / -3.
TEST(JointConfig, SettingsSendJointAndScaledValue) {
    const SetCase cases[] = {
        {"drive_max_speed", [](auto *r) { return ky_set_joint_drive_max_speed(r, 1, 180.0f); },
         R"({"command":"set_joint_drive_max_speed","joint_max_speed":[1,30000]})", "joint_max_speed"},
        {"drive_max_acc", [](auto *r) { return ky_set_joint_drive_max_acc(r, 2, 1.5f); },
         R"({"command":"set_joint_drive_max_acc","joint_max_acc":[2,1500]})", "joint_max_acc"},
        {"drive_min_pos", [](auto *r) { return ky_set_joint_drive_min_pos(r, 3, -178.5f); },
         R"({"command":"set_joint_drive_min_pos","joint_min_pos":[3,-178500]})", "joint_min_pos"},
        {"drive_max_pos", [](auto *r) { return ky_set_joint_drive_max_pos(r, 7, 12.3456f); },
         R"({"command":"set_joint_drive_max_pos","joint_max_pos":[7,12345]})", "joint_max_pos"},
        {"en_state", [](auto *r) { return ky_set_joint_en_state(r, 4, 1); },
         R"({"command":"set_joint_en_state","joint_en_state":[4,1]})", "joint_en_state"},
        {"zero_pos", [](auto *r) { return ky_set_joint_zero_pos(r, 5); },
         R"({"command":"set_joint_zero_pos","joint_zero_pos":5})", "joint_zero_pos"},
        {"clear_err", [](auto *r) { return ky_set_joint_clear_err(r, 6); },
         R"({"command":"set_joint_clear_err","joint_clear_err":6})", "joint_clear_err"},
    };
    Arm arm;
    for (const auto &c : cases) {
        const std::string command = kytest::member_of(c.request, "command");
        const std::string name = command.substr(1, command.size() - 2);
        const std::string head = R"({"command":")" + name + R"(",")" + c.state_key + "\":";
        for (auto [reply, expected] : {std::pair{head + "true}", 0}, std::pair{head + "false}", 1},
                                       std::pair{R"({"command":")" + name + R"(","set_state":true})", -3}}) {
            arm.fake.clear_received();
            arm.fake.on(name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), std::string(c.request) + std::string("\r\n\0", 3)) << c.name;
        }
    }
}

// The motion limits are read back after a successful setting, which refreshes the cache.
TEST(JointConfig, LimitSettingsRefreshTheCachedLimits) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *set_command, *set_member, *get_command, *reply;
        const float *cache;  // the robot handle's cached limits
        float first, last;
    };
    Arm arm;
    ky_robot_handle *r = arm.robot;
    const Case cases[] = {
        {"max_speed", [](auto *h) { return ky_set_joint_max_speed(h, 1, 180.0f); }, "set_joint_max_speed",
         "[1,30000]", "get_joint_max_speed", R"({"command":"joint_max_speed","joint_speed":[30000,1,2,3,4,5]})",
         r->joint_max_speed, 180.0f, 0.03f},
        {"max_acc", [](auto *h) { return ky_set_joint_max_acc(h, 2, 600.0f); }, "set_joint_max_acc", "[2,100000]",
         "get_joint_max_acc", R"({"command":"joint_max_acc","joint_acc":[1500,1,2,3,4,5]})",
         r->joint_max_acc, 9.0f, 0.03f},
        {"min_pos", [](auto *h) { return ky_set_joint_min_pos(h, 3, -90.0f); }, "set_joint_min_pos", "[3,-90000]",
         "get_joint_min_pos", R"({"command":"joint_min_pos","min_pos":[-90000,1,2,3,4,5]})",
         r->joint_min_pos, -90.0f, 0.005f},
        {"max_pos", [](auto *h) { return ky_set_joint_max_pos(h, 4, 90.5f); }, "set_joint_max_pos", "[4,90500]",
         "get_joint_max_pos", R"({"command":"joint_max_pos","max_pos":[90500,1,2,3,4,5]})",
         r->joint_max_pos, 90.5f, 0.005f},
    };
    for (const auto &c : cases) {
        const std::string member = kytest::member_of(c.reply, "command");
        const std::string key = member.substr(1, member.size() - 2);
        arm.fake.on(c.set_command, R"({"command":")" + std::string(c.set_command) + R"(",")" + key + "\":true}");
        arm.fake.on(c.get_command, c.reply);
        arm.fake.clear_received();
        EXPECT_EQ(c.call(arm.robot), 0) << c.name;
        auto req = arm.fake.requests();
        ASSERT_EQ(req.size(), 2u) << c.name;
        EXPECT_EQ(kytest::member_of(req[0], key), c.set_member) << c.name;
        EXPECT_EQ(req[1], R"({"command":")" + std::string(c.get_command) + "\"}") << c.name;
        EXPECT_FLOAT_EQ(c.cache[0], c.first) << c.name;
        EXPECT_FLOAT_EQ(c.cache[5], c.last) << c.name;

        // Refused: no read-back. Read-back failing: its code.
        arm.fake.on(c.set_command, R"({"command":")" + std::string(c.set_command) + R"(",")" + key + "\":false}");
        arm.fake.clear_received();
        EXPECT_EQ(c.call(arm.robot), 1) << c.name;
        EXPECT_EQ(arm.fake.requests().size(), 1u) << c.name;
        arm.fake.on(c.set_command, R"({"command":")" + std::string(c.set_command) + R"(",")" + key + "\":true}");
        arm.fake.on(c.get_command, R"({"command":")" + key + R"(","x":1})");
        EXPECT_EQ(c.call(arm.robot), -3) << c.name;
    }
}

TEST(JointConfig, ReadsConvertEveryJoint) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *, float *)> call;
        const char *command, *reply;
        float first;
    } cases[] = {
        {"drive_max_speed", ky_get_joint_drive_max_speed, "get_joint_drive_max_speed",
         R"({"command":"get_joint_drive_max_speed","joint_speed":[30000,0,0,0,0,0]})", 180.0f},
        // The drive acceleration is read back x 6 / 1000, although it is set x 1000.
        {"drive_max_acc", ky_get_joint_drive_max_acc, "get_joint_drive_max_acc",
         R"({"command":"get_joint_drive_max_acc","joint_acc":[1500,0,0,0,0,0]})", 9.0f},
        {"drive_min_pos", ky_get_joint_drive_min_pos, "get_joint_drive_min_pos",
         R"({"command":"get_joint_drive_min_pos","min_pos":[-178500,0,0,0,0,0]})", -178.5f},
        {"drive_max_pos", ky_get_joint_drive_max_pos, "get_joint_drive_max_pos",
         R"({"command":"get_joint_drive_max_pos","max_pos":[12345,0,0,0,0,0]})", 12.345f},
    };
    Arm arm;
    for (const auto &c : cases) {
        arm.fake.on(c.command, c.reply);
        float out[7] = {};
        EXPECT_EQ(c.call(arm.robot, out), 0) << c.name;
        EXPECT_FLOAT_EQ(out[0], c.first) << c.name;
        EXPECT_FLOAT_EQ(arm.robot->joint_max_speed[0], 180.0f) << c.name;  // drive limits are not cached
    }
}

TEST(JointConfig, ConnectionCachesTheJointLimits) {
    Arm arm(1, "KY7A-B");
    ASSERT_EQ(arm.robot->id, 1);
    for (int i = 0; i < 7; ++i) {
        EXPECT_FLOAT_EQ(arm.robot->joint_min_pos[i], -178.0f);
        EXPECT_FLOAT_EQ(arm.robot->joint_max_pos[i], 178.0f);
        EXPECT_NEAR(arm.robot->joint_max_acc[i], 999.996f, 1e-3);
        EXPECT_FLOAT_EQ(arm.robot->joint_max_speed[i], 180.0f);
    }
}

TEST(JointConfig, ConnectionFailsWhenALimitQueryFails) {
    kytest::Library lib(1, 100, 300);
    kytest::FakeController fake;
    fake.answer_identity();
    fake.on("get_joint_max_acc", R"({"command":"joint_max_acc","joint_acc":[1,2,3]})");
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_NE(robot, nullptr);
    EXPECT_EQ(robot->id, -1);
    EXPECT_TRUE(fake.requests_for("get_joint_max_speed").empty());  // queries stop at the first failure
}

TEST(JointConfig, ArraysMustHaveDofElements) {
    Arm arm(1, "KY7A-B");
    float out[7] = {};
    arm.fake.on("get_joint_max_speed", R"({"command":"joint_max_speed","joint_speed":[1,2,3,4,5,6]})");
    kytest::LogCapture log;
    EXPECT_EQ(ky_get_joint_max_speed(arm.robot, out), -3);
    EXPECT_TRUE(log.contains("[ky_get_joint_max_speed] Array size mismatch for key joint_speed\n"));
    arm.fake.on("get_joint_max_speed", R"({"command":"joint_max_speed","joint_speed":[1000,2,3,4,5,6,7000]})");
    EXPECT_EQ(ky_get_joint_max_speed(arm.robot, out), 0);
    EXPECT_FLOAT_EQ(out[6], 42.0f);
    EXPECT_FLOAT_EQ(arm.robot->joint_max_speed[6], 42.0f);
    // Disconnected arm: the exchange happens, then the dof check fails.
    ky::store_field(arm.robot->dof, 0);  // dof unknown, as before identification
    EXPECT_EQ(ky_get_joint_max_speed(arm.robot, out), -1);
    EXPECT_TRUE(log.contains("[ky_get_joint_max_speed] The robotic arm has been disconnected\n"));
    ky::store_field(arm.robot->dof, 7);
}

TEST(JointConfig, AutoLimitNeedsTheReplyKeyWithItsTrailingBlank) {
    Arm arm;
    arm.fake.on("get_joint_min_pos", R"({"command":"joint_min_pos","min_pos":[-1000,0,0,0,0,0]})");
    arm.fake.on("get_joint_max_pos", R"({"command":"joint_max_pos","max_pos":[2000,0,0,0,0,0]})");
    arm.fake.on("auto_set_joint_limit", R"({"command":"auto_set_joint_limit ","limit_mode":true})");
    EXPECT_EQ(ky_auto_set_joint_limit(arm.robot, 1), 0);
    auto req = arm.fake.requests();
    ASSERT_EQ(req.size(), 3u);
    EXPECT_EQ(req[0], R"({"command":"auto_set_joint_limit","limit_mode":1})");
    EXPECT_FLOAT_EQ(arm.robot->joint_min_pos[0], -1.0f);
    EXPECT_FLOAT_EQ(arm.robot->joint_max_pos[0], 2.0f);
    // The minimum read's failure does not count, the maximum read's does.
    arm.fake.off("get_joint_min_pos");
    EXPECT_EQ(ky_auto_set_joint_limit(arm.robot, 1), 0);
    arm.fake.off("get_joint_max_pos");
    EXPECT_EQ(ky_auto_set_joint_limit(arm.robot, 1), -2);
    arm.fake.on("auto_set_joint_limit", R"({"command":"auto_set_joint_limit","limit_mode":true})");
    EXPECT_EQ(ky_auto_set_joint_limit(arm.robot, 0), -2);
}

TEST(JointConfig, EnableStatesErrorFlagsAndBrakes) {
    Arm arm;
    arm.fake.on("get_joint_en_state", R"({"command":"joint_en_state","en_state":[1,0,1,1,0,1]})");
    arm.fake.on("get_joint_err_flag",
                R"({"command":"joint_err_flag","err_flag":[0,65535,2,0,0,1],"brake_state":[1,1,0,0,1,0]})");
    uint8_t en[7] = {9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(ky_get_joint_en_state(arm.robot, en), 0);
    EXPECT_EQ(std::vector<int>(en, en + 7), (std::vector<int>{1, 0, 1, 1, 0, 1, 9}));
    uint16_t err[7] = {}, brake[7] = {};
    EXPECT_EQ(ky_get_joint_err_flag(arm.robot, err, brake), 0);
    EXPECT_EQ(err[1], 65535);
    EXPECT_EQ(err[5], 1);
    EXPECT_EQ(brake[0], 1);
    EXPECT_EQ(brake[2], 0);
    arm.fake.on("get_joint_err_flag", R"({"command":"joint_err_flag","err_flag":[0,0,0,0,0,0]})");
    EXPECT_EQ(ky_get_joint_err_flag(arm.robot, err, brake), -3);
    arm.fake.off("get_joint_en_state");
    EXPECT_EQ(ky_get_joint_en_state(arm.robot, en), -2);
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_get_joint_err_flag(&bogus, err, brake), -1);
}

}  // namespace
