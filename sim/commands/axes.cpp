// The lift (device 3, height in millimetres 0..2600) and the expansion axis (device 4, position
// in thousandths of a degree, -180000..180000). A position move runs at "speed" percent and
// reports its arrival under the axis's device code; a speed setting jogs the axis at a signed
// percentage until 0 stops it. "mode" in the state is 1 while the axis moves, else 0. A
// powered-off arm refuses every axis motion (stopping a jog is always accepted).
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

bool jog(Ctx &c, int device) {
    int speed = 0;
    return c.geti("speed", speed) && (speed == 0 || c.arm.power) &&
           c.arm.devices.axis_jog(device, speed, c.out.broadcast);
}

bool move(Ctx &c, int device, const char *key) {
    int speed = 0, target = 0;
    return c.arm.power && c.geti("speed", speed) && c.geti(key, target) &&
           c.arm.devices.axis_move(device, speed, target, c.out.broadcast);
}

void state(Ctx &c, int device, const char *position_key) {
    const LinearAxis &a = c.arm.devices.axis(device);
    c.num(position_key, std::lround(a.travel.pos));
    c.num("current", a.current());
    c.num("err_flag", 0);
    c.num("mode", a.moving() ? 1 : 0);
}

bool set_lift_speed(Ctx &c) { return jog(c, kLiftDevice); }
bool lift_state(Ctx &c) { return state(c, kLiftDevice, "height"), true; }
// Not acknowledged: a refused height changes nothing and nothing is sent.
bool set_lift_height(Ctx &c) { return move(c, kLiftDevice, "height"); }

bool expand_speed(Ctx &c) { return jog(c, kExpandDevice); }
bool expand_state(Ctx &c) { return state(c, kExpandDevice, "pos"), true; }
bool expand_pos(Ctx &c) { return move(c, kExpandDevice, "pos"); }

}  // namespace

std::span<const Command> axes_commands() {
    static const Command rows[] = {
        {"set_lift_speed", "set_lift_speed", "set_state", set_lift_speed},
        {"get_lift_state", "lift_state", nullptr, lift_state},
        {"set_lift_height", nullptr, nullptr, set_lift_height},
        {"expand_set_speed", "expand_set_speed", "set_speed_state", expand_speed},
        {"expand_get_state", "expand_state", nullptr, expand_state},
        {"expand_set_pos", "expand_set_pos", "set_pos_state", expand_pos},
    };
    return rows;
}

}  // namespace ky::sim
