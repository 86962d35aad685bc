/*
 * kyarm/types.h: export macro, result codes and the records every part shares.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_TYPES_H
#define KYARM_TYPES_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(KY_BUILDING_LIBRARY)
#define KY_API __attribute__((visibility("default")))
#else
#define KY_API
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

#ifdef __cplusplus
}
#endif

#endif /* KYARM_TYPES_H */
