// Controller state, power and maintenance counters: request bytes, reply names, scalings,
// the power-state and odometer quirks, and the result codes of every operation.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

// Waits of 300 ms: a cold start under the sanitizers can make the connection's first reply
// slower than the suites' usual 100 ms.
constexpr int kWait = 300;

std::string wire_line(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string reply_named(const std::string &name, const std::string &members) {
    std::string line = R"({"command":")";
    line += name;
    line += "\",";
    line += members;
    line += "}";
    return line;
}

// The four boolean replies: request bytes, then true / false / missing / silence.
TEST(Controller, SettersSendTheirRequestAndReadTheStateKey) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request;
        const char *state_key;
    } cases[] = {
        {"set_arm_power", [](auto *r) { return ky_set_arm_power(r, 1); },
         R"({"command":"set_arm_power","arm_power":1})", "arm_power"},
        {"set_arm_power", [](auto *r) { return ky_set_arm_power(r, -7); },
         R"({"command":"set_arm_power","arm_power":-7})", "arm_power"},
        {"clear_system_runtime", ky_clear_system_runtime, R"({"command":"clear_system_runtime"})", "clear_state"},
        {"clear_joint_odom", ky_clear_joint_odom, R"({"command":"clear_joint_odom"})", "clear_state"},
        {"clear_system_err", ky_clear_system_err, R"({"command":"clear_system_err"})", "clear_state"},
    };
    Arm arm(1, "KY6A-B", kWait);
    ASSERT_EQ(arm.robot->id, 1);
    for (const auto &c : cases) {
        std::string key = "\"";
        key += c.state_key;
        key += "\":";
        const std::pair<std::string, int> replies[] = {
            {reply_named(c.command, key + "true"), 0},
            {reply_named(c.command, key + "false"), 1},
            {reply_named(c.command, R"("set_state":true)"), -3},
            {reply_named(c.command, key + "1"), -3},
        };
        for (const auto &[reply, expected] : replies) {
            arm.fake.clear_received();
            arm.fake.on(c.command, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.request << " " << reply;
            EXPECT_EQ(arm.fake.received(), wire_line(c.request)) << c.request;
        }
        arm.fake.off(c.command);
        EXPECT_EQ(c.call(arm.robot), -2) << c.request;
    }
}

// Value queries: replies named unlike their requests, / 1000 scalings, outputs written only on 0.
TEST(Controller, QueriesScaleAndWriteOnlyOnSuccess) {
    float v = -1, cur = -1, temp = -1;
    int err = -1, power = -1, t[4] = {-1, -1, -1, -1};
    auto reset = [&] {
        v = cur = temp = -1;
        err = power = -1;
        for (int &x : t) x = -1;
    };
    struct Case {
        const char *name;
        const char *command;  // request name
        std::string reply;
        int expected;
        std::vector<float> outputs;  // voltage, current, temperature, err_flag / power / day..sec
    };
    const char *state = "controller_state";
    const Case cases[] = {
        {"state", "get_controller_state",
         reply_named(state, R"("voltage":24123,"current":1500,"temperature":-2500,"err_flag":3)"), 0,
         {24.123f, 1.5f, -2.5f, 3}},
        {"state missing err_flag", "get_controller_state",
         reply_named(state, R"("voltage":24123,"current":1500,"temperature":36500)"), -3, {-1, -1, -1, -1}},
        {"state under the request's name", "get_controller_state",
         reply_named("get_controller_state", R"("voltage":1,"current":1,"temperature":1,"err_flag":0)"), -2,
         {-1, -1, -1, -1}},
        {"power", "get_arm_power_state", reply_named("arm_power_state", R"("power_state":1)"), 0, {1}},
        {"power zero", "get_arm_power_state", reply_named("arm_power_state", R"("power_state":0)"), 0, {0}},
        {"runtime", "get_system_runtime",
         reply_named("get_system_runtime", R"("day":12,"hour":23,"min":59,"sec":7)"), 0, {12, 23, 59, 7}},
        {"runtime without sec", "get_system_runtime",
         reply_named("get_system_runtime", R"("day":12,"hour":23,"min":59)"), -3, {-1, -1, -1, -1}},
        {"runtime not json", "get_system_runtime", R"({"command":"get_system_runtime","day":)", -2,
         {-1, -1, -1, -1}},
    };
    Arm arm(1, "KY6A-B", kWait);
    ASSERT_EQ(arm.robot->id, 1);
    for (const auto &c : cases) {
        reset();
        arm.fake.clear_received();
        arm.fake.on(c.command, c.reply);
        int r = 0;
        std::vector<float> got;
        if (std::strcmp(c.command, "get_controller_state") == 0) {
            r = ky_get_controller_state(arm.robot, &v, &cur, &temp, &err);
            got = {v, cur, temp, static_cast<float>(err)};
        } else if (std::strcmp(c.command, "get_arm_power_state") == 0) {
            r = ky_get_arm_power_state(arm.robot, &power);
            got = {static_cast<float>(power)};
        } else {
            r = ky_get_system_runtime(arm.robot, &t[0], &t[1], &t[2], &t[3]);
            got = {static_cast<float>(t[0]), static_cast<float>(t[1]), static_cast<float>(t[2]),
                   static_cast<float>(t[3])};
        }
        EXPECT_EQ(r, c.expected) << c.name;
        std::string request = R"({"command":")";
        request += c.command;
        request += "\"}";
        EXPECT_EQ(arm.fake.received(), wire_line(request)) << c.name;
        ASSERT_EQ(got.size(), c.outputs.size()) << c.name;
        for (size_t i = 0; i < got.size(); ++i) EXPECT_FLOAT_EQ(got[i], c.outputs[i]) << c.name << " output " << i;
    }
}

// A power-state reply without a readable "power_state" gives the exchange's positive result.
TEST(Controller, PowerStateWithoutTheMemberIsAPositiveResult) {
    Arm arm(1, "KY6A-B", kWait);
    ASSERT_EQ(arm.robot->id, 1);
    kytest::LogCapture log;
    int power = 42;
    const std::string reply = reply_named("arm_power_state", R"("arm_power":true)");
    arm.fake.on("get_arm_power_state", reply);
    const int r = ky_get_arm_power_state(arm.robot, &power);
    EXPECT_GT(r, 0);
    EXPECT_GE(r, static_cast<int>(reply.size()));
    EXPECT_EQ(power, 42);
    EXPECT_TRUE(log.contains("[ky_get_arm_power_state] power_state parsing error\n"));
    arm.fake.off("get_arm_power_state");
    EXPECT_EQ(ky_get_arm_power_state(arm.robot, &power), -2);
    EXPECT_EQ(power, 42);
}

// The odometer array has the arm's dof entries; the dof is checked only after the exchange.
TEST(Controller, OdometerFollowsTheDegreeOfFreedom) {
    struct Case {
        const char *name;
        const char *product;
        int dof;  // stored in the handle before the call (0: not identified)
        const char *odom;
        int expected;
        std::vector<float> out;  // all seven elements afterwards
    } cases[] = {
        {"six", "KY6A-B", 6, "[1,2000,-3500,4,5,123456]", 0, {0.001f, 2.0f, -3.5f, 0.004f, 0.005f, 123.456f, -9}},
        {"seven", "KY7A-B", 7, "[1,2,3,4,5,6,7000]", 0, {0.001f, 0.002f, 0.003f, 0.004f, 0.005f, 0.006f, 7.0f}},
        {"six given seven", "KY6A-B", 6, "[1,2,3,4,5,6,7]", -3, {-9, -9, -9, -9, -9, -9, -9}},
        {"seven given six", "KY7A-B", 7, "[1,2,3,4,5,6]", -3, {-9, -9, -9, -9, -9, -9, -9}},
        {"dof unknown", "KY6A-B", 0, "[1,2,3,4,5,6]", -1, {-9, -9, -9, -9, -9, -9, -9}},
    };
    for (const auto &c : cases) {
        Arm arm(1, c.product, kWait);
        ASSERT_EQ(arm.robot->id, 1) << c.name;
        ky::store_field(arm.robot->dof, c.dof);
        std::string members = R"("odom":)";
        members += c.odom;
        arm.fake.on("get_joint_odom", reply_named("get_joint_odom", members));
        kytest::LogCapture log;
        float out[7] = {-9, -9, -9, -9, -9, -9, -9};
        EXPECT_EQ(ky_get_joint_odom(arm.robot, out), c.expected) << c.name;
        EXPECT_EQ(arm.fake.received(), wire_line(R"({"command":"get_joint_odom"})")) << c.name;
        for (int i = 0; i < 7; ++i) EXPECT_FLOAT_EQ(out[i], c.out[static_cast<size_t>(i)]) << c.name << " " << i;
        EXPECT_EQ(log.contains("[ky_get_joint_odom] The robotic arm has been disconnected\n"), c.dof == 0) << c.name;
        if (c.dof == 0) {
            arm.fake.off("get_joint_odom");  // no reply: the time-out comes before the dof check
            EXPECT_EQ(ky_get_joint_odom(arm.robot, out), -2) << c.name;
        }
    }
}

// Every operation of the family on a handle that is not registered.
TEST(Controller, UnknownHandleIsRefusedWithoutSending) {
    Arm arm(1, "KY6A-B", kWait);
    ASSERT_EQ(arm.robot->id, 1);
    ky_robot_handle bogus{};
    float f[7] = {};
    int i[4] = {};
    const int results[] = {
        ky_get_controller_state(&bogus, &f[0], &f[1], &f[2], &i[0]), ky_set_arm_power(&bogus, 1),
        ky_get_arm_power_state(&bogus, &i[0]), ky_get_system_runtime(&bogus, &i[0], &i[1], &i[2], &i[3]),
        ky_clear_system_runtime(&bogus), ky_get_joint_odom(&bogus, f), ky_clear_joint_odom(&bogus),
        ky_clear_system_err(&bogus),
    };
    for (int r : results) EXPECT_EQ(r, -1);
    EXPECT_TRUE(arm.fake.received().empty());
}

}  // namespace
