/*
 * kyarm/axes.h: the lift and the expansion axis, driven by the controller besides the arm.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_AXES_H
#define KYARM_AXES_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Lift and expansion axis */
/*
 * Speeds, heights, positions and currents are the controller's units, passed through.
 * Every exchange waits up to m_nOutTime.
 *
 * State queries fill `int state[4]` in this order (index names below):
 *   lift:           height ("height"), current, err_flag, mode
 *   expansion axis: position ("pos"),  current, err_flag, mode
 * A non-zero mode means the axis is moving. The array is written only on success. (The
 * records ky_lift_state / ky_expand_state of kyarm/realtime.h are the realtime pushes'
 * views of these axes, with other members.)
 *
 * Blocking moves (`block` non-zero):
 *   Modes 1 and 2: `block` is a flag. The call waits for the controller's report
 *   {"command":"current_trajectory_state","trajectory_state":true,"device":D,
 *   "trajectory_connect":0} with D 3 (lift) or 4 (expansion axis) and returns as soon as
 *   it is filed; reports of other devices and joined trajectories (connect 1) are passed
 *   over. Whenever m_nOutTime passes without a report it queries the axis state: while the
 *   mode is non-zero it queries again after 100 ms; an axis never seen moving is given ten
 *   idle answers 50 ms apart; once it is idle the call waits m_nOutTime more for the report
 *   (none: it starts over after 100 ms). No overall time limit while the axis moves or the
 *   queries keep failing fewer than six times.
 *   Mode 0: `block` is a time-out in seconds (block one-second waits for the report).
 *   Other library modes: the lift returns -3, the expansion axis 0.
 *
 * Results: 0 success / arrived; 1 refused (state key false) or the report's
 * "trajectory_state" is false; -1 unknown handle, send error, null state array, or a report
 * without a boolean "trajectory_state"; -2 no reply within m_nOutTime; -3 unreadable reply
 * or report; -4 a report of the axis with a "trajectory_connect" other than 0 and 1, or,
 * once the axis was idle, a report of another device (logged "[tag] current device is: D");
 * -5 mode 0, no report within `block` seconds; after six failed state queries in one wait,
 * the query's code.
 */

/** Indices of the state array of ky_get_lift_state. */
enum { KY_LIFT_HEIGHT = 0, KY_LIFT_CURRENT = 1, KY_LIFT_ERR_FLAG = 2, KY_LIFT_MODE = 3 };
/** Indices of the state array of ky_get_expand_state. */
enum { KY_EXPAND_POS = 0, KY_EXPAND_CURRENT = 1, KY_EXPAND_ERR_FLAG = 2, KY_EXPAND_MODE = 3 };

/** Sets the lift speed: {"command":"set_lift_speed","speed":..}, answered with "set_state". */
KY_API int ky_set_lift_speed(ky_robot_handle *robot_handle, int speed);
/** Reads the lift state (reply "lift_state": "height", "current", "err_flag", "mode"). */
KY_API int ky_get_lift_state(ky_robot_handle *robot_handle, int state[4]);
/** Moves the lift to `height`: {"command":"set_lift_height","speed":..,"height":..}. The
 *  controller sends no acknowledgement: the call holds m_nOutTime after sending and returns 0
 *  when `block` is 0 (-1 unknown handle or send error); otherwise it then waits as above. */
KY_API int ky_set_lift_height(ky_robot_handle *robot_handle, int speed, int height, int block);

/** Reads the expansion axis state (request "expand_get_state", reply "expand_state": "pos",
 *  "current", "err_flag", "mode"). */
KY_API int ky_get_expand_state(ky_robot_handle *robot_handle, int state[4]);
/** Sets the expansion axis speed: {"command":"expand_set_speed","speed":..}, answered with
 *  "set_speed_state". */
KY_API int ky_set_expand_speed(ky_robot_handle *robot_handle, int speed);
/** Moves the expansion axis to `pos`: {"command":"expand_set_pos","speed":..,"pos":..},
 *  acknowledged under "expand_set_pos" with "set_pos_state"; with `block` non-zero and the
 *  move accepted it then waits as above. Maximum blocking without a wait: m_nOutTime. */
KY_API int ky_set_expand_pos(ky_robot_handle *robot_handle, int speed, int pos, int block);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_AXES_H */
