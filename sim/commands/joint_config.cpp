// Joint configuration: motion and drive limits, enable, zero position, error clearing, and their
// read-back.
#include "sim/commands/common.h"

#include <algorithm>

namespace ky::sim {

namespace {

enum Limit { MaxPos, MinPos, MaxVel, MaxAcc };

bool set_limit(Ctx &c, const char *key, JointLimits &l, Limit which, bool drive) {
    int j = 0, v = 0;
    if (!c.getjoint(key, j, v)) return false;
    switch (which) {
    case MaxPos:
        if (v / 1000.0 <= l.min_pos[j] || (!drive && v / 1000.0 > c.arm.drive.max_pos[j])) return false;
        l.max_pos[j] = v / 1000.0;
        break;
    case MinPos:
        if (v / 1000.0 >= l.max_pos[j] || (!drive && v / 1000.0 < c.arm.drive.min_pos[j])) return false;
        l.min_pos[j] = v / 1000.0;
        break;
    case MaxVel:
        if (v <= 0 || (!drive && v * 6.0 / 1000.0 > c.arm.drive.max_vel[j] + 1e-3)) return false;
        l.max_vel[j] = v * 6.0 / 1000.0;
        break;
    case MaxAcc:
        if (v <= 0) return false;
        if (drive) {
            c.arm.drive_acc_wire[j] = v;  // kept exactly as set and read back as such
        } else {
            l.max_acc[j] = v * 6.0 / 1000.0;
        }
        break;
    }
    if (!drive) c.arm.refresh_kinematics();
    return true;
}

bool set_max_pos(Ctx &c) { return set_limit(c, "joint_max_pos", c.arm.lim, MaxPos, false); }
bool set_min_pos(Ctx &c) { return set_limit(c, "joint_min_pos", c.arm.lim, MinPos, false); }
bool set_max_speed(Ctx &c) { return set_limit(c, "joint_max_speed", c.arm.lim, MaxVel, false); }
bool set_max_acc(Ctx &c) { return set_limit(c, "joint_max_acc", c.arm.lim, MaxAcc, false); }
bool set_drive_max_pos(Ctx &c) { return set_limit(c, "joint_max_pos", c.arm.drive, MaxPos, true); }
bool set_drive_min_pos(Ctx &c) { return set_limit(c, "joint_min_pos", c.arm.drive, MinPos, true); }
bool set_drive_max_speed(Ctx &c) { return set_limit(c, "joint_max_speed", c.arm.drive, MaxVel, true); }
bool set_drive_max_acc(Ctx &c) { return set_limit(c, "joint_max_acc", c.arm.drive, MaxAcc, true); }

void put_limits(Ctx &c, const char *key, const double *v, double scale, bool speed) {
    int w[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) w[i] = speed ? speed_wire(v[i]) : wire(v[i], scale);
    c.arr(key, w, c.arm.dof);
}

bool get_max_pos(Ctx &c) { return put_limits(c, "max_pos", c.arm.lim.max_pos, 1000, false), true; }
bool get_min_pos(Ctx &c) { return put_limits(c, "min_pos", c.arm.lim.min_pos, 1000, false), true; }
bool get_max_speed(Ctx &c) { return put_limits(c, "joint_speed", c.arm.lim.max_vel, 0, true), true; }
bool get_max_acc(Ctx &c) { return put_limits(c, "joint_acc", c.arm.lim.max_acc, 0, true), true; }
bool get_drive_max_pos(Ctx &c) { return put_limits(c, "max_pos", c.arm.drive.max_pos, 1000, false), true; }
bool get_drive_min_pos(Ctx &c) { return put_limits(c, "min_pos", c.arm.drive.min_pos, 1000, false), true; }
bool get_drive_max_speed(Ctx &c) { return put_limits(c, "joint_speed", c.arm.drive.max_vel, 0, true), true; }
bool get_drive_max_acc(Ctx &c) {
    c.arr("joint_acc", c.arm.drive_acc_wire, c.arm.dof);
    return true;
}

bool auto_set_joint_limit(Ctx &c) {
    int mode = 0;
    if (!c.geti("limit_mode", mode) || mode < 0) return false;
    const JointLimits &def = c.arm.model_defaults;
    std::copy(def.max_pos, def.max_pos + kMaxDof, c.arm.lim.max_pos);
    std::copy(def.min_pos, def.min_pos + kMaxDof, c.arm.lim.min_pos);
    c.arm.refresh_kinematics();
    return true;
}

bool set_en_state(Ctx &c) {
    int j = 0, v = 0;
    if (!c.getjoint("joint_en_state", j, v) || c.arm.busy()) return false;
    c.arm.en_state[j] = v ? 1 : 0;
    return true;
}

bool set_zero_pos(Ctx &c) {
    int j = 0;
    if (!c.geti("joint_zero_pos", j) || j < 1 || j > c.arm.dof || c.arm.busy()) return false;
    // The joint's present position becomes its zero.
    c.arm.q_[j - 1] = 0;
    return true;
}

bool clear_err(Ctx &c) {
    int j = 0;
    if (!c.geti("joint_clear_err", j) || j < 1 || j > c.arm.dof) return false;
    c.arm.err_flag[j - 1] = 0;
    return true;
}

bool get_en_state(Ctx &c) {
    c.arr("en_state", c.arm.en_state, c.arm.dof);
    return true;
}

bool get_err_flag(Ctx &c) {
    int brake[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) brake[i] = c.arm.en_state[i] ? 0 : 1;  // 1: brake holds the joint
    c.arr("err_flag", c.arm.err_flag, c.arm.dof);
    c.arr("brake_state", brake, c.arm.dof);
    return true;
}

}  // namespace

std::span<const Command> joint_config_commands() {
    static const Command rows[] = {
        {"set_joint_drive_max_speed", "set_joint_drive_max_speed", "joint_max_speed", set_drive_max_speed},
        {"set_joint_drive_max_acc", "set_joint_drive_max_acc", "joint_max_acc", set_drive_max_acc},
        {"set_joint_drive_min_pos", "set_joint_drive_min_pos", "joint_min_pos", set_drive_min_pos},
        {"set_joint_drive_max_pos", "set_joint_drive_max_pos", "joint_max_pos", set_drive_max_pos},
        {"set_joint_en_state", "set_joint_en_state", "joint_en_state", set_en_state},
        {"set_joint_zero_pos", "set_joint_zero_pos", "joint_zero_pos", set_zero_pos},
        {"set_joint_clear_err", "set_joint_clear_err", "joint_clear_err", clear_err},
        {"set_joint_max_speed", "set_joint_max_speed", "joint_max_speed", set_max_speed},
        {"set_joint_max_acc", "set_joint_max_acc", "joint_max_acc", set_max_acc},
        {"set_joint_min_pos", "set_joint_min_pos", "joint_min_pos", set_min_pos},
        {"set_joint_max_pos", "set_joint_max_pos", "joint_max_pos", set_max_pos},
        {"auto_set_joint_limit", "auto_set_joint_limit ", "limit_mode", auto_set_joint_limit},
        {"get_joint_max_speed", "joint_max_speed", nullptr, get_max_speed},
        {"get_joint_max_acc", "joint_max_acc", nullptr, get_max_acc},
        {"get_joint_min_pos", "joint_min_pos", nullptr, get_min_pos},
        {"get_joint_max_pos", "joint_max_pos", nullptr, get_max_pos},
        {"get_joint_drive_max_speed", "get_joint_drive_max_speed", nullptr, get_drive_max_speed},
        {"get_joint_drive_max_acc", "get_joint_drive_max_acc", nullptr, get_drive_max_acc},
        {"get_joint_drive_min_pos", "get_joint_drive_min_pos", nullptr, get_drive_min_pos},
        {"get_joint_drive_max_pos", "get_joint_drive_max_pos", nullptr, get_drive_max_pos},
        {"get_joint_en_state", "joint_en_state", nullptr, get_en_state},
        {"get_joint_err_flag", "joint_err_flag", nullptr, get_err_flag},
    };
    return rows;
}

}  // namespace ky::sim
