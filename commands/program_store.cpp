// Program trajectory store: the controller's numbered programs (uploaded projects). Listing
// page by page with an optional name filter, the run state of the executing program,
// deletion, update, the default program, and starting a program by id, optionally blocking
// until the controller reports that exactly this program has finished.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"

using ky::Reply;
using ky::Req;

namespace {

constexpr int kListReplyBytes = 10240;
constexpr int kRunningPollMs = 1000;   // while the program runs
constexpr int kIdlePollMs = 100;       // while waiting for the program to start
constexpr int kOtherStatePollMs = 10;  // other states (paused, ...): query again soon
constexpr int kMaxIdleAnswers = 9;     // pauses before the completion report is awaited
constexpr int kMaxQueryFailures = 5;
constexpr size_t kFilterEchoChars = 28;

// Integer member `key` of `obj` into *out when it is present (not checked for a number).
void take_int(const cJSON *obj, const char *key, int32_t *out) {
    if (const cJSON *m = MIO_JSON_GetObjectItem(obj, key)) *out = m->valueint;
}

// Copies the entries of array `arr` into `out` (room `cap`); the array's size.
int take_array(const cJSON *arr, int32_t *out, int cap) {
    const int n = MIO_JSON_GetArraySize(arr);
    for (int i = 0; i < std::min(n, cap); ++i) out[i] = MIO_JSON_GetArrayItemInt(arr, i);
    return n;
}

// Reads "finish_id" of a completion report: 0 and the id, or -3.
int finish_id(const char *tag, const char *text, int *id) {
    json_parse_item item = ky::parse_int("finish_id");
    const int r = common_json_parse(tag, text, &item, 1);
    if (r == 0) *id = item.value.num;
    return r;
}

int seconds_to_ms(int seconds) {
    return static_cast<int>(std::clamp<int64_t>(static_cast<int64_t>(seconds) * 1000, INT_MIN, INT_MAX));
}

// Modes 1 and 2: follows the run state until the completion report of program `id`.
int follow_program(ky_robot_handle *robot, const char *tag, int id) {
    int failures = 0, idle = 0;
    bool seen_running = false;
    for (;;) {
        ky_program_run_state state{};
        const int q = ky_get_program_run_state(robot, &state);
        if (q != 0) {
            if (++failures > kMaxQueryFailures) return q;
            continue;
        }
        if (state.run_state == 1) {
            seen_running = true;
            sleep_cp(kRunningPollMs);
            continue;
        }
        if (state.run_state != 0) {
            sleep_cp(kOtherStatePollMs);
            continue;
        }
        if (!seen_running && ++idle <= kMaxIdleAnswers) {
            sleep_cp(kIdlePollMs);
            continue;
        }
        Reply report(1024);
        if (ky::wait_line(robot, tag, "program_run_finish", report, ky::out_time()) < 1) return -4;
        int finished = 0;
        if (finish_id(tag, report.text(), &finished) != 0) return -4;
        if (finished == id) return 0;
    }
}

}  // namespace

extern "C" {

KY_API int ky_get_program_trajectory_list(ky_robot_handle *robot_handle, int page_num, int page_size,
                                          const char *vague_search, ky_program_list *list) {
    ky::CallScope scope;
    static const char *tag = "ky_get_program_trajectory_list";
    if (list == nullptr) return -1;
    Req req("get_program_trajectory_list");
    if (vague_search != nullptr) req.str("vague_search", vague_search);
    req.num("page_num", page_num).num("page_size", page_size);
    Reply reply(kListReplyBytes);
    int r = ky::exchange(robot_handle, tag, req, "get_program_trajectory_list", reply, ky::out_time());
    if (r < 1) return r;

    json_parse_item items[4] = {ky::parse_int("page_num"), ky::parse_int("page_size"), ky::parse_int("total_size"),
                                ky::parse_str("vague_search")};
    r = common_json_parse(tag, reply.text(), items, vague_search != nullptr ? 4 : 3);
    if (r != 0) return r;
    list->page_num = items[0].value.num;
    list->page_size = items[1].value.num;
    list->total_size = items[2].value.num;
    if (vague_search != nullptr) {
        // The parsed string sits NUL-terminated in a zeroed area; the echo keeps 28 bytes.
        ky::copy_chars(list->vague_search, sizeof list->vague_search, items[3].value.str, kFilterEchoChars);
    }

    ky::JsonDoc doc(reply.text());
    const cJSON *arr = MIO_JSON_GetObjectItem(doc.root, "list");
    if (!cJSON_IsArray(arr)) {
        ky_log_error("[%s] get program trajectory list parser error!\n", tag);
        return -3;
    }
    // Entries beyond the record's capacity are not stored.
    const int n = std::min(MIO_JSON_GetArraySize(arr), KY_PROGRAM_LIST_MAX);
    for (int i = 0; i < n; ++i) {
        const cJSON *el = cJSON_GetArrayItem(arr, i);
        ky_program_info &e = list->list[i];
        take_int(el, "id", &e.id);
        take_int(el, "size", &e.size);
        take_int(el, "speed", &e.speed);
        if (const char *name = MIO_JSON_GetObjectItemString(el, "trajectory_name")) {
            ky::copy_chars(e.trajectory_name, sizeof e.trajectory_name, name, sizeof e.trajectory_name);
        }
    }
    return 0;
}

KY_API int ky_get_program_run_state(ky_robot_handle *robot_handle, ky_program_run_state *state) {
    ky::CallScope scope;
    static const char *tag = "ky_get_program_run_state";
    if (state == nullptr) return -1;
    Req req("get_program_run_state");
    Reply reply(1024);
    const int r = ky::exchange(robot_handle, tag, req, "get_program_run_state", reply, ky::out_time());
    if (r < 1) return r;

    auto parser_error = [&] {
        ky_log_error("[%s] get program run state parser error!\n", tag);
        return -3;
    };
    ky::JsonDoc doc(reply.text());
    const cJSON *run_state = MIO_JSON_GetObjectItem(doc.root, "run_state");
    if (run_state == nullptr) return parser_error();
    state->run_state = run_state->valueint;
    take_int(doc.root, "id", &state->id);
    take_int(doc.root, "edit_id", &state->edit_id);
    take_int(doc.root, "plan_num", &state->plan_num);
    take_int(doc.root, "step_mode", &state->step_mode);
    take_int(doc.root, "plan_speed", &state->plan_speed);
    // The loop arrays are cut to the record's capacity; total_loop keeps the size sent.
    if (const cJSON *loop_num = MIO_JSON_GetObjectItem(doc.root, "loop_num")) {
        if (!cJSON_IsArray(loop_num)) return parser_error();
        state->total_loop = take_array(loop_num, state->loop_num, KY_PROGRAM_LOOP_MAX);
    }
    const cJSON *loop_cont = MIO_JSON_GetObjectItem(doc.root, "loop_cont");
    if (loop_cont == nullptr) return 0;
    if (!cJSON_IsArray(loop_cont)) return parser_error();
    take_array(loop_cont, state->loop_cont, KY_PROGRAM_LOOP_MAX);
    return 0;
}

KY_API int ky_delete_program_trajectory(ky_robot_handle *robot_handle, int id) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_delete_program_trajectory",
                           std::move(Req("delete_program_trajectory").num("id", id)), "delete_state");
}

KY_API int ky_update_program_trajectory(ky_robot_handle *robot_handle, int id, int plan_speed,
                                        const char *project_name) {
    ky::CallScope scope;
    if (project_name == nullptr) return -1;
    Req req("update_program_trajectory");
    req.num("id", id).num("plan_speed", plan_speed).str("project_name", project_name);
    return ky::set_command(robot_handle, "ky_update_program_trajectory", std::move(req), "update_state");
}

KY_API int ky_set_default_run_program(ky_robot_handle *robot_handle, int id) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_default_run_program",
                           std::move(Req("set_default_run_program").num("id", id)), "set_state");
}

KY_API int ky_get_default_run_program(ky_robot_handle *robot_handle, int *id) {
    ky::CallScope scope;
    int32_t value = 0;
    const int r = ky::get_ints(robot_handle, "ky_get_default_run_program", "get_default_run_program",
                               "get_default_run_program", "id", 1, &value);
    if (r == 0 && id != nullptr) *id = value;
    return r;
}

KY_API int ky_set_program_id_run(ky_robot_handle *robot_handle, int id, int speed, int block) {
    ky::CallScope scope;
    static const char *tag = "ky_set_program_id_run";
    Req req("set_program_id_start");
    req.num("id", id);
    if (speed != 0) req.num("speed", speed);
    Reply reply(1024);
    const int sent = ky::exchange(robot_handle, tag, req, "set_program_id_start", reply, ky::out_time());
    if (sent < 1) return sent;
    const int started = parse_ky_set_command(tag, reply.text(), "start_state");
    if (started != 0 || block == 0) return started;

    switch (g_mode.load()) {
    case 1:
    case 2: return follow_program(robot_handle, tag, id);
    case 0: {
        // Without a receive thread `block` is the time-out in seconds for the report.
        const int again = parse_ky_set_command(tag, reply.text(), "start_state");
        if (again != 0) return again;
        Reply report(1024);
        if (ky::wait_line(robot_handle, tag, "program_run_finish", report, seconds_to_ms(block)) < 1) return -4;
        int finished = 0;
        if (finish_id(tag, report.text(), &finished) != 0) return -4;
        return finished == id ? 0 : -4;
    }
    default: return sent;
    }
}

}  // extern "C"
