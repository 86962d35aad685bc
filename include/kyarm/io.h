/*
 * kyarm/io.h: digital IO and supply voltage of the controller and of the tool flange.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_IO_H
#define KYARM_IO_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Controller and tool IO */
/*
 * Channels are addressed by the controller's channel number ("IO_Num"), passed on as given:
 * the library checks no range, and a controller that lacks the channel refuses (result 1).
 * Channel modes, output levels and voltage types are passed through unchanged, with the
 * meaning the controller gives them. Nothing is cached.
 * Each function is one exchange that blocks until the reply arrives or m_nOutTime passes.
 * Results: 0 success (outputs written only then); 1 the controller refused; -1 unknown
 * handle or send failure; -2 no reply within m_nOutTime; -3 unreadable reply (for the
 * setters a missing or non-boolean state key, for the getters a missing member or an array
 * of the wrong length).
 */

/** Sets the mode of controller channel `io_num`: {"command":"set_IO_mode","IO_Num":n,
 *  "IO_mode":m}, answered with "set_state". */
KY_API int ky_set_IO_mode(ky_robot_handle *robot_handle, int io_num, int io_mode);
/** Sets the output level of controller channel `io_num` ("state"), answered with
 *  "set_state". */
KY_API int ky_set_DO_state(ky_robot_handle *robot_handle, int io_num, int state);
/** Reads one controller channel: its level into *state and its mode into *mode (either may
 *  be null). The reply is named "IO_state"; the channel number it echoes is not checked. */
KY_API int ky_get_IO_state(ky_robot_handle *robot_handle, int io_num, int *state, int *mode);
/** Reads the four controller digital inputs into di[0..3] (reply "IO_input_state", member
 *  "DI" of exactly four integers). */
KY_API int ky_get_IO_input(ky_robot_handle *robot_handle, int *di);
/** Reads the four controller digital outputs into do_state[0..3] (reply "IO_output_state",
 *  member "DO" of exactly four integers). */
KY_API int ky_get_IO_output(ky_robot_handle *robot_handle, int *do_state);
/** Sets the supply voltage type of the controller's IO ("voltage_type"); answered with the
 *  boolean "state" (not "set_state"). */
KY_API int ky_set_voltage(ky_robot_handle *robot_handle, int voltage_type);
/** Reads the controller's supply voltage type (reply "voltage_state"). */
KY_API int ky_get_voltage(ky_robot_handle *robot_handle, int *voltage_type);

/** Sets the output level of tool channel `io_num` ("state"), answered with "set_state". */
KY_API int ky_set_tool_DO_state(ky_robot_handle *robot_handle, int io_num, int state);
/** Sets the mode of tool channel `io_num`. The mode travels under the key "state":
 *  {"command":"set_tool_IO_mode","IO_Num":n,"state":m}; answered with "set_state". */
KY_API int ky_set_tool_IO_mode(ky_robot_handle *robot_handle, int io_num, int io_mode);
/** Reads both tool channels: modes into mode[0..1], levels into state[0..1] (either may be
 *  null; reply "tool_IO_state", arrays "IO_Mode" and "IO_state" of exactly two integers). */
KY_API int ky_get_tool_IO_state(ky_robot_handle *robot_handle, int *mode, int *state);
/** Sets the tool flange's supply voltage type; answered with the boolean "state". */
KY_API int ky_set_tool_voltage(ky_robot_handle *robot_handle, int voltage_type);
/** Reads the tool flange's supply voltage type (reply "tool_voltage_state"). */
KY_API int ky_get_tool_voltage(ky_robot_handle *robot_handle, int *voltage_type);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_IO_H */
