// Realtime push configuration: whether the controller pushes its state over UDP, how
// often, to which address and port, and which optional blocks the datagrams carry.
#include <cstring>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"
#include "realtime/udp.h"

namespace {

// The realtime layer hands the core its UDP receiver's life cycle and port table. The
// registration lives in this file because every program that creates a robot links it
// (the connection's synchronisation reads the push configuration), so a static link never
// leaves the UDP receiver out.
[[maybe_unused]] const bool g_realtime_registered =
    ky::register_realtime_layer({&ky::udp_start, &ky::udp_stop, &ky::udp_add_port});

using Custom = decltype(ky_realtime_push_config::custom);
struct CustomBlock {
    const char *key;
    int32_t Custom::*field;
};
constexpr CustomBlock kCustomBlocks[] = {{"joint_speed", &Custom::joint_speed},
                                         {"lift_state", &Custom::lift_state},
                                         {"expand_state", &Custom::expand_state},
                                         {"arm_current_status", &Custom::arm_current_status}};

bool has_force_sensor(ky_robot_handle *robot) {
    ky_robot_info info{};
    ky_get_robot_info(robot, &info);
    return info.force_type == 1 || info.force_type == 2;
}

// The block selections that are 0 or more, as booleans; an empty object when none is.
cJSON *custom_object(const ky_realtime_push_config &c) {
    cJSON *custom = MIO_JSON_CreateObject();
    for (const CustomBlock &b : kCustomBlocks) {
        const int32_t v = c.custom.*b.field;
        if (v >= 0) MIO_JSON_AddItemToObject(custom, b.key, cJSON_CreateBool(v != 0));
    }
    return custom;
}

}  // namespace

extern "C" {

KY_API int ky_set_realtime_push(ky_robot_handle *robot_handle, const ky_realtime_push_config *config) {
    ky::CallScope scope;
    static const char *tag = "ky_set_realtime_push";
    if (config == nullptr) return -1;
    const bool force = has_force_sensor(robot_handle);
    ky::Req req("set_realtime_push");
    req.flag("enable", config->enable);
    if (config->cycle > 0) req.num("cycle", config->cycle);
    if (config->port > 0) req.num("port", config->port);
    const size_t ip_len = strnlen(config->ip, sizeof config->ip);
    if (ip_len >= 7 && ip_len <= 15) req.str("ip", std::string_view(config->ip, ip_len));
    // The controller takes the force frame under this spelling (it reports it as
    // "force_coordinate").
    if (force && config->force_coordinate > 0) req.num("force_cordinate", config->force_coordinate);
    req.json("custom", custom_object(*config));
    return ky::set_command(robot_handle, tag, std::move(req), "state", nullptr, ky::out_time() + 200);
}

KY_API int ky_get_realtime_push(ky_robot_handle *robot_handle, ky_realtime_push_config *config) {
    ky::CallScope scope;
    static const char *tag = "ky_get_realtime_push";
    const bool force = has_force_sensor(robot_handle);
    ky::Req req("get_realtime_push");
    ky::Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, "get_realtime_push", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[] = {ky::parse_int("cycle"), ky::parse_int("port"), ky::parse_str("ip"),
                               ky::parse_flag("enable"), ky::parse_json("custom"),
                               ky::parse_int("force_coordinate")};
    r = common_json_parse(tag, reply.text(), items, force ? 6 : 5);
    ky::JsonDoc custom(nullptr);
    custom.root = static_cast<cJSON *>(items[4].value.item);  // owned from here on
    if (r != 0) return r;
    const int32_t port = items[1].value.num;
    r = ky::with_robot(robot_handle, tag, [&](ky_handle &h) { h.robot.push_port = port; });
    if (r != 0 || config == nullptr) return r;
    // 1 on, 0 off, -1 not reported.
    for (const CustomBlock &b : kCustomBlocks) config->custom.*b.field = MIO_JSON_GetObjectItemBool(custom.root, b.key);
    config->cycle = items[0].value.num;
    config->port = port;
    ky::copy_chars(config->ip, sizeof config->ip, items[2].value.str, sizeof config->ip);
    config->enable = items[3].value.flag != 0;
    if (force) config->force_coordinate = items[5].value.num;
    return 0;
}

}  // extern "C"
