// The tool flange's devices: the electric gripper and the dexterous hand. Every gripper action
// is answered under "set_gripper" with "state"; the action runs on and, when its "block" was
// true, reports its end as device 1 (the hand as device 2). A powered-off arm refuses every
// gripper and hand motion; the route, speed and force settings are kept regardless.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// "block" must be a JSON boolean.
bool getflag(Ctx &c, const char *key, bool &b) {
    const cJSON *i = c.item(key);
    if (!cJSON_IsBool(i)) return false;
    b = cJSON_IsTrue(i);
    return true;
}

bool gripper_route(Ctx &c) {
    int lo = 0, hi = 0;
    return c.geti("min", lo) && c.geti("max", hi) && c.arm.devices.gripper_route(lo, hi);
}

bool gripper_release(Ctx &c) {
    int speed = 0;
    bool block = false;
    return c.arm.power && c.geti("speed", speed) && getflag(c, "block", block) &&
           c.arm.devices.gripper_release(speed, block, c.out.broadcast);
}

bool pick(Ctx &c, bool continuous) {
    int speed = 0, force = 0;
    bool block = false;
    return c.arm.power && c.geti("speed", speed) && c.geti("force", force) && getflag(c, "block", block) &&
           c.arm.devices.gripper_pick(speed, force, continuous, block, c.out.broadcast);
}
bool gripper_pick(Ctx &c) { return pick(c, false); }
bool gripper_pick_on(Ctx &c) { return pick(c, true); }

bool gripper_position(Ctx &c) {
    int position = 0;
    bool block = false;
    return c.arm.power && c.geti("position", position) && getflag(c, "block", block) &&
           c.arm.devices.gripper_position(position, block, c.out.broadcast);
}

// "enable" 1 while powered, "status" 0 at rest / 1 moving / 2 holding, "mode" the last action
// (0 none, 1 release, 2 pick, 3 continuous pick, 4 position), "current_force" the pick's force
// while it holds, "temperature" in degrees Celsius, "actpos" the finger position.
bool gripper_state(Ctx &c) {
    const Devices &d = c.arm.devices;
    const bool busy = d.gripper.action.active || d.gripper.holding;
    c.num("enable", c.arm.power ? 1 : 0);
    c.num("status", d.gripper_status());
    c.num("error", 0);
    c.num("mode", d.gripper.mode);
    c.num("current_force", d.gripper_force());
    c.num("temperature", busy ? 33 : 31);
    c.num("actpos", std::lround(d.gripper.travel.pos));
    return true;
}

bool hand_play(Ctx &c, const char *key, bool sequence) {
    int number = 0;
    bool block = false;
    return c.arm.power && c.geti(key, number) && getflag(c, "block", block) &&
           c.arm.devices.hand_play(sequence, number, block, c.out.broadcast);
}
bool hand_posture(Ctx &c) { return hand_play(c, "posture_num", false); }
bool hand_seq(Ctx &c) { return hand_play(c, "seq_num", true); }

bool hand_angle(Ctx &c) {
    int angle[Hand::kFingers];
    return c.arm.power && c.geta("hand_angle", Hand::kFingers, angle) && c.arm.devices.hand_angle(angle, c.out.broadcast);
}

bool hand_setting(Ctx &c, const char *key, int &value) {
    int v = 0;
    if (!c.geti(key, v) || v < 1 || v > 1000) return false;
    value = v;
    return true;
}
bool hand_speed(Ctx &c) { return hand_setting(c, "speed", c.arm.devices.hand.speed); }
bool hand_force(Ctx &c) { return hand_setting(c, "hand_force", c.arm.devices.hand.force); }

}  // namespace

std::span<const Command> tool_commands() {
    static const Command rows[] = {
        {"set_gripper_route", "set_gripper_route", "state", gripper_route},
        {"set_gripper_release", "set_gripper", "state", gripper_release},
        {"set_gripper_pick", "set_gripper", "state", gripper_pick},
        {"set_gripper_pick_on", "set_gripper", "state", gripper_pick_on},
        {"set_gripper_position", "set_gripper", "state", gripper_position},
        {"get_gripper_state", "get_gripper_state", nullptr, gripper_state},
        {"set_hand_posture", "set_hand_posture", "set_state", hand_posture},
        {"set_hand_seq", "set_hand_seq", "set_state", hand_seq},
        {"set_hand_angle", "set_hand_angle", "set_state", hand_angle},
        {"hand_follow_angle", nullptr, nullptr, hand_angle},  // streamed, not acknowledged
        {"set_hand_speed", "set_hand_speed", "set_state", hand_speed},
        {"set_hand_force", "set_hand_force", "set_state", hand_force},
    };
    return rows;
}

}  // namespace ky::sim
