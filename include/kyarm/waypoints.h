/*
 * kyarm/waypoints.h: the controller's named global waypoints: add, update, delete, read one
 * and list them page by page.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_WAYPOINTS_H
#define KYARM_WAYPOINTS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ========================================================== Global waypoints */

/** Width of ky_waypoint.time ("YYYY-MM-DD hh:mm:ss" and room to spare). */
#define KY_WAYPOINT_TIME_LEN 32
/** Number of entries a ky_waypoint_list holds; list entries beyond it are not stored. */
#define KY_WAYPOINT_LIST_MAX 50

/** One global waypoint. On the wire "joint" is an int array of the arm's dof entries
 *  (degrees x 1000, widened to double, truncated) and "pose" an int array of 6: x, y, z in
 *  metres x 1000000 and rx, ry, rz in radians x 1000 (single precision, truncated). The
 *  quaternion is neither sent nor read. */
typedef struct {
    char point_name[20];                /**< "point_name" */
    float joint[7];                     /**< degrees; the seventh only on a 7-axis arm */
    ky_pose pose;                       /**< position and Euler angles */
    char work_frame[KY_FRAME_NAME_LEN]; /**< "work_frame": name of a work frame */
    char tool_frame[KY_FRAME_NAME_LEN]; /**< "tool_frame": name of a tool frame */
    char time[KY_WAYPOINT_TIME_LEN];    /**< "time": written by the library on add and update */
} ky_waypoint;

/** One page of global waypoints. The library fills total_size, list_len and points. */
typedef struct {
    int32_t page_num;
    int32_t page_size;
    int32_t total_size;   /**< "total_size" */
    char vague_search[32];
    int32_t list_len;     /**< entries of the reply's "list", cut to KY_WAYPOINT_LIST_MAX */
    ky_waypoint points[KY_WAYPOINT_LIST_MAX];
} ky_waypoint_list;

/*
 * Results: 0 success; 1 the controller answered false (for a read: no such waypoint, for
 * the list: "get_state" false); -1 unknown handle, send failure, a null argument, or the
 * arm's dof not 6 or 7 (logged "[tag] The robotic arm has been disconnected"); -2 no reply
 * in time; -3 unreadable reply. Time-outs are m_nOutTime, for the list m_nOutTime_max +
 * 1000 ms.
 */

/** Adds `point` ({"point_name","joint","pose","work_frame","tool_frame","time"}), answered
 *  with "add_state". Before sending, point->time is overwritten with the current local time
 *  "YYYY-MM-DD hh:mm:ss"; the caller sees it afterwards. Names longer than their fields are
 *  cut at the field's width. */
KY_API int ky_add_global_waypoint(ky_robot_handle *robot_handle, ky_waypoint *point);
/** Updates the waypoint named point->point_name, like ky_add_global_waypoint(); answered
 *  with "update_state". */
KY_API int ky_update_global_waypoint(ky_robot_handle *robot_handle, ky_waypoint *point);
/** Deletes waypoint `name`; answered with "delete_state". */
KY_API int ky_delete_global_waypoint(ky_robot_handle *robot_handle, const char *name);
/** Reads waypoint `name` ("given_global_waypoint") into *point: at most 16 bytes of the
 *  name, 10 of each frame name and 28 of the time; joints / 1000, positions / 1000000,
 *  angles / 1000; the quaternion is left as it was. A reply lacking the waypoint keys with
 *  "given_state" false is 1. */
KY_API int ky_get_given_global_waypoint(ky_robot_handle *robot_handle, const char *name, ky_waypoint *point);
/** Lists one page ({"vague_search" only when not null,"page_num","page_size"}, reply
 *  "get_global_waypoints_list" of up to 10240 bytes) into *list. list_len is set before the
 *  entries are read; an element lacking a member, or with a "joint" array not of the arm's
 *  dof or a "pose" not of 6, stops the walk with -3, earlier entries stay filled. */
KY_API int ky_get_global_waypoints_list(ky_robot_handle *robot_handle, int page_num, int page_size,
                                        const char *vague_search, ky_waypoint_list *list);

#ifdef __cplusplus
}
#endif

#endif
