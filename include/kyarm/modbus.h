/*
 * kyarm/modbus.h: Modbus RTU and Modbus TCP pass-through.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_MODBUS_H
#define KYARM_MODBUS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Modbus RTU/TCP pass-through */
/*
 * The controller is the Modbus master: on its serial ports (Modbus RTU) and towards one
 * Modbus TCP slave. These functions open and close such a port and pass single reads and
 * writes of coils, discrete inputs and registers through the controller. The library does no
 * Modbus framing; it names the request in JSON and copies the values. Port numbers, baud
 * rates and the Modbus time-out are the controller's and are passed on unchecked.
 *
 * Value packing on the wire:
 *   - registers travel as two ints each, one per byte (num registers are 2 x num ints);
 *   - coils travel as one int per 8 coils (a bit field per int).
 *
 * Blocking: every function is one exchange that waits for the reply named like the request.
 * It waits m_nOutTime_max (1000 ms by default); ky_write_single_coil, ky_write_coils and
 * ky_read_multiple_coils wait m_nOutTime_max + 2000 ms, as the controller confirms them later.
 *
 * Results: 0 success (outputs written only then, see each read); 1 the controller refused
 * ("set_state", "write_state" or "read_state" false); -1 unknown handle, send failure or a
 * refused argument (nothing sent); -2 no reply in time; -3 unreadable reply (not JSON, the
 * state key missing or not a boolean).
 *
 * Reads: when the reply carries no readable "data", the read is judged by its "read_state":
 * false gives 1, missing -3, and true gives 0 with the output left as it was.
 */

/** How one slave is addressed: passed by value, four ints in this order. */
typedef struct {
    int32_t port;     /**< "port": controller port through which the slave is reached */
    int32_t address;  /**< "address": first coil or register address */
    int32_t device;   /**< "device": slave (unit) id */
    int32_t num;      /**< "num": coil or register count of the multiple operations */
} ky_modbus_rw_params;

/** Opens serial port `port` as a Modbus RTU master: {"command":"set_modbus_mode","port":p,
 *  "baudrate":b,"timeout":t} (`timeout` is the controller's Modbus time-out, in its units);
 *  answered with "set_state". */
KY_API int ky_set_modbus_mode(ky_robot_handle *robot_handle, int port, int baudrate, int timeout);
/** Closes the Modbus RTU master on serial port `port` ("port"); answered with "set_state". */
KY_API int ky_close_modbus_mode(ky_robot_handle *robot_handle, int port);
/** Connects the controller's Modbus TCP master to the slave at ip:port:
 *  {"command":"set_modbustcp_mode","ip":ip,"port":p,"timeout":t}; answered with "set_state".
 *  A null `ip` is refused (-1). */
KY_API int ky_set_modbustcp_mode(ky_robot_handle *robot_handle, const char *ip, int port, int timeout);
/** Closes the Modbus TCP connection ({"command":"close_modbustcp_mode"}); "set_state". */
KY_API int ky_close_modbustcp_mode(ky_robot_handle *robot_handle);

/** Reads coils: sends "port", "address", "num", "device"; the reply's integer "data" goes to
 *  *data (one int; its bits are the coils). Waits m_nOutTime_max. */
KY_API int ky_read_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data);
/** Reads discrete inputs, as ky_read_coils ("read_input_status"). */
KY_API int ky_read_input_status(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data);
/** Reads one holding register at params.address into *data (one int). Sends "port",
 *  "address", "device" only: params.num is not sent. Waits m_nOutTime_max. */
KY_API int ky_read_holding_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data);
/** Reads one input register, as ky_read_holding_registers ("read_input_registers"). */
KY_API int ky_read_input_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data);

/** Writes one coil: "port", "address", "data", "device" (no "num"); answered with
 *  "write_state". Waits m_nOutTime_max + 2000 ms. */
KY_API int ky_write_single_coil(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int data);
/** Writes one register, as ky_write_single_coil; waits only m_nOutTime_max. */
KY_API int ky_write_single_register(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int data);
/** Writes params.num registers from address on: "port", "address", "num", "data", "device",
 *  where "data" is the first 2 x num ints of `data` (two bytes per register, so `data` must
 *  hold 2 x num ints; num 0 or below sends an empty array). Answered with "write_state".
 *  Waits m_nOutTime_max. A null `data` with num above 0, or a num above 1073741823 (more
 *  ints than an int counts), is refused (-1). */
KY_API int ky_write_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, const int *data);
/** Writes params.num coils: "data" is the first num / 8 ints of `data`, rounded DOWN (8 coils
 *  per int; 10 coils send one int, fewer than 8 an empty array), so `data` must hold num / 8
 *  ints. Answered with "write_state". Waits m_nOutTime_max + 2000 ms. A null `data` with
 *  num / 8 above 0 is refused (-1). */
KY_API int ky_write_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, const int *data);

/** Reads params.num coils. The reply's "data" must be an int array of num / 8 rounded UP
 *  ints (8 coils per int), but only num / 8 rounded DOWN are copied to `data`: `data` must
 *  hold num / 8 ints. With 10 coils two ints are read and one is copied; with fewer than 8
 *  nothing is copied and the result is 0. At most 24 ints fit in a reply, so num is at most
 *  192. Waits m_nOutTime_max + 2000 ms. */
KY_API int ky_read_multiple_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data);
/** Reads params.num holding registers: the reply's "data" must be an int array of exactly
 *  2 x num ints (two bytes per register), all copied to `data`, which must hold 2 x num ints.
 *  At most 24 ints fit in a reply, so num is at most 12. Waits m_nOutTime_max. */
KY_API int ky_read_multiple_holding_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params,
                                              int *data);
/** Reads params.num input registers, as ky_read_multiple_holding_registers. */
KY_API int ky_read_multiple_input_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params,
                                            int *data);
/*
 * For the multiple reads a "data" that is missing, not an array or of another length (also
 * a num beyond the limits above) is not readable: the read is then judged by "read_state"
 * as described at the top, and `data` is left as it was.
 */

#ifdef __cplusplus
}
#endif

#endif /* KYARM_MODBUS_H */
