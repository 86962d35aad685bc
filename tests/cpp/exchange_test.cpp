// The exchange members against the in-process simulator: the generic get and set, raw
// exchanges of any JSON object (members and nested values reaching the controller, the reply
// key rule, refusals before sending, time-outs), and the family's own error texts.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <chrono>
#include <memory>
#include <string>

#include "kyarm.hpp"
#include "realtime/realtime_util.h"
#include "sim/simulator.h"

namespace {

using namespace std::chrono_literals;

class CppExchange : public ::testing::Test {
protected:
    int push_port = rttest::free_udp_port();
    ky::sim::Simulator sim{[this] {
        ky::sim::Options o;
        o.speed_scale = 4.0;
        o.push_port = push_port;
        return o;
    }()};
    void SetUp() override { ASSERT_TRUE(sim.start()) << sim.error(); }
};

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;
Json parse(const std::string &s) { return Json(cJSON_Parse(s.c_str()), &cJSON_Delete); }

TEST_F(CppExchange, SetThenGetRoundTrips) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    robot.movej(ky::Joints{12.5f, -20, 30, 0, 15, 5}, 50);

    // The generic integer set/get (value, command, key order) and their raw equivalents.
    robot.set_data_common(37, "set_drag_teach_sensitivity", "grade");
    EXPECT_EQ(robot.get_data_common("get_drag_teach_sensitivity", "grade"), 37);
    const std::string set = robot.raw(R"({"command":"set_drag_teach_sensitivity","grade":64})");
    EXPECT_NE(set.find("\"set_state\":true"), std::string::npos) << set;
    EXPECT_EQ(robot.get_data_common("get_drag_teach_sensitivity", "grade"), 64);

    // A reply under another name than the command needs the explicit key; the line comes
    // back whole, as the controller sent it (joints in thousandths of a degree).
    const std::string line = robot.raw(R"({"command":"get_joint_degree"})", "joint_degree");
    Json reply = parse(line);
    ASSERT_TRUE(reply) << line;
    const cJSON *joints = cJSON_GetObjectItem(reply.get(), "joint");
    ASSERT_EQ(cJSON_GetArraySize(joints), 6) << line;
    EXPECT_NEAR(cJSON_GetArrayItem(joints, 0)->valuedouble, 12500, 1) << line;
    EXPECT_NEAR(cJSON_GetArrayItem(joints, 1)->valuedouble, -20000, 1) << line;

    // Nested objects, booleans and numbers of every member reach the controller as written.
    std::string request = R"({"command":"set_realtime_push","cycle":4,"enable":true,"port":)";
    request += std::to_string(push_port);
    request += R"(,"ip":"127.0.0.1","custom":{"joint_speed":true,"lift_state":false}})";
    robot.raw(request, "set_realtime_push", 1s);
    const ky_realtime_push_config push = robot.get_realtime_push();
    EXPECT_EQ(push.cycle, 4);
    EXPECT_TRUE(push.enable);
    EXPECT_EQ(push.custom.joint_speed, 1);
    EXPECT_EQ(push.custom.lift_state, 0);
}

TEST_F(CppExchange, BadRequestsAreRefusedBeforeSending) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    const char *requests[] = {
        "",                          // empty text
        "{\"command\":",             // not JSON
        "[\"command\",\"get_x\"]",   // not an object
        "{}",                        // no member
        "{\"grade\":3}",             // no command and no reply key
        "{\"command\":17}",          // the command is not text
    };
    const uint64_t before = sim.commands_received();
    for (const char *text : requests) {
        SCOPED_TRACE(text);
        auto r = robot.nothrow().raw(text);
        EXPECT_EQ(r.code(), -1);
        EXPECT_EQ(r.error().category(), ky::category<ky::family::exchange>());
        EXPECT_STREQ(r.function(), "ky_exchange_raw");
    }
    EXPECT_EQ(sim.commands_received(), before);
    // The same checks let a good request through, and the explicit key overrides the name.
    EXPECT_EQ(robot.nothrow().raw(R"({"command":"get_drag_teach_sensitivity"})", "grade", 50ms).code(), -2);
    EXPECT_EQ(sim.commands_received(), before + 1);
}

TEST_F(CppExchange, TimeoutsAndRefusalsCarryTheExchangeFamily) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());

    // No reply under the key: -2 after the given wait, not the library default.
    const auto t0 = std::chrono::steady_clock::now();
    auto none = robot.nothrow().raw(R"({"command":"get_joint_degree"})", {}, 150ms);
    const auto waited = std::chrono::steady_clock::now() - t0;
    EXPECT_EQ(none.code(), -2);
    EXPECT_TRUE(none.error() == ky::errc::timeout);
    EXPECT_GE(waited, 140ms);

    ky::sim::Faults f;
    f.refuse_all = true;
    sim.set_faults(f);
    try {
        robot.set_data_common(50, "set_drag_teach_sensitivity", "grade");
        FAIL() << "no exception";
    } catch (const ky::Error &e) {
        EXPECT_EQ(e.result(), 1);
        EXPECT_STREQ(e.function(), "ky_set_data_common");
        EXPECT_STREQ(e.code().category().name(), "kyarm.exchange");
        EXPECT_NE(e.code().message().find("set_state"), std::string::npos) << e.code().message();
    }
}

}  // namespace
