// Auxiliary axes the controller drives besides the arm: the lift (a vertical column) and the
// expansion axis. Each has a speed setting, a state query and a position move that can block
// until the controller reports the axis's arrival (device 3 the lift, 4 the expansion axis).
//
// The blocking moves share the arm's completion wait: each pass waits for the
// "current_trajectory_state" report, and between reports the axis's state query tells
// whether it is still moving (a non-zero "mode"). Every exchange waits m_nOutTime. Speeds,
// heights and positions are the controller's units, passed through.
#include <cstdint>
#include <utility>

#include "commands/motion.h"
#include "core/exchange.h"
#include "core/fifo.h"
#include "ky_api.h"

using ky::Req;

namespace {

constexpr int kLiftDevice = 3;
constexpr int kExpandDevice = 4;

// {"command":command} answered under `reply_key` with four integers, written to state[0..3]
// only when all four were read.
int get_axis_state(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                   const char *first, int *state) {
    if (state == nullptr) return -1;
    Req req(command);
    ky::Reply reply(1024);
    int r = ky::exchange(robot, tag, req, reply_key, reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[4] = {ky::parse_int(first), ky::parse_int("current"), ky::parse_int("err_flag"),
                                ky::parse_int("mode")};
    r = common_json_parse(tag, reply.text(), items, 4);
    if (r != 0) return r;
    for (int i = 0; i < 4; ++i) state[i] = items[i].value.num;
    return 0;
}

// The axis is moving while its state reports a non-zero "mode".
int moving(int query_result, const int state[4], int *activity) {
    if (query_result == 0) *activity = state[3] != 0 ? 1 : 0;
    return query_result;
}

int lift_activity(ky_robot_handle *robot, int *activity) {
    int state[4] = {};
    return moving(ky_get_lift_state(robot, state), state, activity);
}

int expand_activity(ky_robot_handle *robot, int *activity) {
    int state[4] = {};
    return moving(ky_get_expand_state(robot, state), state, activity);
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------------ lift
KY_API int ky_set_lift_speed(ky_robot_handle *robot_handle, int speed) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_lift_speed", std::move(Req("set_lift_speed").num("speed", speed)),
                           "set_state");
}

KY_API int ky_get_lift_state(ky_robot_handle *robot_handle, int state[4]) {
    ky::CallScope scope;
    return get_axis_state(robot_handle, "ky_get_lift_state", "get_lift_state", "lift_state", "height", state);
}

// The controller does not acknowledge the lift's move: the request is sent and the call
// holds m_nOutTime before it waits (when asked to) for the lift's arrival.
KY_API int ky_set_lift_height(ky_robot_handle *robot_handle, int speed, int height, int block) {
    ky::CallScope scope;
    static const char *tag = "ky_set_lift_height";
    const int r =
        ky::send_only(robot_handle, tag, std::move(Req("set_lift_height").num("speed", speed).num("height", height)),
                      ky::out_time());
    if (block == 0 || r != 0) return r;
    // -3 in a library mode without a completion wait.
    return ky::finish_blocking(robot_handle, block, -3, ky::axis_move(tag, kLiftDevice, lift_activity));
}

// ------------------------------------------------------------------ expansion axis
KY_API int ky_get_expand_state(ky_robot_handle *robot_handle, int state[4]) {
    ky::CallScope scope;
    return get_axis_state(robot_handle, "ky_get_expand_state", "expand_get_state", "expand_state", "pos", state);
}

KY_API int ky_set_expand_speed(ky_robot_handle *robot_handle, int speed) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_expand_speed",
                           std::move(Req("expand_set_speed").num("speed", speed)), "set_speed_state");
}

KY_API int ky_set_expand_pos(ky_robot_handle *robot_handle, int speed, int pos, int block) {
    ky::CallScope scope;
    static const char *tag = "ky_set_expand_pos";
    const int r = ky::set_command(robot_handle, tag, std::move(Req("expand_set_pos").num("speed", speed).num("pos", pos)),
                                  "set_pos_state");
    if (r != 0 || block == 0) return r;
    // 0 in a library mode without a completion wait (the lift returns -3 there).
    return ky::finish_blocking(robot_handle, block, 0, ky::axis_move(tag, kExpandDevice, expand_activity));
}

}  // extern "C"
