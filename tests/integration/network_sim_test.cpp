// Network and serial settings against the simulator running in-process: settings set and read
// back, the Wi-Fi modes, and the RS485 reply shapes of the simulated controller.
#include <gtest/gtest.h>
#include <cjson/cJSON.h>

#include <cstring>
#include <string>
#include <vector>

#include "sim/commands.h"
#include "support/sim_fixture.h"

namespace {

template <size_t N>
std::string field(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}

class NetworkSim : public kytest::TcpSimTest {};

TEST_F(NetworkSim, WiredAddressIsSetCheckedAndReset) {
    char ip[KY_WIFI_IP_LEN], mask[KY_WIFI_IP_LEN], mac[KY_WIFI_MAC_LEN];
    ASSERT_EQ(ky_get_wired_net(robot, ip, mask, mac), 0);
    const std::string factory = field(ip);
    EXPECT_EQ(field(mask), "255.255.255.0");
    EXPECT_EQ(field(mac).size(), 17u);

    ASSERT_EQ(ky_set_NetIP(robot, "10.20.30.40"), 0);
    for (const char *bad : {"10.20.30.255", "127.0.0.5", "300.1.1.1", "10.20.30", "", "224.0.0.9"}) {
        EXPECT_EQ(ky_set_NetIP(robot, bad), 1) << bad;
    }
    ASSERT_EQ(ky_get_wired_net(robot, ip, mask, mac), 0);
    EXPECT_EQ(field(ip), "10.20.30.40");

    ASSERT_EQ(ky_set_net_default(robot), 0);
    ASSERT_EQ(ky_get_wired_net(robot, ip, nullptr, nullptr), 0);
    EXPECT_EQ(field(ip), factory);
}

// Access point, station, off and back; unanswered settings with bad values change nothing.
TEST_F(NetworkSim, WifiModes) {
    ky_wifi_net net{};
    ASSERT_EQ(ky_get_wifi_net(robot, &net), 0);
    EXPECT_EQ(field(net.mode), "ap");
    EXPECT_GE(net.channel, 1);

    ASSERT_EQ(ky_set_wifi_sta(robot, "plant-floor", "secret-99"), 0);
    net = {};
    net.channel = -7;
    ASSERT_EQ(ky_get_wifi_net(robot, &net), 0);
    EXPECT_EQ(field(net.mode), "sta");
    EXPECT_EQ(field(net.ssid), "plant-floor");
    EXPECT_EQ(field(net.password), "secret-99");
    EXPECT_EQ(net.channel, -7);  // reported only by an access point
    EXPECT_FALSE(field(net.ip).empty());

    // Too short a passphrase, no name: not taken, and nothing says so.
    EXPECT_EQ(ky_set_wifi_ap(robot, "cell-7", "short"), 0);
    EXPECT_EQ(ky_set_wifi_ap(robot, "", "long-enough"), 0);
    ASSERT_EQ(ky_get_wifi_net(robot, &net), 0);
    EXPECT_EQ(field(net.mode), "sta");

    ASSERT_EQ(ky_set_wifi_close(robot), 0);
    std::memset(net.ssid, 'Z', sizeof net.ssid);
    std::memset(net.password, 'Z', sizeof net.password);
    ASSERT_EQ(ky_get_wifi_net(robot, &net), 0);
    EXPECT_EQ(field(net.mode), "off");
    EXPECT_EQ(field(net.ssid), std::string(KY_WIFI_SSID_LEN, 'Z'));
    EXPECT_EQ(field(net.password), std::string(KY_WIFI_PASSWORD_LEN, 'Z'));

    // A passphrase longer than the record's field comes back cut at the field.
    ASSERT_EQ(ky_set_wifi_ap(robot, "cell-7", "0123456789abcdef-and-more"), 0);
    ASSERT_EQ(ky_get_wifi_net(robot, &net), 0);
    EXPECT_EQ(field(net.mode), "ap");
    EXPECT_EQ(field(net.ssid), "cell-7");
    EXPECT_EQ(field(net.password), "0123456789abcdef");
}

TEST_F(NetworkSim, Rs485BaudRateIsReadBack) {
    int mode = -7, baud = -7, timeout = -7;
    ASSERT_EQ(ky_set_RS485(robot, 115200), 0);
    EXPECT_EQ(ky_set_RS485(robot, 12345), 0);  // not a baud rate: ignored
    ASSERT_EQ(ky_get_controller_RS485_mode(robot, &mode, &baud, &timeout), 0);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(baud, 115200);
    EXPECT_EQ(timeout, 0);  // a plain serial port reports no Modbus time-out
    ASSERT_EQ(ky_get_tool_RS485_mode(robot, &mode, &baud, &timeout), 0);
    EXPECT_EQ(mode, 0);
    EXPECT_GT(baud, 0);
}

// The simulated controller's own replies: "modbus_timeout" only for a Modbus RTU port, the
// unanswered settings answered by nothing, bad baud rates not kept.
TEST(NetworkSimReplies, ShapesAndUnansweredSettings) {
    struct Case {
        std::string request;
        int rs485_mode, tool_mode;  // set on the arm before the request
        std::string reply;          // "" no reply line
    } cases[] = {
        {R"({"command":"get_controller_RS485_mode"})", 1, 0,
         R"({"command":"get_controller_RS485_mode","controller_RS485_mode":1,"baudrate":460800,"modbus_timeout":100})"},
        {R"({"command":"get_controller_RS485_mode"})", 0, 1,
         R"({"command":"get_controller_RS485_mode","controller_RS485_mode":0,"baudrate":460800})"},
        {R"({"command":"get_tool_RS485_mode"})", 0, 1,
         R"({"command":"get_tool_RS485_mode","tool_RS485_mode":1,"baudrate":115200,"modbus_timeout":100})"},
        {R"({"command":"set_usb","baudrate":9600})", 0, 0, ""},
        {R"({"command":"set_usb","baudrate":9601})", 0, 0, ""},
        {R"({"command":"set_RS485","baudrate":"9600"})", 0, 0, ""},
        {R"({"command":"set_wifi_sta","router_name":"r","password":"12345678"})", 0, 0, ""},
        {R"({"command":"set_wifi_close"})", 0, 0, R"({"command":"set_wifi_close","wifi_close_state":true})"},
        {R"({"command":"set_NetIP","ip":"1.2.3.0"})", 0, 0, R"({"command":"set_NetIP","status":false})"},
    };
    ky::sim::Arm arm;
    for (const auto &c : cases) {
        arm.net.rs485_mode = c.rs485_mode;
        arm.net.tool_rs485_mode = c.tool_mode;
        cJSON *req = cJSON_Parse(c.request.c_str());
        ASSERT_NE(req, nullptr) << c.request;
        ky::sim::DispatchResult out;
        ky::sim::dispatch(arm, req, cJSON_GetObjectItem(req, "command")->valuestring, false, out);
        cJSON_Delete(req);
        EXPECT_TRUE(out.known) << c.request;
        EXPECT_EQ(out.replies, c.reply.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.reply})
            << c.request;
    }
    EXPECT_EQ(arm.net.usb_baud, 9600);
    EXPECT_EQ(arm.net.rs485_baud, 460800);
    EXPECT_EQ(arm.net.wifi_mode, "off");
}

}  // namespace
