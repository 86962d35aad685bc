/*
 * kyarm/frames.h: tool and work frames.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_FRAMES_H
#define KYARM_FRAMES_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Tool and work frames */
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

#ifdef __cplusplus
}
#endif

#endif /* KYARM_FRAMES_H */
