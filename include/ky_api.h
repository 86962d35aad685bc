/*
 * kyarm: client library for networked robot-arm controllers.
 *
 * Plain C interface. Every controller operation takes the robot handle returned by
 * ky_create_robot_arm() first, writes its outputs through the pointers passed last, and
 * returns a signed 32-bit result code (see "Result codes" below). Nothing throws.
 *
 * Units on this interface: joint angles in degrees, joint speeds in degrees/s, joint
 * accelerations in degrees/s^2, Cartesian positions in metres, Euler angles in radians.
 * The controller speaks integers on the wire; each function documents its scaling.
 *
 * Threading: see README.md. In short, ky_init() once, then any thread may call any
 * command; commands on one robot may run concurrently but replies are matched by their
 * command name, so two threads waiting for the same command on one robot may swap replies.
 */
#ifndef KY_API_H
#define KY_API_H

#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>

#if defined(KY_BUILDING_LIBRARY)
#define KY_API __attribute__((visibility("default")))
#else
#define KY_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ===================================================================== Result codes
 *
 *  0  success; for set commands the controller answered its state key with true
 *  1  the controller answered, but refused (state key false, "receive_state" false, ...)
 * -1  the robot handle is not registered, the command could not be packed or sent, an
 *     argument was refused, or the arm's degree of freedom is not 6 or 7
 * -2  no matching reply arrived within the time-out
 * -3  the reply arrived but could not be parsed (not JSON, key missing, wrong type,
 *     array size mismatch, state key not a boolean)
 * -4, -5, -6  family-specific; documented at the functions that return them.
 * A few queries document positive results (the reply length) for unreadable replies.
 */
#define KY_OK 0
#define KY_REFUSED 1
#define KY_ERR_HANDLE (-1)
#define KY_ERR_TIMEOUT (-2)
#define KY_ERR_PARSE (-3)

/* ============================================================ Shared records */

/** Cartesian position, metres. */
typedef struct {
    float x, y, z;
} ky_position;

/** Unit quaternion, w first. */
typedef struct {
    float w, x, y, z;
} ky_quaternion;

/** Euler angles, radians: rotations about the fixed base axes X, then Y, then Z,
 *  so R = Rz(rz) * Ry(ry) * Rx(rx). */
typedef struct {
    float rx, ry, rz;
} ky_euler;

/** Pose record: position, then the orientation both as quaternion and as Euler angles.
 *  Commands that send a pose use position and Euler angles; the quaternion is ignored
 *  unless the function says otherwise. */
typedef struct {
    ky_position position;
    ky_quaternion quaternion;
    ky_euler euler;
} ky_pose;

/** Matrix record: row count, column count, and a 4x4 row-major array. A rotation uses the
 *  top-left 3x3 with counts 3 and 3; a homogeneous transform has counts 4 and 4, the
 *  translation (metres) in the fourth column and a last row 0, 0, 0, 1. */
typedef struct {
    uint16_t rows;
    uint16_t cols;
    float data[4][4];
} ky_matrix;

/** Frame name: 12 characters including the terminating NUL. */
#define KY_FRAME_NAME_LEN 12

/** Tool or work frame record. A tool frame is the tool's pose on the flange with its
 *  payload (kg) and centre of mass (metres); a work frame is a pose in the base frame and
 *  leaves payload and centre of mass at zero. */
typedef struct {
    char frame_name[KY_FRAME_NAME_LEN];
    ky_pose pose;
    float payload;
    float x, y, z;
} ky_frame;

/** Public per-robot record, returned by ky_create_robot_arm() and passed back with every
 *  call. It is the library's cache of the arm's identity and limits. */
typedef struct {
    int32_t id;          /**< 1..5 connected; -1 connecting or synchronisation failed; 0 deleted */
    int32_t dof;         /**< number of joints, 6 or 7; 0 until the software information is read */
    int32_t model;       /**< 0 KY6A, 1 KY7A, 3 KYL6C, 5 LUX6A, 6 LUX6B, 7 NOV7B, 8 LUX6C */
    int32_t force_type;  /**< 0 none ("-B"), 1 one-axis ("-ZF"), 2 six-axis ("-6F") */
    ky_frame tool_frame; /**< current tool frame, refreshed by the tool-frame queries */
    ky_frame work_frame; /**< current work frame, refreshed by the work-frame queries */
    float install_x, install_y, install_z; /**< installation angles, as the controller reports them */
    float joint_max_pos[7];   /**< degrees */
    float joint_min_pos[7];   /**< degrees */
    float joint_max_acc[7];   /**< degrees/s^2 */
    float joint_max_speed[7]; /**< degrees/s */
    int32_t push_port;        /**< UDP realtime push port last read from the controller */
} ky_robot_handle;

/** Identity triple copied from the robot handle by ky_get_robot_info(). */
typedef struct {
    int32_t dof;
    int32_t model;
    int32_t force_type;
} ky_robot_info;

/* ================================================================== Logging
 *
 * One process-wide logger: a callback and a level threshold. Levels: 0 debug, 1 info,
 * 2 warn, 3 error; 4 or more silences everything. The default callback writes the message
 * to standard error as it is; the default threshold is 3 (errors only).
 */
#define KY_LOG_DEBUG 0
#define KY_LOG_INFO 1
#define KY_LOG_WARN 2
#define KY_LOG_ERROR 3

/** Log callback: a printf-style format and its argument list. May be called from any
 *  library thread (command threads, the receive thread, the UDP thread). */
typedef void (*ky_log_callback)(const char *format, va_list args);

/** Installs `callback` (the default stderr writer when null) with threshold `level`;
 *  returns the callback now in force. */
KY_API ky_log_callback ky_set_log_callback(ky_log_callback callback, uint32_t level);
/** Same as ky_set_log_callback(). */
KY_API ky_log_callback ky_set_log_call_back(ky_log_callback callback, uint32_t level);
/** Appends every message of every level to the file `path`, each line prefixed with
 *  "[YYYY-MM-DD HH_MM_SS]: ". If the file cannot be opened the process exits with status 1. */
KY_API void ky_set_log_save(const char *path);
/** Log at a fixed level through the installed callback (when the threshold allows it). */
KY_API void ky_log_debug(const char *format, ...);
KY_API void ky_log_info(const char *format, ...);
KY_API void ky_log_warn(const char *format, ...);
KY_API void ky_log_error(const char *format, ...);
/** Passes the message on when `level` is below the threshold (the reverse sense of the
 *  four functions above; unused by the library itself). */
KY_API void ky_log(uint32_t level, const char *format, ...);
/** Current local time as "YYYY-MM-DD HH_MM_SS". The text lives in a per-thread buffer
 *  that the next call on the same thread overwrites. */
KY_API const char *ky_get_cur_time(void);

/* ======================================================= Lifecycle and handles */

/** Default reply wait of most commands, in milliseconds (initially 500). A wait of T ms
 *  ends after T ms (T below 2 returns at once). Writable; read at the start of each wait. */
KY_API extern int m_nOutTime;
/** Longer reply wait used by set commands through ky_set_data_common() and by slower
 *  families, in milliseconds (initially 1000). */
KY_API extern int m_nOutTime_max;

/** Starts the library. Mode 0: no thread, each command's calling thread reads its own
 *  replies (meant for one calling thread). Mode 1: one receive thread serves all robots.
 *  Mode 2: receive thread plus the UDP realtime-state thread. Other values start nothing.
 *  Returns 0, or -1 when a thread cannot be started. Call once, or again after ky_destory(). */
KY_API int ky_init(int mode);
/** Library version, "1.0.3.t5". */
KY_API const char *ky_api_version(void);
/** Connects to the controller at `ip` (dotted IPv4, at most 20 characters) and `port`, then
 *  reads the arm's identity, frames, limits and push configuration into the returned record.
 *  Blocks for the connection (at most about 3 s) and the synchronisation queries.
 *  Returns null when all five robot slots are taken or the address or port is refused.
 *  Otherwise returns the record; its `id` is 1..5 on success and -1 when the connection or
 *  the synchronisation failed. A record with id -1 still holds its slot until
 *  ky_delete_robot_arm() is called with it. */
KY_API ky_robot_handle *ky_create_robot_arm(const char *ip, int port);
/** Closes one robot's connection and frees its slot. The record stays readable (id 0)
 *  until ky_destory(); commands with it return -1. Waits for that robot's commands in
 *  flight. Returns 0, or -1 (logged "not find handle") for an unknown pointer. */
KY_API int ky_delete_robot_arm(ky_robot_handle *robot_handle);
/** Stops the library's threads, closes every robot and frees every record (including those
 *  of deleted robots). Always 0. Afterwards ky_init() may be called again. */
KY_API int ky_destory(void);
/** Copies the arm's degree of freedom (6 or 7). 0, or -1 when the handle is unknown or the
 *  dof is not 6 or 7. */
KY_API int ky_get_arm_dof(ky_robot_handle *robot_handle, int *dof);
/** Copies dof, model and force type. 0; -1 unknown handle; -2 when dof is still 0. */
KY_API int ky_get_robot_info(ky_robot_handle *robot_handle, ky_robot_info *info);

/* ======================================================= Command exchange
 *
 * The building blocks of every command, exported for hosts that speak commands the library
 * has no function for. Each command on the wire is one JSON object, "\r\n" and one NUL.
 */

/** Request item: one JSON member to send. */
typedef struct {
    uint32_t type;    /**< 0 string, 1 integer, 2 integer array, 3 boolean, 4 JSON item */
    const char *key;  /**< member name (not copied) */
    int32_t count;    /**< element count for type 2, else 0 */
    union {
        const char *str;        /**< type 0 */
        int32_t num;            /**< type 1 and 3 (3: non-zero is true) */
        const int32_t *array;   /**< type 2 */
        void *item;             /**< type 4: a cJSON item; ownership passes to the call */
        intptr_t word;
    } value;
} json_pack_item;

/** Reply item: one JSON member to extract. */
typedef struct {
    uint32_t type;    /**< 0 string, 1 integer, 2 integer array, 3 boolean, 4 JSON item */
    const char *key;
    int32_t count;    /**< type 2: the exact element count the reply must carry (at most 24) */
    union {
        char str[96];       /**< type 0: bytes copied without terminator, at most 95 */
        int32_t num;        /**< type 1 */
        int32_t array[24];  /**< type 2 */
        uint8_t flag;       /**< type 3: 1 true, 0 false; left as it was for a non-boolean */
        void *item;         /**< type 4: deep copy of the member (a cJSON item) to delete */
    } value;
} json_parse_item;

/** Sends the request `items` (when not null) and waits up to timeout_ms for the line whose
 *  "command" (or "state") value is reply_key, copying it into reply_buf (at most
 *  reply_len - 1 bytes, NUL-terminated). With a null reply_key, sends, sleeps timeout_ms and
 *  returns 0. Returns the reply length (> 0), -1 unknown handle or send failure, -2 no reply.
 *  Holds the registry's read lock for the whole call. Type-4 items are consumed. */
KY_API int ky_pack_lock_set(const char *tag, ky_robot_handle *robot_handle, json_pack_item *items,
                            int count, const char *reply_key, char *reply_buf, int reply_len,
                            int timeout_ms);
/** Internal per-robot record behind a robot handle (opaque). */
typedef struct ky_handle ky_handle;
/** Packs `items` into one JSON object and sends it with "\r\n" and a NUL: 0 sent, -1 no
 *  items or packing failed, -2 send failure. Type-4 items are consumed. */
KY_API int common_json_pack_set(const char *tag, ky_handle *handle, json_pack_item *items, int count);
/** Sends {"command": command} followed by the two bytes after its printed text (its NUL and
 *  one more) instead of "\r\n"; writes the first 8 bytes and CR LF into `dst`. Unused by
 *  the library's own commands. 0, -1 (text does not fit dst_len - 2), -2. */
KY_API int common_json_pack_get(const char *tag, ky_handle *handle, const char *command, char *dst,
                                int dst_len);
/** Waits up to timeout_ms for the line under `reply_key` (mode 0: reads the socket on the
 *  calling thread). Its length, or -1. */
KY_API int handle_revice_data(const char *tag, ky_handle *handle, const char *reply_key, char *reply_buf,
                              int reply_len, int timeout_ms);
/** Parses `text` and extracts `items` (looking inside an "arm_state" or "all_state" object
 *  when the reply has one). 0 or -3. */
KY_API int common_json_parse(const char *tag, const char *text, json_parse_item *items, int count);
/** Reads the boolean `state_key` of a reply: 0 true, 1 false, -3 unparsable or missing. */
KY_API int parse_ky_set_command(const char *tag, const char *text, const char *state_key);
/** Sends {"command": command}, waits m_nOutTime for the reply named `command` and reads
 *  the integer `reply_key` into *out_value. 0; -1, -2 exchange; -3 parse. */
KY_API int ky_get_data_common(ky_robot_handle *robot_handle, int *out_value, const char *command,
                              const char *reply_key);
/** Sends {"command": command, key: value}, waits m_nOutTime_max for the reply named
 *  `command` and reads its "set_state". 0, 1, -1, -2, -3. */
KY_API int ky_set_data_common(ky_robot_handle *robot_handle, int value, const char *command,
                              const char *key);

/* ========================================================== Events
 *
 * Pushed lines the controller sends on its own: {"command":"current_trajectory_state",...}
 * when a trajectory ends and {"command":"program_run_finish",...} when a program ends. The
 * receive thread (modes 1 and 2) hands each to the event callback as it files it.
 */
typedef struct {
    int32_t handle_id;          /**< robot handle id (1..5) of the controller that pushed it */
    int32_t event_type;         /**< 1 trajectory state, 2 program finished */
    bool trajectory_state;      /**< trajectory finished successfully (true when not reported) */
    int32_t device;             /**< 0 arm, 1 gripper, 2 dexterous hand, 3 lift, 4 expansion axis */
    int32_t trajectory_connect; /**< 1 when the trajectory was joined to the next one */
    int32_t program_id;         /**< finished program's id (event type 2) */
} ky_event_data;

/** Event callback; runs on the receive thread, so it must return quickly and must not wait
 *  for controller replies itself. */
typedef void (*ky_event_callback)(ky_event_data data);

/** Sets the event callback (a null argument leaves the current one in place). */
KY_API void ky_get_arm_event_call_back(ky_event_callback callback);

/* ================================================ Poses, installation and versions */

/** Software information. Fields are filled with at most their size in characters, so a
 *  field filled to its size carries no terminating NUL. */
typedef struct {
    char product_version[10];
    char algorithm_info[20];
    char ctrl_build_time[20];
    char ctrl_version[10];
    char dynamic_info[5];
    char plan_build_time[20];
    char plan_version[10];
} ky_arm_software_info;

/* @@ identity: declarations follow */

/** Reads the controller's software information. From its product version (cut to 10
 *  characters) the robot handle's dof, model and force type are set: model by the first of
 *  "KY6A" (0, 6 joints), "KY7A" (1, 7), "6C" (3, 6), "LUX6A" (5, 6), "LUX6B" (6, 6),
 *  "NOV7B" (7, 7), "LUX6C" (8, 6) found in it (so a LUX6C arm reads as model 3), force type
 *  by the suffix "-B" (0), "-ZF" (1), "-6F" (2). Waits m_nOutTime.
 *  0; -1 unknown handle, send failure, unreadable reply, unknown model ("Unknown arm model")
 *  or unknown suffix ("Unknown force type"; dof and model are then set); -2 no reply. */
KY_API int ky_get_arm_software_info(ky_robot_handle *robot_handle, ky_arm_software_info *info);
/** Sets the initial pose: `joint` holds dof angles in degrees (sent x 1000, truncated).
 *  0, 1 refused, -1 (also dof not 6 or 7), -2, -3. */
KY_API int ky_set_init_pose(ky_robot_handle *robot_handle, const float *joint);
/** Reads the initial pose into `joint` (dof angles, degrees). 0, -1, -2, -3. */
KY_API int ky_get_init_pose(ky_robot_handle *robot_handle, float *joint);
/** Sets the installation angles (sent truncated to integers, unscaled: the controller's
 *  units, degrees), then reads them back (also into the robot handle). Waits
 *  m_nOutTime + 100 ms. 0, 1 refused, -1, -2, -3. */
KY_API int ky_set_install_pose(ky_robot_handle *robot_handle, float x, float y, float z);
/** Reads the installation angles (unscaled integers as floats) and caches them in the
 *  robot handle. 0, -1, -2, -3. */
KY_API int ky_get_install_pose(ky_robot_handle *robot_handle, float *x, float *y, float *z);
/** Reads each joint's firmware version into `version` (dof integers). 0, -1 (also dof not
 *  6 or 7), -2, -3. */
KY_API int ky_get_joint_software_version(ky_robot_handle *robot_handle, int *version);
/** Reads the tool's firmware version. 0, -1, -2, -3. */
KY_API int ky_get_tool_software_version(ky_robot_handle *robot_handle, int *version);


/* ================================================= Realtime state and events */
/* @@ realtime: declarations follow */
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

/* ================================================= Joint configuration */
/* @@ joint configuration: declarations follow */
/*
 * Per-joint settings. `joint` is the controller's joint number, passed on as given. On the
 * wire: positions are degrees x 1000; the motion-limit speeds and accelerations and the
 * drive speed are (value / 6) x 1000 (revolutions per minute x 1000); the drive
 * acceleration is set as value x 1000 (no division by 6) but read back x 6 / 1000. Every
 * conversion to the wire truncates toward zero. Arrays read back hold `dof` values (6 or
 * 7), so output arrays need room for 7.
 * Each function is one exchange waiting m_nOutTime. Results: 0; 1 the controller refused;
 * -1 unknown handle, send failure, or (gets) the arm's dof is not 6 or 7 ("The robotic arm
 * has been disconnected"); -2 no reply; -3 unreadable reply or wrong array length.
 */

/** Drive speed limit of one joint, degrees/s. Reply state "joint_max_speed". */
KY_API int ky_set_joint_drive_max_speed(ky_robot_handle *robot_handle, int joint, float speed);
/** Drive acceleration limit of one joint, degrees/s^2 (sent x 1000, not divided by 6). */
KY_API int ky_set_joint_drive_max_acc(ky_robot_handle *robot_handle, int joint, float acc);
/** Drive minimum position of one joint, degrees. */
KY_API int ky_set_joint_drive_min_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Drive maximum position of one joint, degrees. */
KY_API int ky_set_joint_drive_max_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Reads every joint's drive speed limit (degrees/s) into speed[dof]. */
KY_API int ky_get_joint_drive_max_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads every joint's drive acceleration limit (wire value x 6 / 1000) into acc[dof]. */
KY_API int ky_get_joint_drive_max_acc(ky_robot_handle *robot_handle, float *acc);
/** Reads every joint's drive minimum position (degrees) into pos[dof]. */
KY_API int ky_get_joint_drive_min_pos(ky_robot_handle *robot_handle, float *pos);
/** Reads every joint's drive maximum position (degrees) into pos[dof]. */
KY_API int ky_get_joint_drive_max_pos(ky_robot_handle *robot_handle, float *pos);

/** Motion speed limit of one joint, degrees/s; on success all joints' limits are read back
 *  (ky_get_joint_max_speed) and that read's result is returned. */
KY_API int ky_set_joint_max_speed(ky_robot_handle *robot_handle, int joint, float speed);
/** Motion acceleration limit of one joint, degrees/s^2; then ky_get_joint_max_acc. */
KY_API int ky_set_joint_max_acc(ky_robot_handle *robot_handle, int joint, float acc);
/** Motion minimum position of one joint, degrees; then ky_get_joint_min_pos. */
KY_API int ky_set_joint_min_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Motion maximum position of one joint, degrees; then ky_get_joint_max_pos. */
KY_API int ky_set_joint_max_pos(ky_robot_handle *robot_handle, int joint, float pos);
/** Lets the controller set the joint position limits itself (`mode` as the controller
 *  defines it). The reply is named "auto_set_joint_limit " (with a trailing blank); on
 *  success the minimum and maximum positions are read back and the latter's result is
 *  returned. */
KY_API int ky_auto_set_joint_limit(ky_robot_handle *robot_handle, int mode);
/** Reads every joint's motion speed limit (degrees/s) into speed[dof] (may be null) and
 *  into the robot handle's joint_max_speed. */
KY_API int ky_get_joint_max_speed(ky_robot_handle *robot_handle, float *speed);
/** Reads every joint's acceleration limit (degrees/s^2) into acc[dof] and joint_max_acc. */
KY_API int ky_get_joint_max_acc(ky_robot_handle *robot_handle, float *acc);
/** Reads every joint's minimum position (degrees) into pos[dof] and joint_min_pos. */
KY_API int ky_get_joint_min_pos(ky_robot_handle *robot_handle, float *pos);
/** Reads every joint's maximum position (degrees) into pos[dof] and joint_max_pos. */
KY_API int ky_get_joint_max_pos(ky_robot_handle *robot_handle, float *pos);

/** Enables (state non-zero) or disables one joint; `state` is sent as given. */
KY_API int ky_set_joint_en_state(ky_robot_handle *robot_handle, int joint, int state);
/** Takes the joint's current position as its zero. */
KY_API int ky_set_joint_zero_pos(ky_robot_handle *robot_handle, int joint);
/** Clears the joint's error. */
KY_API int ky_set_joint_clear_err(ky_robot_handle *robot_handle, int joint);
/** Reads every joint's enable state into state[dof], one byte per joint. */
KY_API int ky_get_joint_en_state(ky_robot_handle *robot_handle, uint8_t *state);
/** Reads every joint's error flag and brake state (each dof values; either pointer may be
 *  null). */
KY_API int ky_get_joint_err_flag(ky_robot_handle *robot_handle, uint16_t *err_flag, uint16_t *brake_state);

/* ================================================= Tool and work frames */
/* @@ frames: declarations follow */
/*
 * Tool and work frames kept by the controller. Wire scaling: positions and centres of mass
 * x 1,000,000 (metres to micrometres), Euler angles x 1000 (milliradians), payload x 1000
 * (grams), envelope radius and ball centres x 1000; to the wire truncated toward zero, from
 * the wire divided in single precision. A frame pose read from the controller carries the
 * quaternion computed from its Euler angles. Every exchange waits m_nOutTime unless noted.
 * Set commands return 0; 1 refused (the state key false); -1 unknown handle or send
 * failure; -2 no reply; -3 unreadable reply.
 */

/** Frame name slot of the listings: 12 characters, NUL-terminated when shorter. */
typedef struct {
    char name[KY_FRAME_NAME_LEN];
} ky_frame_name;

/** One ball of a tool's collision envelope; radius and centre in metres. */
typedef struct {
    char name[KY_FRAME_NAME_LEN];
    float radius;
    float x, y, z;
} ky_envelope_ball;

/** A tool's collision envelope: up to 5 balls. */
#define KY_ENVELOPE_MAX_BALLS 5
typedef struct {
    ky_envelope_ball balls[KY_ENVELOPE_MAX_BALLS];
    int32_t count;                          /**< balls in use */
    char tool_name[KY_FRAME_NAME_LEN];
} ky_tool_envelope;

/** Transforms of the current tool frame (on the flange) and work frame (in the base),
 *  recomputed from the frame by every current-frame query and every frame switch of any
 *  robot (the last one wins). The library writes each as a whole under its lock; a host
 *  reads them on the thread that ran the query, or while no frame command runs. */
KY_API extern ky_matrix Tool_Matrix;
KY_API extern ky_matrix Frame_Matrix;

/** Teaching a tool frame: records teaching point `point_num` ("set_auto_tool_frame",
 *  state "auto_tool_frame"). */
KY_API int ky_set_auto_tool_frame(ky_robot_handle *robot_handle, int point_num);
/** Creates the taught tool frame `name` with its payload (kg) and centre of mass (m)
 *  ("generate_auto_tool_frame"; the controller answers "set_auto_tool_frame", state
 *  "auto_tool_frame"). */
KY_API int ky_generate_auto_tool_frame(ky_robot_handle *robot_handle, const char *name, float payload,
                                       float x, float y, float z);
/** Creates tool frame `frame` from its pose, payload and centre of mass ("tool_name",
 *  "payload", "position", "tool_pose"; state "manual_tool_frame"). A refusal is logged
 *  ("Failed to create the tool frame system, please check if the name already exists"). */
KY_API int ky_set_manual_tool_frame(ky_robot_handle *robot_handle, const ky_frame *frame);
/** Updates tool frame `frame` (same members; state "update_state"). */
KY_API int ky_update_tool_frame(ky_robot_handle *robot_handle, const ky_frame *frame);
/** Sets the collision envelope of a tool: count balls (0 or less: an empty list, more
 *  than 5: the first 5). Sent as indented JSON and "\r\n" (no NUL); state "set_state".
 *  A refusal is logged ("Set tool envelope return false! ..."). */
KY_API int ky_set_tool_envelope(ky_robot_handle *robot_handle, const ky_tool_envelope *envelope);
/** Reads the collision envelope of tool `tool_name` (at most 5 balls are kept).
 *  0; 1 the controller answered "get_state" false (no such tool); -1; -2; -3. */
KY_API int ky_get_tool_envelope(ky_robot_handle *robot_handle, const char *tool_name,
                                ky_tool_envelope *envelope);
/** Teaching a work frame `name`: records teaching point `point_num` (state
 *  "auto_work_frame"). */
KY_API int ky_set_auto_work_frame(ky_robot_handle *robot_handle, const char *name, int point_num);
/** Creates work frame `name` at `pose` (position and Euler angles; state
 *  "manual_work_frame"). */
KY_API int ky_set_manual_work_frame(ky_robot_handle *robot_handle, const char *name, const ky_pose *pose);
/** Updates work frame `name` to `pose` (state "update_state"). */
KY_API int ky_update_work_frame(ky_robot_handle *robot_handle, const char *name, const ky_pose *pose);
/** Lists the tool frames: names (12 characters each) into `names`, which must have room for
 *  every frame of the controller; the list ends at a name "NULL". `*count` is written only
 *  when at least one name was copied. 0; -1 unknown handle or send failure; -2 no reply or
 *  an unreadable list. */
KY_API int ky_get_total_tool_frame(ky_robot_handle *robot_handle, ky_frame_name *names, int *count);
/** Lists the work frames, as ky_get_total_tool_frame(). Waits m_nOutTime_max. */
KY_API int ky_get_total_work_frame(ky_robot_handle *robot_handle, ky_frame_name *names, int *count);
/** Reads tool frame `name` (its name cut to 10 characters) into `frame`.
 *  0; -1 unknown handle or send failure; 1 the controller answered "get_tool_frame" with
 *  "get_state" false (in mode 0 also when that answer is unreadable); -2 no answer; -3 an
 *  unreadable "get_tool_frame" answer (modes 1 and 2); a positive reply length when the
 *  reply came but its members could not be read. Treat every non-zero result as failure. */
KY_API int ky_get_given_tool_frame(ky_robot_handle *robot_handle, const char *name, ky_frame *frame);
/** Reads work frame `name`'s pose. 0; 1 the controller answered "get_work_frame" with
 *  "get_state" false (in mode 0 also when no answer came at all); -1, -2 (modes 1 and 2);
 *  -3 an unreadable answer; a positive reply length when the reply came but its members
 *  could not be read. The fallback wait for "get_work_frame" lasts m_nOutTime_max. */
KY_API int ky_get_given_work_frame(ky_robot_handle *robot_handle, const char *name, ky_pose *pose);
/** Reads the current tool frame (name cut to 10 characters) into `frame` (may be null),
 *  recomputes Tool_Matrix and refreshes the robot handle's tool_frame. 0; -1 unknown handle,
 *  send failure, or an unreadable reply (a negative payload or centre-of-mass coordinate is
 *  refused; the cache then stays as it was); -2 no reply. */
KY_API int ky_get_current_tool_frame(ky_robot_handle *robot_handle, ky_frame *frame);
/** Reads the current work frame (name up to 12 characters, payload and centre of mass
 *  zero) into `frame` (may be null), recomputes Frame_Matrix and refreshes the robot
 *  handle's work_frame. 0; -1 (also an unreadable reply); -2. */
KY_API int ky_get_current_work_frame(ky_robot_handle *robot_handle, ky_frame *frame);
/** Switches to tool frame `name` ("set_change_tool_frame", state "change_tool_frame"); once
 *  accepted, reads the current tool frame back (the result is then that query's). */
KY_API int ky_change_tool_frame(ky_robot_handle *robot_handle, const char *name);
/** Deletes tool frame `name` (state "delete_tool_frame"). */
KY_API int ky_delete_tool_frame(ky_robot_handle *robot_handle, const char *name);
/** Switches to work frame `name` (state "change_work_frame"), then reads it back as
 *  ky_change_tool_frame() does. */
KY_API int ky_change_work_frame(ky_robot_handle *robot_handle, const char *name);
/** Deletes work frame `name` (state "delete_work_frame"). */
KY_API int ky_delete_work_frame(ky_robot_handle *robot_handle, const char *name);

/* ================================================= Motion */
/* @@ motion: declarations follow */
/*
 * Planned moves. Each comes in three forms: `_nblock` returns once the controller accepted
 * the move; `_block` also waits until the controller reports that the trajectory finished;
 * the plain name picks `_block` when `block` is non-zero, else `_nblock`.
 *
 * Arguments: joint angles in degrees (dof values, sent x 1000 via double, truncated); a pose
 * sends position (metres, x 1,000,000) and Euler angles (radians, x 1000), single-precision
 * products truncated toward zero, the quaternion is ignored; `v` speed ratio in percent and
 * `r` blending radius, sent as given (movec sends r x 1000); `trajectory_connect` 0 plans
 * the trajectory by itself, 1 joins it to the next one sent.
 *
 * Acceptance: one exchange waiting m_nOutTime for {"receive_state":...}. Non-blocking forms
 * mark the next completion line as an event: it goes to the event callback
 * (ky_get_arm_event_call_back) and no reply wait sees it.
 *
 * Blocking wait (modes 1 and 2): returns as soon as the completion line
 * {"command":"current_trajectory_state","trajectory_state":true,"device":0,
 * "trajectory_connect":0} arrives; meanwhile it queries the running trajectory
 * (ky_get_arm_current_trajectory) every 100 ms. It has no overall time limit while the
 * controller reports the trajectory running. A blocking move with trajectory_connect 1
 * returns 0 once accepted. Mode 0: waits for the completion line for `block` periods of
 * one second.
 *
 * Results: 0 accepted (non-blocking) / finished (blocking); 1 refused ("receive_state"
 * false) or the trajectory failed ("trajectory_state" false); -1 unknown handle, send
 * error, dof not 6 or 7 (movej), or a completion line without a boolean
 * "trajectory_state"; -2 no acceptance within m_nOutTime; -3 unreadable acceptance or
 * completion line (also a negative "device" or "trajectory_connect"); -4 the trajectory
 * ended but the last completion line named another device or connect value; -5 mode 0,
 * no completion within `block` seconds; -6 ky_movec with trajectory_connect other than 0 or
 * 1 (nothing sent); six failed trajectory queries during one wait return the query's code.
 */

/** Joint-space move to joint[dof] (degrees). Request "movej": v, joint, trajectory_connect, r. */
KY_API int ky_movej_nblock(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect);
/** Blocking movej; waits for trajectory type 1 (movej). */
KY_API int ky_movej_block(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_movej(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                    int block);
/** Straight-line move to `pose`. Request "movel": v, pose, trajectory_connect, r. */
KY_API int ky_movel_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking movel; waits for trajectory type 2 (movel). */
KY_API int ky_movel_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_movel(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);
/** Spline move through `pose` (join several with trajectory_connect 1). Request "moves". */
KY_API int ky_moves_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking moves; waits for trajectory type 4 (moves); logs under the tag "ky_movel". */
KY_API int ky_moves_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block);
KY_API int ky_moves(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);
/** Circular-arc move through `pose_via` to `pose_to`, `loop` full circles. Sent as one
 *  formatted (multi-line) JSON object followed by "\r\n" (no trailing NUL):
 *  command, pose {pose_via, pose_to}, v, r x 1000, loop, trajectory_connect. */
KY_API int ky_movec_nblock(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                           int trajectory_connect);
/** Blocking movec; waits for trajectory type 3 (movec). */
KY_API int ky_movec_block(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                          int trajectory_connect, int block);
/** Dispatcher; refuses trajectory_connect other than 0 and 1 with -6 before sending. */
KY_API int ky_movec(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                    int trajectory_connect, int block);
/** Joint-space move to a Cartesian target. Request "movej_p": v, pose, trajectory_connect, r. */
KY_API int ky_movej_p_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect);
/** Blocking movej_p; each pass starts with the trajectory query (type 1 while running) and
 *  the completion line is awaited for 1000 ms once the arm is idle. */
KY_API int ky_movej_p_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                            int block);
KY_API int ky_movej_p(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block);

/** Waits for a completion line of `device` (0 arm, 3 lift, 4 expansion axis) with
 *  "trajectory_connect" 0: up to `attempts` waits of 1000 ms each (any mode). 0 done;
 *  1 "trajectory_state" false; -1 no boolean "trajectory_state"; -3 unreadable line;
 *  -5 attempts used up (at once for 0). Completion lines of other devices or connect values
 *  use up an attempt. */
KY_API int ky_movecmd_singlemode_parse(ky_robot_handle *robot_handle, int attempts, int device);

/* ================================================= Jogging, stepping, stopping */
/* @@ jogging: declarations follow */
/*
 * Steps, teach jogging, stopping and the trajectory query. Unless stated, one exchange
 * waiting m_nOutTime: 0; 1 refused; -1 unknown handle or send error; -2 no reply; -3
 * unreadable reply.
 *
 * Steps: a joint step in degrees (sent x 1000), a position step in metres (x 1,000,000),
 * an orientation step in radians (x 1000), single-precision products truncated. `axis`
 * 0, 1, 2 selects x, y, z (rx, ry, rz); any other value sends no axis. `v` is the speed
 * ratio in percent. The `_nblock` forms send, pause m_nOutTime without reading the
 * controller's answer and return 0 (or -1 unknown handle / send error). The `_block` forms
 * read the acceptance ("receive_state") and then wait for the step's completion like
 * ky_movej_p_block (without the pause between queries while the step runs; completion line
 * awaited 1000 ms once idle); in mode 0 `block` one-second waits (-5 when none came).
 * Results of the blocking forms as the blocking moves.
 */
KY_API int ky_set_joint_step_nblock(ky_robot_handle *robot_handle, int joint, float step, int v);
KY_API int ky_set_joint_step_block(ky_robot_handle *robot_handle, int joint, float step, int v, int block);
/** Dispatcher: `block` non-zero selects the blocking form. Note the argument order. */
KY_API int ky_set_joint_step(ky_robot_handle *robot_handle, int joint, int v, int block, float step);
KY_API int ky_set_pos_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v);
KY_API int ky_set_pos_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block);
KY_API int ky_set_pos_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step);
KY_API int ky_set_ort_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v);
KY_API int ky_set_ort_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block);
KY_API int ky_set_ort_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step);

/** Slow stop of the current motion. */
KY_API int ky_set_arm_slow_stop(ky_robot_handle *robot_handle);
/** Immediate stop. */
KY_API int ky_set_arm_stop(ky_robot_handle *robot_handle);
/** Pauses the current trajectory. */
KY_API int ky_set_arm_pause(ky_robot_handle *robot_handle);
/** Continues a paused trajectory. */
KY_API int ky_set_arm_continue(ky_robot_handle *robot_handle);
/** Deletes the trajectory running now. */
KY_API int ky_set_delete_current_trajectory(ky_robot_handle *robot_handle);
/** Deletes every queued trajectory. */
KY_API int ky_set_arm_delete_trajectory(ky_robot_handle *robot_handle);

/** Jogs one joint until ky_set_stop_teach: `dir` non-zero positive, zero negative. Any
 *  failed exchange (a time-out included) returns -1. */
KY_API int ky_set_joint_teach(ky_robot_handle *robot_handle, int joint, int dir, int v);
/** Jogs along axis 0 x, 1 y, 2 z of the teach frame. Any failed exchange returns -1. */
KY_API int ky_set_pos_teach(ky_robot_handle *robot_handle, int axis, int dir, int v);
/** Jogs about axis 0 rx, 1 ry, 2 rz. A failed exchange returns its own code (-1 or -2). */
KY_API int ky_set_ort_teach(ky_robot_handle *robot_handle, int axis, int dir, int v);
/** Ends teach jogging. */
KY_API int ky_set_stop_teach(ky_robot_handle *robot_handle);
/** Frame of Cartesian jogging; `frame_type` as the controller numbers it. Reply "set_state". */
KY_API int ky_set_teach_frame(ky_robot_handle *robot_handle, int frame_type);
/** Reads the teach frame type. */
KY_API int ky_get_teach_frame(ky_robot_handle *robot_handle, int *frame_type);

/** Trajectory running now. *type: 0 none, 1 movej, 2 movel, 3 movec, 4 moves,
 *  5 re_trajectory. data: for 0, 1 and 5 the dof joint angles (degrees); for 2, 3 and 4
 *  the end-effector pose x, y, z (metres), rx, ry, rz (radians); room for 7 floats.
 *  0; -1 unknown handle, send error, dof not 6 or 7, or any problem with the reply
 *  (unreadable, "data" missing or not an array, "type" missing or unknown: *type is then
 *  left as it was); -2 no reply within m_nOutTime. */
KY_API int ky_get_arm_current_trajectory(ky_robot_handle *robot_handle, int *type, float *data);

/* ================================================= Algorithms (ky_algo_*) */
/* @@ algorithms: declarations follow */
/*
 * The library carries its own kinematics for the arm models it drives. Two layers:
 *
 *  - libalgo_*: the process-wide algorithm state (arm model, DH table, limits, frames,
 *    payload, solver settings). SI units: radians, metres, rad/s, rad/s^2, seconds.
 *  - ky_algo_*: the host-facing layer in the units of the rest of this interface (joint
 *    angles in degrees, speeds in degrees/s, Cartesian positions in metres, Euler angles in
 *    radians). It works offline after ky_algo_init_sys_data(), or for a connected arm: the
 *    functions taking a robot handle first copy that arm's model, installation angles,
 *    frames and limits into the algorithm state.
 *
 * Every libalgo_* and ky_algo_* function locks the algorithm state for its whole call, so
 * calls from several threads are serialised (never interleaved); the state itself is one
 * per process, so threads that configure it differently still see each other's settings.
 * None of them blocks on the network. Setters ignore a null record; getters leave a null
 * output untouched. Robot types: 0 KY6A, 1 KY7A, 3 KYL6C rev. 2, 4 KYL6C rev. 3, 5 LUX6A,
 * 6 LUX6B, 7 NOV7B, 8 LUX6C, 9 an unnamed 7-joint model with an all-zero table. Sensor
 * types: 0 none, 1 one-axis force sensor, 2 six-axis force sensor (LUX6B and NOV7B: 0 only).
 */

/** Joints the records below hold room for; only the arm's joint count is used. */
#define KY_ALGO_MAX_JOINTS 8

/** DH table: one entry per joint, entries past the joint count zero. KY7A's twist is that
 *  of the link after each joint (standard convention); the other models list the twist and
 *  length of the link before the joint (modified convention). */
typedef struct {
    float d[KY_ALGO_MAX_JOINTS];      /**< link offset along the previous z axis, metres */
    float a[KY_ALGO_MAX_JOINTS];      /**< link length, metres */
    float alpha[KY_ALGO_MAX_JOINTS];  /**< link twist, radians */
    float offset[KY_ALGO_MAX_JOINTS]; /**< theta offset added to every joint angle, radians */
} ky_dh_table;

/* ------------------------------------------------------- algorithm state (libalgo_*) */

/** Same as libalgo_set_robot_and_sensor_type(0, 0). Returns 0. */
KY_API int libalgo_init(void);
/** Clears the whole state (frames, limits, installation, payload: all earlier settings are
 *  lost) and loads the model's defaults: DH table, limits, joint directions, TCP
 *  configuration (0.25, 1.6, 0.6, 4.0), control period 0.002 s, gravity (0, 0, -9.81).
 *  The arms' dynamics, drag and collision data are not part of the model tables, so they
 *  load neutral values: link dynamics and identification parameters 0, drag factors 1.0,
 *  collision thresholds 0. Returns 0; -1 for type 2, a type above 9, a sensor above 2 or a
 *  sensor other than 0 on LUX6B or NOV7B (the state is then cleared, with identity frames
 *  and an empty DH table). */
KY_API int libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type);
KY_API uint32_t libalgo_get_robot_type(void);
KY_API uint32_t libalgo_get_sensor_type(void);
/** Installation angles a, b, c (rad): the base is mounted rotated by Rz(c) * Ry(b) * Rx(a)
 *  in the world. Rebuilds the installation rotation and the gravity vector
 *  (9.81 sin b, -9.81 sin a cos b, -9.81 cos a cos b) in the base frame. */
KY_API void libalgo_set_robot_install_angle(float a, float b, float c);
KY_API void libalgo_get_robot_install_angle(float angles[3]);
/** The installation rotation as a 4x4 transform without translation. */
KY_API void libalgo_get_robot_install_angle_matrix(ky_matrix *matrix);
/** Gravity in the base frame, m/s^2. */
KY_API void libalgo_get_robot_gravity_acc(float gravity[3]);
/** Tool frame on the flange: x, y, z (m), rx, ry, rz (rad). Rebuilds the tool matrix. */
KY_API void libalgo_set_tool_cs_params(const float params[6]);
KY_API void libalgo_get_tool_cs_params(float params[6]);
/** Tool-to-flange transform (the tool frame's pose in the flange frame). */
KY_API void libalgo_get_tool_cs_matrix(ky_matrix *matrix);
/** Work frame in the base: x, y, z (m), rx, ry, rz (rad). Stores the inverse transform. */
KY_API void libalgo_set_work_cs_params(const float params[6]);
KY_API void libalgo_get_work_cs_params(float params[6]);
/** Inverse of the work frame's transform: maps base coordinates into the work frame. */
KY_API void libalgo_get_work_cs_to_base_matrix(ky_matrix *matrix);
/** Payload: mass (kg), centre of mass x, y, z (m), then 7 further values (zero). */
KY_API void libalgo_set_payload_params(const float payload[11]);
KY_API void libalgo_get_payload_params(float payload[11]);
/** Copies the first 7 entries of each array into the state. */
KY_API void libalgo_set_dh_params(const ky_dh_table *dh);
/** Copies the whole DH table out. */
KY_API void libalgo_get_dh_value(ky_dh_table *dh);
/** Restores the DH table saved at the last model selection. */
KY_API void libalgo_set_dh_params_default(void);
KY_API void libalgo_get_dh_params_default(ky_dh_table *dh);
/** 1 when every entry of every joint differs from the saved default by less than 1e-10
 *  (also when the joint count is below 1), else 0. */
KY_API int libalgo_check_dh_params_is_default(void);
/** DH compensation table: kept beside the DH table (zero after a model selection); the
 *  kinematics do not read it. Copies 7 entries of each array. */
KY_API void libalgo_set_dh_compensation_value(const ky_dh_table *dh);
KY_API void libalgo_get_dh_compensation_value(ky_dh_table *dh);
/** Joint limits of all 8 joint records: position (rad), velocity (rad/s), acceleration
 *  (rad/s^2). */
KY_API void libalgo_set_jointlim_max(const float values[8]);
KY_API void libalgo_set_jointlim_min(const float values[8]);
KY_API void libalgo_set_joint_vel_maxlim(const float values[8]);
KY_API void libalgo_set_joint_acc_maxlim(const float values[8]);
KY_API void libalgo_get_jointlim_max(float values[8]);
KY_API void libalgo_get_jointlim_min(float values[8]);
KY_API void libalgo_get_joint_vel_maxlim(float values[8]);
KY_API void libalgo_get_joint_acc_maxlim(float values[8]);
/** Position limits plus each joint's theta offset (rad): the limits in DH angle space. */
KY_API void libalgo_get_modeling_jointlim_max(float values[8]);
KY_API void libalgo_get_modeling_jointlim_min(float values[8]);
/** One joint's 17-float configuration record (joint 0..7); floats 11 to 14 are maximum
 *  position, minimum position (rad), maximum velocity (rad/s), maximum acceleration
 *  (rad/s^2). An index outside 0..7 is ignored. */
KY_API void libalgo_set_joint_config(int joint, const float record[17]);
KY_API void libalgo_get_joint_config(int joint, float record[17]);
/** Feedback record (71 floats): floats 0-7 and 8-15 are joint-angle vectors (rad); they
 *  are stored with each joint's theta offset added. The rest is kept as given. */
KY_API void libalgo_update_feedback_data(const float data[71]);
KY_API void libalgo_get_robot_feedback_data(float data[71]);
/** Joint directions: for each joint, a positive value stores +1, a negative -1, and 0
 *  keeps the stored direction (so a partial update is possible). */
KY_API void libalgo_set_joint_direction(const float directions[8]);
KY_API void libalgo_get_joint_direction(float directions[8]);
/** Link dynamics parameters, 10 per joint, joint count x 10 floats. */
KY_API void libalgo_set_link_dynamics_params(const float *params);
KY_API void libalgo_get_link_dynamics_params(float *params);
/** Restores / reads the link dynamics saved at the last model selection. */
KY_API void libalgo_set_link_dynamics_params_default(void);
KY_API void libalgo_get_link_dynamics_params_default(float *params);
/** Dynamics block, 152 floats: drag factors (8), second drag group (8), identification
 *  parameters (56), link dynamics (8 x 10). */
KY_API void libalgo_get_dynamics_params(float params[152]);
KY_API void libalgo_set_dynamics_identification_params(const float params[56]);
/** Drag regulation: 8 factors then 8 second-group values. A factor of a used joint whose
 *  magnitude is below 0.001 is stored as 1.0. */
KY_API void libalgo_set_drag_regulation_factor(const float factors[16]);
/** Safety level 0..8: 0, or -1 (unchanged) above 8. */
KY_API int libalgo_set_safety_level(uint16_t level);
KY_API uint16_t libalgo_get_safety_level(void);
/** Joint count of the whole system (arm plus external axes): 0, or -1 (unchanged) when
 *  below the arm's joint count. */
KY_API int libalgo_set_system_all_dof(int32_t count);
KY_API int32_t libalgo_get_system_all_dof(void);
/** Wrist-singularity avoidance of the KY6A and KYL6C rev. 2 solvers: 1 on, else off. */
KY_API void libalgo_set_is_avoid_Singularity(int32_t on);
KY_API int32_t libalgo_get_is_avoid_Singularity(void);
/** Dynamics model type: 2 stays 2, any other value becomes 1. Returns the stored value. */
KY_API int32_t libalgo_set_dynamics_model_type(int32_t type);
KY_API int32_t libalgo_get_dynamics_model_type(void);
/** Control loop period, seconds (0.002 after a model selection). */
KY_API void libalgo_set_control_loop_period(float seconds);
KY_API float libalgo_get_control_loop_period(void);
KY_API void libalgo_set_tcp_config(const float config[4]);
KY_API void libalgo_get_tcp_config(float config[4]);
KY_API void libalgo_set_user_collision_threshold(const float thresholds[21]);
KY_API void libalgo_get_user_collision_threshold(float thresholds[21]);
/** Joint command of the trajectory planner and the current joints (rad, 8 each). */
KY_API void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]);
KY_API void libalgo_get_trajectory_planning_joint_cmd(float joints[8]);
KY_API void libalgo_get_trajectory_planning_joint_cur(float joints[8]);
/** Joint count of the selected model (0 before a selection). */
KY_API int16_t libalgo_get_rbt_dof(void);
/** Clears the state as a model selection does before loading defaults (identity frames,
 *  period 0.002 s, gravity down) and leaves no model loaded (joint count 0). */
KY_API void libalgo_clear(void);

/* ------------------------------------------------------------ public algorithm API */

/** Inverse kinematics request. */
typedef struct {
    float current_joints[7]; /**< degrees; the solution nearest to these is chosen */
    ky_pose target_pose;     /**< tool pose in the base frame (see ky_algo_inverse_kinematics) */
    uint8_t flag;            /**< 0: orientation from the quaternion; otherwise from the Euler angles */
} ky_inverse_kinematics_params;

/** Algorithm version, "1.4.7". */
KY_API const char *ky_algo_version(void);
/** Selects the arm model for offline use: a type above 8 counts as 0, a sensor above 2 as 0.
 *  Discards earlier frames, limits and installation angles (set them afterwards). Returns
 *  the selection's result: 0, or -1 for type 2 or a sensor the model does not accept. */
KY_API int ky_algo_init_sys_data(uint32_t robot_type, uint32_t sensor_type);
/** Installation angles x, y, z in degrees (see libalgo_set_robot_install_angle). */
KY_API void ky_algo_set_angle(float x, float y, float z);
/** Reads them back in degrees; does nothing if any pointer is null. */
KY_API void ky_algo_get_angle(float *x, float *y, float *z);
/** Settings of the 7-joint solver. true: traverse the joint space (search range 3.14 rad
 *  around the current joints; finds solutions far from them, slower); false: stay near the
 *  current joints (range 0.013 rad). Until this is first called, every
 *  ky_algo_inverse_kinematics() call uses the near setting. */
KY_API void ky_algo_set_redundant_parameter_traversal_mode(bool traverse);
/** Work frame: its pose in the base (position m, Euler angles rad; the quaternion is not
 *  read). Name kept; payload and centre of mass ignored. */
KY_API void ky_algo_set_workframe(const ky_frame *frame);
/** The current work frame, both orientation forms filled. */
KY_API void ky_algo_get_curr_workframe(ky_frame *frame);
/** Tool frame: its pose on the flange (position m, Euler angles rad; the quaternion is not
 *  read), payload (kg) and centre of mass (m). */
KY_API void ky_algo_set_toolframe(const ky_frame *frame);
KY_API void ky_algo_get_curr_toolframe(ky_frame *frame);
/** Joint limits of the arm's joints: positions in degrees, speeds in degrees/s,
 *  accelerations in degrees/s^2 (7 entries; only the joint count is used). */
KY_API void ky_algo_set_joint_max_limit(const float joint[7]);
KY_API void ky_algo_set_joint_min_limit(const float joint[7]);
KY_API void ky_algo_set_joint_max_speed(const float joint[7]);
KY_API void ky_algo_set_joint_max_acc(const float joint[7]);
KY_API void ky_algo_get_joint_max_limit(float joint[7]);
KY_API void ky_algo_get_joint_min_limit(float joint[7]);
KY_API void ky_algo_get_joint_max_speed(float joint[7]);
KY_API void ky_algo_get_joint_max_acc(float joint[7]);
/** Copies a connected arm's model, sensor, installation angles, tool and work frames and
 *  joint limits into the algorithm state (taking the robot registry's read lock while it
 *  copies). An unknown handle leaves the state as it was and logs the warning
 *  "The robotic arm is not connected!"; a null handle is silently ignored. */
KY_API void ky_algo_arm_state_set(ky_robot_handle *robot_handle);
/** -1 if any joint of the arm (degrees) lies outside [minimum, maximum] limit (or the array
 *  is null), else 0. */
KY_API int ky_algo_judgment_overpos(const float joint[7]);
/** Tool pose for `joint` (degrees), expressed in the work frame: installation, tool and
 *  work frame applied. With a handle the arm's settings are loaded first; a null handle
 *  uses the current offline state. A null joint array gives an all-zero pose. */
KY_API ky_pose ky_algo_forward_kinematics(ky_robot_handle *robot_handle, const float joint[7]);
/** Joints (degrees) that put the tool at params->target_pose, nearest to
 *  params->current_joints. The target is the tool pose in the installation (world) frame
 *  of the base, as the forward kinematics give it with an identity work frame. With a
 *  handle the arm's settings are loaded first (null: the offline state).
 *  Returns 0 success (q_out written); 1 no acceptable solution (unreachable, nearest
 *  solution outside a joint limit, or no solver for the model; q_out untouched); -1 current
 *  joints outside the limits, or a null params or q_out; -2 flag 0 and the quaternion's
 *  squared norm, computed in single precision, is not exactly 1.0. Computes in the calling
 *  thread: microseconds for the 6-joint models, more for the 7-joint ones (see README). */
KY_API int ky_algo_inverse_kinematics(ky_robot_handle *robot_handle,
                                      const ky_inverse_kinematics_params *params, float q_out[7]);
/** Conversions (radians, metres). Euler angles rotate about the fixed X, then Y, then Z
 *  axes; an angle below -3.13 rad is reported plus 2 pi (a half turn reads +pi). */
KY_API ky_quaternion ky_algo_euler2quaternion(ky_euler euler);
KY_API ky_euler ky_algo_quaternion2euler(ky_quaternion quaternion);
/** Rotation matrix (counts 3 and 3). */
KY_API ky_matrix ky_algo_euler2matrix(ky_euler euler);
/** Homogeneous transform (counts 4 and 4) of a pose's position and Euler angles. */
KY_API ky_matrix ky_algo_pos2matrix(ky_pose pose);
/** Pose of a transform, both orientation forms filled. */
KY_API ky_pose ky_algo_matrix2pos(ky_matrix matrix);
/** Frame changes. Poses are read from position and Euler angles (the quaternion is not read)
 *  and returned with both orientation forms. A null frame counts as the identity.
 *  base2workframe: a pose given in the base frame, expressed in `work_frame` (W^-1 * P).
 *  workframe2base: a pose given in `work_frame`, expressed in the base frame (W * P). */
KY_API ky_pose ky_algo_base2workframe(const ky_frame *work_frame, ky_pose pose);
KY_API ky_pose ky_algo_workframe2base(const ky_frame *work_frame, ky_pose pose);
/** end2tool: the flange (end) pose to the pose of `tool_frame`'s tool point (F * T).
 *  tool2end: a tool point pose back to the flange pose (P * T^-1). */
KY_API ky_pose ky_algo_end2tool(const ky_frame *tool_frame, ky_pose flange_pose);
KY_API ky_pose ky_algo_tool2end(const ky_frame *tool_frame, ky_pose tool_pose);
/** Tool pose for `joint` (degrees, as ky_algo_forward_kinematics) moved by (dx, dy, dz)
 *  metres along the tool's own axes; the orientation is unchanged. A null joint array
 *  gives an all-zero pose. */
KY_API ky_pose ky_algo_cartesian_tool(ky_robot_handle *robot_handle, const float joint[7],
                                      float dx, float dy, float dz);
/** Rotates `pose` by `angle` (rad) about axis `axis` (0 x, 1 y, 2 z) of the frame
 *  `reference` through that frame's origin: result = Ref * Rot(axis, angle) * Ref^-1 * P.
 *  With reference = pose itself the tool turns about its own axis in place; with an
 *  identity reference it turns about the base axis through the base origin. Another axis
 *  value returns the pose unchanged. */
KY_API ky_pose ky_algo_rotate_move(ky_pose pose, int axis, float angle, ky_pose reference);
/** Offsets `pose` by offset = (dx, dy, dz in m, rx, ry, rz in rad, Euler as above).
 *  frame 0: in the pose's reference frame: the position is shifted by (dx, dy, dz) and the
 *  orientation is rotated about the fixed axes through the tool point (R' = Roff * R).
 *  frame 1: in the tool's own frame: result = P * Off (shift along and turn about the
 *  tool's axes). Another value, or a null offset, returns the pose unchanged. */
KY_API ky_pose ky_algo_pose_move(ky_pose pose, const float offset[6], int frame);

/* ================================================ Connection state and reconnect
 *
 * Beyond the handle's life cycle above: what became of its TCP connection, and a way to
 * bring the same handle back after the controller rebooted or a cable was pulled (same
 * handle pointer and id, callbacks and UDP push registration kept).
 */
#define KY_CONNECTION_NEVER 0     /**< never connected (creation could not connect) */
#define KY_CONNECTION_CONNECTED 1 /**< connected */
#define KY_CONNECTION_CLOSED 2    /**< the controller closed the connection (or it broke) */

/** Connection state of a robot: KY_CONNECTION_NEVER, KY_CONNECTION_CONNECTED or
 *  KY_CONNECTION_CLOSED; -1 when the handle is not registered. In modes 1 and 2 the receive
 *  thread marks the connection closed the moment it sees the peer close (and logs it); in
 *  mode 0 the calling thread notices it while it reads a reply. Never blocks on the wire. */
KY_API int ky_get_connection_state(ky_robot_handle *robot_handle);

/** Reconnects a registered robot to the address and port it was created with, then runs
 *  the creation's synchronisation queries again (identity, push configuration, frames,
 *  installation pose, joint limits) and reloads the algorithm state from them. The handle
 *  keeps its pointer, its id (set to the slot number again, also after a failed creation),
 *  the callbacks and its UDP push registration; lines received on the old connection are
 *  forgotten. Blocks for the connect (at most about 3 s) and the queries (their time-outs).
 *  Safe to call from several threads: a call that waited for another reconnect of the
 *  same robot returns 0 when that one succeeded.
 *  Returns 0 connected and synchronised; -1 the handle is not registered; -2 the connection
 *  could not be made (the robot stays KY_CONNECTION_CLOSED / KY_CONNECTION_NEVER); -3
 *  connected but a synchronisation query failed (the robot's id is then -1, as after a
 *  failed creation; commands can still be sent). */
KY_API int ky_reconnect_robot_arm(ky_robot_handle *robot_handle);

#ifdef __cplusplus
}
#endif

#endif /* KY_API_H */
