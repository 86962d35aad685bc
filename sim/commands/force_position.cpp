// Force-position control: the control itself on and off (set_force_position in its two request
// shapes, stop_force_position) and the set-point mode in which Force_Position_Move set-points
// are followed (Start_Force_Position_Move / Stop_Force_Position_Move). The simulated arm has no
// contact: the desired force is accepted and kept out of the motion.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

void end_force_stream(Arm &arm) {
    if (arm.follow.kind == FollowState::ForcePose) arm.follow.live = false;
}

// {"sensor","mode","direction","force"} or {"mode","sensor","desired_force"[6],
// "control_mode"[6],"limit_vel"[6]}.
bool set_force_position(Ctx &c) {
    int sensor = 0, mode = 0;
    if (!c.geti("sensor", sensor) || !c.geti("mode", mode) || sensor < 0 || mode < 0) return false;
    if (c.item("desired_force") != nullptr) {
        int force[6], control[6], vel[6];
        if (!c.geta("desired_force", 6, force) || !c.geta("control_mode", 6, control) || !c.geta("limit_vel", 6, vel))
            return false;
        for (int i = 0; i < 6; ++i) {
            if (control[i] < 0 || vel[i] < 0) return false;
        }
    } else {
        int direction = 0, force = 0;
        if (!c.geti("direction", direction) || !c.geti("force", force) || direction < 0 || direction > 5) return false;
    }
    c.arm.follow.force_control = true;
    return true;
}

bool stop_force_position(Ctx &c) {
    c.arm.follow.force_control = false;
    c.arm.follow.force_move = false;
    end_force_stream(c.arm);
    return true;
}

bool start_force_move(Ctx &c) { return c.arm.follow.force_move = true; }

bool stop_force_move(Ctx &c) {
    c.arm.follow.force_move = false;
    end_force_stream(c.arm);
    return true;
}

}  // namespace

std::span<const Command> force_position_commands() {
    static const Command rows[] = {
        {"set_force_position", "set_force_position", "set_state", set_force_position},
        {"stop_force_position", "stop_force_position", "stop_state", stop_force_position},
        {"Start_Force_Position_Move", "Start_Force_Position_Move", "set_state", start_force_move},
        {"Stop_Force_Position_Move", "Stop_Force_Position_Move", "set_state", stop_force_move},
    };
    return rows;
}

}  // namespace ky::sim
