// Connection-time synchronisation: reads the arm's identity, frames, limits and push
// configuration into the robot handle, in a fixed order.
#include "core/registry.h"

int ky::sync_robot(ky_handle *h) {
    ky_robot_handle *robot_handle = &h->robot;
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
    // The controller already pushes: its port goes to the UDP receiver (once; a reconnect
    // keeps the registration it has).
    const auto &realtime = ky::realtime_layer();
    if (push.enable && g_mode.load() == 2 && realtime.add_port && h->push_port_added != push.port) {
        realtime.add_port(push.port);
        h->push_port_added = push.port;
    }
    return 0;
}

int ky_sync_robot_info(ky_robot_handle *robot_handle) {
    ky_handle *h = nullptr;
    {
        ky::ReadLock lock;
        h = ky_get_ky_handle_by_robot_handle(robot_handle);
    }
    return h == nullptr ? -1 : ky::sync_robot(h);
}
