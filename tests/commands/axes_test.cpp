// Lift and expansion axis: request bytes, reply keys and state arrays, and the blocking
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

using Lines = std::vector<std::string>;

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

// Every function: bytes, the reply that decides (-9 in `state`: untouched), an unknown
// handle, and m_nOutTime (not m_nOutTime_max) as the reply wait.
TEST(AxesWire, RequestsRepliesAndStateArrays) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, int *)> call;
        const char *request;
        std::string reply;
        int expected;
        std::vector<int> state;
    } cases[] = {
        {"set_lift_speed", [](auto *r, int *) { return ky_set_lift_speed(r, 50); },
         R"({"command":"set_lift_speed","speed":50})", R"({"command":"set_lift_speed","set_state":false})", 1, {}},
        {"set_lift_speed", [](auto *r, int *) { return ky_set_lift_speed(r, 50); },
         R"({"command":"set_lift_speed","speed":50})", R"({"command":"set_lift_speed","state":true})", -3, {}},
        {"expand_set_speed", [](auto *r, int *) { return ky_set_expand_speed(r, 30); },
         R"({"command":"expand_set_speed","speed":30})", R"({"command":"expand_set_speed","set_speed_state":true})",
         0, {}},
        {"expand_set_speed", [](auto *r, int *) { return ky_set_expand_speed(r, 30); },
         R"({"command":"expand_set_speed","speed":30})", R"({"command":"expand_set_speed","set_state":true})", -3, {}},
        // Refused: no completion wait even with block set.
        {"expand_set_pos", [](auto *r, int *) { return ky_set_expand_pos(r, 30, -1500, 1); },
         R"({"command":"expand_set_pos","speed":30,"pos":-1500})",
         R"({"command":"expand_set_pos","set_pos_state":false})", 1, {}},
        {"expand_set_pos", [](auto *r, int *) { return ky_set_expand_pos(r, 30, -1500, 0); },
         R"({"command":"expand_set_pos","speed":30,"pos":-1500})",
         R"({"command":"expand_set_pos","set_pos_state":true})", 0, {}},
        // Not acknowledged: 0 after m_nOutTime, whatever comes back.
        {"set_lift_height", [](auto *r, int *) { return ky_set_lift_height(r, 40, 800, 0); },
         R"({"command":"set_lift_height","speed":40,"height":800})",
         R"({"command":"set_lift_height","set_state":false})", 0, {}},
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",
         R"({"command":"lift_state","height":1200,"current":-5,"err_flag":2,"mode":1})", 0, {1200, -5, 2, 1}},
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",
         R"({"command":"lift_state","pos":1200,"current":-5,"err_flag":2,"mode":1})", -3, {-9, -9, -9, -9}},
        {"get_lift_state", ky_get_lift_state, R"({"command":"get_lift_state"})",  // the request's own name
         R"({"command":"get_lift_state","height":1,"current":1,"err_flag":1,"mode":1})", -2, {-9, -9, -9, -9}},
        {"expand_get_state", ky_get_expand_state, R"({"command":"expand_get_state"})",
         R"({"command":"expand_state","pos":-300,"current":7,"err_flag":0,"mode":0,"extra":1})", 0, {-300, 7, 0, 0}},
        {"expand_get_state", ky_get_expand_state, R"({"command":"expand_get_state"})",
         R"({"command":"expand_state","pos":-300,"current":7,"err_flag":0})", -3, {-9, -9, -9, -9}},
    };
    Arm arm(1, "KY6A-B", 50);
    ky_robot_handle bogus{};
    for (const auto &c : cases) {
        arm.fake.clear_received();
        arm.fake.on(c.command, c.reply);
        std::vector<int> state(4, -9);
        const auto t0 = Clock::now();
        EXPECT_EQ(c.call(arm.robot, state.data()), c.expected) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.reply;
        if (!c.state.empty()) {
            EXPECT_EQ(state, c.state) << c.reply;
        }
        if (std::string(c.command) == "set_lift_height") {
            EXPECT_GE(Clock::now() - t0, 49ms);
        }
        EXPECT_EQ(c.call(&bogus, state.data()), -1) << c.command;
    }
    EXPECT_EQ(ky_get_lift_state(arm.robot, nullptr), -1);
    arm.fake.set_delay(150ms);  // within m_nOutTime_max, beyond m_nOutTime
    for (const auto &c : cases) {
        if (c.expected >= 0 && std::string(c.command) != "set_lift_height") {
            arm.fake.on(c.command, c.reply);
            std::vector<int> state(4, -9);
            EXPECT_EQ(c.call(arm.robot, state.data()), -2) << c.command;
        }
    }
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

class AxisMove : public ::testing::TestWithParam<Axis> {};
INSTANTIATE_TEST_SUITE_P(Axes, AxisMove, ::testing::ValuesIn(kAxes), [](const auto &info) { return info.param.name; });

// Reports that come with the move's own answer, or with the n-th state query (the axis's
// "mode" in that answer: non-zero while it moves).
TEST_P(AxisMove, CompletionMatrix) {
    const Axis &a = GetParam();
    const int d = a.device;
    auto state = [&a](int mode) {
        return std::string(R"({"command":")") + a.state_reply + R"(",")" + a.first_member +
               R"(":10,"current":1,"err_flag":0,"mode":)" + std::to_string(mode) + "}";
    };
    const std::string device_log = std::string("[") + a.tag + "] current device is: ";
    struct Case {
        const char *name;
        Lines with_move;
        std::function<Lines(int)> query;  // null: queries unanswered
        int expected, queries;
        std::string log;
    } cases[] = {
        {"report at once", {completion(true, d, 0)}, nullptr, 0, 0, ""},
        {"other device and joined report passed over",
         {completion(true, 1, 0), completion(true, d, 1), completion(true, d, 0)}, nullptr, 0, 0, ""},
        {"own device, connect 2", {completion(true, d, 2)}, nullptr, -4, 0, device_log + std::to_string(d) + " \n"},
        {"failed", {completion(false, d, 0)}, nullptr, 1, 0, "Move command result is: false"},
        {"no trajectory_state", {R"({"command":"current_trajectory_state","device":3})"}, nullptr, -1, 0, ""},
        {"moving twice, then idle with the report", {},
         [&](int n) { return n < 3 ? Lines{state(1)} : Lines{state(0), completion(true, d, 0)}; }, 0, 3, ""},
        {"joined report once idle keeps waiting", {},
         [&](int n) {
             if (n == 1) return Lines{state(2)};
             return Lines{state(0), completion(true, d, n == 2 ? 1 : 0)};
         },
         0, 3, ""},
        {"idle after moving, other device", {},
         [&](int n) { return n == 1 ? Lines{state(1)} : Lines{state(0), completion(true, 1, 0)}; }, -4, 2,
         device_log + "1 \n"},
        {"never moving: ten idle answers, then the report", {},
         [&](int n) { return n < 10 ? Lines{state(0)} : Lines{state(0), completion(true, d, 0)}; }, 0, 10, ""},
        {"state query unanswered six times", {}, nullptr, -2, 6, ""},
        {"state without mode six times", {},
         [&](int) { return Lines{std::string(R"({"command":")") + a.state_reply + R"(","current":1})"}; }, -3, 6, ""},
    };
    // m_nOutTime 50 ms: long enough that a loaded machine answers each state query in time.
    Arm arm(1, "KY6A-B", 50);
    for (const auto &c : cases) {
        kytest::LogCapture log;
        Lines move_answer = c.with_move;
        if (a.ack != nullptr) move_answer.insert(move_answer.begin(), a.ack);
        arm.fake.on(a.move_command, [move_answer](const std::string &) { return move_answer; });
        auto count = std::make_shared<std::atomic<int>>(0);
        arm.fake.on(a.state_command, [count, q = c.query](const std::string &) {
            const int n = ++*count;
            if (n > 30) return Lines{completion(true, 0, 9), completion(true, 3, 9), completion(true, 4, 9)};  // ends a runaway wait
            return q ? q(n) : Lines{};
        });
        const auto t0 = Clock::now();
        EXPECT_EQ(a.move(arm.robot, 1), c.expected) << c.name;
        EXPECT_EQ(count->load(), c.queries) << c.name;
        EXPECT_TRUE(c.log.empty() || log.contains(c.log)) << c.name;
        if (c.queries == 10) {  // nine 50 ms pauses between the idle answers
            EXPECT_GE(Clock::now() - t0, 450ms) << c.name;
        }
    }
}

TEST(AxisModes, ModeZeroWaitsBlockSecondsOtherModesReturnAtOnce) {
    {
        Arm arm(0, "KY6A-B", 50);
        arm.fake.on("expand_set_pos", R"({"command":"expand_set_pos","set_pos_state":true})");
        auto f = start([&] { return ky_set_lift_height(arm.robot, 1, 2, 2); });
        ASSERT_TRUE(seen(arm.fake, "set_lift_height", 60ms));
        arm.fake.push(completion(true, 3, 0));
        EXPECT_EQ(f.get(), 0);
        const auto t0 = Clock::now();
        EXPECT_EQ(ky_set_expand_pos(arm.robot, 1, 2, 1), -5);  // no report within one second
        EXPECT_GE(Clock::now() - t0, 990ms);
        EXPECT_TRUE(arm.fake.requests_for("expand_get_state").empty());
    }
    // A library mode without a completion wait: the lift reports -3.
    Arm arm(1, "KY6A-B", 50);
    g_mode.store(3);
    EXPECT_EQ(ky_set_lift_height(arm.robot, 1, 2, 1), -3);
    g_mode.store(1);
    EXPECT_TRUE(arm.fake.requests_for("get_lift_state").empty());
}

}  // namespace
