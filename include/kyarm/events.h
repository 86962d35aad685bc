/*
 * kyarm/events.h: events the controller pushes on its own.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_EVENTS_H
#define KYARM_EVENTS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif /* KYARM_EVENTS_H */
