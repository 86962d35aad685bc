/*
 * kyarm/identity.h: software information, initial pose, installation angles, versions.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_IDENTITY_H
#define KYARM_IDENTITY_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif /* KYARM_IDENTITY_H */
