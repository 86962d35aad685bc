// Controller and tool IO: request bytes, the reply names and state keys each command is
// matched and judged by, and what the getters write.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

// {"command":name,key:value}
std::string reply_line(const std::string &name, const std::string &key, const std::string &value) {
    std::string s = R"({"command":")";
    s.append(name).append(R"(",")").append(key).append("\":").append(value).append("}");
    return s;
}

// Every setter: its bytes (channel numbers passed through unchecked), then the state key that
// decides 0 / 1, while the other setters' key is unreadable (-3).
TEST(Io, SettersSendTheirKeysAndReadTheirStateKey) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *request;
        const char *state_key, *other_key;
    } cases[] = {
        {"set_IO_mode", [](auto *r) { return ky_set_IO_mode(r, 2, 1); },
         R"({"command":"set_IO_mode","IO_Num":2,"IO_mode":1})", "set_state", "state"},
        {"set_DO_state", [](auto *r) { return ky_set_DO_state(r, 99, 1); },
         R"({"command":"set_DO_state","IO_Num":99,"state":1})", "set_state", "state"},
        {"set_voltage", [](auto *r) { return ky_set_voltage(r, 3); },
         R"({"command":"set_voltage","voltage_type":3})", "state", "set_state"},
        {"set_tool_DO_state", [](auto *r) { return ky_set_tool_DO_state(r, -1, 0); },
         R"({"command":"set_tool_DO_state","IO_Num":-1,"state":0})", "set_state", "state"},
        // The tool's channel mode goes out under "state".
        {"set_tool_IO_mode", [](auto *r) { return ky_set_tool_IO_mode(r, 1, 0); },
         R"({"command":"set_tool_IO_mode","IO_Num":1,"state":0})", "set_state", "state"},
        {"set_tool_voltage", [](auto *r) { return ky_set_tool_voltage(r, 2); },
         R"({"command":"set_tool_voltage","voltage_type":2})", "state", "set_state"},
    };
    Arm arm;
    for (const auto &c : cases) {
        const std::pair<std::string, int> replies[] = {
            {reply_line(c.name, c.state_key, "true"), 0},
            {reply_line(c.name, c.state_key, "false"), 1},
            {reply_line(c.name, c.other_key, "true"), -3},
            {reply_line(c.name, c.state_key, "1"), -3},
        };
        for (const auto &[reply, expected] : replies) {
            arm.fake.clear_received();
            arm.fake.on(c.name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.name;
        }
    }
}

// Every getter: its bytes, the reply name it waits for (an answer under the request's own
// name is not taken: -2) and the values it writes.
TEST(Io, GettersWaitForTheirReplyNameAndWriteTheValues) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, int *)> call;  // writes into out[0..]
        const char *request, *reply;
        std::vector<int> written;  // out[] afterwards; -7 is untouched
    } cases[] = {
        {"get_IO_state", [](auto *r, int *o) { return ky_get_IO_state(r, 3, &o[0], &o[1]); },
         R"({"command":"get_IO_state","IO_Num":3})", R"({"command":"IO_state","IO_Num":3,"IO_Mode":1,"IO_state":0})",
         {0, 1, -7}},
        {"get_IO_input", [](auto *r, int *o) { return ky_get_IO_input(r, o); }, R"({"command":"get_IO_input"})",
         R"({"command":"IO_input_state","DI":[1,0,0,1]})", {1, 0, 0, 1, -7}},
        {"get_IO_output", [](auto *r, int *o) { return ky_get_IO_output(r, o); }, R"({"command":"get_IO_output"})",
         R"({"command":"IO_output_state","DO":[0,1,1,0]})", {0, 1, 1, 0, -7}},
        {"get_voltage", [](auto *r, int *o) { return ky_get_voltage(r, o); }, R"({"command":"get_voltage"})",
         R"({"command":"voltage_state","voltage_type":3})", {3, -7}},
        {"get_tool_IO_state", [](auto *r, int *o) { return ky_get_tool_IO_state(r, o, o + 2); },
         R"({"command":"get_tool_IO_state"})", R"({"command":"tool_IO_state","IO_Mode":[1,0],"IO_state":[1,1]})",
         {1, 0, 1, 1, -7}},
        {"get_tool_voltage", [](auto *r, int *o) { return ky_get_tool_voltage(r, o); },
         R"({"command":"get_tool_voltage"})", R"({"command":"tool_voltage_state","voltage_type":2})", {2, -7}},
    };
    Arm arm;
    for (const auto &c : cases) {
        std::vector<int> out(8, -7);
        arm.fake.clear_received();
        arm.fake.on(c.command, c.reply);
        EXPECT_EQ(c.call(arm.robot, out.data()), 0) << c.command;
        EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.command;
        EXPECT_EQ(std::vector<int>(out.begin(), out.begin() + static_cast<long>(c.written.size())), c.written)
            << c.command;

        // Answered under the request's name: not the reply waited for.
        std::string misnamed = c.reply;
        misnamed.replace(misnamed.find(':') + 1, misnamed.find(',') - misnamed.find(':') - 1,
                         std::string("\"").append(c.command).append("\""));
        arm.fake.on(c.command, misnamed);
        std::vector<int> untouched(8, -7);
        EXPECT_EQ(c.call(arm.robot, untouched.data()), -2) << c.command << " " << misnamed;
        EXPECT_EQ(untouched, std::vector<int>(8, -7)) << c.command;
    }
}

// Replies that cannot be read leave the outputs alone; members beyond the ones read do not
// matter, nor does the echoed channel number.
TEST(Io, UnreadableRepliesLeaveOutputsUntouched) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, int *)> call;
        const char *reply;
        int expected;
        std::vector<int> written;
    } cases[] = {
        {"get_IO_input", [](auto *r, int *o) { return ky_get_IO_input(r, o); },
         R"({"command":"IO_input_state","DI":[1,1,1,1,1]})", -3, {-7, -7, -7, -7, -7}},
        {"get_IO_input", [](auto *r, int *o) { return ky_get_IO_input(r, o); },
         R"({"command":"IO_input_state","DI":[1,1,1]})", -3, {-7, -7, -7, -7, -7}},
        {"get_IO_input", [](auto *r, int *o) { return ky_get_IO_input(r, o); },
         R"({"command":"IO_input_state","DI":[1,0,1,0],"DO":[1,1,1,1],"extra":[5,5]})", 0, {1, 0, 1, 0, -7}},
        {"get_IO_output", [](auto *r, int *o) { return ky_get_IO_output(r, o); },
         R"({"command":"IO_output_state","DI":[1,1,1,1]})", -3, {-7, -7, -7, -7, -7}},
        {"get_IO_state", [](auto *r, int *o) { return ky_get_IO_state(r, 1, &o[0], &o[1]); },
         R"({"command":"IO_state","IO_Num":4,"IO_Mode":0,"IO_state":1})", 0, {1, 0, -7}},
        {"get_IO_state", [](auto *r, int *o) { return ky_get_IO_state(r, 1, &o[0], &o[1]); },
         R"({"command":"IO_state","IO_Mode":0,"IO_state":1})", -3, {-7, -7, -7}},
        {"get_IO_state", [](auto *r, int *o) { return ky_get_IO_state(r, 1, &o[0], &o[1]); },
         R"({"command":"IO_state","IO_Num":1,"IO_Mode":0})", -3, {-7, -7, -7}},
        {"get_tool_IO_state", [](auto *r, int *o) { return ky_get_tool_IO_state(r, o, o + 2); },
         R"({"command":"tool_IO_state","IO_Mode":[1,0],"IO_state":[1,1,0]})", -3, {-7, -7, -7, -7, -7}},
        {"get_voltage", [](auto *r, int *o) { return ky_get_voltage(r, o); },
         R"({"command":"voltage_state","state":true})", -3, {-7}},
    };
    Arm arm;
    kytest::LogCapture log;
    for (const auto &c : cases) {
        std::vector<int> out(8, -7);
        arm.fake.on(c.command, c.reply);
        EXPECT_EQ(c.call(arm.robot, out.data()), c.expected) << c.reply;
        EXPECT_EQ(std::vector<int>(out.begin(), out.begin() + static_cast<long>(c.written.size())), c.written)
            << c.reply;
    }
    EXPECT_TRUE(log.contains("[ky_get_IO_input] Array size mismatch for key DI\n"));
    EXPECT_TRUE(log.contains("[ky_get_IO_state] IO_Num parsing error\n"));
}

// Every function: an unknown handle is -1 at once, a silent controller -2 after m_nOutTime.
TEST(Io, UnknownHandleAndSilentController) {
    int v[4] = {};
    const std::pair<const char *, std::function<int(ky_robot_handle *)>> calls[] = {
        {"ky_set_IO_mode", [](auto *r) { return ky_set_IO_mode(r, 1, 1); }},
        {"ky_set_DO_state", [](auto *r) { return ky_set_DO_state(r, 1, 1); }},
        {"ky_get_IO_state", [&](auto *r) { return ky_get_IO_state(r, 1, v, v + 1); }},
        {"ky_get_IO_input", [&](auto *r) { return ky_get_IO_input(r, v); }},
        {"ky_get_IO_output", [&](auto *r) { return ky_get_IO_output(r, v); }},
        {"ky_set_voltage", [](auto *r) { return ky_set_voltage(r, 1); }},
        {"ky_get_voltage", [&](auto *r) { return ky_get_voltage(r, v); }},
        {"ky_set_tool_DO_state", [](auto *r) { return ky_set_tool_DO_state(r, 1, 1); }},
        {"ky_set_tool_IO_mode", [](auto *r) { return ky_set_tool_IO_mode(r, 1, 1); }},
        {"ky_get_tool_IO_state", [&](auto *r) { return ky_get_tool_IO_state(r, v, v + 2); }},
        {"ky_set_tool_voltage", [](auto *r) { return ky_set_tool_voltage(r, 1); }},
        {"ky_get_tool_voltage", [&](auto *r) { return ky_get_tool_voltage(r, v); }},
    };
    Arm arm(1, "KY6A-B", 40);
    arm.fake.set_silent(true);
    ky_robot_handle bogus{};
    kytest::LogCapture log;
    for (const auto &[tag, call] : calls) {
        EXPECT_EQ(call(&bogus), -1) << tag;
        EXPECT_EQ(call(arm.robot), -2) << tag;
        std::string line = "[";
        line.append(tag).append("] ");
        EXPECT_TRUE(log.contains(line)) << tag;
    }
    EXPECT_EQ(arm.fake.requests().size(), std::size(calls));
}

}  // namespace
