// Drag teaching and recorded trajectories: start / stop drag teaching, its sensitivity, the
// return to the start of the recorded path, replay control, and saving the recorded path
// into a local file.
//
// Saving: the controller answers save_trajectory with the number of points and then pushes
// each point as a line {"point":[...],...}. The receive path (the receive thread in modes 1
// and 2, the calling thread's own read in mode 0) writes those lines into the file opened
// here (core/drag_state.h); this file only opens, waits and closes.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include "commands/motion.h"
#include "core/drag_state.h"
#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"

using ky::Reply;
using ky::Req;

namespace {

constexpr const char *kSaveTag = "ky_save_trajectory";
constexpr int kSaveFirstPointMs = 2000;  // modes 1 and 2: time the first point has to come
constexpr int kSaveCheckMs = 100;
constexpr int kRunQueryPauseMs = 50;
constexpr int kReplayType = 5;  // re_trajectory
constexpr size_t kNameSourceChars = 298;

// The save state is one set for the whole process, so saves run one at a time: a second
// save waits here until the first has returned.
std::mutex save_mutex;

// Seconds to milliseconds, bounded to the int range of the waits.
int seconds_to_ms(int seconds) {
    return static_cast<int>(std::min<int64_t>(static_cast<int64_t>(seconds) * 1000, INT_MAX));
}

// Modes 1 and 2: the receive thread writes the points. The first one must have come within
// two seconds; then the stream runs until the announced count is reached.
int save_stream_threaded() {
    sleep_cp(kSaveFirstPointMs);
    if (drag_teach_save_start.load() == 0 || drag_teach_save_state.load() != 0) return -6;
    while (drag_teach_save_complete.load() == 0) {
        if (drag_teach_save_state.load() != 0) return -6;
        sleep_cp(kSaveCheckMs);
    }
    ky::drag_close_file();
    drag_teach_count = 0;
    return 0;
}

// Mode 0: the calling thread reads; every point line that passes by is written to the file,
// and the stream is over after about two seconds of silence.
int save_stream_own_read(ky_robot_handle *robot) {
    Reply reply(2048);
    const int first = ky::wait_line(robot, kSaveTag, "point", reply, ky::out_time());
    if (drag_teach_save_start.load() != 0 && drag_teach_save_state.load() == 0) {
        while (drag_teach_save_complete.load() == 0) {
            reply.clear();
            ky::wait_line(robot, kSaveTag, "point", reply, 1000);
        }
        ky::drag_close_file();
        return 0;
    }
    if (ky::drag_file_is_open()) return first;
    ky_log_error("The file is closed\n");
    return -6;
}

}  // namespace

namespace ky {
// The controller's name of a recording saved to `path`: the file name after the last "/"
// (or, with none, the last "\"), cut before its last "."; at most 298 characters of the
// path are looked at.
std::string trajectory_name(const char *path) {
    std::string p(path, strnlen(path, kNameSourceChars));
    size_t sep = p.rfind('/');
    if (sep == std::string::npos) sep = p.rfind('\\');
    std::string name = sep == std::string::npos ? p : p.substr(sep + 1);
    if (size_t dot = name.rfind('.'); dot != std::string::npos) name.resize(dot);
    return name;
}
}  // namespace ky

extern "C" {

KY_API int ky_start_drag_teach(ky_robot_handle *robot_handle, int trajectory_record) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_start_drag_teach",
                           std::move(Req("start_drag_teach").num("trajectory_record", trajectory_record)),
                           "drag_teach");
}

KY_API int ky_stop_drag_teach(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_stop_drag_teach", Req("stop_drag_teach"), "drag_teach");
}

KY_API int ky_start_multi_drag_teach(ky_robot_handle *robot_handle, int mode, int singular_wall) {
    ky::CallScope scope;
    Req req("start_multi_drag_teach");
    req.num("mode", mode).num("singular_wall", singular_wall);
    return ky::set_command(robot_handle, "ky_start_multi_drag_teach", std::move(req), "set_state");
}

KY_API int ky_start_multi_drag_teach_new(ky_robot_handle *robot_handle, ky_multi_drag_teach_param param) {
    ky::CallScope scope;
    ky_robot_info info{};
    if (ky_get_robot_info(robot_handle, &info) != 0) return -1;
    Req req("start_multi_drag_teach");
    req.num("frame", param.frame);
    if (info.force_type == 2) {
        req.num("singular_wall", param.singular_wall).ints("free_axes", param.free_axes);
    } else {
        ky_log_warn("Non-six-dimensional force version, The configuration for singular_wall and the values in "
                    "free_axes array are invalid.\n");
    }
    return ky::set_command(robot_handle, "ky_start_multi_drag_teach_new", std::move(req), "set_state");
}

KY_API int ky_set_drag_teach_sensitivity(ky_robot_handle *robot_handle, int grade) {
    ky::CallScope scope;
    return ky_set_data_common(robot_handle, grade, "set_drag_teach_sensitivity", "grade");
}

KY_API int ky_get_drag_teach_sensitivity(ky_robot_handle *robot_handle, int *grade) {
    ky::CallScope scope;
    return ky_get_data_common(robot_handle, grade, "get_drag_teach_sensitivity", "grade");
}

KY_API int ky_drag_trajectory_origin(ky_robot_handle *robot_handle, int block) {
    static const char *tag = "ky_drag_trajectory_origin";
    ky::CallScope scope;
    const int sent = ky::send_only(robot_handle, tag, Req("drag_trajectory_origin"), 10);
    if (sent != 0 || block == 0) return sent;
    // The return move runs as a joint trajectory; its wait is the blocking step's, pausing
    // 10 ms (not 100) while another trajectory runs or when the completion line is late.
    ky::CompletionWait wait = ky::step_move(tag, 1);
    wait.other_pause_ms = 10;
    return ky::finish_blocking(robot_handle, block, 0, wait);
}

KY_API int ky_run_drag_trajectory(ky_robot_handle *robot_handle, int timeout_s) {
    static const char *tag = "ky_run_drag_trajectory";
    static const char *command = "run_drag_trajectory";
    ky::CallScope scope;
    if (timeout_s <= 0) return ky::send_only(robot_handle, tag, Req(command), 0);
    const int timeout_ms = seconds_to_ms(timeout_s);
    if (g_mode.load() == 0) return ky::set_command(robot_handle, tag, Req(command), "run_state", command, timeout_ms);

    // The answer comes when the replay is over: pause the given time, follow the replay
    // while the controller reports it running, then read the answer.
    const int sent = ky::send_only(robot_handle, tag, Req(command), timeout_ms);
    if (sent != 0) return sent;
    int type = 0;  // a failed query keeps the last type read
    for (;;) {
        float data[7];
        ky_get_arm_current_trajectory(robot_handle, &type, data);
        if (type != kReplayType) break;
        sleep_cp(kRunQueryPauseMs);
    }
    Reply reply(1024);
    const int r = ky::wait_line(robot_handle, tag, command, reply, ky::out_time_max());
    sleep_cp(10);
    if (r < 1) return r;
    return parse_ky_set_command(tag, reply.text(), "run_state");
}

KY_API int ky_pause_drag_trajectory(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_pause_drag_trajectory", Req("pause_drag_trajectory"), "pause_state");
}

KY_API int ky_continue_drag_trajectory(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_continue_drag_trajectory", Req("continue_drag_trajectory"), "continue_state");
}

KY_API int ky_stop_drag_trajectory(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_stop_drag_trajectory", Req("stop_drag_trajectory"), "stop_state");
}

KY_API int parse_ky_save_trajectory(const char *tag, const char *text, int *total_num) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("[%s] Save trajectory parse err\n", tag);
        return -3;
    }
    switch (MIO_JSON_GetObjectItemBool(doc.root, "save_state")) {
    case 0: ky_log_error("[%s] Save state: false\n", tag); return 1;
    case 1: break;
    default: ky_log_error("[%s] Save trajectory err\n", tag); return -3;
    }
    ky_log_debug("[%s] Save state: true\n", tag);
    const int total = MIO_JSON_GetObjectItemInt(doc.root, "total_num");
    if (total < 0) {
        ky_log_error("[%s] Trajectory total num parse err\n", tag);
        return -3;
    }
    ky_log_info("[%s] Trajectory total num: %d\n", tag, total);
    if (total_num != nullptr) *total_num = total;
    drag_teach_total_num = total;
    return 0;
}

KY_API int ky_save_trajectory(ky_robot_handle *robot_handle, const char *path, int *total_num) {
    ky::CallScope scope;
    std::lock_guard<std::mutex> one_save(save_mutex);
    // A new save starts from a clean state: its own points, its own completion.
    drag_teach_save_state = 0;
    drag_teach_save_start = 0;
    drag_teach_save_complete = 0;
    drag_teach_count = 0;
    if (path == nullptr || !ky::drag_open_file(path)) {
        ky_log_error("[%s] File open error!", kSaveTag);
        return -4;
    }
    const std::string name = ky::trajectory_name(path);

    Reply reply(2048);
    Req req("save_trajectory");
    req.str("trajectory_name", name);
    const int n = ky::exchange(robot_handle, kSaveTag, req, "save_trajectory", reply, ky::out_time());
    if (n < 1) return n;
    if (const int r = parse_ky_save_trajectory(kSaveTag, reply.text(), total_num); r != 0) return r;

    if (g_mode.load() == 0) return save_stream_own_read(robot_handle);
    // The receive thread may have counted points before the total was known (the reply and
    // the first points can come in one read). It compares count and total after each point
    // and this check follows the store of the total, so (the atomics being sequentially
    // consistent) one of the two sees both values: the stream is marked complete exactly
    // when its last point is in.
    const int total = drag_teach_total_num.load();
    if (total != 0 && drag_teach_count.load() >= total) drag_teach_save_complete = 1;
    return save_stream_threaded();
}

}  // extern "C"
