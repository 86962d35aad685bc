// Network and serial settings: request bytes, the unanswered settings and their pause, the
// long waits of the answered ones, and what the getters write (fields cut at their width,
// the Wi-Fi "off" reply, RS485 replies with members missing).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

// The bytes of a field up to its terminator, or all of them when it has none.
template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

// Unanswered settings: exact bytes, 0 after the 800 ms pause with the controller silent,
// -1 at once for an unknown handle.
TEST(Network, UnansweredSettingsSendAndPause) {
    struct Case {
        const char *tag;
        std::function<int(ky_robot_handle *)> call;
        const char *request;
    } cases[] = {
        {"ky_set_wifi_ap", [](auto *r) { return ky_set_wifi_ap(r, "cell-7", "pass word\"1"); },
         R"({"command":"set_wifi_ap","wifi_name":"cell-7","password":"pass word\"1"})"},
        {"ky_set_wifi_sta", [](auto *r) { return ky_set_wifi_sta(r, "plant", "12345678"); },
         R"({"command":"set_wifi_sta","router_name":"plant","password":"12345678"})"},
        {"ky_set_usb", [](auto *r) { return ky_set_usb(r, 115200); }, R"({"command":"set_usb","baudrate":115200})"},
        {"ky_set_RS485", [](auto *r) { return ky_set_RS485(r, -9600); },
         R"({"command":"set_RS485","baudrate":-9600})"},
    };
    Arm arm;
    arm.fake.set_silent(true);
    ky_robot_handle bogus{};
    for (const auto &c : cases) {
        arm.fake.clear_received();
        const auto t0 = Clock::now();
        EXPECT_EQ(c.call(arm.robot), 0) << c.tag;
        EXPECT_GE(Clock::now() - t0, 795ms) << c.tag;
        EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.tag;
        EXPECT_EQ(c.call(&bogus), -1) << c.tag;
    }
}

// Answered settings: bytes, the state key deciding 0 / 1 (another key -3), and a wait longer
// than m_nOutTime: a reply arriving late within it is taken, silence is -2 after all of it.
TEST(Network, AnsweredSettingsWaitTheirOwnTime) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *state_key;
        std::chrono::milliseconds wait;
    } cases[] = {
        {"set_NetIP", [](auto *r) { return ky_set_NetIP(r, "10.0.0.7"); },
         R"({"command":"set_NetIP","ip":"10.0.0.7"})", "status", 2000ms},
        {"set_net_default", [](auto *r) { return ky_set_net_default(r); }, R"({"command":"set_net_default"})",
         "net_default_state", 4000ms},
        {"set_wifi_close", [](auto *r) { return ky_set_wifi_close(r); }, R"({"command":"set_wifi_close"})",
         "wifi_close_state", 2000ms},
    };
    for (const auto &c : cases) {
        Arm arm;  // m_nOutTime 100 ms
        auto reply = [&](const char *key, const char *value) {
            return std::string(R"({"command":")").append(c.command).append(R"(",")").append(key).append("\":").append(
                value).append("}");
        };
        const std::pair<std::string, int> replies[] = {
            {reply(c.state_key, "true"), 0},
            {reply(c.state_key, "false"), 1},
            {reply("set_state", "true"), -3},
        };
        for (const auto &[line, expected] : replies) {
            arm.fake.clear_received();
            arm.fake.on(c.command, line);
            EXPECT_EQ(c.call(arm.robot), expected) << line;
            EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.command;
        }

        arm.fake.on(c.command, reply(c.state_key, "true"));
        arm.fake.set_delay(c.wait - 500ms);
        auto t0 = Clock::now();
        EXPECT_EQ(c.call(arm.robot), 0) << c.command << " late reply";
        EXPECT_GE(Clock::now() - t0, c.wait - 500ms) << c.command;

        arm.fake.set_delay(0ms);
        arm.fake.set_silent(true);
        t0 = Clock::now();
        EXPECT_EQ(c.call(arm.robot), -2) << c.command;
        EXPECT_GE(Clock::now() - t0, c.wait - 5ms) << c.command;
    }
}

TEST(Network, WiredNetFieldsAreCutAtTheirWidth) {
    struct Case {
        const char *reply;
        int expected;
        std::string ip, mask, mac;  // "Z..." untouched
    } cases[] = {
        {R"({"command":"get_wired_net","ip":"192.168.1.18","mask":"255.255.255.0","mac":"02:4b:59:00:00:01"})", 0,
         "192.168.1.18", "255.255.255.0", "02:4b:59:00:00:01"},
        // Over-long strings fill their field without a terminator and go no further.
        {R"({"command":"get_wired_net","ip":"1234567890123456789","mask":"","mac":"aa:bb:cc:dd:ee:ff:00:11"})", 0,
         "1234567890123456", "", "aa:bb:cc:dd:ee:ff:"},
        {R"({"command":"get_wired_net","ip":"10.0.0.1","mask":"255.0.0.0"})", -3, "ZZZZZZZZZZZZZZZZ",
         "ZZZZZZZZZZZZZZZZ", "ZZZZZZZZZZZZZZZZZZ"},
        {R"({"command":"get_wired_net","ip":10,"mask":"255.0.0.0","mac":"x"})", -3, "ZZZZZZZZZZZZZZZZ",
         "ZZZZZZZZZZZZZZZZ", "ZZZZZZZZZZZZZZZZZZ"},
    };
    Arm arm;
    for (const auto &c : cases) {
        // Each buffer is its field plus a guard of four bytes that must stay as it was.
        char ip[KY_WIFI_IP_LEN + 4], mask[KY_WIFI_IP_LEN + 4], mac[KY_WIFI_MAC_LEN + 4];
        std::memset(ip, 'Z', sizeof ip);
        std::memset(mask, 'Z', sizeof mask);
        std::memset(mac, 'Z', sizeof mac);
        arm.fake.clear_received();
        arm.fake.on("get_wired_net", c.reply);
        EXPECT_EQ(ky_get_wired_net(arm.robot, ip, mask, mac), c.expected) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_wired_net"})"));
        EXPECT_EQ(std::string(ip, strnlen(ip, KY_WIFI_IP_LEN)), c.ip) << c.reply;
        EXPECT_EQ(std::string(mask, strnlen(mask, KY_WIFI_IP_LEN)), c.mask) << c.reply;
        EXPECT_EQ(std::string(mac, strnlen(mac, KY_WIFI_MAC_LEN)), c.mac) << c.reply;
        EXPECT_EQ(std::string(ip + KY_WIFI_IP_LEN, 4), "ZZZZ");
        EXPECT_EQ(std::string(mask + KY_WIFI_IP_LEN, 4), "ZZZZ");
        EXPECT_EQ(std::string(mac + KY_WIFI_MAC_LEN, 4), "ZZZZ");
    }
}

// What each Wi-Fi reply writes into a record that starts as "Z" bytes and channel -7.
TEST(Network, WifiRepliesFillTheRecordByMode) {
    const std::string addr = R"("ip":"192.168.33.80","mask":"255.255.255.0","mac":"02:4b:59:00:00:02")";
    auto line = [&](const std::string &rest) { return R"({"command":"get_wifi_net",)" + addr + rest + "}"; };
    const std::string Z16(16, 'Z'), Z32(32, 'Z');
    struct Case {
        std::string reply;
        int expected;
        int channel;
        std::string mode, ssid, password;  // ip, mask and mac are the ones above unless mode is "Z"
    } cases[] = {
        {line(R"(,"mode":"ap","channel":11,"ssid":"KyArm","password":"ky123456")"), 0, 11, "ap", "KyArm", "ky123456"},
        {line(R"(,"mode":"sta","channel":3,"ssid":"plant","password":"secret99")"), 0, -7, "sta", "plant", "secret99"},
        // Off: name and password untouched, even when the reply carries them.
        {line(R"(,"mode":"off")"), 0, -7, "off", Z32, Z16},
        {line(R"(,"mode":"off","ssid":"x","password":"y")"), 0, -7, "off", Z32, Z16},
        // An access point that leaves its channel out still reports its name.
        {line(R"(,"mode":"ap","ssid":"a","password":"b")"), 0, -7, "ap", "a", "b"},
        // Name or password missing: both fields written, the missing one empty.
        {line(R"(,"mode":"sta","ssid":"plant")"), -3, -7, "sta", "plant", ""},
        {line(R"(,"mode":"sta","password":"secret99")"), -3, -7, "sta", "", ""},
        // Over-long strings cut at the field width, without a terminator.
        {line(R"(,"mode":"station","ssid":"0123456789abcdefghijklmnopqrstuvwxyz","password":"0123456789abcdefXY")"),
         0, -7, "stati", "0123456789abcdefghijklmnopqrstuv", "0123456789abcdef"},
        // One of the four addresses missing: nothing written.
        {R"({"command":"get_wifi_net","ip":"1.2.3.4","mac":"m","mode":"ap","channel":1,"ssid":"s","password":"p"})",
         -3, -7, "Z", Z32, Z16},
        {R"({"command":"get_wifi_net","ip":"1.2.3.4","mask":"m","mac":"m","ssid":"s","password":"p"})", -3, -7, "Z",
         Z32, Z16},
    };
    Arm arm;
    for (const auto &c : cases) {
        ky_wifi_net net;
        std::memset(&net, 'Z', sizeof net);
        net.channel = -7;
        arm.fake.clear_received();
        arm.fake.on("get_wifi_net", c.reply);
        EXPECT_EQ(ky_get_wifi_net(arm.robot, &net), c.expected) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_wifi_net"})"));
        EXPECT_EQ(net.channel, c.channel) << c.reply;
        if (c.mode == "Z") {
            EXPECT_EQ(field(net.mode), std::string(KY_WIFI_MODE_LEN, 'Z')) << c.reply;
            EXPECT_EQ(field(net.ip), Z16) << c.reply;
        } else {
            EXPECT_EQ(field(net.mode), c.mode) << c.reply;
            EXPECT_EQ(field(net.ip), "192.168.33.80") << c.reply;
            EXPECT_EQ(field(net.mask), "255.255.255.0") << c.reply;
            EXPECT_EQ(field(net.mac), "02:4b:59:00:00:02") << c.reply;
        }
        EXPECT_EQ(field(net.ssid), c.ssid) << c.reply;
        EXPECT_EQ(field(net.password), c.password) << c.reply;
    }
    EXPECT_EQ(ky_get_wifi_net(arm.robot, nullptr), -1);
}

// Both RS485 queries: the mode key of their own, "modbus_timeout" optional (0 and a warning),
// any other member required; outputs written only on success.
TEST(Network, Rs485RepliesWithMembersMissing) {
    struct Query {
        const char *command, *mode_key;
        int (*call)(ky_robot_handle *, int *, int *, int *);
    } queries[] = {
        {"get_controller_RS485_mode", "controller_RS485_mode", ky_get_controller_RS485_mode},
        {"get_tool_RS485_mode", "tool_RS485_mode", ky_get_tool_RS485_mode},
    };
    struct Case {
        std::string members;  // after "command"; MODE stands for the query's mode key
        int expected;
        std::vector<int> out;  // mode, baudrate, modbus_timeout; -7 untouched
        std::string log;
    } cases[] = {
        {R"("MODE":1,"baudrate":115200,"modbus_timeout":250)", 0, {1, 115200, 250}, "modbus_timeout parse result: 250\n"},
        {R"("MODE":0,"baudrate":9600)", 0, {0, 9600, 0},
         "it is not in Modbus-RTU mode, and the modbus_timeout field does not exist.\n"},
        {R"("MODE":1,"modbus_timeout":250)", -3, {-7, -7, -7}, "baudrate parsing error\n"},
        {R"("baudrate":9600,"modbus_timeout":250)", -3, {-7, -7, -7}, "MODE parsing error\n"},
        {R"("MODE":"1","baudrate":"fast")", 0, {0, 0, 0}, "baudrate parse result: 0\n"},
    };
    Arm arm;
    for (const auto &q : queries) {
        for (const auto &c : cases) {
            auto with_key = [&](std::string s) {
                for (size_t p; (p = s.find("MODE")) != std::string::npos;) s.replace(p, 4, q.mode_key);
                return s;
            };
            const std::string reply = R"({"command":")" + std::string(q.command) + "\"," + with_key(c.members) + "}";
            int out[3] = {-7, -7, -7};
            kytest::LogCapture log;
            arm.fake.clear_received();
            arm.fake.on(q.command, reply);
            EXPECT_EQ(q.call(arm.robot, &out[0], &out[1], &out[2]), c.expected) << reply;
            EXPECT_EQ(std::vector<int>(out, out + 3), c.out) << reply;
            EXPECT_TRUE(log.contains(with_key(c.log))) << reply;
            EXPECT_EQ(arm.fake.received(), wire(R"({"command":")" + std::string(q.command) + "\"}"));
        }
    }
}

}  // namespace
