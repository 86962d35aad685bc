// Cartesian limits and collision stage: request bytes and scalings, the reply names (the
// collision setting is answered under another name), and the getters' positive result
// for a reply without its member.
#include <gtest/gtest.h>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

const std::string kEnd("\r\n\0", 3);

// Setters: request bytes; the reply's state key gives 0 / 1 / -3; no reply -2.
TEST(ArmLimits, SettersSendScaledValuesAndReadTheirStateKey) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *reply_key, *state_key;
    } cases[] = {
        {"line_speed", [](auto *r) { return ky_set_arm_max_line_speed(r, 0.25f); },
         R"({"command":"set_arm_max_line_speed","arm_line_speed":250})", "set_arm_max_line_speed", "arm_line_speed"},
        {"line_speed truncated", [](auto *r) { return ky_set_arm_max_line_speed(r, 0.0019f); },
         R"({"command":"set_arm_max_line_speed","arm_line_speed":1})", "set_arm_max_line_speed", "arm_line_speed"},
        {"line_acc", [](auto *r) { return ky_set_arm_max_line_acc(r, 1.5f); },
         R"({"command":"set_arm_max_line_acc","arm_line_acc":1500})", "set_arm_max_line_acc", "arm_line_acc"},
        {"angular_speed", [](auto *r) { return ky_set_arm_max_angular_speed(r, -0.0019f); },
         R"({"command":"set_arm_max_angular_speed","arm_angular_speed":-1})", "set_arm_max_angular_speed",
         "arm_angular_speed"},
        {"angular_acc", [](auto *r) { return ky_set_arm_max_angular_acc(r, 3.1416f); },
         R"({"command":"set_arm_max_angular_acc","arm_angular_acc":3141})", "set_arm_max_angular_acc",
         "arm_angular_acc"},
        {"tcp_init", [](auto *r) { return ky_set_arm_tcp_init(r); }, R"({"command":"set_arm_init"})", "set_arm_init",
         "arm_init"},
        // Sent as "set_collision_stage", answered as "set_collision_state".
        {"collision", [](auto *r) { return ky_set_collision_state(r, 4); },
         R"({"command":"set_collision_stage","collision_stage":4})", "set_collision_state", "collision_state"},
    };
    Arm arm;
    for (const auto &c : cases) {
        const std::string command = kytest::member_of(c.request, "command");
        const std::string name = command.substr(1, command.size() - 2);
        const std::string head = R"({"command":")" + std::string(c.reply_key) + R"(",")" + c.state_key + "\":";
        for (auto [reply, expected] : {std::pair{head + "true}", 0}, std::pair{head + "false}", 1},
                                       std::pair{R"({"command":")" + std::string(c.reply_key) + R"(","set_state":true})",
                                                 -3}}) {
            arm.fake.clear_received();
            arm.fake.on(name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), c.request + kEnd) << c.name;
        }
        arm.fake.off(name);
        EXPECT_EQ(c.call(arm.robot), -2) << c.name;
    }
    // A reply under the request's own name is not the collision setting's answer.
    arm.fake.on("set_collision_stage", R"({"command":"set_collision_stage","collision_state":true})");
    EXPECT_EQ(ky_set_collision_state(arm.robot, 4), -2);
}

// Getters: the member / 1000 (the stage unchanged); a reply without the member gives its
// length and leaves the output alone; no reply -2.
TEST(ArmLimits, GettersConvertOrReturnTheReplyLength) {
    struct Case {
        const char *command, *reply_key, *member;
        std::function<int(ky_robot_handle *, float *)> call;
        int32_t wire;
        float value;
    } cases[] = {
        {"get_arm_max_line_speed", "arm_max_line_speed", "arm_line_speed", ky_get_arm_max_line_speed, 250, 0.25f},
        {"get_arm_max_line_acc", "arm_max_line_acc", "arm_line_acc", ky_get_arm_max_line_acc, 1500, 1.5f},
        {"get_arm_max_angular_speed", "arm_max_angular_speed", "arm_angular_speed", ky_get_arm_max_angular_speed,
         -3141, -3.141f},
        {"get_arm_max_angular_acc", "arm_max_angular_acc", "arm_angular_acc", ky_get_arm_max_angular_acc, 7, 0.007f},
        {"get_collision_stage", "get_collision_stage", "collision_stage",
         [](ky_robot_handle *r, float *out) {
             int stage = -7;
             int res = ky_get_collision_stage(r, &stage);
             *out = static_cast<float>(stage);
             return res;
         },
         6, 6.0f},
    };
    Arm arm;
    for (const auto &c : cases) {
        const std::string head = R"({"command":")" + std::string(c.reply_key) + R"(",)";
        arm.fake.clear_received();
        arm.fake.on(c.command, head + "\"" + c.member + "\":" + std::to_string(c.wire) + "}");
        float out = -7.0f;
        EXPECT_EQ(c.call(arm.robot, &out), 0) << c.command;
        EXPECT_FLOAT_EQ(out, c.value) << c.command;
        EXPECT_EQ(arm.fake.received(), R"({"command":")" + std::string(c.command) + "\"}" + kEnd);

        const std::string missing = head + R"("other":1})";
        arm.fake.on(c.command, missing);
        out = -7.0f;
        kytest::LogCapture log;
        EXPECT_EQ(c.call(arm.robot, &out), static_cast<int>(missing.size())) << c.command;
        EXPECT_FLOAT_EQ(out, -7.0f) << c.command;
        EXPECT_TRUE(log.contains(std::string("[ky_") + c.command + "] " + c.member + " parsing error\n")) << c.command;

        arm.fake.off(c.command);
        EXPECT_EQ(c.call(arm.robot, &out), -2) << c.command;
    }
}

}  // namespace
