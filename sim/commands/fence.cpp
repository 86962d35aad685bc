// Electronic fences, the virtual wall, self-collision checking and the run mode (sim/fence.h).
// Named fences are added, replaced, deleted and listed by name; the fence in force takes a cube
// or a plane, the virtual wall a cube or a sphere. A request with a form the target does not
// take, a missing or non-integer shape key, an empty name, adding a name that exists or
// changing one that does not is refused. Everything reads back exactly as it was sent.
#include <algorithm>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// Reads "form" (one of `forms`) and its shape keys into `s`.
bool read_shape(Ctx &c, FenceShape &s, std::initializer_list<int> forms) {
    int form = 0;
    if (!c.geti("form", form) || std::find(forms.begin(), forms.end(), form) == forms.end()) return false;
    s = FenceShape{};
    s.form = form;
    for (const char *key : fence_keys(form)) {
        int v = 0;
        if (!c.geti(key, v)) return false;
        s.keys[key] = v;
    }
    return true;
}

void write_shape(cJSON *obj, const FenceShape &s) {
    cJSON_AddNumberToObject(obj, "form", s.form);
    for (const char *key : fence_keys(s.form)) cJSON_AddNumberToObject(obj, key, s.keys.at(key));
}

bool read_named(Ctx &c, FenceShape &s) {
    return read_shape(c, s, {1, 2, 3}) && c.gets("form_name", s.name) && !s.name.empty();
}

bool add_fence(Ctx &c) {
    FenceShape s;
    FenceState &f = c.arm.fence;
    if (!read_named(c, s) || f.named.count(s.name)) return false;
    f.order.push_back(s.name);
    f.named[s.name] = std::move(s);
    return true;
}

bool update_fence(Ctx &c) {
    FenceShape s;
    auto &named = c.arm.fence.named;
    if (!read_named(c, s) || !named.count(s.name)) return false;
    named[s.name] = std::move(s);
    return true;
}

bool delete_fence(Ctx &c) {
    std::string name;
    FenceState &f = c.arm.fence;
    if (!c.gets("form_name", name) || !f.named.erase(name)) return false;
    f.order.erase(std::remove(f.order.begin(), f.order.end(), name), f.order.end());
    return true;
}

bool list_names(Ctx &c) {
    cJSON *list = cJSON_CreateArray();
    for (const auto &name : c.arm.fence.order) cJSON_AddItemToArray(list, cJSON_CreateString(name.c_str()));
    cJSON_AddItemToObject(c.reply, "name_list", list);
    return true;
}

bool list_infos(Ctx &c) {
    cJSON *list = cJSON_CreateArray();
    for (const auto &name : c.arm.fence.order) {
        const FenceShape &s = c.arm.fence.named.at(name);
        cJSON *e = cJSON_CreateObject();
        cJSON_AddStringToObject(e, "form_name", s.name.c_str());
        write_shape(e, s);
        cJSON_AddItemToArray(list, e);
    }
    cJSON_AddItemToObject(c.reply, "info_list", list);
    return true;
}

// An unknown name answers "given_state" false alone.
bool given_fence(Ctx &c) {
    std::string name;
    const auto &named = c.arm.fence.named;
    auto it = c.gets("form_name", name) ? named.find(name) : named.end();
    c.boolean("given_state", it != named.end());
    if (it == named.end()) return false;
    write_shape(c.reply, it->second);
    c.str("form_name", it->second.name);
    return true;
}

// The fence in force and the wall: a setting never made answers "given_state" false alone.
bool get_unnamed(Ctx &c, const FenceShape &s) {
    if (s.form != 0) write_shape(c.reply, s);
    c.boolean("given_state", s.form != 0);
    return s.form != 0;
}

bool set_enable(Ctx &c, FenceEnable &e) {
    const cJSON *flag = c.item("set_enable");
    FenceEnable n;
    if (!cJSON_IsBool(flag) || !c.geti("in_out_side", n.in_out_side) || !c.geti("effective_region", n.effective_region))
        return false;
    n.enable = cJSON_IsTrue(flag);
    e = n;
    return true;
}

bool get_enable(Ctx &c, const FenceEnable &e) {
    c.boolean("enable_state", e.enable);
    c.num("in_out_side", e.in_out_side);
    c.num("effective_region", e.effective_region);
    return true;
}

bool set_fence_config(Ctx &c) { return read_shape(c, c.arm.fence.in_force, {1, 2}); }
bool get_fence_config(Ctx &c) { return get_unnamed(c, c.arm.fence.in_force); }
bool set_wall_config(Ctx &c) { return read_shape(c, c.arm.fence.wall, {1, 3}); }
bool get_wall_config(Ctx &c) { return get_unnamed(c, c.arm.fence.wall); }
bool set_fence_enable(Ctx &c) { return set_enable(c, c.arm.fence.fence_enable); }
bool get_fence_enable(Ctx &c) { return get_enable(c, c.arm.fence.fence_enable); }
bool set_wall_enable(Ctx &c) { return set_enable(c, c.arm.fence.wall_enable); }
bool get_wall_enable(Ctx &c) { return get_enable(c, c.arm.fence.wall_enable); }

bool set_self_collision(Ctx &c) {
    const cJSON *flag = c.item("set_enable");
    if (!cJSON_IsBool(flag)) return false;
    c.arm.fence.self_collision = cJSON_IsTrue(flag);
    return true;
}
bool get_self_collision(Ctx &c) { return c.boolean("enable_state", c.arm.fence.self_collision), true; }

bool set_run_mode(Ctx &c) { return c.geti("mode", c.arm.fence.run_mode); }
bool get_run_mode(Ctx &c) { return c.num("mode", c.arm.fence.run_mode), true; }

}  // namespace

std::span<const Command> fence_commands() {
    // Every reply is named after its request; the shape readers carry "given_state".
    static const Command rows[] = {
        {"add_electronic_fence_config", "add_electronic_fence_config", "add_config", add_fence},
        {"update_electronic_fence_config", "update_electronic_fence_config", "update_config", update_fence},
        {"delete_electronic_fence_config", "delete_electronic_fence_config", "delete_config", delete_fence},
        {"get_electronic_fence_list_names", "get_electronic_fence_list_names", nullptr, list_names},
        {"given_electronic_fence_config", "given_electronic_fence_config", nullptr, given_fence},
        {"get_electronic_fence_list_infos", "get_electronic_fence_list_infos", nullptr, list_infos},
        {"set_electronic_fence_enable", "set_electronic_fence_enable", "set_state", set_fence_enable},
        {"get_electronic_fence_enable", "get_electronic_fence_enable", nullptr, get_fence_enable},
        {"set_electronic_fence_config", "set_electronic_fence_config", "set_config", set_fence_config},
        {"get_electronic_fence_config", "get_electronic_fence_config", nullptr, get_fence_config},
        {"set_virtual_wall_enable", "set_virtual_wall_enable", "set_state", set_wall_enable},
        {"get_virtual_wall_enable", "get_virtual_wall_enable", nullptr, get_wall_enable},
        {"set_virtual_wall_config", "set_virtual_wall_config", "set_config", set_wall_config},
        {"get_virtual_wall_config", "get_virtual_wall_config", nullptr, get_wall_config},
        {"set_self_collision_enable", "set_self_collision_enable", "set_state", set_self_collision},
        {"get_self_collision_enable", "get_self_collision_enable", nullptr, get_self_collision},
        {"set_arm_run_mode", "set_arm_run_mode", "mode", set_run_mode},
        {"get_arm_run_mode", "get_arm_run_mode", nullptr, get_run_mode},
    };
    return rows;
}

}  // namespace ky::sim
