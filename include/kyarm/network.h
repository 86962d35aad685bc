/*
 * kyarm/network.h: network and serial settings of the controller (wired address, Wi-Fi
 * access point or station, USB and RS485 baud rates, RS485 modes).
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_NETWORK_H
#define KYARM_NETWORK_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Network and serial settings */
/*
 * Several of these settings make the controller restart its network or serial port, so the
 * library sends them and does not wait for an answer: ky_set_wifi_ap, ky_set_wifi_sta,
 * ky_set_usb and ky_set_RS485 send the command, then sleep 800 ms (holding the robot, so
 * deleting it waits) and return 0; -1 when the handle is unknown or the send failed. They
 * never report whether the controller took the setting: read it back to know.
 *
 * The other functions are one exchange each, matched on the request's own command name:
 * 0 success (outputs written only then, except where stated); 1 the controller answered its
 * state key false; -1 unknown handle or send failure; -2 no reply within the wait; -3 the
 * reply could not be read (not JSON, a member missing or of the wrong type).
 *
 * Text fields: every string the controller reports is copied into a field of fixed width
 * (the widths of ky_wifi_net below; the buffers of ky_get_wired_net must have the same
 * widths). A string shorter than its field is NUL-terminated and the rest of the field is
 * zeroed; a string that fills the field exactly has no terminator, and a longer one is cut
 * at the field width. Nothing is ever written past a field.
 * Wi-Fi names and passwords are passed on as given (a null string goes out as ""); the
 * library keeps none of them. Baud rates are in bit/s and passed on unchecked: the controller
 * ignores one it cannot set.
 */

#define KY_WIFI_IP_LEN 16
#define KY_WIFI_MAC_LEN 18
#define KY_WIFI_MODE_LEN 5
#define KY_WIFI_PASSWORD_LEN 16
#define KY_WIFI_SSID_LEN 32

/** Wi-Fi state reported by the controller (ky_get_wifi_net). */
typedef struct {
    int channel;                         /**< radio channel; filled only in access-point mode */
    char ip[KY_WIFI_IP_LEN];             /**< "ip", dotted quad */
    char mac[KY_WIFI_MAC_LEN];           /**< "mac", aa:bb:cc:dd:ee:ff */
    char mask[KY_WIFI_IP_LEN];           /**< "mask", dotted quad */
    char mode[KY_WIFI_MODE_LEN];         /**< "mode": "ap", "sta" or "off" */
    char password[KY_WIFI_PASSWORD_LEN]; /**< "password" (not filled in "off" mode) */
    char ssid[KY_WIFI_SSID_LEN];         /**< "ssid" (not filled in "off" mode) */
} ky_wifi_net;

/** Sets the wired network address: {"command":"set_NetIP","ip":ip} (dotted quad; null goes
 *  out as ""). Waits up to 2000 ms for the reply's boolean "status" (true 0, false 1: the
 *  controller refused the address). */
KY_API int ky_set_NetIP(ky_robot_handle *robot_handle, const char *ip);

/** Makes the controller a Wi-Fi access point named `wifi_name` with `password`
 *  ({"command":"set_wifi_ap","wifi_name":..,"password":..}). No answer is read: sends, sleeps
 *  800 ms, returns 0 (-1 unknown handle or send failure). */
KY_API int ky_set_wifi_ap(ky_robot_handle *robot_handle, const char *wifi_name, const char *password);

/** Joins the controller to the Wi-Fi network `router_name` with `password`
 *  ({"command":"set_wifi_sta","router_name":..,"password":..}). No answer is read: sends,
 *  sleeps 800 ms, returns 0 (-1 unknown handle or send failure). */
KY_API int ky_set_wifi_sta(ky_robot_handle *robot_handle, const char *router_name, const char *password);

/** Sets the baud rate of the USB serial port ({"command":"set_usb","baudrate":b}). No answer
 *  is read: sends, sleeps 800 ms, returns 0 (-1 unknown handle or send failure). */
KY_API int ky_set_usb(ky_robot_handle *robot_handle, int baudrate);

/** Sets the baud rate of the controller's RS485 port ({"command":"set_RS485","baudrate":b}).
 *  No answer is read: sends, sleeps 800 ms, returns 0 (-1 unknown handle or send failure). */
KY_API int ky_set_RS485(ky_robot_handle *robot_handle, int baudrate);

/** Reads the wired interface: its address, net mask and MAC into `ip`, `mask` and `mac`
 *  (buffers of KY_WIFI_IP_LEN, KY_WIFI_IP_LEN and KY_WIFI_MAC_LEN bytes; any may be null).
 *  Waits up to m_nOutTime for the reply "get_wired_net"; written only when all three strings
 *  were read. */
KY_API int ky_get_wired_net(ky_robot_handle *robot_handle, char *ip, char *mask, char *mac);

/** Reads the Wi-Fi state into *wifi_net. Waits up to m_nOutTime for the reply
 *  "get_wifi_net". The strings "mask", "ip", "mac" and "mode" must all be there (else -3 and
 *  nothing is written). In "ap" mode "channel" is read too (left as it was when missing).
 *  In "off" mode the function returns 0 there, leaving `ssid` and `password` untouched.
 *  Otherwise "ssid" and "password" are read and copied, and their result returned: when one
 *  of them is missing the result is -3, yet both fields are written (a missing one empty).
 *  A null wifi_net is -1 and nothing is sent. */
KY_API int ky_get_wifi_net(ky_robot_handle *robot_handle, ky_wifi_net *wifi_net);

/** Restores the controller's factory network settings. Waits up to 4000 ms for the reply's
 *  boolean "net_default_state". */
KY_API int ky_set_net_default(ky_robot_handle *robot_handle);

/** Switches the controller's Wi-Fi off. Waits up to 2000 ms for the reply's boolean
 *  "wifi_close_state". */
KY_API int ky_set_wifi_close(ky_robot_handle *robot_handle);

/** Reads the mode, baud rate and Modbus time-out of the controller's RS485 port (reply
 *  "get_controller_RS485_mode": "controller_RS485_mode", "baudrate", "modbus_timeout").
 *  Waits up to m_nOutTime. The mode is the controller's code as reported, the baud rate in
 *  bit/s. When the port is not in Modbus RTU mode the controller leaves "modbus_timeout"
 *  out: *modbus_timeout is then 0, the result 0, and a warning is logged ("it is not in
 *  Modbus-RTU mode, and the modbus_timeout field does not exist.").
 *  A missing mode or baud rate is -3 with "<key> parsing error". Outputs (any may be null)
 *  are written only on 0. */
KY_API int ky_get_controller_RS485_mode(ky_robot_handle *robot_handle, int *mode, int *baudrate,
                                        int *modbus_timeout);

/** The same for the tool flange's RS485 port (reply "get_tool_RS485_mode", mode key
 *  "tool_RS485_mode"). */
KY_API int ky_get_tool_RS485_mode(ky_robot_handle *robot_handle, int *mode, int *baudrate, int *modbus_timeout);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_NETWORK_H */
