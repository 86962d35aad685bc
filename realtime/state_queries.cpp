// Arm state queries over TCP: joint angles and tool pose, per-joint temperatures,
// currents and voltages, and error flags.
#include <algorithm>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/registry.h"
#include "core/units.h"

namespace {

// Query {"command":command} -> reply_key, then the dof check, then `items` (a count of -1
// in an item stands for the arm's dof). 0, or the exchange / dof / parse code.
int query(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
          std::span<json_parse_item> items) {
    ky::Req req(command);
    ky::Reply reply(1024);
    int r = ky::exchange(robot, tag, req, reply_key, reply, ky::out_time());
    if (r < 1) return r;
    int dof = 0;
    if (ky::require_dof(robot, tag, &dof) != 0) return -1;
    for (json_parse_item &it : items) {
        if (it.count < 0) it.count = dof;
    }
    return common_json_parse(tag, reply.text(), items.data(), static_cast<int>(items.size()));
}

json_parse_item dof_ints(const char *key) { return ky::parse_ints(key, -1); }

// Array item `it` (dof values) converted into `out`.
template <class T, class Conv>
void convert(const json_parse_item &it, T *out, Conv conv) {
    for (int i = 0; i < it.count; ++i) out[i] = conv(it.value.array[i]);
}

auto as_is = [](int32_t v) { return v; };

// A query whose reply is one array of dof values, each / 1000.
int milli_values(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                 const char *member, float *out) {
    int32_t wire[7];
    int dof = 0;
    int r = ky::get_dof_ints(robot, tag, command, reply_key, member, wire, &dof);
    if (r != 0) return r;
    for (int i = 0; out != nullptr && i < dof; ++i) out[i] = ky::milli_from_wire(wire[i]);
    return 0;
}

}  // namespace

extern "C" {

KY_API int ky_get_current_arm_state(ky_robot_handle *robot_handle, ky_current_arm_state *state) {
    ky::CallScope scope;
    json_parse_item items[] = {ky::parse_int("arm_err"), ky::parse_int("sys_err"), dof_ints("joint"),
                               ky::parse_ints("pose", 6)};
    int r = query(robot_handle, "ky_get_current_arm_state", "get_current_arm_state", "current_arm_state", items);
    if (r != 0 || state == nullptr) return r;
    state->pose = ky::pose_from_wire(items[3].value.array);
    convert(items[2], state->joint, ky::milli_from_wire);
    // One byte each on this record: 300 reads 44.
    state->arm_err = static_cast<uint8_t>(items[0].value.num);
    state->sys_err = static_cast<uint8_t>(items[1].value.num);
    return 0;
}

KY_API int ky_get_joint_degree(ky_robot_handle *robot_handle, float *joints) {
    ky::CallScope scope;
    return milli_values(robot_handle, "ky_get_joint_degree", "get_joint_degree", "joint_degree", "joint", joints);
}

KY_API int ky_get_arm_all_state(ky_robot_handle *robot_handle, ky_arm_all_state *state) {
    ky::CallScope scope;
    json_parse_item items[] = {dof_ints("temperature"), dof_ints("current"), dof_ints("voltage"),
                               dof_ints("err_flag"), dof_ints("en_flag"), ky::parse_int("sys_err")};
    int r = query(robot_handle, "ky_get_arm_all_state", "get_arm_all_state", "arm_all_state", items);
    if (r != 0 || state == nullptr) return r;
    convert(items[0], state->joint_temperature, ky::milli_from_wire);
    convert(items[1], state->joint_current, ky::milli_from_wire);
    convert(items[2], state->joint_voltage, ky::milli_from_wire);
    convert(items[3], state->joint_err_code, as_is);
    convert(items[4], state->joint_en_flag, as_is);
    state->sys_err = items[5].value.num;
    return 0;
}

KY_API int ky_get_current_joint_temperature(ky_robot_handle *robot_handle, float *values) {
    ky::CallScope scope;
    return milli_values(robot_handle, "ky_get_current_joint_temperature", "get_current_joint_temperature",
                        "current_joint_temperature", "joint_temperature", values);
}

KY_API int ky_get_current_joint_current(ky_robot_handle *robot_handle, float *values) {
    ky::CallScope scope;
    return milli_values(robot_handle, "ky_get_current_joint_current", "get_current_joint_current",
                        "current_joint_current", "joint_current", values);
}

KY_API int ky_get_current_joint_voltage(ky_robot_handle *robot_handle, float *values) {
    ky::CallScope scope;
    return milli_values(robot_handle, "ky_get_current_joint_voltage", "get_current_joint_voltage",
                        "current_joint_voltage", "joint_voltage", values);
}

}  // extern "C"
