/*
 * kyarm/drag.h: drag teaching and recorded trajectories.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_DRAG_H
#define KYARM_DRAG_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Drag teaching */
/*
 * The operator moves the arm by hand while the controller records the path; the library
 * starts and stops drag teaching, sets its sensitivity, brings the arm back to the start of
 * the recorded path, replays it (run, pause, continue, stop) and saves it into a local file.
 *
 * Unless stated, each function is one exchange: it sends {"command":<name>,...} and waits
 * m_nOutTime for the reply of the same name, whose boolean state key gives the result:
 * 0 true; 1 false (the controller refused); -1 unknown handle or send error; -2 no reply in
 * time; -3 unreadable reply or state key missing. Values of "mode", "frame", "grade" and
 * "trajectory_record" are passed through as the controller numbers them.
 */

/** Parameters of ky_start_multi_drag_teach_new(). */
typedef struct {
    int32_t free_axes[6];  /**< one flag per Cartesian axis x, y, z, rx, ry, rz: 1 free, 0 held */
    int32_t frame;         /**< frame in which the axes are meant (the controller's numbering) */
    int32_t singular_wall; /**< singularity wall setting (the controller's numbering) */
} ky_multi_drag_teach_param;

/** Starts drag teaching; `trajectory_record` as the controller numbers it (record or not).
 *  Sends "trajectory_record"; state key "drag_teach". */
KY_API int ky_start_drag_teach(ky_robot_handle *robot_handle, int trajectory_record);
/** Ends drag teaching. State key "drag_teach". */
KY_API int ky_stop_drag_teach(ky_robot_handle *robot_handle);

/** Starts multi-mode drag teaching ("start_multi_drag_teach") with "mode" and
 *  "singular_wall". State key "set_state". */
KY_API int ky_start_multi_drag_teach(ky_robot_handle *robot_handle, int mode, int singular_wall);
/** Starts multi-mode drag teaching from a parameter record. The arm's identity is read
 *  first (ky_get_robot_info; a failure returns -1, nothing sent). With a six-axis force
 *  sensor (force_type 2) the request carries "frame", "singular_wall" and "free_axes" (six
 *  integers); otherwise only "frame", after the warning "Non-six-dimensional force version,
 *  The configuration for singular_wall and the values in free_axes array are invalid.".
 *  State key "set_state". */
KY_API int ky_start_multi_drag_teach_new(ky_robot_handle *robot_handle, ky_multi_drag_teach_param param);

/** Sets the drag sensitivity `grade` (through ky_set_data_common(): waits m_nOutTime_max,
 *  state key "set_state"). The controller keeps the value. */
KY_API int ky_set_drag_teach_sensitivity(ky_robot_handle *robot_handle, int grade);
/** Reads the drag sensitivity into *grade (through ky_get_data_common(): member "grade");
 *  *grade is written only on 0. -3 when the member is missing. */
KY_API int ky_get_drag_teach_sensitivity(ky_robot_handle *robot_handle, int *grade);

/** Moves the arm back to the start of the recorded path. Sends
 *  {"command":"drag_trajectory_origin"} and pauses 10 ms without reading the controller's
 *  answer; a send failure (-1) or `block` 0 returns at once (0: the controller's acceptance
 *  is not known). Blocking, modes 1 and 2: waits like a blocking joint step until the
 *  return move (trajectory type movej) has finished, with no overall time limit while the
 *  controller reports it running: 0 finished; 1 the controller reported failure; -4 the
 *  last completion line named another device (logged "current device is"); -1 / -3
 *  unreadable completion line; a failed trajectory query's code after six failures.
 *  Mode 0: waits for the completion line in `block` one-second periods, -5 when none came. */
KY_API int ky_drag_trajectory_origin(ky_robot_handle *robot_handle, int block);

/** Replays the recorded path. `timeout_s` in seconds:
 *  - 0 (or negative): sends and returns at once without reading an answer: 0, or -1 for an
 *    unknown handle or a send error.
 *  - Mode 0: one exchange waiting timeout_s seconds for the reply; state key "run_state".
 *  - Modes 1 and 2: sends, pauses timeout_s seconds, then queries the running trajectory
 *    every 50 ms while it reports a replay (re_trajectory); then waits m_nOutTime_max for
 *    the "run_drag_trajectory" reply (-2 when none came) and reads "run_state". Blocks at
 *    least timeout_s seconds and as long as the replay runs. */
KY_API int ky_run_drag_trajectory(ky_robot_handle *robot_handle, int timeout_s);
/** Pauses the replay. State key "pause_state". */
KY_API int ky_pause_drag_trajectory(ky_robot_handle *robot_handle);
/** Continues a paused replay. State key "continue_state". */
KY_API int ky_continue_drag_trajectory(ky_robot_handle *robot_handle);
/** Stops the replay. State key "stop_state". */
KY_API int ky_stop_drag_trajectory(ky_robot_handle *robot_handle);

/** Saves the recorded path into the local file `path` and writes the controller's point
 *  count to *total_num.
 *
 *  Opens `path` for writing (truncated; -4 when it cannot be opened, logged "File open
 *  error!", nothing sent), then sends {"command":"save_trajectory","trajectory_name":name}
 *  where name is the file name without directory and without its last extension
 *  ("/data/run.1.txt" gives "run.1", "C:\\rec\\drag.csv" gives "drag"; at most 298
 *  characters of the path are used). The reply carries "save_state" (false: 1) and
 *  "total_num" (-3 when negative; a missing one reads as 0). The controller then streams the
 *  points as lines {"point":[...],...}; the library writes each line, followed by CR LF,
 *  to the file as it arrives.
 *  - Modes 1 and 2: pauses 2 s; -6 when no point has arrived by then, or when a line
 *    without "command", "state" and a "point" array came meanwhile; otherwise waits,
 *    checking every 100 ms, until total_num points have been written (no overall time
 *    limit), closes the file and returns 0.
 *  - Mode 0: the calling thread reads the points itself and writes each received line
 *    (which ends in CR LF) followed by CR LF; the next line starts on the final LF, so the
 *    file holds line CR LF CR line CR LF CR ... line CR LF CR LF. The stream ends after
 *    about 2 s without data (a thousand empty reads); the file is closed and 0 returned.
 *    When no point came within m_nOutTime, the result is -2.
 *  On a failure after the file was opened, the file stays open (and takes any point lines
 *  that still arrive) until the next save.
 *
 *  The save state (the file and the counters) is one set for the whole process: saves are
 *  serialised, so a save started while another one runs (on any robot and any thread)
 *  waits until that one has returned and then runs on its own. Blocks at least 2 s in
 *  modes 1 and 2. */
KY_API int ky_save_trajectory(ky_robot_handle *robot_handle, const char *path, int *total_num);

/** Reads a save_trajectory reply as ky_save_trajectory() does: 0 with *total_num set (and
 *  the library's announced point count), 1 "save_state" false, -3 not JSON, "save_state"
 *  missing or not a boolean, or "total_num" negative (a missing "total_num" reads as 0). */
KY_API int parse_ky_save_trajectory(const char *tag, const char *text, int *total_num);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_DRAG_H */
