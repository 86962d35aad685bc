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

#ifdef __cplusplus
}
#endif

#endif /* KY_API_H */
