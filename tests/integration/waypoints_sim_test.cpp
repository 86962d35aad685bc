// Global waypoints through the library against the simulator running in-process: added,
// listed page by page and filtered, updated, read back and deleted.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/sim_fixture.h"

namespace {

ky_waypoint point(const char *name, float x) {
    ky_waypoint p{};
    std::strncpy(p.point_name, name, sizeof p.point_name - 1);
    const float joints[6] = {10.5f, -20.25f, 30, 0, 45.125f, -90};
    std::memcpy(p.joint, joints, sizeof joints);
    p.pose.position = {x, -0.125f, 0.5f};
    p.pose.euler = {3.1416f, 0, -1.5f};
    std::strcpy(p.work_frame, "World");
    std::strcpy(p.tool_frame, "Arm_Tip");
    return p;
}

std::vector<std::string> names(const ky_waypoint_list &l) {
    std::vector<std::string> v;
    for (int i = 0; i < l.list_len; ++i) v.emplace_back(l.points[i].point_name);
    return v;
}

using WaypointsSim = kytest::TcpSimTest;

TEST_F(WaypointsSim, AddListUpdateReadDelete) {
    for (const char *name : {"pick_a", "place_a", "pick_b", "pick_c", "home"}) {
        ky_waypoint p = point(name, 0.25f);
        ASSERT_EQ(ky_add_global_waypoint(robot, &p), 0) << name;
        EXPECT_EQ(std::strlen(p.time), 19u);  // stamped by the library
    }
    ky_waypoint dup = point("home", 0);
    EXPECT_EQ(ky_add_global_waypoint(robot, &dup), 1);

    auto list = std::make_unique<ky_waypoint_list>();
    ASSERT_EQ(ky_get_global_waypoints_list(robot, 1, 2, nullptr, list.get()), 0);
    EXPECT_EQ(list->total_size, 5);
    EXPECT_EQ(names(*list), (std::vector<std::string>{"pick_a", "place_a"}));
    ASSERT_EQ(ky_get_global_waypoints_list(robot, 3, 2, nullptr, list.get()), 0);
    EXPECT_EQ(names(*list), (std::vector<std::string>{"home"}));
    ASSERT_EQ(ky_get_global_waypoints_list(robot, 1, 10, "pick", list.get()), 0);
    EXPECT_EQ(list->total_size, 3);
    EXPECT_EQ(names(*list), (std::vector<std::string>{"pick_a", "pick_b", "pick_c"}));
    EXPECT_FLOAT_EQ(list->points[0].pose.position.x, 0.25f);
    EXPECT_FLOAT_EQ(list->points[0].joint[4], 45.125f);
    EXPECT_EQ(ky_get_global_waypoints_list(robot, 1, 500, nullptr, list.get()), 1);  // page too large

    ky_waypoint moved = point("pick_b", 0.5f);
    moved.joint[0] = -1.5f;
    std::strcpy(moved.tool_frame, "Gripper");
    ASSERT_EQ(ky_update_global_waypoint(robot, &moved), 0);
    ky_waypoint none = point("nowhere", 0);
    EXPECT_EQ(ky_update_global_waypoint(robot, &none), 1);

    ky_waypoint back{};
    ASSERT_EQ(ky_get_given_global_waypoint(robot, "pick_b", &back), 0);
    EXPECT_STREQ(back.point_name, "pick_b");
    EXPECT_STREQ(back.tool_frame, "Gripper");
    EXPECT_STREQ(back.time, moved.time);
    EXPECT_FLOAT_EQ(back.joint[0], -1.5f);
    EXPECT_FLOAT_EQ(back.joint[1], -20.25f);
    EXPECT_FLOAT_EQ(back.pose.position.x, 0.5f);
    EXPECT_FLOAT_EQ(back.pose.position.y, -0.125f);
    EXPECT_FLOAT_EQ(back.pose.euler.rx, 3.141f);  // milliradians on the wire
    EXPECT_FLOAT_EQ(back.pose.euler.rz, -1.5f);

    ASSERT_EQ(ky_delete_global_waypoint(robot, "pick_b"), 0);
    EXPECT_EQ(ky_delete_global_waypoint(robot, "pick_b"), 1);
    EXPECT_EQ(ky_get_given_global_waypoint(robot, "pick_b", &back), 1);
    ASSERT_EQ(ky_get_global_waypoints_list(robot, 1, 10, "pick", list.get()), 0);
    EXPECT_EQ(names(*list), (std::vector<std::string>{"pick_a", "pick_c"}));
}

}  // namespace
