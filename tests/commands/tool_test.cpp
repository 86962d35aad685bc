// Gripper and dexterous hand: request bytes, the reply names and state keys that decide, the
// long acknowledgement time-out, the gripper's fire-and-forget path, the gripper state, and
// the completion-report matrix of the blocking actions.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string reply_line(const std::string &name, const std::string &key, const std::string &value) {
    return R"({"command":")" + name + R"(",")" + key + "\":" + value + "}";
}

const int kAngles[6] = {100, 200, -300, 0, 4500, 6};

// reply_name null: fire-and-forget, 0 after m_nOutTime_max whatever the controller answers.
struct Setter {
    const char *command;
    std::function<int(ky_robot_handle *)> call;
    const char *request, *reply_name, *state_key;
} const kSetters[] = {
    {"set_gripper_route", [](auto *r) { return ky_set_gripper_route(r, 10, 900); },
     R"({"command":"set_gripper_route","min":10,"max":900})", "set_gripper_route", "state"},
    {"set_gripper_release", [](auto *r) { return ky_set_gripper_release(r, 300, false, 5); },
     R"({"command":"set_gripper_release","speed":300,"block":false})", "set_gripper", "state"},
    {"set_gripper_pick", [](auto *r) { return ky_set_gripper_pick(r, 200, 150, false, 5); },
     R"({"command":"set_gripper_pick","speed":200,"force":150,"block":false})", "set_gripper", "state"},
    {"set_gripper_pick_on", [](auto *r) { return ky_set_gripper_pick_on(r, 201, 151, false, -1); },
     R"({"command":"set_gripper_pick_on","speed":201,"force":151,"block":false})", "set_gripper", "state"},
    {"set_gripper_position", [](auto *r) { return ky_set_gripper_position(r, 500, false, 3); },
     R"({"command":"set_gripper_position","position":500,"block":false})", "set_gripper", "state"},
    {"set_hand_posture", [](auto *r) { return ky_set_hand_posture(r, 4, false, 0); },
     R"({"command":"set_hand_posture","posture_num":4,"block":false})", "set_hand_posture", "set_state"},
    {"set_hand_seq", [](auto *r) { return ky_set_hand_seq(r, 7, false, 0); },
     R"({"command":"set_hand_seq","seq_num":7,"block":false})", "set_hand_seq", "set_state"},
    {"set_hand_angle", [](auto *r) { return ky_set_hand_angle(r, kAngles); },
     R"({"command":"set_hand_angle","hand_angle":[100,200,-300,0,4500,6]})", "set_hand_angle", "set_state"},
    {"set_hand_speed", [](auto *r) { return ky_set_hand_speed(r, 77); }, R"({"command":"set_hand_speed","speed":77})",
     "set_hand_speed", "set_state"},
    {"set_hand_force", [](auto *r) { return ky_set_hand_force(r, 33); },
     R"({"command":"set_hand_force","hand_force":33})", "set_hand_force", "set_state"},
    {"set_gripper_release", [](auto *r) { return ky_set_gripper_release(r, 10, false, 0); },
     R"({"command":"set_gripper_release","speed":10,"block":false})", nullptr, nullptr},
    {"set_gripper_pick", [](auto *r) { return ky_set_gripper_pick(r, 10, 20, false, 0); },
     R"({"command":"set_gripper_pick","speed":10,"force":20,"block":false})", nullptr, nullptr},
    {"set_gripper_pick_on", [](auto *r) { return ky_set_gripper_pick_on(r, 10, 20, false, 0); },
     R"({"command":"set_gripper_pick_on","speed":10,"force":20,"block":false})", nullptr, nullptr},
    {"set_gripper_position", [](auto *r) { return ky_set_gripper_position(r, 30, false, 0); },
     R"({"command":"set_gripper_position","position":30,"block":false})", nullptr, nullptr},
    {"hand_follow_angle", [](auto *r) { return ky_set_hand_follow_angle(r, kAngles); },
     R"({"command":"hand_follow_angle","hand_angle":[100,200,-300,0,4500,6]})", nullptr, nullptr},
};

// Every setter: its bytes, then the replies that decide (a reply under the request's own
// name is not taken when the reply name differs: -2); the acknowledgements wait
// m_nOutTime_max, so a controller answering after 100 ms is met, while the gripper state
// query (m_nOutTime) misses it.
TEST(ToolWire, SettersAndTheirReplies) {
    Arm arm(1, "KY6A-B", 50);
    m_nOutTime_max = 150;
    ky_robot_handle bogus{};
    for (const auto &c : kSetters) {
        std::vector<std::pair<std::string, int>> replies = {{R"({"command":"set_gripper","state":false})", 0}, {"", 0}};
        if (c.reply_name != nullptr) {
            const std::string other_key = std::string(c.state_key) == "state" ? "set_state" : "state";
            replies = {{reply_line(c.reply_name, c.state_key, "true"), 0},
                       {reply_line(c.reply_name, c.state_key, "false"), 1},
                       {reply_line(c.reply_name, other_key, "true"), -3},
                       {reply_line(c.reply_name, c.state_key, "1"), -3}};
            if (std::string(c.reply_name) != c.command) replies.push_back({reply_line(c.command, c.state_key, "true"), -2});
        }
        for (const auto &[reply, expected] : replies) {
            arm.fake.clear_received();
            if (reply.empty()) arm.fake.off(c.command); else arm.fake.on(c.command, reply);
            const auto t0 = Clock::now();
            EXPECT_EQ(c.call(arm.robot), expected) << c.command << " " << reply;
            EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.command;
            if (c.reply_name == nullptr) {
                EXPECT_GE(Clock::now() - t0, 149ms) << c.request;
            }
        }
        EXPECT_EQ(c.call(&bogus), -1) << c.command;
    }
    EXPECT_EQ(ky_set_hand_angle(arm.robot, nullptr), -1);
    EXPECT_EQ(ky_set_hand_follow_angle(arm.robot, nullptr), -1);

    arm.fake.set_delay(100ms);
    for (const auto &c : kSetters) {
        if (c.reply_name == nullptr) continue;
        arm.fake.on(c.command, reply_line(c.reply_name, c.state_key, "true"));
        EXPECT_EQ(c.call(arm.robot), 0) << c.command;
    }
    arm.fake.on("get_gripper_state", R"({"command":"get_gripper_state","enable":1,"status":0,"error":0,"mode":0,)"
                                     R"("current_force":0,"temperature":0,"actpos":0})");
    ky_gripper_state s{};
    EXPECT_EQ(ky_get_gripper_state(arm.robot, &s), -2);
}

TEST(ToolWire, GripperStateInOrderAndOnlyWhenComplete) {
    const std::string head = R"({"command":"get_gripper_state","enable":1,"status":2,"error":3,"mode":4,)";
    const std::vector<int> untouched(7, -1);
    struct Case {
        std::string reply;
        int expected;
        std::vector<int> written;
    } cases[] = {
        {head + R"("current_force":500,"temperature":36,"actpos":-7})", 0, {1, 2, 3, 4, 500, 36, -7}},
        // Members are read as integers without a type check: a string reads as 0.
        {head + R"("current_force":500,"temperature":"hot","actpos":9})", 0, {1, 2, 3, 4, 500, 0, 9}},
        {head + R"("current_force":5,"temperature":6})", -3, untouched},  // "actpos" missing
        {R"({"command":"get_gripper_state","enabled":1,"status":2,"error":3,"mode":4,"current_force":5,)"
         R"("temperature":6,"actpos":7})", -3, untouched},
    };
    Arm arm(1, "KY6A-B", 50);
    kytest::LogCapture log;
    for (const auto &c : cases) {
        arm.fake.clear_received();
        arm.fake.on("get_gripper_state", c.reply);
        ky_gripper_state s{-1, -1, -1, -1, -1, -1, -1};
        EXPECT_EQ(ky_get_gripper_state(arm.robot, &s), c.expected) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_gripper_state"})"));
        EXPECT_EQ(std::vector<int>({s.enable, s.status, s.error, s.mode, s.current_force, s.temperature, s.actpos}),
                  c.written) << c.reply;
    }
    EXPECT_TRUE(log.contains("[ky_get_gripper_state] actpos parsing error\n"));
    EXPECT_TRUE(log.contains("[ky_get_gripper_state] enable parsing error\n"));
    EXPECT_EQ(ky_get_gripper_state(arm.robot, nullptr), -1);
}

// ------------------------------------------------------------------ completion matrix
struct Action {
    const char *command, *tag, *ack_name, *ack_key;
    std::function<int(ky_robot_handle *, bool, int)> call;
    int device;        // the device whose report completes the action
    int no_report;     // no report in time
    int wrong_device;  // a report of another device
} const kActions[] = {
    {"set_gripper_release", "ky_set_gripper_release", "set_gripper", "state",
     [](auto *r, bool b, int t) { return ky_set_gripper_release(r, 100, b, t); }, 1, -4, -4},
    {"set_gripper_pick", "ky_set_gripper_pick", "set_gripper", "state",
     [](auto *r, bool b, int t) { return ky_set_gripper_pick(r, 100, 50, b, t); }, 1, -4, -5},
    {"set_gripper_pick_on", "ky_set_gripper_pick_on", "set_gripper", "state",
     [](auto *r, bool b, int t) { return ky_set_gripper_pick_on(r, 100, 50, b, t); }, 1, -4, -5},
    {"set_gripper_position", "ky_set_gripper_position", "set_gripper", "state",
     [](auto *r, bool b, int t) { return ky_set_gripper_position(r, 10, b, t); }, 1, -4, -5},
    {"set_hand_posture", "ky_set_hand_posture", "set_hand_posture", "set_state",
     [](auto *r, bool b, int t) { return ky_set_hand_posture(r, 2, b, t); }, 2, -5, -4},
    {"set_hand_seq", "ky_set_hand_seq", "set_hand_seq", "set_state",
     [](auto *r, bool b, int t) { return ky_set_hand_seq(r, 3, b, t); }, 2, -5, -4},
};

// The acknowledgement and the report come in one write; a timeout of 0 seconds stands for a
// report that never comes.
TEST(ToolCompletion, ReportMatrix) {
    Arm arm(1, "KY6A-B", 50);
    for (const auto &a : kActions) {
        const std::string wrong = std::string("[") + a.tag + "] current device is: ";
        struct Row {
            std::string report;  // empty: none
            int timeout_s, expected;
            std::string log;
        } rows[] = {
            {completion(true, a.device, 0), 1, 0, ""},
            {completion(true, a.device, 1), 1, 0, ""},  // "trajectory_connect" plays no part
            {completion(true, 3 - a.device, 0), 1, a.wrong_device, wrong + std::to_string(3 - a.device) + " \n"},
            {completion(true, 0, 0), 1, a.wrong_device, wrong + "0 \n"},  // an arm move's report
            {completion(false, a.device, 0), 1, 1, "Move command result is: false"},
            {R"({"command":"current_trajectory_state","device":1})", 1, -1, ""},
            {R"({"state":"current_trajectory_state","trajectory_state":true,"device":-2})", 1, -3,
             "Move command parse err\n"},
            {"", 0, a.no_report, ""},
        };
        for (const auto &row : rows) {
            kytest::LogCapture log;
            std::vector<std::string> lines{reply_line(a.ack_name, a.ack_key, "true")};
            if (!row.report.empty()) lines.push_back(row.report);
            arm.fake.on(a.command, [lines](const std::string &) { return lines; });
            EXPECT_EQ(a.call(arm.robot, true, row.timeout_s), row.expected) << a.command << " " << row.report;
            EXPECT_TRUE(row.log.empty() || log.contains(row.log)) << row.log;
        }
        // Refused, or not blocking: the acknowledgement decides and no report is awaited.
        arm.fake.on(a.command, reply_line(a.ack_name, a.ack_key, "false"));
        EXPECT_EQ(a.call(arm.robot, true, 3600), 1) << a.command;
        arm.fake.on(a.command, reply_line(a.ack_name, a.ack_key, "true"));
        EXPECT_EQ(a.call(arm.robot, false, 3600), 0) << a.command;
    }
    // The wait lasts `timeout` seconds; the position action logs its time-out.
    kytest::LogCapture log;
    const auto t0 = Clock::now();
    EXPECT_EQ(ky_set_gripper_position(arm.robot, 5, true, 1), -4);
    EXPECT_GE(Clock::now() - t0, 990ms);
    EXPECT_TRUE(log.contains("[ky_set_gripper_position] timeout error\n"));
}

}  // namespace
