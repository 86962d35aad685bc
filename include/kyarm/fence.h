/*
 * kyarm/fence.h: electronic fences, the virtual wall, self-collision checking and the run mode.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_FENCE_H
#define KYARM_FENCE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Electronic fences and virtual wall */
/*
 * The controller keeps a list of named fences, the one fence in force and a virtual wall;
 * each restricts where the arm may move once enabled. Coordinates and radii are in metres
 * on this interface and travel as integers of thousandths (value x 1000 in single precision,
 * truncated toward zero); read back they are divided by 1000 in single precision.
 *
 * Every request carrying a cube sends the record's x_min_limit (not z_min_limit) under
 * "z_min_limit"; the readers store "z_min_limit" into z_min_limit. Controllers rely on
 * this pairing, so it is kept as it is.
 *
 * Each function is one exchange waiting m_nOutTime. Results: 0 success; 1 the controller
 * refused (state key false) or, for the readers, the fence does not exist ("given_state"
 * false); -1 unknown handle, send failure or a form the function cannot send; -2 no reply;
 * -3 unreadable reply; -4 ky_add_electronic_fence_config with an unknown form (nothing sent).
 */

/** Fence shapes (`form`). */
#define KY_FENCE_CUBE 1
#define KY_FENCE_PLANE 2
#define KY_FENCE_SPHERE 3
/** Bytes of a fence name; a name of 12 bytes has no terminator. */
#define KY_FENCE_NAME_LEN 12
/** Entries the list readers write at most; callers' arrays must hold this many. */
#define KY_FENCE_LIST_MAX 32

/** One fence shape. All three shapes' fields are present; only those of `form` are used. */
typedef struct {
    int form;                           /* 1 cube, 2 plane, 3 sphere */
    char form_name[KY_FENCE_NAME_LEN];  /* not necessarily terminated */
    float x_min_limit, x_max_limit, y_min_limit, y_max_limit, z_min_limit, z_max_limit; /* cube */
    float x1, y1, z1, x2, y2, z2, x3, y3, z3; /* plane: three points spanning it */
    float x, y, z, radius;                    /* sphere: centre and radius */
} ky_fence_config;

/** Enable settings of the fences or of the virtual wall. `in_out_side` (the allowed side)
 *  and `effective_region` are passed through with the controller's meaning. */
typedef struct {
    bool enable_state;
    int in_out_side;
    int effective_region;
} ky_fence_enable;

/** A fence name slot of ky_get_electronic_fence_list_names. */
typedef struct {
    char name[KY_FENCE_NAME_LEN];
} ky_fence_name;

/** Adds a named fence: "add_electronic_fence_config" with "form", "form_name" and the
 *  shape's keys (cube "x_max_limit", "x_min_limit", "y_max_limit", "y_min_limit",
 *  "z_max_limit", "z_min_limit"; plane "x1".."z3"; sphere "radius", "x", "y", "z");
 *  answered with "add_config". An unknown form logs an error and returns -4 unsent. */
KY_API int ky_add_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config);
/** Replaces a named fence, as adding ("update_electronic_fence_config", answered with
 *  "update_config"); an unknown form sends nothing and returns -1. */
KY_API int ky_update_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config);
/** Deletes the named fence ("form_name"); answered with "delete_config". */
KY_API int ky_delete_electronic_fence_config(ky_robot_handle *robot_handle, const char *name);
/** Lists the fence names into names[0..] (12 bytes each, terminated when shorter) and their
 *  number into *count. At most KY_FENCE_LIST_MAX names are written and counted. -3 when the
 *  reply lacks the array "name_list". */
KY_API int ky_get_electronic_fence_list_names(ky_robot_handle *robot_handle, ky_fence_name *names, int *count);
/** Reads the named fence into *config: form, the first 10 bytes of its name and the shape's
 *  fields. 1 when the controller has no such fence; an unknown form leaves the shape fields
 *  as they were. */
KY_API int ky_get_given_electronic_fence_config(ky_robot_handle *robot_handle, const char *name,
                                                ky_fence_config *config);
/** Reads every fence into configs[0..] and their number into *count (at most
 *  KY_FENCE_LIST_MAX). *count is set before the records are read: on -3 (an element with a
 *  missing or mistyped key) the records before it are filled. */
KY_API int ky_get_electronic_fence_list_infos(ky_robot_handle *robot_handle, ky_fence_config *configs, int *count);
/** Enables or disables the fences: "set_enable", "in_out_side", "effective_region";
 *  answered with "set_state". */
KY_API int ky_set_electronic_fence_enable(ky_robot_handle *robot_handle, ky_fence_enable enable);
/** Reads the fences' enable settings ("enable_state", "in_out_side", "effective_region"). */
KY_API int ky_get_electronic_fence_enable(ky_robot_handle *robot_handle, ky_fence_enable *enable);
/** Sets the fence in force (a cube or a plane, no name); answered with "set_config". Any
 *  other form sends nothing and returns -1 (a sphere also logs an error). */
KY_API int ky_set_electronic_fence_config(ky_robot_handle *robot_handle, const ky_fence_config *config);
/** Reads the fence in force: its form and, for a cube or a plane, the shape's fields. */
KY_API int ky_get_electronic_fence_config(ky_robot_handle *robot_handle, ky_fence_config *config);
/** Enables or disables the virtual wall, as ky_set_electronic_fence_enable. */
KY_API int ky_set_virtual_wall_enable(ky_robot_handle *robot_handle, ky_fence_enable enable);
/** Reads the virtual wall's enable settings. */
KY_API int ky_get_virtual_wall_enable(ky_robot_handle *robot_handle, ky_fence_enable *enable);
/** Sets the virtual wall (a cube or a sphere); answered with "set_config". Any other form
 *  sends nothing and returns -1 (a plane also logs an error). */
KY_API int ky_set_virtual_wall_config(ky_robot_handle *robot_handle, const ky_fence_config *config);
/** Reads the virtual wall: its form and, for a cube or a sphere, the shape's fields. */
KY_API int ky_get_virtual_wall_config(ky_robot_handle *robot_handle, ky_fence_config *config);

/* ================================================= Self-collision and run mode */
/** Enables or disables self-collision checking ("set_enable"); answered with "set_state". */
KY_API int ky_set_self_collision_enable(ky_robot_handle *robot_handle, bool enable);
/** Reads whether self-collision checking is on ("enable_state"). */
KY_API int ky_get_self_collision_enable(ky_robot_handle *robot_handle, bool *enable);
/** Sets the run mode; any non-zero `mode` is sent as 1, zero as 0. Answered with the
 *  boolean "mode". */
KY_API int ky_set_arm_run_mode(ky_robot_handle *robot_handle, int mode);
/** Reads the run mode (the reply's integer "mode", unchanged). */
KY_API int ky_get_arm_run_mode(ky_robot_handle *robot_handle, int *mode);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_FENCE_H */
