// Jogging and stepping: single steps of one joint or along / about one Cartesian axis,
// continuous teach jogging, the teach frame, stop / slow stop / pause / continue, trajectory
// deletion, and the query of the trajectory running now (which the blocking waits poll).
#include <cjson/cJSON.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "commands/motion.h"
#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"
#include "core/units.h"

using ky::Reply;
using ky::Req;

namespace {

// Axis selector 0, 1, 2 -> its name; any other selector sends no axis member at all.
Req &axis(Req &req, const char *key, int selector, const char *const (&names)[3]) {
    if (selector >= 0 && selector < 3) req.str(key, names[selector]);
    return req;
}
constexpr const char *kPosSteps[3] = {"x_step", "y_step", "z_step"};
constexpr const char *kOrtSteps[3] = {"rx_step", "ry_step", "rz_step"};
constexpr const char *kPosAxes[3] = {"x", "y", "z"};
constexpr const char *kOrtAxes[3] = {"rx", "ry", "rz"};

const char *direction(int dir) { return dir != 0 ? "pos" : "neg"; }

Req joint_step(int joint, float step, int v) {
    return std::move(Req("set_joint_step").ints("joint_step", {joint, ky::milli_to_wire(step)}).num("v", v));
}
Req pos_step(int axis_sel, float step, int v) {
    Req req("set_pos_step");
    req.num("v", v).num("step", ky::micro_to_wire(step));
    return std::move(axis(req, "step_type", axis_sel, kPosSteps));
}
Req ort_step(int axis_sel, float step, int v) {
    Req req("set_ort_step");
    req.num("v", v).num("step", ky::milli_to_wire(step));
    return std::move(axis(req, "step_type", axis_sel, kOrtSteps));
}

// A non-blocking step sends and pauses m_nOutTime without reading the acceptance: it is
// left for whoever reads next. 0, or -1 unknown handle / send error.
int step_nblock(ky_robot_handle *robot, const char *tag, Req req) {
    return ky::send_only(robot, tag, std::move(req), ky::out_time());
}

// A blocking step is accepted like a move, then waits for its completion.
int step_block(ky_robot_handle *robot, const char *tag, Req req, int reply_size, int block, int running_type) {
    Reply reply(reply_size);
    int length = ky::exchange(robot, tag, req, req.command(), reply, ky::out_time());
    if (length < 1) return length;
    int r = parse_ky_set_command(tag, reply.text(), "receive_state");
    if (r != 0) return r;
    return ky::finish_blocking(robot, block, length, ky::step_move(tag, running_type));
}

// {"command":command} answered under the same name with the boolean `state_key`.
int simple(ky_robot_handle *robot, const char *tag, const char *command, const char *state_key) {
    return ky::set_command(robot, tag, Req(command), state_key);
}

// Joint and Cartesian-position teach report every failed exchange as -1.
int exchange_failure_is_minus_one(int r) { return r == -2 ? -1 : r; }

constexpr const char *kQueryTag = "[ky_get_arm_current_trajectory]";

struct TrajectoryKind {
    const char *name;
    int type;
    bool joints;  // joint angles (else the end-effector pose)
    const char *log;
};
constexpr TrajectoryKind kKinds[] = {
    {"none", 0, true, "None!"},          {"movej", 1, true, "MoveJ!"}, {"movel", 2, false, "MoveL!"},
    {"moves", 4, false, "MoveS!"},       {"movec", 3, false, "MoveC!"},
    {"re_trajectory", 5, true, "Re-Trajectory!"},
};

int parse_ky_get_arm_current_trajectory(ky_robot_handle *robot, const char *text, int *type, float *data) {
    int dof = 0;
    if (ky::require_dof(robot, "parse_ky_get_arm_current_trajectory", &dof) != 0) return -1;
    ky::JsonDoc doc(text);
    const cJSON *array = doc ? MIO_JSON_GetObjectItem(doc.root, "data") : nullptr;
    if (array == nullptr) {
        ky_log_error("%s Get arm current trajectory parse err\n", kQueryTag);
        return -1;
    }
    if (!cJSON_IsArray(array)) {
        ky_log_error("%s Data type parse err\n", kQueryTag);
        return -1;
    }
    // The controller sends at most 7 values; more are not read.
    const int size = MIO_JSON_GetArraySize(array);
    int32_t d[7] = {};
    for (int i = 0; i < size && i < 7; ++i) d[i] = MIO_JSON_GetArrayItemInt(array, i);
    ky_log_info("%s Current trajectory data size: %d, data : (%d, %d, %d, %d, %d, %d, %d)\n", kQueryTag, size, d[0],
                d[1], d[2], d[3], d[4], d[5], d[6]);
    const char *name = MIO_JSON_GetObjectItemString(doc.root, "type");
    if (name == nullptr) {
        ky_log_error("%s Get arm current trajectory parse err\n", kQueryTag);
        return -1;
    }
    const TrajectoryKind *kind = nullptr;
    for (const auto &k : kKinds) {
        if (std::strcmp(name, k.name) == 0) kind = &k;
    }
    if (kind == nullptr) return -1;
    if (type != nullptr) *type = kind->type;
    ky_log_info("%s Current trajectory is %s\n", kQueryTag, kind->log);
    float out[7] = {};
    if (kind->joints) {
        for (int i = 0; i < dof; ++i) out[i] = ky::milli_from_wire(d[i]);
        if (dof == 7) {
            ky_log_info("%s Joint Angles: %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f\n", kQueryTag, out[0], out[1],
                        out[2], out[3], out[4], out[5], out[6]);
        } else {
            ky_log_info("%s Joint Angles: %.3f, %.3f, %.3f, %.3f, %.3f, %.3f\n", kQueryTag, out[0], out[1], out[2],
                        out[3], out[4], out[5]);
        }
    } else {
        for (int i = 0; i < 6; ++i) out[i] = i < 3 ? ky::micro_from_wire(d[i]) : ky::milli_from_wire(d[i]);
        ky_log_info("%s End effector pose:  %.3f, %.3f, %.3f, %.3f, %.3f, %.3f\n", kQueryTag, out[0], out[1], out[2],
                    out[3], out[4], out[5]);
        if (kind->type != 3) ky_log_info("\n");
    }
    if (data != nullptr) std::memcpy(data, out, sizeof(float) * static_cast<size_t>(kind->joints ? dof : 6));
    return 0;
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------------ steps
KY_API int ky_set_joint_step_nblock(ky_robot_handle *robot_handle, int joint, float step, int v) {
    ky::CallScope scope;
    return step_nblock(robot_handle, "ky_set_joint_step", joint_step(joint, step, v));
}

KY_API int ky_set_joint_step_block(ky_robot_handle *robot_handle, int joint, float step, int v, int block) {
    ky::CallScope scope;
    return step_block(robot_handle, "ky_set_joint_step", joint_step(joint, step, v), 1024, block, 1);
}

KY_API int ky_set_joint_step(ky_robot_handle *robot_handle, int joint, int v, int block, float step) {
    ky::CallScope scope;
    return block != 0 ? ky_set_joint_step_block(robot_handle, joint, step, v, block)
                      : ky_set_joint_step_nblock(robot_handle, joint, step, v);
}

KY_API int ky_set_pos_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v) {
    ky::CallScope scope;
    return step_nblock(robot_handle, "ky_set_pos_step", pos_step(axis, step, v));
}

KY_API int ky_set_pos_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block) {
    ky::CallScope scope;
    return step_block(robot_handle, "ky_set_pos_step", pos_step(axis, step, v), 256, block, 2);
}

KY_API int ky_set_pos_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step) {
    ky::CallScope scope;
    return block != 0 ? ky_set_pos_step_block(robot_handle, axis, step, v, block)
                      : ky_set_pos_step_nblock(robot_handle, axis, step, v);
}

KY_API int ky_set_ort_step_nblock(ky_robot_handle *robot_handle, int axis, float step, int v) {
    ky::CallScope scope;
    return step_nblock(robot_handle, "ky_set_ort_step", ort_step(axis, step, v));
}

KY_API int ky_set_ort_step_block(ky_robot_handle *robot_handle, int axis, float step, int v, int block) {
    ky::CallScope scope;
    return step_block(robot_handle, "ky_set_ort_step", ort_step(axis, step, v), 256, block, 2);
}

KY_API int ky_set_ort_step(ky_robot_handle *robot_handle, int axis, int v, int block, float step) {
    ky::CallScope scope;
    return block != 0 ? ky_set_ort_step_block(robot_handle, axis, step, v, block)
                      : ky_set_ort_step_nblock(robot_handle, axis, step, v);
}

// --------------------------------------------------------- stop, pause, continue, delete
KY_API int ky_set_arm_slow_stop(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_arm_slow_stop", "set_arm_slow_stop", "arm_slow_stop");
}

KY_API int ky_set_arm_stop(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_arm_stop", "set_arm_stop", "arm_stop");
}

KY_API int ky_set_arm_pause(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_arm_pause", "set_arm_pause", "arm_pause");
}

KY_API int ky_set_arm_continue(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_arm_continue", "set_arm_continue", "arm_continue");
}

KY_API int ky_set_delete_current_trajectory(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_delete_current_trajectory", "set_delete_current_trajectory",
                  "delete_current_trajectory");
}

KY_API int ky_set_arm_delete_trajectory(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_arm_delete_trajectory", "set_arm_delete_trajectory", "arm_delete_trajectory");
}

// ------------------------------------------------------------------------ teach
KY_API int ky_set_joint_teach(ky_robot_handle *robot_handle, int joint, int dir, int v) {
    ky::CallScope scope;
    Req req("set_joint_teach");
    req.num("teach_joint", joint).num("v", v).str("direction", direction(dir));
    return exchange_failure_is_minus_one(
        ky::set_command(robot_handle, "ky_set_joint_teach", std::move(req), "joint_teach"));
}

KY_API int ky_set_pos_teach(ky_robot_handle *robot_handle, int axis_sel, int dir, int v) {
    ky::CallScope scope;
    Req req("set_pos_teach");
    req.num("v", v).str("direction", direction(dir));
    axis(req, "teach_type", axis_sel, kPosAxes);
    return exchange_failure_is_minus_one(ky::set_command(robot_handle, "ky_set_pos_teach", std::move(req), "pos_teach"));
}

KY_API int ky_set_ort_teach(ky_robot_handle *robot_handle, int axis_sel, int dir, int v) {
    ky::CallScope scope;
    Req req("set_ort_teach");
    req.num("v", v).str("direction", direction(dir));
    axis(req, "teach_type", axis_sel, kOrtAxes);
    return ky::set_command(robot_handle, "ky_set_ort_teach", std::move(req), "ort_teach");
}

KY_API int ky_set_stop_teach(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    return simple(robot_handle, "ky_set_stop_teach", "set_stop_teach", "stop_teach");
}

KY_API int ky_set_teach_frame(ky_robot_handle *robot_handle, int frame_type) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_teach_frame",
                           std::move(Req("set_teach_frame").num("frame_type", frame_type)), "set_state");
}

KY_API int ky_get_teach_frame(ky_robot_handle *robot_handle, int *frame_type) {
    ky::CallScope scope;
    int32_t v = 0;
    int r = ky::get_ints(robot_handle, "ky_get_teach_frame", "get_teach_frame", "get_teach_frame", "frame_type", 1, &v);
    if (r == 0 && frame_type != nullptr) *frame_type = v;
    return r;
}

// ------------------------------------------------------------ trajectory query
KY_API int ky_get_arm_current_trajectory(ky_robot_handle *robot_handle, int *type, float *data) {
    ky::CallScope scope;
    static const char *tag = "ky_get_arm_current_trajectory";
    Reply reply(1024);
    Req req("get_arm_current_trajectory");
    int r = ky::exchange(robot_handle, tag, req, "arm_current_trajectory", reply, ky::out_time());
    if (r < 1) return r;
    return parse_ky_get_arm_current_trajectory(robot_handle, reply.text(), type, data);
}

}  // extern "C"
