// kyarm/cpp/network.hpp: network and serial settings of the controller
// (include/kyarm/network.h). Include <kyarm.hpp> rather than this file.
#pragma once

#include <string>
#include <string_view>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::network> {
    static constexpr code_text table[] = {
        {1, "the controller answered false (set_NetIP: it refused the address)"},
        {-3, "unreadable reply: not JSON, or a member missing or of the wrong type"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** The wired interface as ky_get_wired_net reads it. */
struct wired_net {
    std::string ip;
    std::string mask;
    std::string mac;
};

/** An RS485 port's settings (ky_get_controller_RS485_mode, ky_get_tool_RS485_mode): the
 *  controller's mode code, the baud rate in bit/s, and the Modbus time-out (0 when the port
 *  is not in Modbus RTU mode). */
struct rs485_mode {
    int mode = 0;
    int baudrate = 0;
    int modbus_timeout = 0;
};

/** Network and serial settings. set_wifi_ap, set_wifi_sta, set_usb and set_RS485 read no
 *  answer: they send, hold the robot 800 ms and succeed unless the send failed; read the
 *  setting back to know whether the controller took it. */
template <class Self, class Policy>
class network_ops : public ops_base<Self, Policy, family::network, network_ops<Self, Policy>> {
    KY_OPS_BASE(network_ops, family::network);

public:
    /** Wired address, dotted quad; waits up to 2 s. A text longer than a dotted quad is refused
     *  before sending. */
    auto set_NetIP(std::string_view ip) const {
        char buf[KY_WIFI_IP_LEN];
        if (!copy_text(buf, ip)) return refuse("ky_set_NetIP");
        return done("ky_set_NetIP", ky_set_NetIP(h(), buf));
    }
    auto set_wifi_ap(std::string_view wifi_name, std::string_view password) const {
        const std::string name(wifi_name), pass(password);
        return done("ky_set_wifi_ap", ky_set_wifi_ap(h(), name.c_str(), pass.c_str()));
    }
    auto set_wifi_sta(std::string_view router_name, std::string_view password) const {
        const std::string name(router_name), pass(password);
        return done("ky_set_wifi_sta", ky_set_wifi_sta(h(), name.c_str(), pass.c_str()));
    }
    /** Baud rate in bit/s. */
    auto set_usb(int baudrate) const { return done("ky_set_usb", ky_set_usb(h(), baudrate)); }
    /** Baud rate in bit/s. */
    auto set_RS485(int baudrate) const { return done("ky_set_RS485", ky_set_RS485(h(), baudrate)); }
    auto get_wired_net() const {
        char ip[KY_WIFI_IP_LEN] = {}, mask[KY_WIFI_IP_LEN] = {}, mac[KY_WIFI_MAC_LEN] = {};
        int rc = ky_get_wired_net(h(), ip, mask, mac);
        return done("ky_get_wired_net", rc, wired_net{text(ip), text(mask), text(mac)});
    }
    /** Wi-Fi state; read the text fields with ky::text(), they carry no NUL when full. */
    auto get_wifi_net() const {
        ky_wifi_net w{};
        int rc = ky_get_wifi_net(h(), &w);
        return done("ky_get_wifi_net", rc, w);
    }
    /** Factory network settings; waits up to 4 s. */
    auto set_net_default() const { return done("ky_set_net_default", ky_set_net_default(h())); }
    /** Wi-Fi off; waits up to 2 s. */
    auto set_wifi_close() const { return done("ky_set_wifi_close", ky_set_wifi_close(h())); }
    auto get_controller_RS485_mode() const {
        rs485_mode m;
        int rc = ky_get_controller_RS485_mode(h(), &m.mode, &m.baudrate, &m.modbus_timeout);
        return done("ky_get_controller_RS485_mode", rc, m);
    }
    auto get_tool_RS485_mode() const {
        rs485_mode m;
        int rc = ky_get_tool_RS485_mode(h(), &m.mode, &m.baudrate, &m.modbus_timeout);
        return done("ky_get_tool_RS485_mode", rc, m);
    }
};

}  // namespace ky
