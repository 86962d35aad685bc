// Wire bytes of the exchange, reply matching and the result codes of time-outs and faults.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "core/exchange.h"
#include "core/registry.h"
#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

class ExchangeTest : public ::testing::TestWithParam<int> {
protected:
    kytest::Library lib{GetParam()};
    FakeController fake;
    ky_robot_handle *robot = nullptr;

    void SetUp() override {
        robot = kytest::connect(fake);
        ASSERT_NE(robot, nullptr);
        ASSERT_EQ(robot->id, 1);
        fake.clear_received();
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, ExchangeTest, ::testing::Values(0, 1, 2),
                         [](const auto &info) { return "mode" + std::to_string(info.param); });

TEST_P(ExchangeTest, GetDataCommonSendsCommandWithCrLfNulAndReadsInteger) {
    fake.on("get_collision_stage", R"({"command":"get_collision_stage","collision_stage":4})");
    int value = -1;
    EXPECT_EQ(ky_get_data_common(robot, &value, "get_collision_stage", "collision_stage"), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(fake.received(), std::string("{\"command\":\"get_collision_stage\"}\r\n\0", 36));
}

TEST_P(ExchangeTest, SetDataCommonSendsKeyValueAndReadsSetState) {
    struct Case {
        const char *reply;
        int expected;
    } cases[] = {
        {R"({"command":"set_x","set_state":true})", 0},
        {R"({"command":"set_x","set_state":false})", 1},
        {R"({"command":"set_x"})", -3},
        {R"({"command":"set_x","set_state":"yes"})", -3},
    };
    for (const auto &c : cases) {
        fake.clear_received();
        fake.on("set_x", c.reply);
        EXPECT_EQ(ky_set_data_common(robot, -12, "set_x", "level"), c.expected) << c.reply;
        const std::string text = R"({"command":"set_x","level":-12})";
        EXPECT_EQ(fake.received(), text + std::string("\r\n\0", 3));
    }
}

TEST_P(ExchangeTest, PackerEncodesEveryItemTypeInOrder) {
    fake.on("mix", R"({"command":"mix","set_state":true})");
    const int32_t arr[] = {1, -2, 300000};
    json_pack_item items[6] = {};
    items[0] = {0, "command", 0, {.str = "mix"}};
    items[1] = {1, "n", 0, {.num = -7}};
    items[2] = {2, "a", 3, {.array = arr}};
    items[3] = {3, "b", 0, {.num = 5}};
    items[4] = {9, "skipped", 0, {.num = 1}};
    cJSON *obj = cJSON_CreateObject();
    cJSON_AddNumberToObject(obj, "k", 1);
    items[5] = {4, "o", 0, {.item = obj}};
    char reply[256] = {};
    int r = ky_pack_lock_set("t", robot, items, 6, "mix", reply, sizeof reply, 200);
    EXPECT_GT(r, 0);
    // Mode 0 hands back the line with its CR LF, the receive thread without.
    EXPECT_EQ(std::string(reply), std::string(R"({"command":"mix","set_state":true})") + (GetParam() == 0 ? "\r\n" : ""));
    EXPECT_EQ(fake.received(), std::string(R"({"command":"mix","n":-7,"a":[1,-2,300000],"b":true,"o":{"k":1}})"
                                           "\r\n\0",
                                           66));
}

TEST_P(ExchangeTest, EmptyItemArrayFailsToSend) {
    kytest::LogCapture log;
    json_pack_item items[1] = {{0, "command", 0, {.str = "x"}}};
    char reply[64];
    EXPECT_EQ(ky_pack_lock_set("tag", robot, items, 0, "x", reply, sizeof reply, 100), -1);
    EXPECT_TRUE(log.contains("[tag]  send error"));
}

TEST_P(ExchangeTest, NoReplyTimesOutWithMinusTwoAfterTheWait) {
    kytest::LogCapture log;
    int value = 0;
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ky_get_data_common(robot, &value, "get_nothing", "x"), -2);
    auto waited = std::chrono::steady_clock::now() - t0;
    EXPECT_GE(waited, 195ms);
    EXPECT_LT(waited, 2s);
    EXPECT_TRUE(log.contains("[ky_get_data_common] get_nothing revice error"));
}

TEST_P(ExchangeTest, TimeOutBelowTwoMillisecondsReturnsAtOnce) {
    fake.on("q", R"({"command":"q","v":1})");
    for (int t : {0, 1}) {
        json_pack_item items[1] = {{0, "command", 0, {.str = "q"}}};
        char reply[64];
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_EQ(ky_pack_lock_set("t", robot, items, 1, "q", reply, sizeof reply, t), -2);
        EXPECT_LT(std::chrono::steady_clock::now() - t0, 250ms);  // no 2-ms tries are waited
    }
}

TEST_P(ExchangeTest, ReplyMatchesOnStateWhenCommandIsMissing) {
    fake.on("get_s", R"({"state":"s_reply","value":9})");
    int v = 0;
    json_pack_item items[1] = {{0, "command", 0, {.str = "get_s"}}};
    char reply[128] = {};
    EXPECT_GT(ky_pack_lock_set("t", robot, items, 1, "s_reply", reply, sizeof reply, 200), 0);
    EXPECT_EQ(ky_get_data_common(robot, &v, "get_s", "value"), -2);  // named by "state" only
}

TEST_P(ExchangeTest, ReplyLongerThanBufferIsCutAndFailsToParse) {
    std::string big(300, 'a');
    fake.on("get_big", R"({"command":"get_big","v":1,"pad":")" + big + "\"}");
    ky::Reply reply(256);
    ky::Req req("get_big");
    int r = ky::exchange(robot, "t", req, "get_big", reply, 200);
    EXPECT_GT(r, 255);
    EXPECT_EQ(std::strlen(reply.text()), 255u);
    json_parse_item item = ky::parse_int("v");
    EXPECT_EQ(common_json_parse("t", reply.text(), &item, 1), -3);
}

TEST_P(ExchangeTest, UnknownHandleIsMinusOneWithoutSending) {
    ky_robot_handle bogus{};
    int v;
    EXPECT_EQ(ky_get_data_common(&bogus, &v, "get_x", "x"), -1);
    EXPECT_EQ(ky_set_data_common(nullptr, 1, "set_x", "x"), -1);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(fake.received(), "");
}

TEST_P(ExchangeTest, NoReplyKeySendsAndSleeps) {
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ky::send_only(robot, "t", ky::Req("fire"), 60), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - t0, 55ms);
    ASSERT_TRUE(fake.wait_for_requests(1, 1s));
    EXPECT_EQ(fake.requests()[0], R"({"command":"fire"})");
}

TEST_P(ExchangeTest, SplitAndDelayedRepliesAreReassembled) {
    fake.set_split(3, 2ms);
    fake.on("get_s", R"({"command":"get_s","value":77})");
    int v = 0;
    EXPECT_EQ(ky_get_data_common(robot, &v, "get_s", "value"), 0);
    EXPECT_EQ(v, 77);
}

TEST_P(ExchangeTest, ConnectionClosedDuringWaitGivesMinusTwoThenSendErrors) {
    fake.on("get_slow", [&](const std::string &) {
        fake.close_client();
        return std::vector<std::string>{};
    });
    int v;
    EXPECT_EQ(ky_get_data_common(robot, &v, "get_slow", "x"), -2);
    if (GetParam() != 0) {
        // The receive thread marked the robot disconnected: later sends fail at once.
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(ky_get_data_common(robot, &v, "get_slow", "x"), -1);
    }
}

// Mode-0 and the receive thread must both skip lines that are not for the waiter.
TEST_P(ExchangeTest, UnrelatedAndMalformedLinesBeforeTheReplyAreSkipped) {
    fake.on("get_v", [](const std::string &) {
        return std::vector<std::string>{"not json at all", R"({"command":"other","x":1})", R"({"x":2})",
                                        R"({"command":"get_v","value":5})"};
    });
    int v = 0;
    EXPECT_EQ(ky_get_data_common(robot, &v, "get_v", "value"), 0);
    EXPECT_EQ(v, 5);
}

TEST(PackGet, SendsPrintedTextAndTwoMoreBytes) {
    kytest::Library lib(1);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    fake.clear_received();
    char dst[64] = {};
    ky_rdlock_lock();
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    ky_rdlock_unlock();
    EXPECT_EQ(common_json_pack_get("t", h, "get_x", dst, sizeof dst), 0);
    const std::string text = R"({"command":"get_x"})";
    EXPECT_EQ(std::string(dst, 8), text.substr(0, 8));
    EXPECT_EQ(dst[text.size()], '\r');
    EXPECT_EQ(dst[text.size() + 1], '\n');
    ASSERT_TRUE(fake.wait_for_requests(0, 100ms));
    for (int i = 0; i < 50 && fake.received().size() < text.size() + 2; ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(fake.received(), text + std::string("\0\0", 2));
    char small[20];
    EXPECT_EQ(common_json_pack_get("t", h, "get_x", small, sizeof small), -1);  // 19 is not below 18
}

}  // namespace
