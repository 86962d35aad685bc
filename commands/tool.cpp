// Gripper and dexterous hand on the tool flange: gripper travel, release, pick, pick-on and
// position moves, the gripper state; hand postures, sequences, angles, speed and force.
//
// The tool's acknowledgements take the controller longer than most replies: every set
// command here waits m_nOutTime_max; only the gripper state query waits m_nOutTime. All
// gripper actions are answered under the common name "set_gripper". The blocking actions
// then wait for the controller's "current_trajectory_state" report and check that it came
// from the tool (device 1 the gripper, 2 the hand): one wait of `timeout` seconds, taken as
// soon as the report is filed.
#include <climits>
#include <cstdint>
#include <utility>

#include "commands/motion.h"
#include "core/exchange.h"
#include "core/fifo.h"
#include "ky_api.h"

using ky::Reply;
using ky::Req;

namespace {

constexpr const char *kCompletion = "current_trajectory_state";
constexpr const char *kGripperReply = "set_gripper";

// The completion report a blocking tool action waits for, and the result codes of its two
// failures (kept per action as the controller tooling knows them).
struct ToolWait {
    int device;           // 1 gripper, 2 dexterous hand
    int timeout_code;     // no report within the time-out
    int wrong_device;     // the report came from another device
    bool log_timeout;     // "[tag] timeout error" when no report came
};

constexpr ToolWait kRelease{1, -4, -4, false};
constexpr ToolWait kPick{1, -4, -5, false};
constexpr ToolWait kPosition{1, -4, -5, true};
constexpr ToolWait kHand{2, -5, -4, false};

// Waits `timeout_s` seconds for the completion report and checks its device. The report's
// "trajectory_connect" plays no part for the tool.
int wait_tool(ky_robot_handle *robot, const char *tag, const ToolWait &w, int timeout_s) {
    Reply line(256);
    const long long ms = static_cast<long long>(timeout_s) * 1000;
    const int wait_ms = ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
    if (ky::wait_line(robot, tag, kCompletion, line, wait_ms) < 1) {
        if (w.log_timeout) ky_log_error("[%s] timeout error\n", tag);
        return w.timeout_code;
    }
    int device = 0;
    int connect = 0;
    const int s = parse_ky_move_command(line.text(), &device, &connect);
    if (s != 1) return s != 0 ? s : 1;
    if (device == w.device) return 0;
    ky_log_error("[%s] current device is: %d \n", tag, device);
    return w.wrong_device;
}

// A gripper action: with block false and timeout 0 it is sent without awaiting anything
// (the call holds for m_nOutTime_max and returns 0); otherwise the "set_gripper"
// acknowledgement decides, and with block true the completion report of the gripper.
int gripper_action(ky_robot_handle *robot, const char *tag, Req req, bool block, int timeout_s,
                   const ToolWait &w) {
    if (!block && timeout_s == 0) return ky::send_only(robot, tag, std::move(req), ky::out_time_max());
    const int r = ky::set_command(robot, tag, std::move(req), "state", kGripperReply, ky::out_time_max());
    if (r != 0 || !block) return r;
    return wait_tool(robot, tag, w, timeout_s);
}

// A hand action: always acknowledged with "set_state" under its own name; with block true
// the hand's completion report follows.
int hand_action(ky_robot_handle *robot, const char *tag, Req req, bool block, int timeout_s) {
    const int r = ky::set_command(robot, tag, std::move(req), "set_state", nullptr, ky::out_time_max());
    if (r != 0 || !block) return r;
    return wait_tool(robot, tag, kHand, timeout_s);
}

// A set command acknowledged with "set_state" under its own name after m_nOutTime_max.
int tool_set(ky_robot_handle *robot, const char *tag, Req req) {
    return ky::set_command(robot, tag, std::move(req), "set_state", nullptr, ky::out_time_max());
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------------ gripper
KY_API int ky_set_gripper_route(ky_robot_handle *robot_handle, int min, int max) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_gripper_route",
                           std::move(Req("set_gripper_route").num("min", min).num("max", max)), "state", nullptr,
                           ky::out_time_max());
}

KY_API int ky_set_gripper_release(ky_robot_handle *robot_handle, int speed, bool block, int timeout) {
    ky::CallScope scope;
    return gripper_action(robot_handle, "ky_set_gripper_release",
                          std::move(Req("set_gripper_release").num("speed", speed).flag("block", block)), block,
                          timeout, kRelease);
}

KY_API int ky_set_gripper_pick(ky_robot_handle *robot_handle, int speed, int force, bool block, int timeout) {
    ky::CallScope scope;
    return gripper_action(robot_handle, "ky_set_gripper_pick",
                          std::move(Req("set_gripper_pick").num("speed", speed).num("force", force).flag("block", block)),
                          block, timeout, kPick);
}

KY_API int ky_set_gripper_pick_on(ky_robot_handle *robot_handle, int speed, int force, bool block, int timeout) {
    ky::CallScope scope;
    return gripper_action(
        robot_handle, "ky_set_gripper_pick_on",
        std::move(Req("set_gripper_pick_on").num("speed", speed).num("force", force).flag("block", block)), block,
        timeout, kPick);
}

KY_API int ky_set_gripper_position(ky_robot_handle *robot_handle, int position, bool block, int timeout) {
    ky::CallScope scope;
    return gripper_action(robot_handle, "ky_set_gripper_position",
                          std::move(Req("set_gripper_position").num("position", position).flag("block", block)),
                          block, timeout, kPosition);
}

KY_API int ky_get_gripper_state(ky_robot_handle *robot_handle, ky_gripper_state *state) {
    ky::CallScope scope;
    static const char *tag = "ky_get_gripper_state";
    if (state == nullptr) return -1;
    Req req("get_gripper_state");
    Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, "get_gripper_state", reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item items[7] = {ky::parse_int("enable"),        ky::parse_int("status"),
                                ky::parse_int("error"),         ky::parse_int("mode"),
                                ky::parse_int("current_force"), ky::parse_int("temperature"),
                                ky::parse_int("actpos")};
    r = common_json_parse(tag, reply.text(), items, 7);
    if (r != 0) return r;
    *state = {items[0].value.num, items[1].value.num, items[2].value.num, items[3].value.num,
              items[4].value.num, items[5].value.num, items[6].value.num};
    return 0;
}

// ------------------------------------------------------------------ dexterous hand
KY_API int ky_set_hand_posture(ky_robot_handle *robot_handle, int posture_num, bool block, int timeout) {
    ky::CallScope scope;
    return hand_action(robot_handle, "ky_set_hand_posture",
                       std::move(Req("set_hand_posture").num("posture_num", posture_num).flag("block", block)), block,
                       timeout);
}

KY_API int ky_set_hand_seq(ky_robot_handle *robot_handle, int seq_num, bool block, int timeout) {
    ky::CallScope scope;
    return hand_action(robot_handle, "ky_set_hand_seq",
                       std::move(Req("set_hand_seq").num("seq_num", seq_num).flag("block", block)), block, timeout);
}

KY_API int ky_set_hand_angle(ky_robot_handle *robot_handle, const int *angle) {
    ky::CallScope scope;
    if (angle == nullptr) return -1;
    return tool_set(robot_handle, "ky_set_hand_angle",
                    std::move(Req("set_hand_angle").ints("hand_angle", std::span<const int32_t>(angle, 6))));
}

// Streamed finger targets: the controller answers nothing, the call holds m_nOutTime_max.
KY_API int ky_set_hand_follow_angle(ky_robot_handle *robot_handle, const int *angle) {
    ky::CallScope scope;
    if (angle == nullptr) return -1;
    return ky::send_only(robot_handle, "ky_set_hand_follow_angle",
                         std::move(Req("hand_follow_angle").ints("hand_angle", std::span<const int32_t>(angle, 6))),
                         ky::out_time_max());
}

KY_API int ky_set_hand_speed(ky_robot_handle *robot_handle, int speed) {
    ky::CallScope scope;
    return tool_set(robot_handle, "ky_set_hand_speed", std::move(Req("set_hand_speed").num("speed", speed)));
}

KY_API int ky_set_hand_force(ky_robot_handle *robot_handle, int force) {
    ky::CallScope scope;
    return tool_set(robot_handle, "ky_set_hand_force", std::move(Req("set_hand_force").num("hand_force", force)));
}

}  // extern "C"
