// Tool and work frames: teaching, manual entry, update, listing, reading, switching and
// deleting, and the tool's collision envelope. Reading the current frame (and every
// switch) refreshes the robot handle's cached frame and the matching global transform.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"
#include "core/units.h"

extern "C" {
KY_API ky_matrix Tool_Matrix = {};
KY_API ky_matrix Frame_Matrix = {};
}

namespace {

// Several robots' frame queries may run at once; each transform is written whole.
std::mutex g_matrix_mutex;

void store_matrix(ky_matrix &dst, const ky_pose &pose) {
    const ky_matrix m = ky_algo_pos2matrix(pose);
    std::lock_guard<std::mutex> lock(g_matrix_mutex);
    dst = m;
}

std::string_view text_of(const char *s) { return s ? std::string_view(s) : std::string_view(); }
// A name field of a record: 12 characters, terminated only when shorter.
std::string_view name_of(const char (&field)[KY_FRAME_NAME_LEN]) {
    return std::string_view(field, strnlen(field, KY_FRAME_NAME_LEN));
}

ky::Req named(const char *command, const char *key, std::string_view name) {
    ky::Req req(command);
    req.str(key, name);
    return req;
}

// "tool_name", "payload", "position", "tool_pose": the members of manual entry and update.
ky::Req tool_frame_req(const char *command, const ky_frame &f) {
    ky::Req req = named(command, "tool_name", name_of(f.frame_name));
    req.num("payload", ky::milli_to_wire(f.payload));
    req.ints("position", {ky::micro_to_wire(f.x), ky::micro_to_wire(f.y), ky::micro_to_wire(f.z)});
    req.ints("tool_pose", ky::pose_to_wire(f.pose));
    return req;
}

ky::Req work_frame_req(const char *command, const char *name, const ky_pose &pose) {
    ky::Req req = named(command, "frame_name", text_of(name));
    req.ints("frame_pose", ky::pose_to_wire(pose));
    return req;
}

// Member `key` of `obj` as exactly n integers.
bool read_ints(const cJSON *obj, const char *key, int32_t *out, int n) {
    const cJSON *a = MIO_JSON_GetObjectItem(obj, key);
    if (!cJSON_IsArray(a) || cJSON_GetArraySize(a) != n) return false;
    for (int i = 0; i < n; ++i) out[i] = MIO_JSON_GetArrayItemInt(a, i);
    return true;
}

void log_pose(const char *format, const ky_pose &p) {
    ky_log_info(format, p.position.x, p.position.y, p.position.z, p.euler.rx, p.euler.ry, p.euler.rz);
}

// ------------------------------------------------------------ current-frame parsers (-1)

int parse_ky_get_current_tool_frame(const char *text, ky_frame &f) {
    ky::JsonDoc doc(text);
    const char *name = MIO_JSON_GetObjectItemString(doc.root, "tool_name");
    if (!doc || name == nullptr) {
        ky_log_error("[get_current_tool_frame] Current tool frame parse err\n");
        return -1;
    }
    ky::copy_chars(f.frame_name, sizeof f.frame_name, name, 10);
    ky_log_info("[get_current_tool_frame] Tool frame Name: %s\n", f.frame_name);
    int32_t w[6];
    if (!read_ints(doc.root, "pose", w, 6)) {
        ky_log_error("[get_current_tool_frame] Tool frame pose parse err\n");
        return -1;
    }
    f.pose = ky::pose_from_wire(w);
    log_pose("[get_current_tool_frame] Tool frame pose: (%.3f, %.3f, %.3f, %.3f, %.3f, %.3f)\n", f.pose);
    const cJSON *payload = MIO_JSON_GetObjectItem(doc.root, "payload");
    if (!cJSON_IsNumber(payload) || payload->valueint < 0) {
        ky_log_error("[get_current_tool_frame] Tool frame payload parse err\n");
        return -1;
    }
    f.payload = ky::milli_from_wire(payload->valueint);
    ky_log_info("[get_current_tool_frame] Tool frame payloda: %.3f\n", f.payload);
    // A centre of mass with a negative coordinate is refused.
    int32_t com[3];
    if (!read_ints(doc.root, "position", com, 3) || std::any_of(com, com + 3, [](int32_t v) { return v < 0; })) {
        ky_log_error("[get_current_tool_frame] Tool frame position parse err\n");
        return -1;
    }
    f.x = ky::micro_from_wire(com[0]);
    f.y = ky::micro_from_wire(com[1]);
    f.z = ky::micro_from_wire(com[2]);
    ky_log_info("[get_current_tool_frame] Tool frame position: (%.3f, %.3f, %.3f)\n", f.x, f.y, f.z);
    return 0;
}

int parse_ky_get_current_work_frame(const char *text, ky_frame &f) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("[get_current_work_frame] Current Work frame parse err\n");
        return -1;
    }
    const char *name = MIO_JSON_GetObjectItemString(doc.root, "frame_name");
    if (name == nullptr) {
        ky_log_error("[get_current_work_frame] Work frame Name parse err\n");
        return -1;
    }
    ky::copy_chars(f.frame_name, sizeof f.frame_name, name, KY_FRAME_NAME_LEN);
    ky_log_info("[get_current_work_frame] Work frame Name: %s\n", std::string(name_of(f.frame_name)).c_str());
    if (!cJSON_IsArray(MIO_JSON_GetObjectItem(doc.root, "pose"))) {
        ky_log_error("[get_current_work_frame] Work frame pose parse err\n");
        return -1;
    }
    int32_t w[6];
    if (!read_ints(doc.root, "pose", w, 6)) {
        ky_log_error("[get_current_work_frame] Current Work frame parse err\n");
        return -1;
    }
    f.pose = ky::pose_from_wire(w);
    f.payload = f.x = f.y = f.z = 0.0f;
    log_pose("[get_current_work_frame] Work frame pose: (%.3f, %.3f, %.3f, %.3f, %.3f, %.3f)\n", f.pose);
    return 0;
}

// One current-frame query and where its result is kept.
struct CurrentFrame {
    const char *tag;
    const char *command;
    const char *reply_key;
    int (*parse)(const char *, ky_frame &);
    ky_matrix *matrix;
    ky_frame ky_robot_handle::*cache;
};
const CurrentFrame kCurrentTool{"ky_get_current_tool_frame", "get_current_tool_frame", "current_tool_frame",
                                parse_ky_get_current_tool_frame, &Tool_Matrix, &ky_robot_handle::tool_frame};
const CurrentFrame kCurrentWork{"ky_get_current_work_frame", "get_current_work_frame", "current_work_frame",
                                parse_ky_get_current_work_frame, &Frame_Matrix, &ky_robot_handle::work_frame};

int current_frame(ky_robot_handle *robot, const CurrentFrame &k, ky_frame *out) {
    ky_frame scratch{};
    ky_frame &f = out ? *out : scratch;
    ky::Req req(k.command);
    ky::Reply reply(1024);
    int r = ky::exchange(robot, k.tag, req, k.reply_key, reply, ky::out_time());
    if (r < 1) return r;
    if (k.parse(reply.text(), f) != 0) return -1;
    store_matrix(*k.matrix, f.pose);
    const ky_frame copy = f;
    return ky::with_robot(robot, nullptr, [&](ky_handle &h) { h.robot.*k.cache = copy; });
}

// A switch the controller accepted is followed by the current-frame query, so the cached
// frame and its transform follow it.
int change_frame(ky_robot_handle *robot, const char *tag, ky::Req req, const char *state_key,
                 const CurrentFrame &current) {
    int r = ky::set_command(robot, tag, std::move(req), state_key);
    if (r != 0) return r;
    return current_frame(robot, current, nullptr);
}

// ------------------------------------------------------------ listings (-2 on any fault)

int parse_ky_get_total_frame(const char *text, ky_frame_name *names, int *count) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("Get total frame name parse err\n");
        return -2;
    }
    const cJSON *list = MIO_JSON_GetObjectItem(doc.root, "frame_names");
    if (list == nullptr) list = MIO_JSON_GetObjectItem(doc.root, "tool_names");
    if (!cJSON_IsArray(list)) return -2;
    int n = 0;
    for (const cJSON *e = list->child; e != nullptr; e = e->next) {
        const char *name = cJSON_IsString(e) ? e->valuestring : "";
        if (std::strcmp(name, "NULL") == 0) break;
        if (names != nullptr) ky::copy_chars(names[n].name, KY_FRAME_NAME_LEN, name, KY_FRAME_NAME_LEN);
        ++n;
        if (count != nullptr) *count = n;
    }
    return 0;
}

int total_frames(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                 int timeout_ms, ky_frame_name *names, int *count) {
    ky::Req req(command);
    ky::Reply reply(1024);
    int r = ky::exchange(robot, tag, req, reply_key, reply, timeout_ms);
    if (r < 1) return r;
    return parse_ky_get_total_frame(reply.text(), names, count);
}

// ------------------------------------------------------------ tool envelope

cJSON *envelope_json(const ky_tool_envelope &env) {
    cJSON *root = MIO_JSON_CreateObject();
    MIO_JSON_AddItemToObject(root, "command", MIO_JSON_CreateString("set_tool_envelope"));
    MIO_JSON_AddItemToObject(root, "tool_name", MIO_JSON_CreateString(std::string(name_of(env.tool_name)).c_str()));
    cJSON *list = MIO_JSON_CreateArray();
    const int count = std::clamp(env.count, 0, KY_ENVELOPE_MAX_BALLS);
    for (int i = 0; i < count; ++i) {
        const ky_envelope_ball &b = env.balls[i];
        cJSON *ball = MIO_JSON_CreateObject();
        MIO_JSON_AddItemToObject(ball, "name", MIO_JSON_CreateString(std::string(name_of(b.name)).c_str()));
        const std::pair<const char *, float> values[] = {{"radius", b.radius}, {"x", b.x}, {"y", b.y}, {"z", b.z}};
        for (const auto &[key, v] : values) MIO_JSON_AddItemToObject(ball, key, MIO_JSON_CreateNumber(ky::milli_to_wire(v)));
        MIO_JSON_AddItemToArray(list, ball);
    }
    MIO_JSON_AddItemToObject(root, "list", list);
    return root;
}

// Sends `line` as it is through the robot's plain send operation, under the registry's
// read lock. 0, or -1 (unknown handle, send failure).
int send_text(ky_robot_handle *robot, const std::string &line) {
    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    if (h == nullptr) return -1;
    return h->socket->send(h->socket, line.data(), static_cast<int>(line.size())) == 0 ? 0 : -1;
}

int Parser_Get_Tool_Envelope(const char *tag, const char *text, ky_tool_envelope &env) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("[%s] parser error!", tag);
        return -3;
    }
    if (MIO_JSON_GetObjectItemBool(doc.root, "get_state") == 0) {
        ky_log_error("[%s] Get tool envelope return false! You can check if the tool frame exists.\n", tag);
        return 1;
    }
    const char *tool = MIO_JSON_GetObjectItemString(doc.root, "tool_name");
    const cJSON *list = MIO_JSON_GetObjectItem(doc.root, "list");
    if (tool == nullptr) return -3;
    ky::copy_chars(env.tool_name, sizeof env.tool_name, tool, KY_FRAME_NAME_LEN);
    if (!cJSON_IsArray(list)) return -3;
    env.count = std::min(cJSON_GetArraySize(list), KY_ENVELOPE_MAX_BALLS);
    for (int i = 0; i < env.count; ++i) {
        const cJSON *e = cJSON_GetArrayItem(list, i);
        const char *name = MIO_JSON_GetObjectItemString(e, "name");
        if (name == nullptr) return -3;
        ky_envelope_ball &b = env.balls[i];
        ky::copy_chars(b.name, sizeof b.name, name, KY_FRAME_NAME_LEN);
        const std::pair<const char *, float *> values[] = {{"radius", &b.radius}, {"x", &b.x}, {"y", &b.y}, {"z", &b.z}};
        for (const auto &[key, dst] : values) {
            const cJSON *v = MIO_JSON_GetObjectItem(e, key);
            if (!cJSON_IsNumber(v)) return -3;
            *dst = ky::milli_from_wire(v->valueint);
        }
    }
    return 0;
}

}  // namespace

extern "C" {

// ------------------------------------------------------------ tool frames

KY_API int ky_set_auto_tool_frame(ky_robot_handle *robot_handle, int point_num) {
    ky::CallScope scope;
    ky::Req req("set_auto_tool_frame");
    req.num("point_num", point_num);
    return ky::set_command(robot_handle, "ky_set_auto_tool_frame", std::move(req), "auto_tool_frame");
}

KY_API int ky_generate_auto_tool_frame(ky_robot_handle *robot_handle, const char *name, float payload, float x,
                                       float y, float z) {
    ky::CallScope scope;
    ky::Req req = named("generate_auto_tool_frame", "tool_name", text_of(name));
    req.num("payload", ky::milli_to_wire(payload));
    req.ints("position", {ky::micro_to_wire(x), ky::micro_to_wire(y), ky::micro_to_wire(z)});
    // The controller confirms a generated frame under the teaching command's name.
    return ky::set_command(robot_handle, "ky_generate_auto_tool_frame", std::move(req), "auto_tool_frame",
                           "set_auto_tool_frame");
}

KY_API int ky_set_manual_tool_frame(ky_robot_handle *robot_handle, const ky_frame *frame) {
    ky::CallScope scope;
    static const char *tag = "ky_set_manual_tool_frame";
    if (frame == nullptr) return -1;
    int r = ky::set_command(robot_handle, tag, tool_frame_req("set_manual_tool_frame", *frame), "manual_tool_frame");
    if (r == 1) {
        ky_log_error("[%s] Failed to create the tool frame system, please check if the name already exists", tag);
    }
    return r;
}

KY_API int ky_update_tool_frame(ky_robot_handle *robot_handle, const ky_frame *frame) {
    ky::CallScope scope;
    if (frame == nullptr) return -1;
    return ky::set_command(robot_handle, "ky_update_tool_frame", tool_frame_req("update_tool_frame", *frame),
                           "update_state");
}

KY_API int ky_set_tool_envelope(ky_robot_handle *robot_handle, const ky_tool_envelope *envelope) {
    ky::CallScope scope;
    static const char *tag = "ky_set_tool_envelope";
    if (envelope == nullptr) return -1;
    cJSON *root = envelope_json(*envelope);
    char *printed = cJSON_Print(root);  // indented, as the controller takes this command
    MIO_JSON_Delete(root);
    if (printed == nullptr) return -1;
    const std::string line = std::string(printed) + "\r\n";
    cJSON_free(printed);
    if (send_text(robot_handle, line) != 0) return -1;
    ky::Reply reply(1024);
    int r = ky::wait_line(robot_handle, tag, "set_tool_envelope", reply, ky::out_time());
    if (r < 1) return r;
    r = parse_ky_set_command(tag, reply.text(), "set_state");
    if (r == 1) ky_log_error("[%s] Set tool envelope return false! You can check if the tool frame exists.\n", tag);
    return r;
}

KY_API int ky_get_tool_envelope(ky_robot_handle *robot_handle, const char *tool_name, ky_tool_envelope *envelope) {
    ky::CallScope scope;
    static const char *tag = "ky_get_tool_envelope";
    ky::Req req = named("get_tool_envelope", "tool_name", text_of(tool_name));
    ky::Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, "get_tool_envelope", reply, ky::out_time());
    if (r < 1) return r;
    ky_tool_envelope scratch{};
    return Parser_Get_Tool_Envelope(tag, reply.text(), envelope ? *envelope : scratch);
}

KY_API int ky_get_total_tool_frame(ky_robot_handle *robot_handle, ky_frame_name *names, int *count) {
    ky::CallScope scope;
    return total_frames(robot_handle, "ky_get_total_tool_frame", "get_total_tool_frame", "total_tool_frame",
                        ky::out_time(), names, count);
}

KY_API int ky_get_given_tool_frame(ky_robot_handle *robot_handle, const char *name, ky_frame *frame) {
    ky::CallScope scope;
    static const char *tag = "ky_get_given_tool_frame";
    ky::Req req = named("get_tool_frame", "tool_name", text_of(name));
    ky::Reply reply(1024);
    const int r = ky::exchange(robot_handle, tag, req, "given_tool_frame", reply, ky::out_time());
    if (r == -1) return -1;
    if (r < 1) {
        // An unknown frame is answered under the request's own name with "get_state".
        int f = ky::wait_line(robot_handle, tag, "get_tool_frame", reply, ky::out_time());
        if (f < 1) return f;
        f = parse_ky_set_command(tag, reply.text(), "get_state");
        return (f == -3 && g_mode.load() == 0) ? 1 : f;
    }
    json_parse_item items[] = {ky::parse_str("tool_name"), ky::parse_ints("pose", 6), ky::parse_int("payload"),
                               ky::parse_ints("position", 3)};
    if (common_json_parse(tag, reply.text(), items, 4) != 0) return r;
    if (frame == nullptr) return 0;
    ky::copy_chars(frame->frame_name, sizeof frame->frame_name, items[0].value.str, 10);
    frame->pose = ky::pose_from_wire(items[1].value.array);
    frame->payload = ky::milli_from_wire(items[2].value.num);
    frame->x = ky::micro_from_wire(items[3].value.array[0]);
    frame->y = ky::micro_from_wire(items[3].value.array[1]);
    frame->z = ky::micro_from_wire(items[3].value.array[2]);
    return 0;
}

KY_API int ky_get_current_tool_frame(ky_robot_handle *robot_handle, ky_frame *frame) {
    ky::CallScope scope;
    return current_frame(robot_handle, kCurrentTool, frame);
}

KY_API int ky_change_tool_frame(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    return change_frame(robot_handle, "ky_change_tool_frame", named("set_change_tool_frame", "tool_name", text_of(name)),
                        "change_tool_frame", kCurrentTool);
}

KY_API int ky_delete_tool_frame(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_delete_tool_frame",
                           named("set_delete_tool_frame", "tool_name", text_of(name)), "delete_tool_frame");
}

// ------------------------------------------------------------ work frames

KY_API int ky_set_auto_work_frame(ky_robot_handle *robot_handle, const char *name, int point_num) {
    ky::CallScope scope;
    ky::Req req = named("set_auto_work_frame", "frame_name", text_of(name));
    req.num("point_num", point_num);
    return ky::set_command(robot_handle, "ky_set_auto_work_frame", std::move(req), "auto_work_frame");
}

KY_API int ky_set_manual_work_frame(ky_robot_handle *robot_handle, const char *name, const ky_pose *pose) {
    ky::CallScope scope;
    if (pose == nullptr) return -1;
    return ky::set_command(robot_handle, "ky_set_manual_work_frame",
                           work_frame_req("set_manual_work_frame", name, *pose), "manual_work_frame");
}

KY_API int ky_update_work_frame(ky_robot_handle *robot_handle, const char *name, const ky_pose *pose) {
    ky::CallScope scope;
    if (pose == nullptr) return -1;
    return ky::set_command(robot_handle, "ky_update_work_frame", work_frame_req("update_work_frame", name, *pose),
                           "update_state");
}

KY_API int ky_get_total_work_frame(ky_robot_handle *robot_handle, ky_frame_name *names, int *count) {
    ky::CallScope scope;
    // Work-frame listings take the controller longer.
    return total_frames(robot_handle, "ky_get_total_work_frame", "get_total_work_frame", "total_work_frame",
                        ky::out_time_max(), names, count);
}

KY_API int ky_get_given_work_frame(ky_robot_handle *robot_handle, const char *name, ky_pose *pose) {
    ky::CallScope scope;
    static const char *tag = "ky_get_given_work_frame";
    ky::Req req = named("get_work_frame", "frame_name", text_of(name));
    ky::Reply reply(1024);
    const int r = ky::exchange(robot_handle, tag, req, "given_work_frame", reply, ky::out_time());
    if (r < 1) {
        // An unknown frame is answered under the request's own name with "get_state".
        const int f = ky::wait_line(robot_handle, tag, "get_work_frame", reply, ky::out_time_max());
        if (f < 1) return g_mode.load() == 0 ? 1 : f;
        return parse_ky_set_command(tag, reply.text(), "get_state");
    }
    json_parse_item items[] = {ky::parse_str("frame_name"), ky::parse_ints("pose", 6)};
    if (common_json_parse(tag, reply.text(), items, 2) != 0) return r;
    if (pose != nullptr) *pose = ky::pose_from_wire(items[1].value.array);
    return 0;
}

KY_API int ky_get_current_work_frame(ky_robot_handle *robot_handle, ky_frame *frame) {
    ky::CallScope scope;
    return current_frame(robot_handle, kCurrentWork, frame);
}

KY_API int ky_change_work_frame(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    return change_frame(robot_handle, "ky_change_work_frame",
                        named("set_change_work_frame", "frame_name", text_of(name)), "change_work_frame",
                        kCurrentWork);
}

KY_API int ky_delete_work_frame(ky_robot_handle *robot_handle, const char *name) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_delete_work_frame",
                           named("set_delete_work_frame", "frame_name", text_of(name)), "delete_work_frame");
}

}  // extern "C"
