/*
 * kyarm/program_store.h: the controller's stored program trajectories: listing, run state,
 * deletion, update, the default program and starting a program by its id.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_PROGRAM_STORE_H
#define KYARM_PROGRAM_STORE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================ Program trajectory store */

/** Number of entries a ky_program_list holds; list entries beyond it are not stored. */
#define KY_PROGRAM_LIST_MAX 100
/** Number of entries each loop array of ky_program_run_state holds; more are not stored. */
#define KY_PROGRAM_LOOP_MAX 100

/** One stored program. */
typedef struct {
    int32_t id;                 /**< "id" */
    int32_t size;               /**< "size" */
    int32_t speed;              /**< "speed" */
    char trajectory_name[32];   /**< "trajectory_name": at most 32 bytes; a name of 32 bytes or
                                     more fills the field without a terminating NUL */
} ky_program_info;

/** One page of the stored programs, filled by ky_get_program_trajectory_list(). */
typedef struct {
    int32_t page_num;    /**< "page_num" as answered */
    int32_t page_size;   /**< "page_size" as answered */
    int32_t total_size;  /**< "total_size": number of stored programs that match */
    char vague_search[32]; /**< echo of the filter; zeroed, then at most 28 bytes, only when a
                                filter was given */
    ky_program_info list[KY_PROGRAM_LIST_MAX]; /**< entries in reply order; a field the reply
                                lacks keeps its value, so zero the record first */
} ky_program_list;

/** Run state of the program being executed, filled by ky_get_program_run_state(). */
typedef struct {
    int32_t run_state;   /**< "run_state": 0 idle, 1 running, other values further states */
    int32_t id;          /**< "id": the running program */
    int32_t edit_id;     /**< "edit_id" */
    int32_t plan_num;    /**< "plan_num" */
    int32_t total_loop;  /**< number of entries of "loop_num" as sent (may exceed
                              KY_PROGRAM_LOOP_MAX; only that many are stored) */
    int32_t step_mode;   /**< "step_mode" */
    int32_t plan_speed;  /**< "plan_speed" */
    int32_t loop_num[KY_PROGRAM_LOOP_MAX];  /**< "loop_num" */
    int32_t loop_cont[KY_PROGRAM_LOOP_MAX]; /**< "loop_cont" */
} ky_program_run_state;

/*
 * Results of every function: 0 success; 1 the controller answered false; -1 unknown handle,
 * send failure or a refused argument (a null pointer where a record or name is needed);
 * -2 no reply within m_nOutTime; -3 unreadable reply. Outputs are written as stated.
 */

/** Lists one page of stored programs: {"vague_search":filter (only when `vague_search` is
 *  not null),"page_num":n,"page_size":s}, reply "get_program_trajectory_list" (up to
 *  10240 bytes). "page_num", "page_size", "total_size" (and "vague_search" when a filter was
 *  given) must be present (-3 otherwise); then each element of "list" fills the next entry
 *  of `list`, at most KY_PROGRAM_LIST_MAX. A reply without an array "list" logs
 *  "[ky_get_program_trajectory_list] get program trajectory list parser error!" and is -3. */
KY_API int ky_get_program_trajectory_list(ky_robot_handle *robot_handle, int page_num, int page_size,
                                          const char *vague_search, ky_program_list *list);
/** Reads the run state ("get_program_run_state"). "run_state" is required; the other scalar
 *  members are taken when present; "loop_num" and "loop_cont", when present, must be arrays.
 *  Failures log "[ky_get_program_run_state] get program run state parser error!" and are -3. */
KY_API int ky_get_program_run_state(ky_robot_handle *robot_handle, ky_program_run_state *state);
/** Deletes stored program `id`; answered with "delete_state". */
KY_API int ky_delete_program_trajectory(ky_robot_handle *robot_handle, int id);
/** Updates stored program `id`: {"id","plan_speed","project_name"}; answered with
 *  "update_state". */
KY_API int ky_update_program_trajectory(ky_robot_handle *robot_handle, int id, int plan_speed,
                                        const char *project_name);
/** Makes program `id` the default run program; answered with "set_state". */
KY_API int ky_set_default_run_program(ky_robot_handle *robot_handle, int id);
/** Reads the default run program's id ("get_default_run_program", member "id"). */
KY_API int ky_get_default_run_program(ky_robot_handle *robot_handle, int *id);
/**
 * Starts stored program `id` ("set_program_id_start", with "speed" only when speed is not
 * 0); the reply's "start_state" gives 0, 1 or -3, returned at once when not 0 or when
 * `block` is 0.
 * Library modes 1 and 2, block non-zero: follows the run state until the controller reports
 * "program_run_finish" with this program's "finish_id". While the program runs the state is
 * read once a second; an idle state before the program was ever seen running is read ten
 * times 100 ms apart. Then a "program_run_finish" report is awaited for m_nOutTime (none:
 * -4); a report for another program goes back to reading the run state. More than five
 * failed state reads return the read's result; an unreadable "finish_id" gives -4. There
 * is no overall limit: the call lasts as long as the program runs.
 * Library mode 0: `block` is the time-out in seconds for the "program_run_finish" report;
 * none, an unreadable one or one for another program gives -4.
 */
KY_API int ky_set_program_id_run(ky_robot_handle *robot_handle, int id, int speed, int block);

#ifdef __cplusplus
}
#endif

#endif
