// Global waypoints: named joint positions with their Cartesian pose, frame names and a time
// stamp, kept by the controller for programs and the teach pendant. The library converts the
// units (joints x 1000 via double, positions x 1000000 and angles x 1000 in single precision)
// and writes the time stamp itself.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/units.h"

using ky::Reply;
using ky::Req;

namespace {

constexpr int kListReplyBytes = 10240;
constexpr size_t kReadNameChars = 16;
constexpr size_t kReadFrameChars = 10;
constexpr size_t kReadTimeChars = 28;

// A name field of the caller's record, up to its width even without a terminator.
template <size_t N>
std::string_view field(const char (&s)[N]) {
    return {s, strnlen(s, N)};
}

// Writes the current local time into the record's time field.
void stamp(ky_waypoint &p) {
    const std::time_t now = std::time(nullptr);
    std::tm t{};
    localtime_r(&now, &t);
    std::strftime(p.time, sizeof p.time, "%Y-%m-%d %H:%M:%S", &t);
}

// Joint and pose values from their wire integers (joints and angles / 1000, positions / 1e6).
void joints_from_wire(ky_waypoint &p, const int32_t *joint, int dof) {
    for (int i = 0; i < dof; ++i) p.joint[i] = static_cast<float>(joint[i] / 1000.0);
}
void pose_from_wire(ky_waypoint &p, const int32_t w[6]) {
    p.pose.position = {ky::micro_from_wire(w[0]), ky::micro_from_wire(w[1]), ky::micro_from_wire(w[2])};
    p.pose.euler = {ky::milli_from_wire(w[3]), ky::milli_from_wire(w[4]), ky::milli_from_wire(w[5])};
}

// Add and update: the same seven items under different names and state keys.
int send_waypoint(ky_robot_handle *robot, const char *tag, const char *command, const char *state_key,
                  ky_waypoint *p) {
    if (p == nullptr) return -1;
    int dof = 0;
    if (ky::require_dof(robot, tag, &dof) != 0) return -1;
    int32_t joint[7] = {};
    for (int i = 0; i < dof; ++i) joint[i] = ky::deg_to_wire(p->joint[i]);
    const auto pose = ky::pose_to_wire(p->pose);
    stamp(*p);
    Req req(command);
    req.str("point_name", field(p->point_name))
        .ints("joint", std::span<const int32_t>(joint, static_cast<size_t>(dof)))
        .ints("pose", pose)
        .str("work_frame", field(p->work_frame))
        .str("tool_frame", field(p->tool_frame))
        .str("time", field(p->time));
    return ky::set_command(robot, tag, std::move(req), state_key);
}

// Checks one list element and fills `p` from it; false when a member is missing or of the
// wrong shape.
bool read_element(const cJSON *el, int dof, ky_waypoint &p) {
    const char *name = MIO_JSON_GetObjectItemString(el, "point_name");
    const char *tool = MIO_JSON_GetObjectItemString(el, "tool_frame");
    const char *work = MIO_JSON_GetObjectItemString(el, "work_frame");
    const char *time = MIO_JSON_GetObjectItemString(el, "time");
    const cJSON *joint = MIO_JSON_GetObjectItem(el, "joint");
    const cJSON *pose = MIO_JSON_GetObjectItem(el, "pose");
    if (!name || !tool || !work || !time || !cJSON_IsArray(joint) || !cJSON_IsArray(pose)) return false;
    if (MIO_JSON_GetArraySize(joint) != dof || MIO_JSON_GetArraySize(pose) != 6) return false;
    ky::copy_chars(p.point_name, sizeof p.point_name, name, kReadNameChars);
    // The controller's strings are taken whole, cut to the field (keeping the terminator).
    ky::copy_chars(p.tool_frame, sizeof p.tool_frame, tool, sizeof p.tool_frame - 1);
    ky::copy_chars(p.work_frame, sizeof p.work_frame, work, sizeof p.work_frame - 1);
    ky::copy_chars(p.time, sizeof p.time, time, sizeof p.time - 1);
    int32_t j[7] = {}, w[6] = {};
    for (int i = 0; i < dof; ++i) j[i] = MIO_JSON_GetArrayItemInt(joint, i);
    for (int i = 0; i < 6; ++i) w[i] = MIO_JSON_GetArrayItemInt(pose, i);
    joints_from_wire(p, j, dof);
    pose_from_wire(p, w);
    return true;
}

}  // namespace

extern "C" {

KY_API int ky_add_global_waypoint(ky_robot_handle *robot_handle, ky_waypoint *point) {
    ky::CallScope scope;
    return send_waypoint(robot_handle, "ky_add_global_waypoint", "add_global_waypoint", "add_state", point);
}

KY_API int ky_update_global_waypoint(ky_robot_handle *robot_handle, ky_waypoint *point) {
    ky::CallScope scope;
    return send_waypoint(robot_handle, "ky_update_global_waypoint", "update_global_waypoint", "update_state",
                         point);
}

KY_API int ky_delete_global_waypoint(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    if (name == nullptr) return -1;
    return ky::set_command(robot_handle, "ky_delete_global_waypoint",
                           std::move(Req("delete_global_waypoint").str("point_name", name)), "delete_state");
}

KY_API int ky_get_given_global_waypoint(ky_robot_handle *robot_handle, const char *name, ky_waypoint *point) {
    ky::CallScope scope;
    static const char *tag = "ky_get_given_global_waypoint";
    if (name == nullptr || point == nullptr) return -1;
    Req req("given_global_waypoint");
    req.str("point_name", name);
    Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, "given_global_waypoint", reply, ky::out_time());
    if (r < 1) return r;
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;

    json_parse_item items[6] = {ky::parse_str("point_name"), ky::parse_ints("joint", dof),
                                ky::parse_ints("pose", 6),   ky::parse_str("work_frame"),
                                ky::parse_str("tool_frame"), ky::parse_str("time")};
    r = common_json_parse(tag, reply.text(), items, 6);
    if (r == -3) {
        // A reply without the waypoint's keys says through "given_state" whether it exists.
        ky::JsonDoc doc(reply.text());
        return MIO_JSON_GetObjectItemBool(doc.root, "given_state") == 0 ? 1 : -3;
    }
    if (r != 0) return r;
    // The parsed strings sit NUL-terminated in zeroed areas; each field keeps fewer bytes
    // than it could hold.
    ky::copy_chars(point->point_name, sizeof point->point_name, items[0].value.str, kReadNameChars);
    ky::copy_chars(point->work_frame, sizeof point->work_frame, items[3].value.str, kReadFrameChars);
    ky::copy_chars(point->tool_frame, sizeof point->tool_frame, items[4].value.str, kReadFrameChars);
    ky::copy_chars(point->time, sizeof point->time, items[5].value.str, kReadTimeChars);
    joints_from_wire(*point, items[1].value.array, dof);
    pose_from_wire(*point, items[2].value.array);
    return 0;
}

KY_API int ky_get_global_waypoints_list(ky_robot_handle *robot_handle, int page_num, int page_size,
                                        const char *vague_search, ky_waypoint_list *list) {
    ky::CallScope scope;
    static const char *tag = "ky_get_global_waypoints_list";
    if (list == nullptr) return -1;
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    Req req("get_global_waypoints_list");
    if (vague_search != nullptr) req.str("vague_search", vague_search);
    req.num("page_num", page_num).num("page_size", page_size);
    Reply reply(kListReplyBytes);
    const int r = ky::exchange(robot_handle, tag, req, "get_global_waypoints_list", reply, ky::out_time_max() + 1000);
    if (r < 1) return r;

    ky::JsonDoc doc(reply.text());
    if (!doc) {
        ky_log_error("[%s] %s parse err\n", tag, reply.text());
        return -3;
    }
    if (MIO_JSON_GetObjectItem(doc.root, "get_state") != nullptr) {
        const int state = parse_ky_set_command(tag, reply.text(), "get_state");
        if (state != 0) return state;
    }
    const cJSON *total = MIO_JSON_GetObjectItem(doc.root, "total_size");
    const cJSON *arr = MIO_JSON_GetObjectItem(doc.root, "list");
    if (!cJSON_IsNumber(total) || !cJSON_IsArray(arr)) {
        ky_log_error("[%s] get global waypoints list parser error!\n", tag);
        return -3;
    }
    list->total_size = total->valueint;
    // Entries beyond the record's capacity are not stored.
    list->list_len = std::min(MIO_JSON_GetArraySize(arr), KY_WAYPOINT_LIST_MAX);
    for (int i = 0; i < list->list_len; ++i) {
        if (!read_element(cJSON_GetArrayItem(arr, i), dof, list->points[i])) {
            ky_log_error("[%s] get global waypoints list parser error!\n", tag);
            return -3;
        }
    }
    return 0;
}

}  // extern "C"
