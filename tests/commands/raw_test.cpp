// ky_exchange_raw: the object goes out member by member as written, the reply is taken by
// the given key or the command's own name, and bad input is refused before sending.
#include <gtest/gtest.h>

#include <string>

#include "support/test_util.h"

namespace {

const std::string kEnd("\r\n\0", 3);

class Raw : public kytest::ConnectedTest<1> {};

TEST_F(Raw, SendsTheObjectAsWrittenAndReturnsTheReplyLine) {
    struct Case {
        const char *json, *reply_key, *wire, *command, *reply;
    } cases[] = {
        // Nested values and member order are kept; whitespace goes.
        {R"({ "command": "set_x", "v": [1, 2, {"a": true}], "s": "t" })", nullptr,
         R"({"command":"set_x","v":[1,2,{"a":true}],"s":"t"})", "set_x", R"({"command":"set_x","set_state":true})"},
        // A reply under another name needs its key.
        {R"({"command":"set_collision_stage","collision_stage":4})", "set_collision_state",
         R"({"command":"set_collision_stage","collision_stage":4})", "set_collision_stage",
         R"({"command":"set_collision_state","collision_state":true})"},
        // An empty key falls back to the command's name.
        {R"({"command":"get_y"})", "", R"({"command":"get_y"})", "get_y", R"({"command":"get_y","y":7})"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.json);
        fake.clear_received();
        fake.on(c.command, c.reply);
        char reply[256];
        int n = ky_exchange_raw(robot, c.json, c.reply_key, reply, sizeof reply, 500);
        EXPECT_EQ(fake.received(), c.wire + kEnd);
        ASSERT_GT(n, 0);
        EXPECT_EQ(std::string(reply, static_cast<size_t>(n)), c.reply);
    }
}

TEST_F(Raw, RefusesBadInputWithoutSendingAndTimesOutOnSilence) {
    char reply[64];
    const char *bad[] = {"", "[1,2]", "{}", "not json", R"({"v":1})", "\"command\""};
    for (const char *json : bad) EXPECT_EQ(ky_exchange_raw(robot, json, nullptr, reply, sizeof reply, 100), -1) << json;
    EXPECT_EQ(ky_exchange_raw(robot, nullptr, "x", reply, sizeof reply, 100), -1);
    EXPECT_EQ(ky_exchange_raw(robot, R"({"command":"x"})", nullptr, reply, 1, 100), -1);
    EXPECT_EQ(fake.received(), "");
    // Silence: -2. A long reply is cut to the buffer, NUL-terminated; the result is its
    // whole length, so the caller sees the cut.
    EXPECT_EQ(ky_exchange_raw(robot, R"({"command":"nobody"})", nullptr, reply, sizeof reply, 100), -2);
    fake.on("long", R"({"command":"long","text":")" + std::string(200, 'a') + "\"}");
    int n = ky_exchange_raw(robot, R"({"command":"long"})", nullptr, reply, sizeof reply, 500);
    EXPECT_EQ(n, 228);
    EXPECT_EQ(std::string(reply).size(), 63u);
    ky_robot_handle stranger{};
    EXPECT_EQ(ky_exchange_raw(&stranger, R"({"command":"x"})", nullptr, reply, sizeof reply, 100), -1);
}

}  // namespace
