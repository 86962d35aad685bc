/*
 * kyarm/lifecycle.h: library start and stop, robot handles.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_LIFECYCLE_H
#define KYARM_LIFECYCLE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================= Lifecycle and handles */

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

#ifdef __cplusplus
}
#endif

#endif /* KYARM_LIFECYCLE_H */
