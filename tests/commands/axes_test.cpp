// Lift and expansion axis: request bytes and reply keys, the state arrays, and the blocking
// moves' completion wait (reports, state queries, idle answers, failures, library modes).
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
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

TEST(AxesWire, SettersSendTheirKeysAndReadTheirStateKey) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *state_key;
    } cases[] = {
        {"set_lift_speed", [](auto *r) { return ky_set_lift_speed(r, 50); },
         R"({"command":"set_lift_speed","speed":50})", "set_state"},
        {"expand_set_speed", [](auto *r) { return ky_set_expand_speed(r, 30); },
         R"({"command":"expand_set_speed","speed":30})", "set_speed_state"},
        {"expand_set_pos", [](auto *r) { return ky_set_expand_pos(r, 30, -1500, 0); },
         R"({"command":"expand_set_pos","speed":30,"pos":-1500})", "set_pos_state"},
    };
    Arm arm(1, "KY6A-B", 30);
    for (const auto &c : cases) {
        const std::pair<std::string, int> replies[] = {
            {reply_line(c.command, c.state_key, "true"), 0},
            {reply_line(c.command, c.state_key, "false"), 1},
            {reply_line(c.command, "set_state_x", "true"), -3},
            {reply_line(c.command, c.state_key, "0"), -3},
        };
        for (const auto &[reply, expected] : replies) {
            arm.fake.clear_received();
            arm.fake.on(c.command, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << reply;
            EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.command;
        }
    }
    // The lift's move is not acknowledged: 0 after m_nOutTime whatever comes back.
    for (const char *answer : {R"({"command":"set_lift_height","set_state":false})", ""}) {
        arm.fake.clear_received();
        if (*answer) arm.fake.on("set_lift_height", answer); else arm.fake.off("set_lift_height");
        const auto t0 = Clock::now();
        EXPECT_EQ(ky_set_lift_height(arm.robot, 40, 800, 0), 0);
        EXPECT_GE(Clock::now() - t0, 29ms);
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"set_lift_height","speed":40,"height":800})"));
    }
    // Every exchange waits m_nOutTime, not the longer m_nOutTime_max.
    arm.fake.set_delay(100ms);
    for (const auto &c : cases) {
        arm.fake.on(c.command, reply_line(c.command, c.state_key, "true"));
        EXPECT_EQ(c.call(arm.robot), -2) << c.command;
    }
    int state[4];
    EXPECT_EQ(ky_get_lift_state(arm.robot, state), -2);
}

TEST(AxesWire, StateArraysInTheDocumentedOrder) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, int *)> call;
        const char *request;
        std::string reply;
        int expected;
        std::vector<int> state;  // -9: untouched
    } cases[] = {
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",
         R"({"command":"lift_state","height":1200,"current":-5,"err_flag":2,"mode":1})", 0, {1200, -5, 2, 1}},
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",
         R"({"command":"lift_state","pos":1200,"current":-5,"err_flag":2,"mode":1})", -3, {-9, -9, -9, -9}},
        // Answered under the request's own name: not the reply waited for.
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",
         R"({"command":"get_lift_state","height":1,"current":1,"err_flag":1,"mode":1})", -2, {-9, -9, -9, -9}},
        {"expand_get_state", ky_get_expand_state, R"({"command":"expand_get_state"})",
         R"({"command":"expand_state","pos":-300,"current":7,"err_flag":0,"mode":0,"extra":1})", 0, {-300, 7, 0, 0}},
        {"expand_get_state", ky_get_expand_state, R"({"command":"expand_get_state"})",
         R"({"command":"expand_state","pos":-300,"current":7,"err_flag":0})", -3, {-9, -9, -9, -9}},
    };
    Arm arm(1, "KY6A-B", 30);
    for (const auto &c : cases) {
        arm.fake.clear_received();
        arm.fake.on(c.command, c.reply);
        std::vector<int> state(4, -9);
        EXPECT_EQ(c.call(arm.robot, state.data()), c.expected) << c.reply;
        EXPECT_EQ(state, c.state) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(c.request));
    }
    EXPECT_EQ(ky_get_lift_state(arm.robot, nullptr), -1);
    EXPECT_EQ(KY_LIFT_MODE, 3);
    EXPECT_EQ(KY_EXPAND_POS, 0);
}

TEST(AxesWire, UnknownHandle) {
    ky_robot_handle bogus{};
    Arm arm(1, "KY6A-B", 30);
    int state[4];
    EXPECT_EQ(ky_set_lift_speed(&bogus, 1), -1);
    EXPECT_EQ(ky_get_lift_state(&bogus, state), -1);
    EXPECT_EQ(ky_set_lift_height(&bogus, 1, 1, 1), -1);
    EXPECT_EQ(ky_get_expand_state(&bogus, state), -1);
    EXPECT_EQ(ky_set_expand_speed(&bogus, 1), -1);
    EXPECT_EQ(ky_set_expand_pos(&bogus, 1, 1, 1), -1);
    EXPECT_TRUE(arm.fake.requests().empty());
}

// ------------------------------------------------------------------ completion wait
struct Axis {
    const char *name, *tag;
    int device;
    const char *move_command, *ack;  // ack null: the move is not acknowledged
    const char *state_command, *state_reply, *first_member;
    std::function<int(ky_robot_handle *, int)> move;
};

const Axis kAxes[] = {
    {"lift", "ky_set_lift_height", 3, "set_lift_height", nullptr, "get_lift_state", "lift_state", "height",
     [](auto *r, int block) { return ky_set_lift_height(r, 20, 300, block); }},
    {"expand", "ky_set_expand_pos", 4, "expand_set_pos", R"({"command":"expand_set_pos","set_pos_state":true})",
     "expand_get_state", "expand_state", "pos", [](auto *r, int block) { return ky_set_expand_pos(r, 20, 150, block); }},
};

std::string axis_state(const Axis &a, int mode) {
    std::string s = R"({"command":")";
    s.append(a.state_reply).append(R"(",")").append(a.first_member).append(R"(":10,"current":1,"err_flag":0,"mode":)");
    s.append(std::to_string(mode)).append("}");
    return s;
}

class AxisMove : public ::testing::TestWithParam<Axis> {
protected:
    Arm arm{1, "KY6A-B", 20};
    // The move's own answer (acknowledgement, if any, then `reports` in the same write).
    void answer_move(std::vector<std::string> reports) {
        const Axis &a = GetParam();
        if (a.ack != nullptr) reports.insert(reports.begin(), a.ack);
        arm.fake.on(a.move_command, [reports](const std::string &) { return reports; });
    }
    // The n-th state query (from 1) answers script(n): lines sent in one write.
    std::shared_ptr<std::atomic<int>> script_state(std::function<std::vector<std::string>(int)> script) {
        auto count = std::make_shared<std::atomic<int>>(0);
        arm.fake.on(GetParam().state_command, [count, script](const std::string &) { return script(++*count); });
        return count;
    }
};

INSTANTIATE_TEST_SUITE_P(Axes, AxisMove, ::testing::ValuesIn(kAxes), [](const auto &info) { return info.param.name; });

TEST_P(AxisMove, CompletionMatrix) {
    const Axis &a = GetParam();
    const int d = a.device;
    using Lines = std::vector<std::string>;
    const std::string own_device_log = std::string("[") + a.tag + "] current device is: " + std::to_string(d) + " \n";
    const std::string other_device_log = std::string("[") + a.tag + "] current device is: 1 \n";
    struct Case {
        const char *name;
        Lines reports;                             // answered with the move
        std::function<Lines(int)> state;           // n-th state query (mode value + reports)
        int expected;
        int queries;                               // state queries made
        std::string log;
    } cases[] = {
        {"report at once", {completion(true, d, 0)}, nullptr, 0, 0, ""},
        {"other device and joined report passed over", {completion(true, 1, 0), completion(true, d, 1), completion(true, d, 0)},
         nullptr, 0, 0, ""},
        {"own device with connect 2", {completion(true, d, 2)}, nullptr, -4, 0, own_device_log},
        {"failed", {completion(false, d, 0)}, nullptr, 1, 0, "Move command result is: false"},
        {"no trajectory_state", {R"({"command":"current_trajectory_state","device":3})"}, nullptr, -1, 0, ""},
        {"moving twice, then idle with the report",
         {},
         [&](int n) { return n < 3 ? Lines{axis_state(a, 1)} : Lines{axis_state(a, 0), completion(true, d, 0)}; },
         0, 3, ""},
        {"joined report once idle keeps waiting",
         {},
         [&](int n) {
             if (n == 1) return Lines{axis_state(a, 2)};
             if (n == 2) return Lines{axis_state(a, 0), completion(true, d, 1)};
             return Lines{axis_state(a, 0), completion(true, d, 0)};
         },
         0, 3, ""},
        {"idle after moving, other device: -4",
         {},
         [&](int n) { return n == 1 ? Lines{axis_state(a, 1)} : Lines{axis_state(a, 0), completion(true, 1, 0)}; },
         -4, 2, other_device_log},
        {"never moving: ten idle answers, then the report",
         {},
         [&](int n) { return n < 10 ? Lines{axis_state(a, 0)} : Lines{axis_state(a, 0), completion(true, d, 0)}; },
         0, 10, ""},
        {"state query unanswered six times", {}, [](int) { return Lines{}; }, -2, 6, ""},
        {"state without mode six times",
         {},
         [&](int) { return Lines{std::string(R"({"command":")") + a.state_reply + R"(","current":1})"}; },
         -3, 6, ""},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        answer_move(c.reports);
        auto queries = script_state(c.state ? c.state : [](int) { return Lines{}; });
        const auto t0 = Clock::now();
        EXPECT_EQ(GetParam().move(arm.robot, 1), c.expected) << c.name;
        EXPECT_EQ(queries->load(), c.queries) << c.name;
        if (!c.log.empty()) {
            EXPECT_TRUE(log.contains(c.log)) << c.name;
        }
        // Nine 50 ms pauses between the ten idle answers.
        if (c.queries == 10) {
            EXPECT_GE(Clock::now() - t0, 450ms) << c.name;
        }
    }
}

TEST_P(AxisMove, ReportArrivingWhileMovingEndsTheWait) {
    answer_move({});
    script_state([this](int) { return std::vector<std::string>{axis_state(GetParam(), 1)}; });
    auto f = start([this] { return GetParam().move(arm.robot, 1); });
    ASSERT_TRUE(seen(arm.fake, GetParam().state_command));
    EXPECT_EQ(f.wait_for(100ms), std::future_status::timeout);
    arm.fake.push(completion(true, GetParam().device, 0));
    EXPECT_EQ(f.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(f.get(), 0);
}

TEST(AxisModes, ModeZeroWaitsBlockSecondsAndOtherModesReturnAtOnce) {
    {
        Arm arm(0, "KY6A-B", 30);
        arm.fake.on("expand_set_pos", R"({"command":"expand_set_pos","set_pos_state":true})");
        auto f = start([&] { return ky_set_lift_height(arm.robot, 1, 2, 2); });
        ASSERT_TRUE(seen(arm.fake, "set_lift_height", 60ms));
        arm.fake.push(completion(true, 3, 0));
        EXPECT_EQ(f.get(), 0);
        auto t0 = Clock::now();
        EXPECT_EQ(ky_set_expand_pos(arm.robot, 1, 2, 1), -5);  // no report in one second
        EXPECT_GE(Clock::now() - t0, 990ms);
        EXPECT_TRUE(arm.fake.requests_for("expand_get_state").empty());
    }
    // A library mode without completion wait: the lift reports -3.
    Arm arm(1, "KY6A-B", 20);
    g_mode.store(3);
    EXPECT_EQ(ky_set_lift_height(arm.robot, 1, 2, 1), -3);
    g_mode.store(1);
    EXPECT_TRUE(arm.fake.requests_for("get_lift_state").empty());
}

}  // namespace
