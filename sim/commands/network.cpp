// Network and serial settings: the wired address, Wi-Fi (access point, station or off), the
// USB and RS485 baud rates and the RS485 modes of the controller and of the tool flange.
//
// As on the controller, the Wi-Fi, USB and RS485 settings are not acknowledged (the interface
// restarts): a valid one is applied, a bad one changes nothing, neither is answered. The
// simulated network itself never moves: the settings are only kept and reported.
#include <arpa/inet.h>

#include <algorithm>
#include <array>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

constexpr std::array kBaudRates = {9600, 19200, 38400, 57600, 115200, 230400, 460800};

bool baud_rate(Ctx &c, int &baud) {
    return c.geti("baudrate", baud) && std::find(kBaudRates.begin(), kBaudRates.end(), baud) != kBaudRates.end();
}

// A host address the controller can take on its /24 network: dotted quad, unicast, not
// loopback, neither the network nor the broadcast address.
bool host_address(const std::string &ip) {
    in_addr a{};
    if (inet_pton(AF_INET, ip.c_str(), &a) != 1) return false;
    const uint32_t v = ntohl(a.s_addr);
    const uint32_t first = v >> 24, last = v & 0xff;
    return first >= 1 && first <= 223 && first != 127 && last != 0 && last != 255;
}

// Network names of 1..32 bytes and WPA2 passphrases of 8..63 bytes.
bool wifi_credentials(Ctx &c, const char *name_key, std::string &name, std::string &password) {
    return c.gets(name_key, name) && !name.empty() && name.size() <= 32 && c.gets("password", password) &&
           password.size() >= 8 && password.size() <= 63;
}

bool set_net_ip(Ctx &c) {
    std::string ip;
    if (!c.gets("ip", ip) || !host_address(ip)) return false;
    c.arm.net.ip = ip;
    return true;
}

bool set_wifi_ap(Ctx &c) {
    std::string name, password;
    if (!wifi_credentials(c, "wifi_name", name, password)) return false;
    NetSettings &n = c.arm.net;
    n.wifi_mode = "ap";
    n.ssid = name;
    n.password = password;
    n.wifi_ip = NetSettings{}.wifi_ip;  // the access point's own address
    return true;
}

bool set_wifi_sta(Ctx &c) {
    std::string name, password;
    if (!wifi_credentials(c, "router_name", name, password)) return false;
    NetSettings &n = c.arm.net;
    n.wifi_mode = "sta";
    n.ssid = name;
    n.password = password;
    n.wifi_ip = "192.168.10.124";  // given by the router
    return true;
}

bool set_usb(Ctx &c) {
    int baud = 0;
    if (!baud_rate(c, baud)) return false;
    c.arm.net.usb_baud = baud;
    return true;
}

bool set_rs485(Ctx &c) {
    int baud = 0;
    if (!baud_rate(c, baud)) return false;
    c.arm.net.rs485_baud = baud;
    return true;
}

bool get_wired_net(Ctx &c) {
    const NetSettings &n = c.arm.net;
    c.str("ip", n.ip);
    c.str("mask", n.mask);
    c.str("mac", n.mac);
    return true;
}

// Switched off, the interface reports its hardware address and no network.
bool get_wifi_net(Ctx &c) {
    const NetSettings &n = c.arm.net;
    const bool off = n.wifi_mode == "off";
    c.str("mode", n.wifi_mode);
    c.str("ip", off ? "0.0.0.0" : n.wifi_ip);
    c.str("mask", off ? "0.0.0.0" : n.wifi_mask);
    c.str("mac", n.wifi_mac);
    if (off) return true;
    if (n.wifi_mode == "ap") c.num("channel", n.wifi_channel);
    c.str("ssid", n.ssid);
    c.str("password", n.password);
    return true;
}

// The factory addresses and access point; the serial settings stay.
bool set_net_default(Ctx &c) {
    NetSettings &n = c.arm.net;
    const NetSettings factory;
    n.ip = factory.ip;
    n.mask = factory.mask;
    n.wifi_mode = factory.wifi_mode;
    n.ssid = factory.ssid;
    n.password = factory.password;
    n.wifi_ip = factory.wifi_ip;
    n.wifi_mask = factory.wifi_mask;
    n.wifi_channel = factory.wifi_channel;
    return true;
}

bool set_wifi_close(Ctx &c) {
    c.arm.net.wifi_mode = "off";
    return true;
}

// "modbus_timeout" only while the port is a Modbus RTU master (mode 1).
void rs485_reply(Ctx &c, const char *mode_key, int mode, int baud, int timeout) {
    c.num(mode_key, mode);
    c.num("baudrate", baud);
    if (mode == 1) c.num("modbus_timeout", timeout);
}

bool get_controller_rs485_mode(Ctx &c) {
    const NetSettings &n = c.arm.net;
    rs485_reply(c, "controller_RS485_mode", n.rs485_mode, n.rs485_baud, n.modbus_timeout);
    return true;
}

bool get_tool_rs485_mode(Ctx &c) {
    const NetSettings &n = c.arm.net;
    rs485_reply(c, "tool_RS485_mode", n.tool_rs485_mode, n.tool_rs485_baud, n.tool_modbus_timeout);
    return true;
}

}  // namespace

std::span<const Command> network_commands() {
    // Every answer is named by its request.
    static const Command rows[] = {
        {"set_NetIP", "set_NetIP", "status", set_net_ip},
        {"set_wifi_ap", nullptr, nullptr, set_wifi_ap},
        {"set_wifi_sta", nullptr, nullptr, set_wifi_sta},
        {"set_usb", nullptr, nullptr, set_usb},
        {"set_RS485", nullptr, nullptr, set_rs485},
        {"get_wired_net", "get_wired_net", nullptr, get_wired_net},
        {"get_wifi_net", "get_wifi_net", nullptr, get_wifi_net},
        {"set_net_default", "set_net_default", "net_default_state", set_net_default},
        {"set_wifi_close", "set_wifi_close", "wifi_close_state", set_wifi_close},
        {"get_controller_RS485_mode", "get_controller_RS485_mode", nullptr, get_controller_rs485_mode},
        {"get_tool_RS485_mode", "get_tool_RS485_mode", nullptr, get_tool_rs485_mode},
    };
    return rows;
}

}  // namespace ky::sim
