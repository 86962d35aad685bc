// Force sensors: the six-axis force data and the one-axis force Fz with their zero offsets,
// clearing them, and the controller's sensor calibration (automatic, or from poses the caller
// gives).
//
// A calibration takes the controller seconds. Its blocking form waits up to 30 s for the
// controller's end-of-calibration reply, which is named "set_force_sensor" whatever the
// request was called; its non-blocking form sends, pauses 10 ms and returns 0 without reading.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/units.h"
#include "ky_api.h"

using ky::Req;

namespace {

constexpr int kCalibrationWaitMs = 30000;
constexpr int kSendPauseMs = 10;
constexpr const char *kCalibrationReply = "set_force_sensor";

// A calibration request: awaited under "set_force_sensor" when `block`, else sent only.
int calibrate(ky_robot_handle *robot, const char *tag, Req req, bool block) {
    if (!block) return ky::send_only(robot, tag, std::move(req), kSendPauseMs);
    return ky::set_command(robot, tag, std::move(req), "set_state", kCalibrationReply, kCalibrationWaitMs);
}

// Joint angles of a calibration pose in thousandths of a degree, one per joint.
std::vector<int32_t> joints_to_wire(const float *joint, int dof) {
    std::vector<int32_t> w(static_cast<size_t>(dof));
    for (int i = 0; i < dof; ++i) w[static_cast<size_t>(i)] = ky::deg_to_wire(joint[i]);
    return w;
}

}  // namespace

extern "C" {

KY_API int ky_get_force_data(ky_robot_handle *robot_handle, ky_force_data *data) {
    ky::CallScope scope;
    static const char *tag = "ky_get_force_data";
    if (data == nullptr) return -1;
    ky::Reply reply(1024);
    Req req("get_force_data");
    int r = ky::exchange(robot_handle, tag, req, "get_force_data", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[4] = {ky::parse_ints("force_data", 6), ky::parse_ints("zero_force_data", 6),
                                ky::parse_ints("work_zero_force_data", 6), ky::parse_ints("tool_zero_force_data", 6)};
    r = common_json_parse(tag, reply.text(), items, 4);
    if (r != 0) return r;
    float *dst[4] = {data->force_data, data->zero_force_data, data->work_zero_force_data,
                     data->tool_zero_force_data};
    for (int k = 0; k < 4; ++k)
        for (int i = 0; i < 6; ++i) dst[k][i] = ky::milli_from_wire(items[k].value.array[i]);
    return 0;
}

KY_API int ky_clear_force_data(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_clear_force_data", Req("clear_force_data"), "clear_state");
}

KY_API int ky_set_force_sensor(ky_robot_handle *robot_handle, bool block) {
    ky::CallScope scope;
    return calibrate(robot_handle, "ky_set_force_sensor", Req("set_force_sensor"), block);
}

// The four calibration poses come one call each; only the fourth can be awaited, because the
// controller calibrates (and answers) once it has all four.
KY_API int ky_manual_set_force(ky_robot_handle *robot_handle, int type, float *joint, bool block) {
    ky::CallScope scope;
    static const char *tag = "ky_manual_set_force";
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    // The controller knows poses 1 to 4 only: anything else is refused here, unsent.
    if (type < 1 || type > 4 || joint == nullptr) {
        ky_log_error("[%s] calibration pose %d refused\n", tag, type);
        return -1;
    }
    std::string command = "manual_set_force_pose";
    command.push_back(static_cast<char>('0' + type));
    Req req(command.c_str());
    req.ints("joint", joints_to_wire(joint, dof));
    return calibrate(robot_handle, tag, std::move(req), type == 4 && block);
}

KY_API int ky_stop_set_force_sensor(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_stop_set_force_sensor", Req("stop_set_force_sensor"), "stop_state");
}

KY_API int ky_clear_Fz(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_clear_Fz", Req("clear_Fz"), "set_state");
}

KY_API int ky_auto_set_Fz(ky_robot_handle *robot_handle, bool block) {
    ky::CallScope scope;
    return calibrate(robot_handle, "ky_auto_set_Fz", Req("auto_set_Fz"), block);
}

KY_API int ky_manual_set_Fz(ky_robot_handle *robot_handle, float *pose1, float *pose2, bool block) {
    ky::CallScope scope;
    static const char *tag = "ky_manual_set_Fz";
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    if (pose1 == nullptr || pose2 == nullptr) return -1;
    Req req("manual_set_Fz");
    req.ints("pose1", joints_to_wire(pose1, dof)).ints("pose2", joints_to_wire(pose2, dof));
    return calibrate(robot_handle, tag, std::move(req), block);
}

// Asked only of an arm whose cached force-sensor type is 2; any other arm gets -2 without a
// request (the same code as a time-out, as callers of this function expect).
KY_API int ky_get_Fz(ky_robot_handle *robot_handle, float Fz[4]) {
    ky::CallScope scope;
    static const char *tag = "ky_get_Fz";
    ky_robot_info info{};
    if (ky_get_robot_info(robot_handle, &info) != 0 || info.force_type != 2) {
        ky_log_error("arm force type check err!");
        return -2;
    }
    if (Fz == nullptr) return -1;
    ky::Reply reply(1024);
    Req req("get_Fz");
    int r = ky::exchange(robot_handle, tag, req, "get_Fz", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[4] = {ky::parse_int("Fz"), ky::parse_int("zero_Fz"), ky::parse_int("work_zero_Fz"),
                                ky::parse_int("tool_zero_Fz")};
    r = common_json_parse(tag, reply.text(), items, 4);
    if (r != 0) return r;
    for (int i = 0; i < 4; ++i) Fz[i] = ky::milli_from_wire(items[i].value.num);
    return 0;
}

}  // extern "C"
