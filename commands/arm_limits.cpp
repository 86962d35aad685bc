// Cartesian limits of the tool centre point and the collision-detection stage.
//
// A limit travels as value x 1000 and is read back / 1000. The setters' replies carry the
// outcome under the same key that carried the value. A getter whose reply is not JSON or
// lacks the member returns the reply's length, a positive number, and leaves
// its output as it was; hosts of this interface tell "not read" from a time-out by it.
#include <cstdint>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/units.h"

using ky::Req;

namespace {

// {"command":command, key:value}; the reply `command` answers with the boolean `key`.
int set_limit(ky_robot_handle *robot, const char *tag, const char *command, const char *key, float value) {
    return ky::set_command(robot, tag, std::move(Req(command).num(key, ky::milli_to_wire(value))), key);
}

// {"command":command} -> `reply_key`; the integer `member`. 0 with *out set, an exchange
// failure (-1, -2) as it is, or the reply's length when the member cannot be read.
int get_int_member(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                   const char *member, int32_t *out) {
    Req req(command);
    ky::Reply reply(1024);
    const int length = ky::exchange(robot, tag, req, reply_key, reply, ky::out_time());
    if (length < 1) return length;
    json_parse_item item = ky::parse_int(member);
    if (common_json_parse(tag, reply.text(), &item, 1) != 0) return length;
    *out = item.value.num;
    return 0;
}

int get_limit(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
              const char *member, float *out) {
    int32_t wire = 0;
    const int r = get_int_member(robot, tag, command, reply_key, member, &wire);
    if (r == 0 && out != nullptr) *out = ky::milli_from_wire(wire);
    return r;
}

}  // namespace

extern "C" {

KY_API int ky_set_arm_max_line_speed(ky_robot_handle *robot_handle, float speed) {
    ky::CallScope scope;
    return set_limit(robot_handle, "ky_set_arm_max_line_speed", "set_arm_max_line_speed", "arm_line_speed", speed);
}

KY_API int ky_set_arm_max_line_acc(ky_robot_handle *robot_handle, float acc) {
    ky::CallScope scope;
    return set_limit(robot_handle, "ky_set_arm_max_line_acc", "set_arm_max_line_acc", "arm_line_acc", acc);
}

KY_API int ky_set_arm_max_angular_speed(ky_robot_handle *robot_handle, float speed) {
    ky::CallScope scope;
    return set_limit(robot_handle, "ky_set_arm_max_angular_speed", "set_arm_max_angular_speed", "arm_angular_speed",
                     speed);
}

KY_API int ky_set_arm_max_angular_acc(ky_robot_handle *robot_handle, float acc) {
    ky::CallScope scope;
    return set_limit(robot_handle, "ky_set_arm_max_angular_acc", "set_arm_max_angular_acc", "arm_angular_acc", acc);
}

KY_API int ky_get_arm_max_line_speed(ky_robot_handle *robot_handle, float *speed) {
    ky::CallScope scope;
    return get_limit(robot_handle, "ky_get_arm_max_line_speed", "get_arm_max_line_speed", "arm_max_line_speed",
                     "arm_line_speed", speed);
}

KY_API int ky_get_arm_max_line_acc(ky_robot_handle *robot_handle, float *acc) {
    ky::CallScope scope;
    return get_limit(robot_handle, "ky_get_arm_max_line_acc", "get_arm_max_line_acc", "arm_max_line_acc",
                     "arm_line_acc", acc);
}

KY_API int ky_get_arm_max_angular_speed(ky_robot_handle *robot_handle, float *speed) {
    ky::CallScope scope;
    return get_limit(robot_handle, "ky_get_arm_max_angular_speed", "get_arm_max_angular_speed",
                     "arm_max_angular_speed", "arm_angular_speed", speed);
}

KY_API int ky_get_arm_max_angular_acc(ky_robot_handle *robot_handle, float *acc) {
    ky::CallScope scope;
    return get_limit(robot_handle, "ky_get_arm_max_angular_acc", "get_arm_max_angular_acc", "arm_max_angular_acc",
                     "arm_angular_acc", acc);
}

KY_API int ky_set_arm_tcp_init(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_arm_tcp_init", Req("set_arm_init"), "arm_init");
}

// The controller answers the stage setting under "set_collision_state" / "collision_state",
// not under the name of the request.
KY_API int ky_set_collision_state(ky_robot_handle *robot_handle, int stage) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_collision_state",
                           std::move(Req("set_collision_stage").num("collision_stage", stage)), "collision_state",
                           "set_collision_state");
}

KY_API int ky_get_collision_stage(ky_robot_handle *robot_handle, int *stage) {
    ky::CallScope scope;
    int32_t wire = 0;
    const int r = get_int_member(robot_handle, "ky_get_collision_stage", "get_collision_stage",
                                 "get_collision_stage", "collision_stage", &wire);
    if (r == 0 && stage != nullptr) *stage = wire;
    return r;
}

}  // extern "C"
