// Connection-time synchronisation: reads the arm's identity, frames, limits and push
// configuration into the robot handle, in a fixed order.
#include "core/registry.h"

extern "C" {
int ky_get_arm_software_info(ky_robot_handle *, ky_arm_software_info *);
int ky_get_install_pose(ky_robot_handle *, float *, float *, float *);
int ky_get_joint_min_pos(ky_robot_handle *, float *);
int ky_get_joint_max_pos(ky_robot_handle *, float *);
int ky_get_joint_max_acc(ky_robot_handle *, float *);
int ky_get_joint_max_speed(ky_robot_handle *, float *);
}

int ky_sync_robot_info(ky_robot_handle *robot_handle) {
    ky_arm_software_info info{};
    int r = ky_get_arm_software_info(robot_handle, &info);
    if (r != 0) return r;
    float x, y, z;
    r = ky_get_install_pose(robot_handle, &x, &y, &z);
    if (r != 0) return r;
    // Joint limits; each query also caches them in the robot handle.
    float limits[7];
    for (auto query : {ky_get_joint_min_pos, ky_get_joint_max_pos, ky_get_joint_max_acc, ky_get_joint_max_speed}) {
        r = query(robot_handle, limits);
        if (r != 0) return r;
    }
    return 0;
}
