// Arm speed limits and collision: the Cartesian speed and acceleration limits that Cartesian
// motion honours, their reset, and the collision stage.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

bool set_cart(Ctx &c, const char *key, double &field) {
    int v = 0;
    if (!c.geti(key, v) || v <= 0) return false;
    field = v / 1000.0;
    return true;
}
bool set_line_speed(Ctx &c) { return set_cart(c, "arm_line_speed", c.arm.line_speed); }
bool set_line_acc(Ctx &c) { return set_cart(c, "arm_line_acc", c.arm.line_acc); }
bool set_ang_speed(Ctx &c) { return set_cart(c, "arm_angular_speed", c.arm.angular_speed); }
bool set_ang_acc(Ctx &c) { return set_cart(c, "arm_angular_acc", c.arm.angular_acc); }
bool get_line_speed(Ctx &c) { return c.num("arm_line_speed", wire(c.arm.line_speed, 1000)), true; }
bool get_line_acc(Ctx &c) { return c.num("arm_line_acc", wire(c.arm.line_acc, 1000)), true; }
bool get_ang_speed(Ctx &c) { return c.num("arm_angular_speed", wire(c.arm.angular_speed, 1000)), true; }
bool get_ang_acc(Ctx &c) { return c.num("arm_angular_acc", wire(c.arm.angular_acc, 1000)), true; }
bool set_arm_init(Ctx &c) {
    c.arm.line_speed = 0.25;
    c.arm.line_acc = 1.6;
    c.arm.angular_speed = 0.6;
    c.arm.angular_acc = 4.0;
    return true;
}
bool set_collision(Ctx &c) {
    int v = 0;
    if (!c.geti("collision_stage", v) || v < 0 || v > 8) return false;
    c.arm.collision_stage = v;
    return true;
}
bool get_collision(Ctx &c) { return c.num("collision_stage", c.arm.collision_stage), true; }

}  // namespace

std::span<const Command> arm_limits_commands() {
    static const Command rows[] = {
        {"set_arm_max_line_speed", "set_arm_max_line_speed", "arm_line_speed", set_line_speed},
        {"set_arm_max_line_acc", "set_arm_max_line_acc", "arm_line_acc", set_line_acc},
        {"set_arm_max_angular_speed", "set_arm_max_angular_speed", "arm_angular_speed", set_ang_speed},
        {"set_arm_max_angular_acc", "set_arm_max_angular_acc", "arm_angular_acc", set_ang_acc},
        {"get_arm_max_line_speed", "arm_max_line_speed", nullptr, get_line_speed},
        {"get_arm_max_line_acc", "arm_max_line_acc", nullptr, get_line_acc},
        {"get_arm_max_angular_speed", "arm_max_angular_speed", nullptr, get_ang_speed},
        {"get_arm_max_angular_acc", "arm_max_angular_acc", nullptr, get_ang_acc},
        {"set_arm_init", "set_arm_init", "arm_init", set_arm_init},
        {"set_collision_stage", "set_collision_state", "collision_state", set_collision},
        {"get_collision_stage", "get_collision_stage", nullptr, get_collision},
    };
    return rows;
}

}  // namespace ky::sim
