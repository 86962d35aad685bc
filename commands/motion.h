// Completion wait of blocking motion commands, shared by the planned moves and the steps
// (and by any other family whose commands end with a pushed "current_trajectory_state").
#pragma once
#include "ky_api.h"

namespace ky {

// Asks the controller what the waiting device is doing: 0 with *activity set (0 idle,
// anything else the kind of work it reports), or the failed query's result code.
using ActivityQuery = int (*)(ky_robot_handle *robot, int *activity);

// The arm's activity: the type of the trajectory it runs (ky_get_arm_current_trajectory).
int arm_trajectory_type(ky_robot_handle *robot, int *activity);

// How one blocking command waits for its trajectory to finish (modes 1 and 2).
struct CompletionWait {
    const char *tag;       // log tag of the waits and of the device error
    int running_type;      // activity that the query reports while the own work runs
    bool wait_first;       // each pass starts with a wait for the completion line
    int final_wait_ms;     // wait for the completion line once the arm is idle; -1: m_nOutTime
    bool pause_while_running = true;  // 100 ms between queries while the own type runs
    int device = 0;        // device code whose completion ends the wait
    ActivityQuery query = arm_trajectory_type;
    int idle_pause_ms = 100;  // pause after an idle answer while the work was never seen running
    // A completion line of the own device whose connect value is neither 0 nor 1 ends the
    // wait at once with -4 (the auxiliary axes); otherwise the device is queried (the arm).
    bool strict_device_line = false;
    // Pause while another trajectory type runs, and after a final wait that found nothing.
    int other_pause_ms = 100;
};

// The members of the blocking family.
inline CompletionWait planned_move(const char *tag, int running_type) {
    return {tag, running_type, true, -1};
}
inline CompletionWait movej_p_move(const char *tag) { return {tag, 1, false, 1000}; }
inline CompletionWait step_move(const char *tag, int running_type) {
    return {tag, running_type, false, 1000, false};
}
// An auxiliary axis (lift, expansion axis): `query` reports 1 while the axis moves, else 0;
// 50 ms between idle answers.
inline CompletionWait axis_move(const char *tag, int device, ActivityQuery query) {
    return {tag, 1, true, -1, true, device, query, 50, true};
}

// Polls the completion line and the activity query until the trajectory has finished:
// 0 done; 1 the controller reported failure; -1, -3 unreadable completion line; -4 the
// last completion named another device or connect value; a failed query's code after six
// failures.
int wait_for_completion(ky_robot_handle *robot, const CompletionWait &wait);

// After a blocking command was accepted (its exchange returned `reply_length`): the
// completion wait of the library's mode. Mode 0 waits `block` one-second periods for the
// completion line of `wait.device`; any mode other than 0, 1 and 2 returns `reply_length`.
int finish_blocking(ky_robot_handle *robot, int block, int reply_length, const CompletionWait &wait);

}  // namespace ky

// Reads a completion line: its "trajectory_state" (1 true, 0 false, -1 missing), or -3 when
// the text is not JSON or "device" / "trajectory_connect" is negative.
int parse_ky_move_command(const char *text, int *device, int *connect);
