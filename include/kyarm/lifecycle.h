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
 *  Returns 0, or -1 when a thread cannot be started. Call once, or again after ky_destory().
 *  A host program that exits (returns from main, or calls exit()) without ky_destory()
 *  exits cleanly: the library's threads are stopped at exit. */
KY_API int ky_init(int mode);
/** Library version, "1.0.3.t5". */
KY_API const char *ky_api_version(void);
/** Connects to the controller at `ip` (dotted IPv4, at most 20 characters) and `port`, then
 *  reads the arm's identity, frames, limits and push configuration into the returned record.
 *  Blocks for the connection (at most about 3 s) and the synchronisation queries.
 *  Returns null when all five robot slots are taken or the address or port is refused.
 *  Otherwise returns the record; its `id` is 1..5 on success and -1 when the connection or
 *  the synchronisation failed. A record with id -1 still holds its slot until
 *  ky_delete_robot_arm() is called with it. Also returns null when ky_destory() ran on
 *  another thread while this creation synchronised (the record it worked on is then freed
 *  once it let go of it, never while in use). */
KY_API ky_robot_handle *ky_create_robot_arm(const char *ip, int port);
/** Closes one robot's connection and frees its slot. The record stays readable (id 0)
 *  until ky_destory(); commands with it return -1. Waits for that robot's commands in
 *  flight; commands that other threads start meanwhile wait for it (the registry lock lets
 *  create, delete and destroy in before later commands, so they are never starved).
 *  Returns 0, or -1 (logged "not find handle") for an unknown pointer. */
KY_API int ky_delete_robot_arm(ky_robot_handle *robot_handle);
/** Stops the library's threads, closes every robot and frees every record (including those
 *  of deleted robots). Always 0. Afterwards ky_init() may be called again. */
KY_API int ky_destory(void);
/** Copies the arm's degree of freedom (6 or 7). 0, or -1 when the handle is unknown or the
 *  dof is not 6 or 7. */
KY_API int ky_get_arm_dof(ky_robot_handle *robot_handle, int *dof);
/** Copies dof, model and force type. 0; -1 unknown handle; -2 when dof is still 0. */
KY_API int ky_get_robot_info(ky_robot_handle *robot_handle, ky_robot_info *info);

/* ------------------------------------------------ Connection state and reconnect
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
 *  thread marks the connection closed the moment it sees the peer close (and logs it at warn
 *  level); in mode 0 the calling thread notices it while it reads a reply. Never blocks on
 *  the wire. */
KY_API int ky_get_connection_state(ky_robot_handle *robot_handle);

/** Reconnects a registered robot to the address and port it was created with, then runs
 *  the creation's synchronisation queries again (identity, push configuration, frames,
 *  installation pose, joint limits) and reloads the algorithm state from them. The handle
 *  keeps its pointer, its id (set to the slot number again, also after a failed creation),
 *  the callbacks and its UDP push registration; lines received on the old connection are
 *  forgotten. Blocks for the connect (at most about 3 s) and the queries (their time-outs);
 *  a ky_delete_robot_arm() of the same robot waits for it.
 *  Safe to call from several threads: a call that waited for another reconnect of the
 *  same robot returns 0 when that one succeeded.
 *  Returns 0 connected and synchronised; -1 the handle is not registered; -2 the connection
 *  could not be made (logged "[ky_reconnect_robot_arm] socket connect err!"; the state stays
 *  as it was); -3 connected but a synchronisation query failed (logged "get robot info
 *  err!"; the robot's id is then -1, as after a failed creation; commands can still be sent
 *  and a later reconnect may succeed). */
KY_API int ky_reconnect_robot_arm(ky_robot_handle *robot_handle);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_LIFECYCLE_H */
