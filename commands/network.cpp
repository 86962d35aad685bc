// Network and serial settings: the wired address, Wi-Fi access point or station mode, the USB
// and RS485 baud rates and the RS485 modes of the controller and of the tool flange.
//
// The Wi-Fi, USB and RS485 settings make the controller restart the interface that carries
// them, so they are sent without waiting for an answer: the exchange sleeps 800 ms instead.
// Every string the controller reports is copied into a field of fixed width, cut at the field
// (see copy_field).
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"

using ky::Req;

namespace {

constexpr int kFireAndForgetMs = 800;  // pause after a setting the controller does not answer
constexpr int kNetIpWaitMs = 2000;
constexpr int kWifiCloseWaitMs = 2000;
constexpr int kNetDefaultWaitMs = 4000;

// Copies a reply string into a field of `width` bytes: cut at the width, NUL-terminated while
// there is room, the rest of the field zeroed. A null field is skipped.
void copy_field(char *field, size_t width, const char *value) {
    if (field != nullptr) ky::copy_chars(field, width, value, width);
}

// Walks `items` over the reply like common_json_parse, logging every value it reads. A
// missing third item is the "modbus_timeout" a port outside Modbus RTU mode leaves out: a
// warning and 0, with the items from there on left as they were. The exemption goes by the
// item's place in the list, whatever its key.
int parse_rs485(const char *text, json_parse_item *items, int count) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("Error parsing JSON\n");
        return -3;
    }
    for (int i = 0; i < count; ++i) {
        json_parse_item &it = items[i];
        const cJSON *member = MIO_JSON_GetObjectItem(doc.root, it.key);
        if (member == nullptr) {
            if (i == 2) {
                ky_log_warn("it is not in Modbus-RTU mode, and the modbus_timeout field does not exist.\n");
                return 0;
            }
            ky_log_error("%s parsing error\n", it.key);
            return -3;
        }
        switch (it.type) {
        case 0: {
            if (!cJSON_IsString(member)) {
                ky_log_error("%s is not a string\n", it.key);
                return -3;
            }
            // Bounded by the value area, leaving room for a terminator.
            const size_t n = strnlen(member->valuestring, sizeof it.value.str - 1);
            std::memcpy(it.value.str, member->valuestring, n);
            ky_log_info("%s parse result: %s\n", it.key, member->valuestring);
            break;
        }
        case 1:
            it.value.num = member->valueint;
            ky_log_info("%s parse result: %d\n", it.key, it.value.num);
            break;
        case 2: {
            if (!cJSON_IsArray(member)) {
                ky_log_error("%s is not an array\n", it.key);
                return -3;
            }
            const int size = cJSON_GetArraySize(member);
            const int room = static_cast<int>(sizeof it.value.array / sizeof it.value.array[0]);
            if (size != it.count || it.count > room) {
                ky_log_error("Array size mismatch for key %s\n", it.key);
                return -3;
            }
            ky_log_info("%s parse result:\n", it.key);
            for (int k = 0; k < size; ++k) {
                it.value.array[k] = MIO_JSON_GetArrayItemInt(member, k);
                ky_log_info(" %d\n", it.value.array[k]);
            }
            break;
        }
        case 3:
            if (!cJSON_IsBool(member)) {
                ky_log_error("%s is not a bool\n", it.key);
                return -3;
            }
            it.value.flag = cJSON_IsTrue(member) ? 1 : 0;
            ky_log_info("%s parse result: %d\n", it.key, static_cast<int>(it.value.flag));
            break;
        default:
            ky_log_error("Unsupported JSON value type for key %s\n", it.key);
            return -3;
        }
    }
    return 0;
}

// {"command":command} answered under the same name with the mode under `mode_key`, "baudrate"
// and, in Modbus RTU mode, "modbus_timeout" (else 0).
int get_rs485_mode(ky_robot_handle *robot, const char *tag, const char *command, const char *mode_key, int *mode,
                   int *baudrate, int *modbus_timeout) {
    ky::Reply reply(1024);
    Req req(command);
    int r = ky::exchange(robot, tag, req, command, reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[3] = {ky::parse_int(mode_key), ky::parse_int("baudrate"), ky::parse_int("modbus_timeout")};
    r = parse_rs485(reply.text(), items, 3);
    if (r != 0) return r;
    if (mode != nullptr) *mode = items[0].value.num;
    if (baudrate != nullptr) *baudrate = items[1].value.num;
    if (modbus_timeout != nullptr) *modbus_timeout = items[2].value.num;
    return 0;
}

}  // namespace

extern "C" {

KY_API int ky_set_NetIP(ky_robot_handle *robot_handle, const char *ip) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_NetIP", std::move(Req("set_NetIP").str("ip", ip ? ip : "")),
                           "status", nullptr, kNetIpWaitMs);
}

KY_API int ky_set_wifi_ap(ky_robot_handle *robot_handle, const char *wifi_name, const char *password) {
    ky::CallScope scope;
    Req req("set_wifi_ap");
    req.str("wifi_name", wifi_name ? wifi_name : "").str("password", password ? password : "");
    return ky::send_only(robot_handle, "ky_set_wifi_ap", std::move(req), kFireAndForgetMs);
}

KY_API int ky_set_wifi_sta(ky_robot_handle *robot_handle, const char *router_name, const char *password) {
    ky::CallScope scope;
    Req req("set_wifi_sta");
    req.str("router_name", router_name ? router_name : "").str("password", password ? password : "");
    return ky::send_only(robot_handle, "ky_set_wifi_sta", std::move(req), kFireAndForgetMs);
}

KY_API int ky_set_usb(ky_robot_handle *robot_handle, int baudrate) {
    ky::CallScope scope;
    return ky::send_only(robot_handle, "ky_set_usb", std::move(Req("set_usb").num("baudrate", baudrate)),
                         kFireAndForgetMs);
}

KY_API int ky_set_RS485(ky_robot_handle *robot_handle, int baudrate) {
    ky::CallScope scope;
    return ky::send_only(robot_handle, "ky_set_RS485", std::move(Req("set_RS485").num("baudrate", baudrate)),
                         kFireAndForgetMs);
}

KY_API int ky_get_wired_net(ky_robot_handle *robot_handle, char *ip, char *mask, char *mac) {
    ky::CallScope scope;
    static const char *tag = "ky_get_wired_net";
    ky::Reply reply(1024);
    Req req("get_wired_net");
    int r = ky::exchange(robot_handle, tag, req, "get_wired_net", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[3] = {ky::parse_str("mask"), ky::parse_str("ip"), ky::parse_str("mac")};
    r = common_json_parse(tag, reply.text(), items, 3);
    if (r != 0) return r;
    copy_field(ip, KY_WIFI_IP_LEN, items[1].value.str);
    copy_field(mask, KY_WIFI_IP_LEN, items[0].value.str);
    copy_field(mac, KY_WIFI_MAC_LEN, items[2].value.str);
    return 0;
}

KY_API int ky_get_wifi_net(ky_robot_handle *robot_handle, ky_wifi_net *wifi_net) {
    ky::CallScope scope;
    static const char *tag = "ky_get_wifi_net";
    if (wifi_net == nullptr) return -1;
    ky::Reply reply(1024);
    Req req("get_wifi_net");
    int r = ky::exchange(robot_handle, tag, req, "get_wifi_net", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item net[4] = {ky::parse_str("mask"), ky::parse_str("ip"), ky::parse_str("mac"),
                              ky::parse_str("mode")};
    r = common_json_parse(tag, reply.text(), net, 4);
    if (r != 0) return r;
    copy_field(wifi_net->mask, sizeof wifi_net->mask, net[0].value.str);
    copy_field(wifi_net->ip, sizeof wifi_net->ip, net[1].value.str);
    copy_field(wifi_net->mac, sizeof wifi_net->mac, net[2].value.str);
    copy_field(wifi_net->mode, sizeof wifi_net->mode, net[3].value.str);
    const char *mode = net[3].value.str;

    int channel_result = 0;
    if (std::strcmp(mode, "ap") == 0) {
        json_parse_item channel = ky::parse_int("channel");
        channel_result = common_json_parse(tag, reply.text(), &channel, 1);
        if (channel_result == 0) wifi_net->channel = channel.value.num;
    }
    // Switched off: no network name or password to report.
    if (std::strcmp(mode, "off") == 0) return channel_result;

    // The fields are written even when one of the two is missing (that one empty).
    json_parse_item names[2] = {ky::parse_str("ssid"), ky::parse_str("password")};
    r = common_json_parse(tag, reply.text(), names, 2);
    copy_field(wifi_net->ssid, sizeof wifi_net->ssid, names[0].value.str);
    copy_field(wifi_net->password, sizeof wifi_net->password, names[1].value.str);
    return r;
}

KY_API int ky_set_net_default(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_net_default", Req("set_net_default"), "net_default_state", nullptr,
                           kNetDefaultWaitMs);
}

KY_API int ky_set_wifi_close(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_wifi_close", Req("set_wifi_close"), "wifi_close_state", nullptr,
                           kWifiCloseWaitMs);
}

KY_API int ky_get_controller_RS485_mode(ky_robot_handle *robot_handle, int *mode, int *baudrate,
                                        int *modbus_timeout) {
    ky::CallScope scope;
    return get_rs485_mode(robot_handle, "ky_get_controller_RS485_mode", "get_controller_RS485_mode",
                          "controller_RS485_mode", mode, baudrate, modbus_timeout);
}

KY_API int ky_get_tool_RS485_mode(ky_robot_handle *robot_handle, int *mode, int *baudrate, int *modbus_timeout) {
    ky::CallScope scope;
    return get_rs485_mode(robot_handle, "ky_get_tool_RS485_mode", "get_tool_RS485_mode", "tool_RS485_mode", mode,
                          baudrate, modbus_timeout);
}

}  // extern "C"
