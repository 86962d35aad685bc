// Joint configuration: drive limits, motion limits, enable, zero position, error clearing,
// and the read-back of limits, enable states, error flags and brake states.
//
// A joint setting travels as [joint, scaled value]; arrays read back carry one integer per
// joint. The four motion-limit reads also refresh the robot handle's cached limits, and
// their setters read the limits back after the controller accepted the change.
#include <cstdint>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/registry.h"
#include "core/units.h"

using ky::Req;

namespace {

// One joint's setting: {"command":command, key:[joint, value]}; the reply's boolean `key`.
int set_joint_value(ky_robot_handle *robot, const char *tag, const char *command, const char *key,
                    int joint, int32_t value) {
    return ky::set_command(robot, tag, std::move(Req(command).ints(key, {joint, value})), key);
}

// Reads one array of dof integers and converts it with `from_wire` into `out` (may be
// null); when `cache` names a limit field of the robot handle it is refreshed too.
int get_joint_floats(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                     const char *member, float (*from_wire)(int32_t), float *out,
                     float (ky_robot_handle::*cache)[7] = nullptr) {
    int32_t wire[7];
    int dof = 0;
    int r = ky::get_dof_ints(robot, tag, command, reply_key, member, wire, &dof);
    if (r != 0) return r;
    auto store = [&](ky_robot_handle *cached) {
        for (int i = 0; i < dof; ++i) {
            const float v = from_wire(wire[i]);
            if (out != nullptr) out[i] = v;
            if (cached != nullptr) (cached->*cache)[i] = v;
        }
    };
    if (cache == nullptr) {
        store(nullptr);
        return 0;
    }
    return ky::with_robot(robot, nullptr, [&](ky_handle &h) { store(&h.robot); });
}

// A successful setting of a motion limit is followed by the read-back of all joints.
template <class Get>
int then_refresh(int set_result, ky_robot_handle *robot, Get get) {
    if (set_result != 0) return set_result;
    float scratch[7];
    return get(robot, scratch);
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ drive limits
KY_API int ky_set_joint_drive_max_speed(ky_robot_handle *robot_handle, int joint, float speed) {
    ky::CallScope scope;
    return set_joint_value(robot_handle, "ky_set_joint_drive_max_speed", "set_joint_drive_max_speed",
                           "joint_max_speed", joint, ky::speed_to_wire(speed));
}

// The drive acceleration goes out x 1000 without the division by 6 of the other limits,
// while its read-back converts x 6 / 1000; the controller expects exactly this.
KY_API int ky_set_joint_drive_max_acc(ky_robot_handle *robot_handle, int joint, float acc) {
    ky::CallScope scope;
    return set_joint_value(robot_handle, "ky_set_joint_drive_max_acc", "set_joint_drive_max_acc", "joint_max_acc",
                           joint, ky::milli_to_wire(acc));
}

KY_API int ky_set_joint_drive_min_pos(ky_robot_handle *robot_handle, int joint, float pos) {
    ky::CallScope scope;
    return set_joint_value(robot_handle, "ky_set_joint_drive_min_pos", "set_joint_drive_min_pos", "joint_min_pos",
                           joint, ky::milli_to_wire(pos));
}

KY_API int ky_set_joint_drive_max_pos(ky_robot_handle *robot_handle, int joint, float pos) {
    ky::CallScope scope;
    return set_joint_value(robot_handle, "ky_set_joint_drive_max_pos", "set_joint_drive_max_pos", "joint_max_pos",
                           joint, ky::milli_to_wire(pos));
}

KY_API int ky_get_joint_drive_max_speed(ky_robot_handle *robot_handle, float *speed) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_drive_max_speed", "get_joint_drive_max_speed",
                            "get_joint_drive_max_speed", "joint_speed", ky::speed_from_wire, speed);
}

KY_API int ky_get_joint_drive_max_acc(ky_robot_handle *robot_handle, float *acc) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_drive_max_acc", "get_joint_drive_max_acc",
                            "get_joint_drive_max_acc", "joint_acc", ky::speed_from_wire, acc);
}

KY_API int ky_get_joint_drive_min_pos(ky_robot_handle *robot_handle, float *pos) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_drive_min_pos", "get_joint_drive_min_pos",
                            "get_joint_drive_min_pos", "min_pos", ky::milli_from_wire, pos);
}

KY_API int ky_get_joint_drive_max_pos(ky_robot_handle *robot_handle, float *pos) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_drive_max_pos", "get_joint_drive_max_pos",
                            "get_joint_drive_max_pos", "max_pos", ky::milli_from_wire, pos);
}

// ------------------------------------------------------------- motion limits (cached)
KY_API int ky_get_joint_max_speed(ky_robot_handle *robot_handle, float *speed) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_max_speed", "get_joint_max_speed", "joint_max_speed",
                            "joint_speed", ky::speed_from_wire, speed, &ky_robot_handle::joint_max_speed);
}

KY_API int ky_get_joint_max_acc(ky_robot_handle *robot_handle, float *acc) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_max_acc", "get_joint_max_acc", "joint_max_acc",
                            "joint_acc", ky::speed_from_wire, acc, &ky_robot_handle::joint_max_acc);
}

KY_API int ky_get_joint_min_pos(ky_robot_handle *robot_handle, float *pos) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_min_pos", "get_joint_min_pos", "joint_min_pos", "min_pos",
                            ky::milli_from_wire, pos, &ky_robot_handle::joint_min_pos);
}

KY_API int ky_get_joint_max_pos(ky_robot_handle *robot_handle, float *pos) {
    ky::CallScope scope;
    return get_joint_floats(robot_handle, "ky_get_joint_max_pos", "get_joint_max_pos", "joint_max_pos", "max_pos",
                            ky::milli_from_wire, pos, &ky_robot_handle::joint_max_pos);
}

KY_API int ky_set_joint_max_speed(ky_robot_handle *robot_handle, int joint, float speed) {
    ky::CallScope scope;
    return then_refresh(set_joint_value(robot_handle, "ky_set_joint_max_speed", "set_joint_max_speed",
                                        "joint_max_speed", joint, ky::speed_to_wire(speed)),
                        robot_handle, ky_get_joint_max_speed);
}

KY_API int ky_set_joint_max_acc(ky_robot_handle *robot_handle, int joint, float acc) {
    ky::CallScope scope;
    return then_refresh(set_joint_value(robot_handle, "ky_set_joint_max_acc", "set_joint_max_acc", "joint_max_acc",
                                        joint, ky::speed_to_wire(acc)),
                        robot_handle, ky_get_joint_max_acc);
}

KY_API int ky_set_joint_min_pos(ky_robot_handle *robot_handle, int joint, float pos) {
    ky::CallScope scope;
    return then_refresh(set_joint_value(robot_handle, "ky_set_joint_min_pos", "set_joint_min_pos", "joint_min_pos",
                                        joint, ky::milli_to_wire(pos)),
                        robot_handle, ky_get_joint_min_pos);
}

KY_API int ky_set_joint_max_pos(ky_robot_handle *robot_handle, int joint, float pos) {
    ky::CallScope scope;
    return then_refresh(set_joint_value(robot_handle, "ky_set_joint_max_pos", "set_joint_max_pos", "joint_max_pos",
                                        joint, ky::milli_to_wire(pos)),
                        robot_handle, ky_get_joint_max_pos);
}

// The controller names its reply "auto_set_joint_limit " with a trailing blank.
KY_API int ky_auto_set_joint_limit(ky_robot_handle *robot_handle, int mode) {
    ky::CallScope scope;
    int r = ky::set_command(robot_handle, "ky_auto_set_joint_limit",
                            std::move(Req("auto_set_joint_limit").num("limit_mode", mode)), "limit_mode", "auto_set_joint_limit ");
    if (r != 0) return r;
    float scratch[7];
    ky_get_joint_min_pos(robot_handle, scratch);
    return ky_get_joint_max_pos(robot_handle, scratch);
}

// ------------------------------------------------------- enable, zero, errors, brakes
KY_API int ky_set_joint_en_state(ky_robot_handle *robot_handle, int joint, int state) {
    ky::CallScope scope;
    return set_joint_value(robot_handle, "ky_set_joint_en_state", "set_joint_en_state", "joint_en_state", joint, state);
}

KY_API int ky_set_joint_zero_pos(ky_robot_handle *robot_handle, int joint) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_joint_zero_pos",
                           std::move(Req("set_joint_zero_pos").num("joint_zero_pos", joint)), "joint_zero_pos");
}

KY_API int ky_set_joint_clear_err(ky_robot_handle *robot_handle, int joint) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_joint_clear_err",
                           std::move(Req("set_joint_clear_err").num("joint_clear_err", joint)), "joint_clear_err");
}

KY_API int ky_get_joint_en_state(ky_robot_handle *robot_handle, uint8_t *state) {
    ky::CallScope scope;
    int32_t wire[7];
    int dof = 0;
    int r = ky::get_dof_ints(robot_handle, "ky_get_joint_en_state", "get_joint_en_state", "joint_en_state",
                             "en_state", wire, &dof);
    if (r != 0) return r;
    for (int i = 0; state != nullptr && i < dof; ++i) state[i] = static_cast<uint8_t>(wire[i]);
    return 0;
}

KY_API int ky_get_joint_err_flag(ky_robot_handle *robot_handle, uint16_t *err_flag, uint16_t *brake_state) {
    ky::CallScope scope;
    static const char *tag = "ky_get_joint_err_flag";
    ky::Reply reply(1024);
    Req req("get_joint_err_flag");
    int r = ky::exchange(robot_handle, tag, req, "joint_err_flag", reply, ky::out_time());
    if (r < 1) return r;
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    json_parse_item items[2] = {ky::parse_ints("err_flag", dof), ky::parse_ints("brake_state", dof)};
    r = common_json_parse(tag, reply.text(), items, 2);
    if (r != 0) return r;
    for (int i = 0; i < dof; ++i) {
        if (err_flag != nullptr) err_flag[i] = static_cast<uint16_t>(items[0].value.array[i]);
        if (brake_state != nullptr) brake_state[i] = static_cast<uint16_t>(items[1].value.array[i]);
    }
    return 0;
}

}  // extern "C"
