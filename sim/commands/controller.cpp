// Controller state, arm power and the maintenance counters: supply readings and the system
// error flag, power switching (a powered-off arm refuses every motion), the running time since
// the simulator started, the per-joint odometers grown by the simulated motion, and their
// clearing.
#include "sim/commands/common.h"

#include <chrono>
#include <random>

namespace ky::sim {

namespace {

// Supply in thousandths: about 48 V; about 0.9 A plus what the joints draw, so the current
// rises while the arm moves; about 38 degrees.
bool controller_state(Ctx &c) {
    Arm &a = c.arm;
    int current = a.power ? 900 : 150;
    for (int j = 0; a.power && j < a.dof; ++j) current += a.current(j);
    c.num("voltage", a.voltage(0));
    c.num("current", current);
    c.num("temperature", 38000 + std::uniform_int_distribution<int>(-200, 200)(a.rng));
    c.num("err_flag", a.system_err);
    return true;
}

// 1 powers the arm, 0 powers it off and halts whatever moves (cutting the power under a
// moving arm raises the system error flag); other values are refused.
bool set_arm_power(Ctx &c) {
    int on = 0;
    if (!c.geti("arm_power", on) || (on != 0 && on != 1)) return false;
    if (on == 0 && c.arm.busy()) {
        c.arm.system_err = 1;
        c.arm.halt(false, c.out.broadcast);
    }
    c.arm.power = on == 1;
    return true;
}

bool arm_power_state(Ctx &c) {
    c.num("power_state", c.arm.power ? 1 : 0);
    return true;
}

bool system_runtime(Ctx &c) {
    const auto up = std::chrono::steady_clock::now() - c.arm.runtime_start;
    const long long s = std::chrono::duration_cast<std::chrono::seconds>(up).count();
    c.num("day", static_cast<double>(s / 86400));
    c.num("hour", static_cast<double>(s / 3600 % 24));
    c.num("min", static_cast<double>(s / 60 % 60));
    c.num("sec", static_cast<double>(s % 60));
    return true;
}

bool clear_runtime(Ctx &c) {
    c.arm.runtime_start = std::chrono::steady_clock::now();
    return true;
}

// Degrees travelled per joint, in thousandths.
bool joint_odom(Ctx &c) {
    int w[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) w[i] = wire(c.arm.odom[i], 1000.0);
    c.arr("odom", w, c.arm.dof);
    return true;
}

bool clear_odom(Ctx &c) {
    for (double &d : c.arm.odom) d = 0;
    return true;
}

bool clear_system_err(Ctx &c) {
    c.arm.system_err = 0;
    return true;
}

}  // namespace

std::span<const Command> controller_commands() {
    static const Command rows[] = {
        {"get_controller_state", "controller_state", nullptr, controller_state},
        {"set_arm_power", "set_arm_power", "arm_power", set_arm_power},
        {"get_arm_power_state", "arm_power_state", nullptr, arm_power_state},
        {"get_system_runtime", "get_system_runtime", nullptr, system_runtime},
        {"clear_system_runtime", "clear_system_runtime", "clear_state", clear_runtime},
        {"get_joint_odom", "get_joint_odom", nullptr, joint_odom},
        {"clear_joint_odom", "clear_joint_odom", "clear_state", clear_odom},
        {"clear_system_err", "clear_system_err", "clear_state", clear_system_err},
    };
    return rows;
}

}  // namespace ky::sim
