// Modbus RTU/TCP pass-through: opening and closing the controller's Modbus master ports, and
// single reads and writes of coils, discrete inputs and registers passed through it.
//
// The library does no Modbus framing: it names the request in JSON and copies the values.
// Registers travel as two ints each (one per byte), coils as one int per 8 coils. Every
// exchange waits m_nOutTime_max; the coil writes and the multiple coil read wait 2 s longer,
// as the controller confirms those later.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <span>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "kyarm/modbus.h"

using ky::Req;

namespace {

constexpr int kSlowConfirmMs = 2000;

int slow_time() { return ky::out_time_max() + kSlowConfirmMs; }

// Int counts of the value arrays, computed wide so no num overflows; a count that no array
// can have becomes -1 (never matched by a reply, refused for a write).
int to_count(int64_t n) { return n > INT_MAX ? -1 : static_cast<int>(n); }
int register_ints(int32_t num) { return to_count(2 * static_cast<int64_t>(num)); }
int coil_ints_down(int32_t num) { return num / 8; }
int coil_ints_up(int32_t num) { return to_count((static_cast<int64_t>(num) + 7) / 8); }

// {"command":command,"port":..,"address":..[,"num":..]}; the caller appends the rest.
Req access(const char *command, const ky_modbus_rw_params &p, bool with_num) {
    Req req(command);
    req.num("port", p.port).num("address", p.address);
    if (with_num) req.num("num", p.num);
    return req;
}

// A read whose reply carries no readable "data" is judged by its "read_state": false is 1,
// missing -3, true 0 with the output untouched.
int read_state(const char *tag, const ky::Reply &reply) {
    return parse_ky_set_command(tag, reply.text(), "read_state");
}

// Single read: the reply's integer "data" into *out.
int read_one(ky_robot_handle *robot, const char *tag, const char *command, const ky_modbus_rw_params &p,
             bool with_num, int *out) {
    Req req = access(command, p, with_num);
    req.num("device", p.device);
    ky::Reply reply(1024);
    const int r = ky::exchange(robot, tag, req, command, reply, ky::out_time_max());
    if (r < 1) return r;
    json_parse_item item = ky::parse_int("data");
    if (common_json_parse(tag, reply.text(), &item, 1) != 0) return read_state(tag, reply);
    if (out != nullptr) *out = item.value.num;
    return 0;
}

// Multiple read: "data" must hold exactly `expected` ints; the first `copied` (never more
// than were read) go to `out`.
int read_many(ky_robot_handle *robot, const char *tag, const char *command, const ky_modbus_rw_params &p,
              int expected, int copied, int *out, int timeout_ms) {
    Req req = access(command, p, true);
    req.num("device", p.device);
    ky::Reply reply(1024);
    const int r = ky::exchange(robot, tag, req, command, reply, timeout_ms);
    if (r < 1) return r;
    json_parse_item item = ky::parse_ints("data", expected);
    if (common_json_parse(tag, reply.text(), &item, 1) != 0) return read_state(tag, reply);
    const int n = std::clamp(copied, 0, expected);
    if (out != nullptr) std::copy_n(item.value.array, n, out);
    return 0;
}

// Multiple write: the first `count` ints of `data` as the "data" array.
int write_many(ky_robot_handle *robot, const char *tag, const char *command, const ky_modbus_rw_params &p,
               int count, const int *data, int timeout_ms) {
    // The request is built from the caller's array, so a count it cannot have is refused
    // before anything is sent.
    if (count < 0 && p.num > 0) return -1;
    count = std::max(count, 0);
    if (data == nullptr && count > 0) return -1;
    Req req = access(command, p, true);
    req.ints("data", std::span<const int32_t>(data, static_cast<size_t>(count))).num("device", p.device);
    return ky::set_command(robot, tag, std::move(req), "write_state", command, timeout_ms);
}

int write_one(ky_robot_handle *robot, const char *tag, const char *command, const ky_modbus_rw_params &p,
              int data, int timeout_ms) {
    Req req = access(command, p, false);
    req.num("data", data).num("device", p.device);
    return ky::set_command(robot, tag, std::move(req), "write_state", command, timeout_ms);
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ ports
KY_API int ky_set_modbus_mode(ky_robot_handle *robot_handle, int port, int baudrate, int timeout) {
    ky::CallScope scope;
    Req req("set_modbus_mode");
    req.num("port", port).num("baudrate", baudrate).num("timeout", timeout);
    return ky::set_command(robot_handle, "ky_set_modbus_mode", std::move(req), "set_state", nullptr,
                           ky::out_time_max());
}

KY_API int ky_close_modbus_mode(ky_robot_handle *robot_handle, int port) {
    ky::CallScope scope;
    Req req("close_modbus_mode");
    req.num("port", port);
    return ky::set_command(robot_handle, "ky_close_modbus_mode", std::move(req), "set_state", nullptr,
                           ky::out_time_max());
}

KY_API int ky_set_modbustcp_mode(ky_robot_handle *robot_handle, const char *ip, int port, int timeout) {
    ky::CallScope scope;
    if (ip == nullptr) return -1;
    Req req("set_modbustcp_mode");
    req.str("ip", ip).num("port", port).num("timeout", timeout);
    return ky::set_command(robot_handle, "ky_set_modbustcp_mode", std::move(req), "set_state", nullptr,
                           ky::out_time_max());
}

KY_API int ky_close_modbustcp_mode(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_close_modbustcp_mode", Req("close_modbustcp_mode"), "set_state",
                           nullptr, ky::out_time_max());
}

// ------------------------------------------------------------------ single reads
KY_API int ky_read_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data) {
    ky::CallScope scope;
    return read_one(robot_handle, "ky_read_coils", "read_coils", params, true, data);
}

KY_API int ky_read_input_status(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data) {
    ky::CallScope scope;
    return read_one(robot_handle, "ky_read_input_status", "read_input_status", params, true, data);
}

// The single register reads name no count.
KY_API int ky_read_holding_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data) {
    ky::CallScope scope;
    return read_one(robot_handle, "ky_read_holding_registers", "read_holding_registers", params, false, data);
}

KY_API int ky_read_input_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data) {
    ky::CallScope scope;
    return read_one(robot_handle, "ky_read_input_registers", "read_input_registers", params, false, data);
}

// ------------------------------------------------------------------ writes
KY_API int ky_write_single_coil(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int data) {
    ky::CallScope scope;
    return write_one(robot_handle, "ky_write_single_coil", "write_single_coil", params, data, slow_time());
}

KY_API int ky_write_single_register(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int data) {
    ky::CallScope scope;
    return write_one(robot_handle, "ky_write_single_register", "write_single_register", params, data,
                     ky::out_time_max());
}

KY_API int ky_write_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params, const int *data) {
    ky::CallScope scope;
    return write_many(robot_handle, "ky_write_registers", "write_registers", params, register_ints(params.num),
                      data, ky::out_time_max());
}

// 8 coils per int, rounded down: 10 coils send one int, 7 an empty array.
KY_API int ky_write_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, const int *data) {
    ky::CallScope scope;
    return write_many(robot_handle, "ky_write_coils", "write_coils", params, coil_ints_down(params.num), data,
                      slow_time());
}

// ------------------------------------------------------------------ multiple reads
// The reply carries num / 8 ints rounded up, the caller gets them rounded down (10 coils:
// two read, one handed over). Callers size their arrays by the rounded-down count, so the
// asymmetry stays.
KY_API int ky_read_multiple_coils(ky_robot_handle *robot_handle, ky_modbus_rw_params params, int *data) {
    ky::CallScope scope;
    return read_many(robot_handle, "ky_read_multiple_coils", "read_multiple_coils", params,
                     coil_ints_up(params.num), coil_ints_down(params.num), data, slow_time());
}

KY_API int ky_read_multiple_holding_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params,
                                              int *data) {
    ky::CallScope scope;
    const int n = register_ints(params.num);
    return read_many(robot_handle, "ky_read_multiple_holding_registers", "read_multiple_holding_registers",
                     params, n, n, data, ky::out_time_max());
}

KY_API int ky_read_multiple_input_registers(ky_robot_handle *robot_handle, ky_modbus_rw_params params,
                                            int *data) {
    ky::CallScope scope;
    const int n = register_ints(params.num);
    return read_many(robot_handle, "ky_read_multiple_input_registers", "read_multiple_input_registers", params,
                     n, n, data, ky::out_time_max());
}

}  // extern "C"
