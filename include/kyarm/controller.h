/*
 * kyarm/controller.h: controller state, arm power and maintenance counters.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_CONTROLLER_H
#define KYARM_CONTROLLER_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ===================================== Controller state, power and maintenance counters */
/*
 * Each function is one exchange waiting m_nOutTime for its reply (1024-byte buffer); none
 * keeps state in the library. Outputs are written only when the result is 0; every output
 * pointer may be null. Results: 0 success; 1 the controller answered false; -1 unknown
 * handle or send failure; -2 no reply within m_nOutTime; -3 unreadable reply. Voltages,
 * currents, temperatures and odometers travel in thousandths and are divided by 1000 in
 * single precision; their physical units, the error flag and the power state values are
 * the controller's.
 */

/** Supply voltage, current and temperature of the controller and its error flag (as sent).
 *  Request "get_controller_state", reply "controller_state". */
KY_API int ky_get_controller_state(ky_robot_handle *robot_handle, float *voltage, float *current, float *temperature,
                                   int *err_flag);
/** Switches the arm's power: `arm_power` is sent as given (the controller uses 1 on, 0 off).
 *  The reply's "arm_power" boolean decides 0 / 1. */
KY_API int ky_set_arm_power(ky_robot_handle *robot_handle, int arm_power);
/** Reads the arm's power state. Request "get_arm_power_state", reply "arm_power_state".
 *  A reply without a readable "power_state" gives a positive result (not -3) and leaves
 *  *power_state as it was: treat every non-zero result as failure. */
KY_API int ky_get_arm_power_state(ky_robot_handle *robot_handle, int *power_state);
/** Running time of the controller system: days, hours, minutes, seconds. */
KY_API int ky_get_system_runtime(ky_robot_handle *robot_handle, int *day, int *hour, int *min, int *sec);
/** Resets the system running time. The reply's "clear_state" decides 0 / 1. */
KY_API int ky_clear_system_runtime(ky_robot_handle *robot_handle);
/** Reads every joint's odometer (reply value / 1000) into odom[dof], so odom needs room for
 *  7. The dof is checked after the reply came: when it is not 6 or 7 the result is -1
 *  ("The robotic arm has been disconnected"); an odometer array of another length is -3. */
KY_API int ky_get_joint_odom(ky_robot_handle *robot_handle, float *odom);
/** Resets every joint's odometer. The reply's "clear_state" decides 0 / 1. */
KY_API int ky_clear_joint_odom(ky_robot_handle *robot_handle);
/** Clears the controller's system error flag. The reply's "clear_state" decides 0 / 1. */
KY_API int ky_clear_system_err(ky_robot_handle *robot_handle);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_CONTROLLER_H */
