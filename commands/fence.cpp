// Electronic fences, the virtual wall, self-collision checking and the run mode.
//
// Fence coordinates travel as thousandths (x 1000 in single precision, truncated toward
// zero) and come back divided by 1000 in single precision. The shape writers share one
// builder; they differ in whether the name is sent, which forms they accept and what an
// unusable form does.
#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/units.h"

using ky::Req;

namespace {

using Field = float ky_fence_config::*;
struct ShapeKey {
    const char *key;
    Field field;
};

// Keys of each shape in the order they go on the wire and are read back.
constexpr ShapeKey kCube[] = {
    {"x_max_limit", &ky_fence_config::x_max_limit}, {"x_min_limit", &ky_fence_config::x_min_limit},
    {"y_max_limit", &ky_fence_config::y_max_limit}, {"y_min_limit", &ky_fence_config::y_min_limit},
    {"z_max_limit", &ky_fence_config::z_max_limit}, {"z_min_limit", &ky_fence_config::z_min_limit},
};
constexpr ShapeKey kPlane[] = {
    {"x1", &ky_fence_config::x1}, {"y1", &ky_fence_config::y1}, {"z1", &ky_fence_config::z1},
    {"x2", &ky_fence_config::x2}, {"y2", &ky_fence_config::y2}, {"z2", &ky_fence_config::z2},
    {"x3", &ky_fence_config::x3}, {"y3", &ky_fence_config::y3}, {"z3", &ky_fence_config::z3},
};
constexpr ShapeKey kSphere[] = {
    {"radius", &ky_fence_config::radius}, {"x", &ky_fence_config::x},
    {"y", &ky_fence_config::y}, {"z", &ky_fence_config::z},
};
// The record list reads each shape's keys in field order.
constexpr ShapeKey kCubeList[] = {
    {"x_min_limit", &ky_fence_config::x_min_limit}, {"x_max_limit", &ky_fence_config::x_max_limit},
    {"y_min_limit", &ky_fence_config::y_min_limit}, {"y_max_limit", &ky_fence_config::y_max_limit},
    {"z_min_limit", &ky_fence_config::z_min_limit}, {"z_max_limit", &ky_fence_config::z_max_limit},
};
constexpr ShapeKey kSphereList[] = {
    {"x", &ky_fence_config::x}, {"y", &ky_fence_config::y},
    {"z", &ky_fence_config::z}, {"radius", &ky_fence_config::radius},
};

std::span<const ShapeKey> shape_keys(int form) {
    switch (form) {
    case KY_FENCE_CUBE: return kCube;
    case KY_FENCE_PLANE: return kPlane;
    case KY_FENCE_SPHERE: return kSphere;
    default: return {};
    }
}

// In single precision, so 0.9 goes out as 900.
int32_t fence_to_wire(float v) { return ky::milli_to_wire(v); }

// Appends the shape keys of `config`'s form. A cube sends its x_min_limit under
// "z_min_limit"; controllers pair the two this way, so it stays.
void add_shape(Req &req, const ky_fence_config &config) {
    for (const ShapeKey &k : shape_keys(config.form)) {
        Field f = k.field == &ky_fence_config::z_min_limit ? &ky_fence_config::x_min_limit : k.field;
        req.num(k.key, fence_to_wire(config.*f));
    }
}

std::string name_of(const char *name, size_t max) { return name ? std::string(name, strnlen(name, max)) : ""; }

// Sends `req`, or, when the form was unusable (`ok` false), an empty item list: the exchange
// then fails to send (-1) with its usual log line. Reads the boolean `state_key`.
int send_shape(ky_robot_handle *robot, const char *tag, Req req, bool ok, const char *state_key) {
    if (ok) return ky::set_command(robot, tag, std::move(req), state_key);
    json_pack_item none{};
    char buf[1] = {};
    return ky_pack_lock_set(tag, robot, &none, 0, req.command(), buf, sizeof buf, ky::out_time());
}

// The named-fence writers: "form", "form_name", shape keys.
Req named_shape(const char *command, const ky_fence_config &config) {
    Req req(command);
    req.num("form", config.form).str("form_name", name_of(config.form_name, KY_FENCE_NAME_LEN));
    add_shape(req, config);
    return req;
}

// The unnamed writers (fence in force, virtual wall): "form", shape keys.
Req unnamed_shape(const char *command, const ky_fence_config &config) {
    Req req(command);
    req.num("form", config.form);
    add_shape(req, config);
    return req;
}

// Parses the shape keys of `form` as integers into `out` (divided by 1000). An unknown form
// reads nothing and succeeds.
int read_shape(const char *tag, const char *text, int form, ky_fence_config *out) {
    auto keys = shape_keys(form);
    if (keys.empty()) return 0;
    json_parse_item items[9];
    for (size_t i = 0; i < keys.size(); ++i) items[i] = ky::parse_int(keys[i].key);
    const int r = common_json_parse(tag, text, items, static_cast<int>(keys.size()));
    if (r != 0) return r;
    for (size_t i = 0; out != nullptr && i < keys.size(); ++i) out->*keys[i].field = ky::milli_from_wire(items[i].value.num);
    return 0;
}

// The readers of the fence in force and of the virtual wall: "form" first (unreadable: a
// false "given_state" gives 1, anything else the parse error), then the shapes `a` or `b`.
int read_unnamed(ky_robot_handle *robot, const char *tag, const char *command, int a, int b,
                 ky_fence_config *config) {
    ky::Reply reply(1024);
    Req req(command);
    int r = ky::exchange(robot, tag, req, command, reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item form = ky::parse_int("form");
    r = common_json_parse(tag, reply.text(), &form, 1);
    if (r != 0) return parse_ky_set_command(tag, reply.text(), "given_state") == 1 ? 1 : r;
    if (config != nullptr) config->form = form.value.num;
    if (form.value.num != a && form.value.num != b) return 0;
    return read_shape(tag, reply.text(), form.value.num, config);
}

int set_enable(ky_robot_handle *robot, const char *tag, const char *command, const ky_fence_enable &e) {
    return ky::set_command(robot, tag,
                           std::move(Req(command).flag("set_enable", e.enable_state)
                                         .num("in_out_side", e.in_out_side)
                                         .num("effective_region", e.effective_region)),
                           "set_state");
}

int get_enable(ky_robot_handle *robot, const char *tag, const char *command, ky_fence_enable *e) {
    ky_robot_info info{};
    (void)ky_get_robot_info(robot, &info);  // read as the controller's other getters do; result unused
    ky::Reply reply(1024);
    Req req(command);
    int r = ky::exchange(robot, tag, req, command, reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[3] = {ky::parse_flag("enable_state"), ky::parse_int("in_out_side"),
                                ky::parse_int("effective_region")};
    items[0].value.flag = e ? e->enable_state : 0;
    r = common_json_parse(tag, reply.text(), items, 3);
    if (r != 0) return r;
    if (e != nullptr) {
        e->enable_state = items[0].value.flag != 0;
        e->in_out_side = items[1].value.num;
        e->effective_region = items[2].value.num;
    }
    return 0;
}

bool all_numbers(const cJSON *obj, std::span<const ShapeKey> keys) {
    return std::all_of(keys.begin(), keys.end(),
                       [obj](const ShapeKey &k) { return cJSON_IsNumber(MIO_JSON_GetObjectItem(obj, k.key)); });
}

}  // namespace

// Reads the record list of a "get_electronic_fence_list_infos" reply. *count is set (to at
// most KY_FENCE_LIST_MAX, the room the caller's array is documented to have) before the
// records are read; the first element with a missing or mistyped key ends the list with -3.
int Parser_Get_Electronic_Fence_List_Info(const char *text, ky_fence_config *configs, int *count) {
    ky::JsonDoc doc(text);
    const cJSON *list = doc ? MIO_JSON_GetObjectItem(doc.root, "info_list") : nullptr;
    if (!cJSON_IsArray(list)) return -3;
    const int n = std::min(MIO_JSON_GetArraySize(list), KY_FENCE_LIST_MAX);
    if (count != nullptr) *count = n;
    for (int i = 0; i < n; ++i) {
        const cJSON *e = cJSON_GetArrayItem(list, i);
        const cJSON *name = MIO_JSON_GetObjectItem(e, "form_name");
        const cJSON *form = MIO_JSON_GetObjectItem(e, "form");
        if (!cJSON_IsString(name) || !cJSON_IsNumber(form)) return -3;
        const int f = form->valueint;
        std::span<const ShapeKey> keys = f == KY_FENCE_CUBE     ? std::span<const ShapeKey>(kCubeList)
                                         : f == KY_FENCE_SPHERE ? std::span<const ShapeKey>(kSphereList)
                                                                : shape_keys(f);
        if (!all_numbers(e, keys)) return -3;
        if (configs == nullptr) continue;
        ky_fence_config &c = configs[i];
        ky::copy_chars(c.form_name, sizeof c.form_name, name->valuestring, KY_FENCE_NAME_LEN);
        c.form = f;
        for (const ShapeKey &k : keys) c.*k.field = ky::milli_from_wire(MIO_JSON_GetObjectItem(e, k.key)->valueint);
    }
    return 0;
}

extern "C" {

// ------------------------------------------------------------------ named fences
KY_API int ky_add_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config) {
    ky::CallScope scope;
    static const char *tag = "ky_add_electronic_fence_config";
    if (config == nullptr) return -1;
    if (shape_keys(config->form).empty()) {
        ky_log_error("Configuration error for the form of the newly added electronic fence! Wrong form: %d\n",
                     config->form);
        return -4;
    }
    return ky::set_command(robot_handle, tag, named_shape("add_electronic_fence_config", *config), "add_config");
}

KY_API int ky_update_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config) {
    ky::CallScope scope;
    if (config == nullptr) return -1;
    return send_shape(robot_handle, "ky_update_electronic_fence_config",
                      named_shape("update_electronic_fence_config", *config), !shape_keys(config->form).empty(),
                      "update_config");
}

KY_API int ky_delete_electronic_fence_config(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_delete_electronic_fence_config",
                           std::move(Req("delete_electronic_fence_config").str("form_name", name ? name : "")),
                           "delete_config");
}

KY_API int ky_get_electronic_fence_list_names(ky_robot_handle *robot_handle, ky_fence_name *names, int *count) {
    ky::CallScope scope;
    static const char *tag = "ky_get_electronic_fence_list_names";
    ky::Reply reply(1024);
    Req req("get_electronic_fence_list_names");
    int r = ky::exchange(robot_handle, tag, req, "get_electronic_fence_list_names", reply, ky::out_time());
    if (r < 1) return r;
    ky::JsonDoc doc(reply.text());
    const cJSON *list = doc ? MIO_JSON_GetObjectItem(doc.root, "name_list") : nullptr;
    if (!cJSON_IsArray(list)) {
        ky_log_error("Get fence list names parse err\n");
        return -3;
    }
    // At most KY_FENCE_LIST_MAX names: the room the caller's array is documented to have.
    const int n = std::min(MIO_JSON_GetArraySize(list), KY_FENCE_LIST_MAX);
    if (count != nullptr) *count = n;
    for (int i = 0; names != nullptr && i < n; ++i) {
        const char *s = cJSON_GetStringValue(cJSON_GetArrayItem(list, i));
        ky::copy_chars(names[i].name, sizeof names[i].name, s, KY_FENCE_NAME_LEN);
    }
    return 0;
}

KY_API int ky_get_given_electronic_fence_config(ky_robot_handle *robot_handle, const char *name,
                                                ky_fence_config *config) {
    ky::CallScope scope;
    static const char *tag = "ky_get_given_electronic_fence_config";
    ky::Reply reply(1024);
    Req req("given_electronic_fence_config");
    req.str("form_name", name ? name : "");
    int r = ky::exchange(robot_handle, tag, req, "given_electronic_fence_config", reply, ky::out_time());
    if (r < 1) return r;
    // A missing "given_state" is no error here: reading goes on.
    if (parse_ky_set_command(tag, reply.text(), "given_state") == 1) return 1;
    json_parse_item items[2] = {ky::parse_int("form"), ky::parse_str("form_name")};
    r = common_json_parse(tag, reply.text(), items, 2);
    if (r != 0) return r;
    const int form = items[0].value.num;
    if (config != nullptr) {
        // Ten bytes of the name, as controllers' readers have always taken them.
        ky::copy_chars(config->form_name, sizeof config->form_name, items[1].value.str, 10);
        config->form = form;
    }
    return read_shape(tag, reply.text(), form, config);
}

KY_API int ky_get_electronic_fence_list_infos(ky_robot_handle *robot_handle, ky_fence_config *configs, int *count) {
    ky::CallScope scope;
    static const char *tag = "ky_get_electronic_fence_list_infos";
    ky::Reply reply(2048);
    Req req("get_electronic_fence_list_infos");
    int r = ky::exchange(robot_handle, tag, req, "get_electronic_fence_list_infos", reply, ky::out_time());
    if (r < 1) return r;
    return Parser_Get_Electronic_Fence_List_Info(reply.text(), configs, count);
}

// ------------------------------------------------------------------ enable settings
KY_API int ky_set_electronic_fence_enable(ky_robot_handle *robot_handle, ky_fence_enable enable) {
    ky::CallScope scope;
    return set_enable(robot_handle, "ky_set_electronic_fence_enable", "set_electronic_fence_enable", enable);
}

KY_API int ky_get_electronic_fence_enable(ky_robot_handle *robot_handle, ky_fence_enable *enable) {
    ky::CallScope scope;
    return get_enable(robot_handle, "ky_get_electronic_fence_enable", "get_electronic_fence_enable", enable);
}

KY_API int ky_set_virtual_wall_enable(ky_robot_handle *robot_handle, ky_fence_enable enable) {
    ky::CallScope scope;
    return set_enable(robot_handle, "ky_set_virtual_wall_enable", "set_virtual_wall_enable", enable);
}

KY_API int ky_get_virtual_wall_enable(ky_robot_handle *robot_handle, ky_fence_enable *enable) {
    ky::CallScope scope;
    return get_enable(robot_handle, "ky_get_virtual_wall_enable", "get_virtual_wall_enable", enable);
}

// ------------------------------------------------------------------ fence in force, virtual wall
KY_API int ky_set_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config) {
    ky::CallScope scope;
    if (config == nullptr) return -1;
    const bool ok = config->form == KY_FENCE_CUBE || config->form == KY_FENCE_PLANE;
    if (config->form == KY_FENCE_SPHERE) ky_log_error("electronic fence form check err!!");
    return send_shape(robot_handle, "ky_set_electronic_fence_config",
                      unnamed_shape("set_electronic_fence_config", *config), ok, "set_config");
}

KY_API int ky_get_electronic_fence_config(ky_robot_handle *robot_handle, ky_fence_config *config) {
    ky::CallScope scope;
    return read_unnamed(robot_handle, "ky_get_electronic_fence_config", "get_electronic_fence_config",
                        KY_FENCE_CUBE, KY_FENCE_PLANE, config);
}

KY_API int ky_set_virtual_wall_config(ky_robot_handle *robot_handle, const ky_fence_config *config) {
    ky::CallScope scope;
    if (config == nullptr) return -1;
    const bool ok = config->form == KY_FENCE_CUBE || config->form == KY_FENCE_SPHERE;
    if (config->form == KY_FENCE_PLANE) ky_log_error("virtual wall form check err!\n");
    return send_shape(robot_handle, "ky_set_virtual_wall_config", unnamed_shape("set_virtual_wall_config", *config),
                      ok, "set_config");
}

KY_API int ky_get_virtual_wall_config(ky_robot_handle *robot_handle, ky_fence_config *config) {
    ky::CallScope scope;
    return read_unnamed(robot_handle, "ky_get_virtual_wall_config", "get_virtual_wall_config", KY_FENCE_CUBE,
                        KY_FENCE_SPHERE, config);
}

// ------------------------------------------------------------------ self-collision, run mode
KY_API int ky_set_self_collision_enable(ky_robot_handle *robot_handle, bool enable) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_self_collision_enable",
                           std::move(Req("set_self_collision_enable").flag("set_enable", enable)), "set_state");
}

KY_API int ky_get_self_collision_enable(ky_robot_handle *robot_handle, bool *enable) {
    ky::CallScope scope;
    static const char *tag = "ky_get_self_collision_enable";
    ky_robot_info info{};
    (void)ky_get_robot_info(robot_handle, &info);
    ky::Reply reply(1024);
    Req req("get_self_collision_enable");
    int r = ky::exchange(robot_handle, tag, req, "get_self_collision_enable", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item item = ky::parse_flag("enable_state");
    item.value.flag = (enable != nullptr && *enable) ? 1 : 0;
    r = common_json_parse(tag, reply.text(), &item, 1);
    if (r != 0) return r;
    if (enable != nullptr) *enable = item.value.flag != 0;
    return 0;
}

// The mode is reduced to a truth value before it is sent.
KY_API int ky_set_arm_run_mode(ky_robot_handle *robot_handle, int mode) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_arm_run_mode",
                           std::move(Req("set_arm_run_mode").num("mode", mode != 0 ? 1 : 0)), "mode");
}

KY_API int ky_get_arm_run_mode(ky_robot_handle *robot_handle, int *mode) {
    ky::CallScope scope;
    int32_t value = 0;
    const int r = ky::get_ints(robot_handle, "ky_get_arm_run_mode", "get_arm_run_mode", "get_arm_run_mode", "mode", 1,
                               &value);
    if (r == 0 && mode != nullptr) *mode = value;
    return r;
}

}  // extern "C"
