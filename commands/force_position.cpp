// Force-position control: switching the controller's force-position mode and its streamed
// move mode on and off. The set-points themselves ("Force_Position_Move") are streamed by
// commands/passthrough.cpp, which they share their encoding with.
#include <cstdint>
#include <span>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/units.h"

using ky::Req;

extern "C" {

// The force is cut to whole newtons before it is scaled to tenths: the controller is fed
// multiples of 10 by this command.
KY_API int ky_set_force_position(ky_robot_handle *robot_handle, int sensor, int mode, int direction, float force) {
    ky::CallScope scope;
    Req req("set_force_position");
    req.num("sensor", sensor).num("mode", mode).num("direction", direction).num("force", ky::whole_deci_to_wire(force));
    return ky::set_command(robot_handle, "ky_set_force_position", std::move(req), "set_state");
}

KY_API int ky_set_force_position_new(ky_robot_handle *robot_handle, const ky_force_position_params *params) {
    ky::CallScope scope;
    if (params == nullptr) return -1;
    int32_t force[KY_FORCE_AXES], vel[KY_FORCE_AXES];
    for (int i = 0; i < KY_FORCE_AXES; ++i) {
        force[i] = ky::deci_to_wire(params->desired_force[i]);
        vel[i] = ky::milli_to_wire(params->limit_vel[i]);
    }
    Req req("set_force_position");
    req.num("mode", params->mode)
        .num("sensor", params->sensor)
        .ints("desired_force", std::span<const int32_t>(force))
        .ints("control_mode", std::span<const int32_t>(params->control_mode))
        .ints("limit_vel", std::span<const int32_t>(vel));
    return ky::set_command(robot_handle, "ky_set_force_position_new", std::move(req), "set_state");
}

KY_API int ky_stop_force_position(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_stop_force_position", Req("stop_force_position"), "stop_state");
}

// The two move-mode commands are capitalised on the wire, unlike every other command.
KY_API int ky_start_force_position_move(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_start_force_position_move", Req("Start_Force_Position_Move"),
                           "set_state");
}

KY_API int ky_stop_force_position_move(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_stop_force_position_move", Req("Stop_Force_Position_Move"),
                           "set_state");
}

}  // extern "C"
