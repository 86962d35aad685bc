// Connection-time synchronisation: reads the arm's identity, frames, limits and push
// configuration into the robot handle, in a fixed order.
#include "core/registry.h"
#include "realtime/udp.h"

int ky_sync_robot_info(ky_robot_handle *robot_handle) {
    ky_arm_software_info info{};
    int r = ky_get_arm_software_info(robot_handle, &info);
    if (r != 0) return r;
    ky_realtime_push_config push{};
    r = ky_get_realtime_push(robot_handle, &push);
    if (r != 0) return r;
    ky_frame frame{};
    r = ky_get_current_work_frame(robot_handle, &frame);
    if (r != 0) return r;
    r = ky_get_current_tool_frame(robot_handle, &frame);
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
    // The controller already pushes: its port goes to the UDP receiver.
    if (push.enable && g_mode.load() == 2) ky::udp_add_port(push.port);
    return 0;
}
