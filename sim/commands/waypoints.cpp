// Global waypoints: a table of named joint positions with their pose, frame names and the time
// stamp the client wrote. Each waypoint is kept as the JSON object of its six members, in
// creation order; names are unique (1 to 20 characters). Add refuses a name in use, update and
// delete one that is not; the list pages through the waypoints whose name contains the
// filter ("vague_search"), page_num counting from 1.
#include <algorithm>
#include <memory>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

constexpr size_t kMaxName = 20;
constexpr int kMaxPageSize = 50;  // a full page stays well inside a 10 kB reply line

Json parse(const std::string &text) { return Json(cJSON_Parse(text.c_str()), cJSON_Delete); }

std::string name_of(const std::string &stored) {
    Json j = parse(stored);
    const cJSON *n = cJSON_GetObjectItemCaseSensitive(j.get(), "point_name");
    return cJSON_IsString(n) ? n->valuestring : "";
}

std::vector<std::string>::iterator find(Arm &arm, const std::string &name) {
    return std::find_if(arm.waypoints.begin(), arm.waypoints.end(),
                        [&](const std::string &w) { return name_of(w) == name; });
}

// The request's six members as a stored waypoint; false when one is missing or malformed
// ("joint" must hold the arm's dof values, "pose" six).
bool read_waypoint(Ctx &c, std::string &name, std::string &stored) {
    std::string work, tool, time;
    int joint[kMaxDof], pose[6];
    if (!c.gets("point_name", name) || name.empty() || name.size() > kMaxName || !c.gets("work_frame", work) ||
        !c.gets("tool_frame", tool) || !c.gets("time", time) || !c.geta("joint", c.arm.dof, joint) ||
        !c.geta("pose", 6, pose))
        return false;
    Json w(cJSON_CreateObject(), cJSON_Delete);
    cJSON_AddStringToObject(w.get(), "point_name", name.c_str());
    cJSON_AddItemToObject(w.get(), "joint", cJSON_CreateIntArray(joint, c.arm.dof));
    cJSON_AddItemToObject(w.get(), "pose", cJSON_CreateIntArray(pose, 6));
    cJSON_AddStringToObject(w.get(), "work_frame", work.c_str());
    cJSON_AddStringToObject(w.get(), "tool_frame", tool.c_str());
    cJSON_AddStringToObject(w.get(), "time", time.c_str());
    char *text = cJSON_PrintUnformatted(w.get());
    stored = text;
    cJSON_free(text);
    return true;
}

bool add_waypoint(Ctx &c) {
    std::string name, stored;
    if (!read_waypoint(c, name, stored) || find(c.arm, name) != c.arm.waypoints.end()) return false;
    c.arm.waypoints.push_back(stored);
    return true;
}

// Replaces every member, the time stamp with the one the client sent.
bool update_waypoint(Ctx &c) {
    std::string name, stored;
    if (!read_waypoint(c, name, stored)) return false;
    const auto it = find(c.arm, name);
    if (it == c.arm.waypoints.end()) return false;
    *it = stored;
    return true;
}

bool delete_waypoint(Ctx &c) {
    std::string name;
    if (!c.gets("point_name", name)) return false;
    const auto it = find(c.arm, name);
    if (it == c.arm.waypoints.end()) return false;
    c.arm.waypoints.erase(it);
    return true;
}

// The six members of the named waypoint; an unknown name only "given_state" false.
bool given_waypoint(Ctx &c) {
    std::string name;
    if (!c.gets("point_name", name)) return false;
    const auto it = find(c.arm, name);
    if (it == c.arm.waypoints.end()) return false;
    Json w = parse(*it);
    for (const cJSON *m = w->child; m != nullptr; m = m->next)
        cJSON_AddItemToObject(c.reply, m->string, cJSON_Duplicate(m, true));
    return true;
}

// One page of the waypoints matching the filter: "total_size" counts every match.
bool list_waypoints(Ctx &c) {
    int page = 0, size = 0;
    std::string filter;
    if (!c.geti("page_num", page) || !c.geti("page_size", size) || page < 1 || size < 1 || size > kMaxPageSize)
        return false;
    if (c.item("vague_search") != nullptr && !c.gets("vague_search", filter)) return false;
    cJSON *list = cJSON_CreateArray();
    int total = 0;
    const long first = static_cast<long>(page - 1) * size;
    for (const std::string &w : c.arm.waypoints) {
        if (name_of(w).find(filter) == std::string::npos) continue;
        if (total >= first && total < first + size) cJSON_AddItemToArray(list, cJSON_Parse(w.c_str()));
        ++total;
    }
    c.num("total_size", total);
    cJSON_AddItemToObject(c.reply, "list", list);
    return true;
}

}  // namespace

std::span<const Command> waypoints_commands() {
    static const Command rows[] = {
        {"add_global_waypoint", "add_global_waypoint", "add_state", add_waypoint},
        {"update_global_waypoint", "update_global_waypoint", "update_state", update_waypoint},
        {"delete_global_waypoint", "delete_global_waypoint", "delete_state", delete_waypoint},
        {"given_global_waypoint", "given_global_waypoint", "given_state", given_waypoint},
        {"get_global_waypoints_list", "get_global_waypoints_list", "get_state", list_waypoints},
    };
    return rows;
}

}  // namespace ky::sim
