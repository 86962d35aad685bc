// Drag teaching and recorded trajectories: drag teaching on and off (single and multi mode),
// its sensitivity, saving the recording as streamed point lines, the move to its start, and its
// replay with pause, continue and stop (sim/drag.h).
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

bool start_drag_teach(Ctx &c) {
    int record = 0;
    if (c.item("trajectory_record") != nullptr && !c.geti("trajectory_record", record)) return false;
    if (record < 0 || record > 1) return false;
    return drag_start(c.arm, DragState::Single, record == 1);
}

bool stop_drag_teach(Ctx &c) { return drag_stop(c.arm), true; }

// {"mode","singular_wall"} or {"frame"[,"singular_wall","free_axes"[6]]}.
bool start_multi_drag_teach(Ctx &c) {
    int v = 0;
    const bool by_mode = c.item("mode") != nullptr;
    if (!c.geti(by_mode ? "mode" : "frame", v) || v < 0) return false;
    if (c.item("singular_wall") != nullptr && (!c.geti("singular_wall", v) || v < 0)) return false;
    if (c.item("free_axes") != nullptr) {
        int axes[6];
        if (!c.geta("free_axes", 6, axes)) return false;
        for (int a : axes) {
            if (a != 0 && a != 1) return false;
        }
    }
    return drag_start(c.arm, DragState::Multi, false);
}

bool set_sensitivity(Ctx &c) {
    int grade = 0;
    if (!c.geti("grade", grade) || grade < 1 || grade > 100) return false;
    c.arm.drag.grade = grade;
    return true;
}
bool get_sensitivity(Ctx &c) { return c.num("grade", c.arm.drag.grade), true; }

bool save_trajectory(Ctx &c) {
    std::string name;
    if (!c.gets("trajectory_name", name)) return false;
    const int n = drag_save(c.arm);
    if (n > 0) c.num("total_num", n);
    return n > 0;
}

bool origin(Ctx &c) { return drag_origin(c.arm); }
bool run(Ctx &c) { return drag_replay(c.arm); }

bool replaying(const Arm &arm) { return arm.trajectory_type() == 5; }
bool pause_replay(Ctx &c) {
    if (!replaying(c.arm) || c.arm.paused()) return false;
    c.arm.pause();
    return true;
}
bool continue_replay(Ctx &c) {
    if (!replaying(c.arm) || !c.arm.paused()) return false;
    c.arm.resume();
    return true;
}
// The replay ends where the arm stands, reporting its trajectory as not finished.
bool stop_replay(Ctx &c) {
    if (!replaying(c.arm)) return false;
    c.arm.resume();
    c.arm.delete_current(c.out.broadcast);
    return true;
}

}  // namespace

std::span<const Command> drag_commands() {
    static const Command rows[] = {
        {"start_drag_teach", "start_drag_teach", "drag_teach", start_drag_teach},
        {"stop_drag_teach", "stop_drag_teach", "drag_teach", stop_drag_teach},
        {"start_multi_drag_teach", "start_multi_drag_teach", "set_state", start_multi_drag_teach},
        {"set_drag_teach_sensitivity", "set_drag_teach_sensitivity", "set_state", set_sensitivity},
        {"get_drag_teach_sensitivity", "get_drag_teach_sensitivity", nullptr, get_sensitivity},
        {"save_trajectory", "save_trajectory", "save_state", save_trajectory},
        {"drag_trajectory_origin", "drag_trajectory_origin", "receive_state", origin},
        {"run_drag_trajectory", "run_drag_trajectory", "run_state", run},
        {"pause_drag_trajectory", "pause_drag_trajectory", "pause_state", pause_replay},
        {"continue_drag_trajectory", "continue_drag_trajectory", "continue_state", continue_replay},
        {"stop_drag_trajectory", "stop_drag_trajectory", "stop_state", stop_replay},
    };
    return rows;
}

}  // namespace ky::sim
