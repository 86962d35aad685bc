/*
 * kyarm/realtime.h: realtime state pushes, push configuration, arm state queries.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_REALTIME_H
#define KYARM_REALTIME_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Realtime state and events */
/*
 * Realtime state. In mode 2 the controller pushes its state as one JSON datagram per cycle
 * to a UDP port of the host (configured with ky_set_realtime_push). The library's UDP
 * thread blocks on every registered port, parses each datagram into a
 * ky_realtime_arm_joint_state and passes it to the state callback as soon as it arrives;
 * every pending datagram is read, none is skipped. The port of each robot is registered
 * by ky_create_robot_arm when the controller reports pushing as enabled.
 */

/** Lift state of a realtime datagram ("lift_state"). */
typedef struct {
    int32_t height;   /**< "height" as sent */
    float pos;        /**< "pos" / 1000 */
    int32_t current;  /**< "current" as sent */
    int32_t err_flag; /**< "err_flag" as sent */
    int32_t en_flag;  /**< "en_flag" as sent */
} ky_lift_state;

/** Expansion-axis state of a realtime datagram ("expand_state"). */
typedef struct {
    float pos;        /**< "pos" / 1000 */
    int32_t current;
    int32_t err_flag;
    int32_t en_flag;
    int32_t joint_id;
    int32_t mode;
} ky_expand_state;

/** Dexterous-hand state of a realtime datagram ("hand"). */
typedef struct {
    int32_t hand_pos;
    float hand_force; /**< the integer as sent, not scaled */
    int32_t hand_state;
    int32_t hand_err;
} ky_hand_state;

/** Arm status codes of ky_realtime_arm_joint_state.arm_current_status. */
enum {
    KY_ARM_IDLE = 0, KY_ARM_MOVE_L = 1, KY_ARM_MOVE_J = 2, KY_ARM_MOVE_C = 3, KY_ARM_MOVE_S = 4,
    KY_ARM_MOVE_THROUGH_JOINT = 5, KY_ARM_MOVE_THROUGH_POSE = 6, KY_ARM_MOVE_THROUGH_FORCE_POSE = 7,
    KY_ARM_MOVE_THROUGH_CURRENT = 8, KY_ARM_STOP = 9, KY_ARM_SLOW_STOP = 10, KY_ARM_PAUSE = 11,
    KY_ARM_CURRENT_DRAG = 12, KY_ARM_SENSOR_DRAG = 13, KY_ARM_TECH_DEMONSTRATION = 14
};

/** One realtime state push. Arrays hold at most 7 joints / 6 force values; longer arrays in
 *  a datagram are cut, shorter ones leave the rest zero. Blocks absent from the datagram
 *  leave their fields zero. */
typedef struct {
    int32_t errCode;              /**< 0 parsed, -3 the datagram was not valid (fields parsed
                                       before the fault are kept) */
    char sender_ip[16];           /**< sender's IPv4 address as text */
    uint16_t arm_err;             /**< "arm_err" */
    float joint_current[7];       /**< "joint_current" / 1000 */
    bool joint_en_flag[7];        /**< "joint_en_flag" element non-zero */
    uint16_t joint_err_code[7];   /**< "joint_err_code" */
    float joint_position[7];      /**< "joint_position" / 1000, degrees */
    float joint_temperature[7];   /**< "joint_temperature" / 1000 */
    float joint_voltage[7];       /**< "joint_voltage" / 1000 */
    float joint_speed[7];         /**< "joint_speed" x 6 / 1000, degrees/s */
    float force[6];               /**< "force" / 1000 (six_force_sensor, else one_force_sensor) */
    float zero_force[6];          /**< "zero_force" / 1000 */
    int32_t coordinate;           /**< force data frame, "coordinate" */
    uint16_t sys_err;             /**< "sys_err" */
    float position[3];            /**< waypoint "position" / 1000000, metres */
    float quaternion[4];          /**< waypoint "quat" / 1000000, w, x, y, z as sent */
    float euler[3];               /**< waypoint "euler" / 1000, radians */
    ky_lift_state lift_state;
    ky_expand_state expand_state;
    ky_hand_state hand_state;
    int32_t arm_current_status;   /**< KY_ARM_* code of "arm_current_status"; unknown text 0 */
} ky_realtime_arm_joint_state;

/** State callback: runs on the library's UDP thread, once per datagram, so it must return
 *  quickly (a slow callback delays the next datagrams; they are not lost). */
typedef void (*ky_realtime_arm_state_callback)(ky_realtime_arm_joint_state state);

/** Sets the state callback (a null argument leaves the current one in place). Safe to call
 *  at any time from any thread. */
KY_API void ky_realtime_arm_state_call_back(ky_realtime_arm_state_callback callback);

/** Parses one datagram's text into `state` (zeroed first). Required: "waypoint" with
 *  "quat" (4), "euler" (3), "position" (3) arrays, then the numbers "arm_err" and
 *  "sys_err". Optional, checked first in this order: "arm_current_status" (a string),
 *  "hand", "lift_state", "expand_state" (every member present and a number),
 *  "joint_status", "six_force_sensor", "one_force_sensor" (arrays used when present).
 *  0, or -3 (not JSON: logged "[ky_realtime_arm_joint_state] parse err"; a required or
 *  checked member missing or mistyped), with the fields parsed before the fault kept. */
KY_API int parse_ky_realtime_arm_joint_state(const char *text, ky_realtime_arm_joint_state *state);

/** arm_err and sys_err of the last datagram received (written by the UDP thread). */
KY_API extern uint16_t udp_arm_err;
KY_API extern uint16_t udp_sys_err;

/** UDP receiver: up to five bound ports, each shared by the robots pushing to it. The
 *  entries are guarded by the library; change them only through the two operations. */
#define KY_UDP_MAX_PORTS 5
typedef struct ky_udp_handle ky_udp_handle;
typedef struct {
    int32_t fd;   /**< socket descriptor, 0 when free */
    int32_t port;
    int32_t refs; /**< robots using this port; 0 = free */
} ky_udp_port_entry;
struct ky_udp_handle {
    ky_udp_port_entry ports[KY_UDP_MAX_PORTS];
    int (*add_port)(ky_udp_handle *receiver, int port);    /**< ky_udp_add_port */
    int (*delete_port)(ky_udp_handle *receiver, int port); /**< ky_udp_delete_port */
};

/** The receiver of mode 2, created by ky_init(2) and released by ky_destory(); null in
 *  other modes. */
KY_API extern ky_udp_handle *gUdpHandle;

/** A new receiver with every entry free (the library creates its own in ky_init). Release
 *  it with ky_udp_release(). Null when out of memory. */
KY_API ky_udp_handle *ky_udp_init(void);
/** Closes every socket the receiver ever bound and frees it. */
KY_API void ky_udp_release(ky_udp_handle *receiver);
/** An IPv4 datagram socket bound to all local addresses on `port`, with address reuse, a
 *  3 s receive time-out and a receive buffer large enough for bursts of pushes.
 *  The descriptor, or -2 (printed: "socket creation failed", "setsockopt error",
 *  "setsockopt fail" or "bind failed"). */
KY_API int ky_udp_create_connect(int port);
/** Registers `port`: 0 a new port was bound (the UDP thread serves it at once), 1 the port
 *  was already registered (one more robot uses it), -1 the socket could not be made (the
 *  entry stays free), -2 all five entries are in use (also -1 for a null receiver).
 *  A host that moves a robot's pushes to another port with ky_set_realtime_push registers
 *  the new port with ky_udp_add_port(gUdpHandle, port). */
KY_API int ky_udp_add_port(ky_udp_handle *receiver, int port);
/** One robot stops using `port`: its use count drops, and an entry no robot uses any more
 *  is freed. The socket stays open (and is served again if the port is registered again)
 *  until the receiver is released. Always 0. */
KY_API int ky_udp_delete_port(ky_udp_handle *receiver, int port);
/** Called for each entry that ky_udp_delete_port() frees. Sockets are not closed here: a
 *  freed entry's socket stays open until the receiver is released. Does nothing; 0. */
KY_API int ky_udp_close(ky_udp_handle *receiver, int fd);

/*
 * Realtime push configuration.
 */

/** Push configuration. On set, fields that are 0 or less (ip: not 7 to 15 characters) are
 *  not sent and keep the controller's value. */
typedef struct {
    int32_t cycle;            /**< push cycle as the controller counts it; sent when > 0 */
    bool enable;              /**< pushing on */
    int32_t port;             /**< target UDP port; sent when > 0 */
    int32_t force_coordinate; /**< frame of the force data; used only with a force sensor
                                   (force type 1 or 2), sent when > 0 */
    char ip[28];              /**< target IPv4 address; sent when 7 to 15 characters long */
    struct {
        /** Optional datagram blocks: on set, 0 or more is sent as false/true and a negative
         *  value leaves the block as it is; on get, 1 on, 0 off, -1 not reported. */
        int32_t joint_speed;
        int32_t lift_state;
        int32_t expand_state;
        int32_t arm_current_status;
    } custom;
} ky_realtime_push_config;

/** Configures the controller's UDP push. Sends {"command":"set_realtime_push","enable",
 *  "cycle","port","ip","force_cordinate" (spelled so; force types 1 and 2 only),
 *  "custom":{...}} ("custom" is sent even when empty) and waits m_nOutTime + 200 ms for the
 *  reply "set_realtime_push". Does not register the port with the UDP receiver.
 *  0; 1 refused ("state" false); -1 unknown handle or send failure; -2 no reply; -3. */
KY_API int ky_set_realtime_push(ky_robot_handle *robot_handle, const ky_realtime_push_config *config);
/** Reads the push configuration ("force_coordinate" only for force types 1 and 2) and
 *  caches the port in the robot handle's push_port. Waits m_nOutTime.
 *  0; -1 unknown handle or send failure; -2 no reply; -3 a member missing or mistyped. */
KY_API int ky_get_realtime_push(ky_robot_handle *robot_handle, ky_realtime_push_config *config);

/*
 * Arm state queries over TCP. Each waits m_nOutTime. Results: 0; -1 unknown handle, send
 * failure, or the arm's dof is not 6 or 7 (logged "[<function>] The robotic arm has been
 * disconnected"); -2 no reply; -3 a member missing, mistyped, or a joint array without
 * exactly dof values (the output is then left untouched).
 */

/** Current joint angles and tool pose. */
typedef struct {
    ky_pose pose;      /**< metres (reply / 1000000), radians (reply / 1000); the quaternion
                            is computed from the Euler angles */
    float joint[7];    /**< degrees (reply / 1000); the first dof are filled */
    uint8_t arm_err;   /**< the reply's integer cut to 8 bits (300 reads 44) */
    uint8_t sys_err;   /**< likewise */
} ky_current_arm_state;

/** Per-joint electrical and error state. */
typedef struct {
    float joint_current[7];      /**< "current" / 1000 */
    int32_t joint_en_flag[7];    /**< "en_flag" as sent */
    float joint_temperature[7];  /**< "temperature" / 1000 */
    float joint_voltage[7];      /**< "voltage" / 1000 */
    int32_t joint_err_code[7];   /**< "err_flag" as sent */
    int32_t sys_err;
} ky_arm_all_state;

/** "get_current_arm_state" -> "current_arm_state": "arm_err", "sys_err", "joint" (dof),
 *  "pose" (x, y, z micrometres, rx, ry, rz milliradians), inside "arm_state" when present. */
KY_API int ky_get_current_arm_state(ky_robot_handle *robot_handle, ky_current_arm_state *state);
/** "get_joint_degree" -> "joint_degree": dof joint angles, degrees. */
KY_API int ky_get_joint_degree(ky_robot_handle *robot_handle, float *joints);
/** "get_arm_all_state" -> "arm_all_state": "temperature", "current", "voltage", "err_flag",
 *  "en_flag" (dof each) and "sys_err", inside "all_state" when present. */
KY_API int ky_get_arm_all_state(ky_robot_handle *robot_handle, ky_arm_all_state *state);
/** dof joint temperatures ("joint_temperature" / 1000). */
KY_API int ky_get_current_joint_temperature(ky_robot_handle *robot_handle, float *values);
/** dof joint currents ("joint_current" / 1000). */
KY_API int ky_get_current_joint_current(ky_robot_handle *robot_handle, float *values);
/** dof joint voltages ("joint_voltage" / 1000). */
KY_API int ky_get_current_joint_voltage(ky_robot_handle *robot_handle, float *values);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_REALTIME_H */
