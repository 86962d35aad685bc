// Gripper and dexterous hand: request bytes, the reply names and state keys that decide,
// the long acknowledgement time-out, the fire-and-forget path of the gripper actions and the
// completion-report matrix of the blocking actions.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string reply_line(const std::string &name, const std::string &key, const std::string &value) {
    std::string s = R"({"command":")";
    s.append(name).append(R"(",")").append(key).append("\":").append(value).append("}");
    return s;
}

// A robot on a fake controller, with short time-outs (m_nOutTime, m_nOutTime_max).
struct Tool {
    kytest::Library lib;
    kytest::FakeController fake;
    ky_robot_handle *robot = nullptr;
    explicit Tool(int out_time = 30, int out_time_max = 120) : lib(1, out_time, out_time_max) {
        robot = kytest::connect(fake);
        fake.clear_received();
    }
};

const int kAngles[6] = {100, 200, -300, 0, 4500, 6};

// Every set command: its bytes, the reply name and state key that decide, and a reply under
// another name (for the gripper actions: the request's own name) that is not taken.
TEST(ToolWire, SettersSendTheirKeysAndReadTheirReply) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *reply_name, *state_key;
    } cases[] = {
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
        {"set_hand_speed", [](auto *r) { return ky_set_hand_speed(r, 77); },
         R"({"command":"set_hand_speed","speed":77})", "set_hand_speed", "set_state"},
        {"set_hand_force", [](auto *r) { return ky_set_hand_force(r, 33); },
         R"({"command":"set_hand_force","hand_force":33})", "set_hand_force", "set_state"},
    };
    Tool tool;
    for (const auto &c : cases) {
        const std::string other_key = std::string(c.state_key) == "state" ? "set_state" : "state";
        std::vector<std::pair<std::string, int>> replies = {
            {reply_line(c.reply_name, c.state_key, "true"), 0},
            {reply_line(c.reply_name, c.state_key, "false"), 1},
            {reply_line(c.reply_name, other_key, "true"), -3},
            {reply_line(c.reply_name, c.state_key, "1"), -3},
        };
        if (std::string(c.reply_name) != c.command) replies.push_back({reply_line(c.command, c.state_key, "true"), -2});
        for (const auto &[reply, expected] : replies) {
            tool.fake.clear_received();
            tool.fake.on(c.command, reply);
            EXPECT_EQ(c.call(tool.robot), expected) << c.command << " " << reply;
            EXPECT_EQ(tool.fake.received(), wire(c.request)) << c.command;
        }
    }
}

// The tool's acknowledgements take m_nOutTime_max; the gripper state query m_nOutTime.
// A controller that answers after 60 ms meets the first and misses the second.
TEST(ToolWire, AcknowledgementsWaitTheLongTimeOut) {
    const std::pair<const char *, std::function<int(ky_robot_handle *)>> calls[] = {
        {"set_gripper_route", [](auto *r) { return ky_set_gripper_route(r, 0, 1000); }},
        {"set_gripper_release", [](auto *r) { return ky_set_gripper_release(r, 1, false, 1); }},
        {"set_gripper_pick", [](auto *r) { return ky_set_gripper_pick(r, 1, 1, false, 1); }},
        {"set_gripper_pick_on", [](auto *r) { return ky_set_gripper_pick_on(r, 1, 1, false, 1); }},
        {"set_gripper_position", [](auto *r) { return ky_set_gripper_position(r, 1, false, 1); }},
        {"set_hand_posture", [](auto *r) { return ky_set_hand_posture(r, 1, false, 0); }},
        {"set_hand_seq", [](auto *r) { return ky_set_hand_seq(r, 1, false, 0); }},
        {"set_hand_angle", [](auto *r) { return ky_set_hand_angle(r, kAngles); }},
        {"set_hand_speed", [](auto *r) { return ky_set_hand_speed(r, 1); }},
        {"set_hand_force", [](auto *r) { return ky_set_hand_force(r, 1); }},
    };
    Tool tool(20, 300);
    tool.fake.set_delay(60ms);
    for (const auto &[command, call] : calls) {
        const std::string name = std::string(command).starts_with("set_gripper_") && std::string(command) != "set_gripper_route"
                                     ? "set_gripper"
                                     : command;
        tool.fake.on(command, reply_line(name, name.starts_with("set_gripper") ? "state" : "set_state", "true"));
        EXPECT_EQ(call(tool.robot), 0) << command;
    }
    tool.fake.on("get_gripper_state", R"({"command":"get_gripper_state","enable":1,"status":0,"error":0,"mode":0,)"
                                      R"("current_force":0,"temperature":0,"actpos":0})");
    ky_gripper_state s{};
    EXPECT_EQ(ky_get_gripper_state(tool.robot, &s), -2);
}

TEST(ToolWire, GripperStateIsReadInOrderAndWrittenOnlyWhenComplete) {
    const char *full = R"({"command":"get_gripper_state","enable":1,"status":2,"error":3,"mode":4,)"
                       R"("current_force":500,"temperature":36,"actpos":-7})";
    struct Case {
        std::string reply;
        int expected;
        ky_gripper_state written;
        const char *log;
    } cases[] = {
        {full, 0, {1, 2, 3, 4, 500, 36, -7}, nullptr},
        // Members are read as integers without a type check: a string reads as 0.
        {R"({"command":"get_gripper_state","enable":1,"status":2,"error":3,"mode":4,)"
         R"("current_force":500,"temperature":"hot","actpos":9})",
         0, {1, 2, 3, 4, 500, 0, 9}, nullptr},
        {R"({"command":"get_gripper_state","enable":1,"status":2,"error":3,"mode":4,"current_force":5,"temperature":6})",
         -3, {-1, -1, -1, -1, -1, -1, -1}, "[ky_get_gripper_state] actpos parsing error\n"},
        {R"({"command":"get_gripper_state","enabled":1,"status":2,"error":3,"mode":4,)"
         R"("current_force":500,"temperature":36,"actpos":-7})",
         -3, {-1, -1, -1, -1, -1, -1, -1}, "[ky_get_gripper_state] enable parsing error\n"},
    };
    Tool tool;
    for (const auto &c : cases) {
        kytest::LogCapture log;
        tool.fake.clear_received();
        tool.fake.on("get_gripper_state", c.reply);
        ky_gripper_state s{-1, -1, -1, -1, -1, -1, -1};
        EXPECT_EQ(ky_get_gripper_state(tool.robot, &s), c.expected) << c.reply;
        EXPECT_EQ(tool.fake.received(), wire(R"({"command":"get_gripper_state"})"));
        const int got[7] = {s.enable, s.status, s.error, s.mode, s.current_force, s.temperature, s.actpos};
        const int want[7] = {c.written.enable,        c.written.status,      c.written.error, c.written.mode,
                             c.written.current_force, c.written.temperature, c.written.actpos};
        EXPECT_TRUE(std::equal(got, got + 7, want)) << c.reply;
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
    EXPECT_EQ(ky_get_gripper_state(tool.robot, nullptr), -1);
}

// Gripper actions with block false and timeout 0, and the hand's follow angles, are sent
// without reading any reply: 0 after m_nOutTime_max, whatever the controller answers.
TEST(ToolWire, FireAndForget) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request;
    } cases[] = {
        {"set_gripper_release", [](auto *r) { return ky_set_gripper_release(r, 10, false, 0); },
         R"({"command":"set_gripper_release","speed":10,"block":false})"},
        {"set_gripper_pick", [](auto *r) { return ky_set_gripper_pick(r, 10, 20, false, 0); },
         R"({"command":"set_gripper_pick","speed":10,"force":20,"block":false})"},
        {"set_gripper_pick_on", [](auto *r) { return ky_set_gripper_pick_on(r, 10, 20, false, 0); },
         R"({"command":"set_gripper_pick_on","speed":10,"force":20,"block":false})"},
        {"set_gripper_position", [](auto *r) { return ky_set_gripper_position(r, 30, false, 0); },
         R"({"command":"set_gripper_position","position":30,"block":false})"},
        {"hand_follow_angle", [](auto *r) { return ky_set_hand_follow_angle(r, kAngles); },
         R"({"command":"hand_follow_angle","hand_angle":[100,200,-300,0,4500,6]})"},
    };
    Tool tool(30, 60);
    ky_robot_handle bogus{};
    for (const auto &c : cases) {
        for (const char *answer : {R"({"command":"set_gripper","state":false})", ""}) {
            tool.fake.clear_received();
            if (*answer) tool.fake.on(c.command, answer); else tool.fake.off(c.command);
            const auto t0 = Clock::now();
            EXPECT_EQ(c.call(tool.robot), 0) << c.command;
            EXPECT_GE(Clock::now() - t0, 59ms) << c.command;
            EXPECT_EQ(tool.fake.received(), wire(c.request)) << c.command;
        }
        EXPECT_EQ(c.call(&bogus), -1) << c.command;
    }
    // The hand actions have no such path: they await "set_state" even then.
    tool.fake.on("set_hand_posture", reply_line("set_hand_posture", "set_state", "false"));
    EXPECT_EQ(ky_set_hand_posture(tool.robot, 1, false, 0), 1);
    EXPECT_EQ(ky_set_hand_angle(tool.robot, nullptr), -1);
    EXPECT_EQ(ky_set_hand_follow_angle(tool.robot, nullptr), -1);
}

// ------------------------------------------------------------------ completion matrix
struct Action {
    const char *command, *tag, *ack_name, *ack_key;
    std::function<int(ky_robot_handle *, bool, int)> call;
    int device;        // reporting device that completes the action
    int no_report;     // result when no report comes in time
    int wrong_device;  // result for a report of another device
};

const Action kActions[] = {
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
    Tool tool;
    for (const auto &a : kActions) {
        const int other_tool = 3 - a.device;
        struct Row {
            std::string report;  // empty: none
            int timeout_s;
            int expected;
            std::string log;
        } rows[] = {
            {completion(true, a.device, 0), 1, 0, ""},
            {completion(true, a.device, 1), 1, 0, ""},  // the tool's reports are not joined
            {completion(true, other_tool, 0), 1, a.wrong_device,
             std::string("[") + a.tag + "] current device is: " + std::to_string(other_tool) + " \n"},
            {completion(true, 0, 0), 1, a.wrong_device, std::string("[") + a.tag + "] current device is: 0 \n"},
            {completion(false, a.device, 0), 1, 1, "Move command result is: false"},
            {R"({"command":"current_trajectory_state","device":)" + std::to_string(a.device) + "}", 1, -1, ""},
            {R"({"state":"current_trajectory_state","trajectory_state":true,"device":-2})", 1, -3,
             "Move command parse err\n"},
            {"", 0, a.no_report, ""},
        };
        for (const auto &row : rows) {
            kytest::LogCapture log;
            const std::string ack = reply_line(a.ack_name, a.ack_key, "true");
            const std::string report = row.report;
            tool.fake.on(a.command, [ack, report](const std::string &) {
                return report.empty() ? std::vector<std::string>{ack} : std::vector<std::string>{ack, report};
            });
            EXPECT_EQ(a.call(tool.robot, true, row.timeout_s), row.expected) << a.command << " " << report;
            if (!row.log.empty()) {
                EXPECT_TRUE(log.contains(row.log)) << row.log;
            }
        }
        // Refused: no wait for a report.
        tool.fake.on(a.command, reply_line(a.ack_name, a.ack_key, "false"));
        const auto t0 = Clock::now();
        EXPECT_EQ(a.call(tool.robot, true, 30), 1) << a.command;
        EXPECT_LT(Clock::now() - t0, 10s) << a.command;
        // Not blocking, with a timeout: the acknowledgement decides, no report is awaited.
        tool.fake.on(a.command, reply_line(a.ack_name, a.ack_key, "true"));
        EXPECT_EQ(a.call(tool.robot, false, 30), 0) << a.command;
    }
    EXPECT_TRUE(tool.fake.requests_for("get_arm_current_trajectory").empty());
}

// The wait lasts `timeout` seconds and ends as soon as the report is filed.
TEST(ToolCompletion, ReportWaitLastsTimeoutSeconds) {
    Tool tool;
    tool.fake.on("set_gripper_position", reply_line("set_gripper", "state", "true"));
    kytest::LogCapture log;
    auto t0 = Clock::now();
    EXPECT_EQ(ky_set_gripper_position(tool.robot, 5, true, 1), -4);
    EXPECT_GE(Clock::now() - t0, 990ms);
    EXPECT_TRUE(log.contains("[ky_set_gripper_position] timeout error\n"));

    tool.fake.on("set_hand_seq", reply_line("set_hand_seq", "set_state", "true"));
    auto f = start([&] { return ky_set_hand_seq(tool.robot, 1, true, 20); });
    ASSERT_TRUE(seen(tool.fake, "set_hand_seq"));
    tool.fake.push(completion(true, 2, 0));
    EXPECT_EQ(f.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(f.get(), 0);
}

}  // namespace
