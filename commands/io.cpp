// Controller and tool IO: digital channel modes and output levels, the read-back of single
// channels and of the input and output groups, and the supply voltage of the controller and of
// the tool flange.
//
// Channel numbers, modes, levels and voltage types are passed on as given; the controller
// decides what it has. Nothing is cached here: every function is one exchange waiting
// m_nOutTime, and outputs are written only when the whole reply was read.
#include <cstdint>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"

using ky::Req;

namespace {

// {"command":command,"IO_Num":io_num,value_key:value}, answered under the command's own name
// with the boolean `state_key`.
int set_channel(ky_robot_handle *robot, const char *tag, const char *command, int io_num, const char *value_key,
                int value) {
    return ky::set_command(robot, tag, std::move(Req(command).num("IO_Num", io_num).num(value_key, value)),
                           "set_state");
}

// The voltage setters are answered with the boolean "state" rather than "set_state".
int set_voltage_type(ky_robot_handle *robot, const char *tag, const char *command, int voltage_type) {
    return ky::set_command(robot, tag, std::move(Req(command).num("voltage_type", voltage_type)), "state");
}

// A query without parameters whose reply carries `count` integers under `member`; copied to
// `out` only on success.
int get_group(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
              const char *member, int count, int *out) {
    int32_t wire[4] = {};
    const int r = ky::get_ints(robot, tag, command, reply_key, member, count, wire);
    if (r != 0) return r;
    for (int i = 0; out != nullptr && i < count; ++i) out[i] = wire[i];
    return 0;
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ controller channels
KY_API int ky_set_IO_mode(ky_robot_handle *robot_handle, int io_num, int io_mode) {
    ky::CallScope scope;
    return set_channel(robot_handle, "ky_set_IO_mode", "set_IO_mode", io_num, "IO_mode", io_mode);
}

KY_API int ky_set_DO_state(ky_robot_handle *robot_handle, int io_num, int state) {
    ky::CallScope scope;
    return set_channel(robot_handle, "ky_set_DO_state", "set_DO_state", io_num, "state", state);
}

// The reply echoes the channel number; it is read but not compared with the request.
KY_API int ky_get_IO_state(ky_robot_handle *robot_handle, int io_num, int *state, int *mode) {
    ky::CallScope scope;
    static const char *tag = "ky_get_IO_state";
    ky::Reply reply(1024);
    Req req("get_IO_state");
    req.num("IO_Num", io_num);
    int r = ky::exchange(robot_handle, tag, req, "IO_state", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[3] = {ky::parse_int("IO_Num"), ky::parse_int("IO_Mode"), ky::parse_int("IO_state")};
    r = common_json_parse(tag, reply.text(), items, 3);
    if (r != 0) return r;
    if (state != nullptr) *state = items[2].value.num;
    if (mode != nullptr) *mode = items[1].value.num;
    return 0;
}

KY_API int ky_get_IO_input(ky_robot_handle *robot_handle, int *di) {
    ky::CallScope scope;
    return get_group(robot_handle, "ky_get_IO_input", "get_IO_input", "IO_input_state", "DI", 4, di);
}

KY_API int ky_get_IO_output(ky_robot_handle *robot_handle, int *do_state) {
    ky::CallScope scope;
    return get_group(robot_handle, "ky_get_IO_output", "get_IO_output", "IO_output_state", "DO", 4, do_state);
}

KY_API int ky_set_voltage(ky_robot_handle *robot_handle, int voltage_type) {
    ky::CallScope scope;
    return set_voltage_type(robot_handle, "ky_set_voltage", "set_voltage", voltage_type);
}

KY_API int ky_get_voltage(ky_robot_handle *robot_handle, int *voltage_type) {
    ky::CallScope scope;
    return get_group(robot_handle, "ky_get_voltage", "get_voltage", "voltage_state", "voltage_type", 1,
                     voltage_type);
}

// ------------------------------------------------------------------ tool flange
KY_API int ky_set_tool_DO_state(ky_robot_handle *robot_handle, int io_num, int state) {
    ky::CallScope scope;
    return set_channel(robot_handle, "ky_set_tool_DO_state", "set_tool_DO_state", io_num, "state", state);
}

// The tool's channel mode travels under "state" (the controller's own channels use "IO_mode").
KY_API int ky_set_tool_IO_mode(ky_robot_handle *robot_handle, int io_num, int io_mode) {
    ky::CallScope scope;
    return set_channel(robot_handle, "ky_set_tool_IO_mode", "set_tool_IO_mode", io_num, "state", io_mode);
}

KY_API int ky_get_tool_IO_state(ky_robot_handle *robot_handle, int *mode, int *state) {
    ky::CallScope scope;
    static const char *tag = "ky_get_tool_IO_state";
    ky::Reply reply(1024);
    Req req("get_tool_IO_state");
    int r = ky::exchange(robot_handle, tag, req, "tool_IO_state", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[2] = {ky::parse_ints("IO_Mode", 2), ky::parse_ints("IO_state", 2)};
    r = common_json_parse(tag, reply.text(), items, 2);
    if (r != 0) return r;
    for (int i = 0; i < 2; ++i) {
        if (mode != nullptr) mode[i] = items[0].value.array[i];
        if (state != nullptr) state[i] = items[1].value.array[i];
    }
    return 0;
}

KY_API int ky_set_tool_voltage(ky_robot_handle *robot_handle, int voltage_type) {
    ky::CallScope scope;
    return set_voltage_type(robot_handle, "ky_set_tool_voltage", "set_tool_voltage", voltage_type);
}

KY_API int ky_get_tool_voltage(ky_robot_handle *robot_handle, int *voltage_type) {
    ky::CallScope scope;
    return get_group(robot_handle, "ky_get_tool_voltage", "get_tool_voltage", "tool_voltage_state",
                     "voltage_type", 1, voltage_type);
}

}  // extern "C"
