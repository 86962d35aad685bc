// Controller state, arm power and the maintenance counters: supply and error state, power
// switching, the system running time, the per-joint odometers and the system error flag.
//
// Several replies are named differently from their requests ("get_controller_state" is
// answered by "controller_state", "get_arm_power_state" by "arm_power_state"); that is the
// controller's protocol. Voltages, currents, temperatures and odometers travel in thousandths.
#include <cstdint>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/units.h"

using ky::Req;

namespace {

// A clear operation: {"command":command}, answered under the same name with "clear_state".
int clear_counter(ky_robot_handle *robot, const char *tag, const char *command) {
    return ky::set_command(robot, tag, Req(command), "clear_state");
}

}  // namespace

extern "C" {

KY_API int ky_get_controller_state(ky_robot_handle *robot_handle, float *voltage, float *current, float *temperature,
                                   int *err_flag) {
    ky::CallScope scope;
    static const char *tag = "ky_get_controller_state";
    ky::Reply reply(1024);
    Req req("get_controller_state");
    int r = ky::exchange(robot_handle, tag, req, "controller_state", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[4] = {ky::parse_int("voltage"), ky::parse_int("current"), ky::parse_int("temperature"),
                                ky::parse_int("err_flag")};
    r = common_json_parse(tag, reply.text(), items, 4);
    if (r != 0) return r;
    if (voltage != nullptr) *voltage = ky::milli_from_wire(items[0].value.num);
    if (current != nullptr) *current = ky::milli_from_wire(items[1].value.num);
    if (temperature != nullptr) *temperature = ky::milli_from_wire(items[2].value.num);
    if (err_flag != nullptr) *err_flag = items[3].value.num;
    return 0;
}

KY_API int ky_set_arm_power(ky_robot_handle *robot_handle, int arm_power) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_arm_power", std::move(Req("set_arm_power").num("arm_power", arm_power)),
                           "arm_power");
}

// A reply without a readable "power_state" gives the exchange's positive result (the
// reply length), not the parse error: any non-zero result is a failure.
KY_API int ky_get_arm_power_state(ky_robot_handle *robot_handle, int *power_state) {
    ky::CallScope scope;
    static const char *tag = "ky_get_arm_power_state";
    ky::Reply reply(1024);
    Req req("get_arm_power_state");
    int r = ky::exchange(robot_handle, tag, req, "arm_power_state", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item item = ky::parse_int("power_state");
    if (common_json_parse(tag, reply.text(), &item, 1) != 0) return r;
    if (power_state != nullptr) *power_state = item.value.num;
    return 0;
}

KY_API int ky_get_system_runtime(ky_robot_handle *robot_handle, int *day, int *hour, int *min, int *sec) {
    ky::CallScope scope;
    static const char *tag = "ky_get_system_runtime";
    ky::Reply reply(1024);
    Req req("get_system_runtime");
    int r = ky::exchange(robot_handle, tag, req, "get_system_runtime", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[4] = {ky::parse_int("day"), ky::parse_int("hour"), ky::parse_int("min"),
                                ky::parse_int("sec")};
    r = common_json_parse(tag, reply.text(), items, 4);
    if (r != 0) return r;
    int *const outs[4] = {day, hour, min, sec};
    for (int i = 0; i < 4; ++i) {
        if (outs[i] != nullptr) *outs[i] = items[i].value.num;
    }
    return 0;
}

KY_API int ky_clear_system_runtime(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return clear_counter(robot_handle, "ky_clear_system_runtime", "clear_system_runtime");
}

// The degree of freedom is checked only after the reply came: an arm not identified yet
// gets the query sent and then -1.
KY_API int ky_get_joint_odom(ky_robot_handle *robot_handle, float *odom) {
    ky::CallScope scope;
    int32_t wire[7];
    int dof = 0;
    int r = ky::get_dof_ints(robot_handle, "ky_get_joint_odom", "get_joint_odom", "get_joint_odom", "odom", wire, &dof);
    if (r != 0) return r;
    for (int i = 0; odom != nullptr && i < dof; ++i) odom[i] = ky::milli_from_wire(wire[i]);
    return 0;
}

KY_API int ky_clear_joint_odom(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return clear_counter(robot_handle, "ky_clear_joint_odom", "clear_joint_odom");
}

KY_API int ky_clear_system_err(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return clear_counter(robot_handle, "ky_clear_system_err", "clear_system_err");
}

}  // extern "C"
