// Planned motion: movej, movel, moves, movec and movej_p, each non-blocking, blocking and
// as a dispatcher, and the completion wait that the blocking forms share.
//
// A move is accepted with {"command":<move>,"receive_state":true}; it has finished when the
// controller pushes {"command":"current_trajectory_state","trajectory_state":true,
// "device":0,"trajectory_connect":0}. Between those, the blocking forms poll the trajectory
// query every 100 ms, so a lost completion line does not leave them waiting forever.
#include "commands/motion.h"

#include <cjson/cJSON.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"
#include "core/units.h"

using ky::Reply;
using ky::Req;

namespace {

constexpr const char *kCompletion = "current_trajectory_state";
constexpr int kMoveReplySize = 256;
constexpr int kQueryPauseMs = 100;
constexpr int kMaxQueryFailures = 6;
constexpr int kIdleAnswersBeforeFinalWait = 9;

// Position in millionths of a metre, Euler angles in thousandths of a radian.
std::array<int32_t, 6> pose_to_wire(const ky_pose &p) {
    return {ky::micro_to_wire(p.position.x), ky::micro_to_wire(p.position.y), ky::micro_to_wire(p.position.z),
            ky::milli_to_wire(p.euler.rx),   ky::milli_to_wire(p.euler.ry),   ky::milli_to_wire(p.euler.rz)};
}

Req pose_move(const char *command, const ky_pose &pose, int v, int r, int trajectory_connect) {
    const auto wire = pose_to_wire(pose);
    return std::move(Req(command).num("v", v).ints("pose", wire).num("trajectory_connect", trajectory_connect).num("r", r));
}

// The joint vector carries exactly dof angles; -1 (logged) when the dof is not 6 or 7.
int joint_move(ky_robot_handle *robot, const float *joint, int v, int r, int trajectory_connect, Req &req) {
    int dof = 0;
    if (ky::require_dof(robot, "ky_movej", &dof) != 0 || joint == nullptr) return -1;
    int32_t wire[7];
    for (int i = 0; i < dof; ++i) wire[i] = ky::deg_to_wire(joint[i]);
    req.num("v", v).ints("joint", std::span<const int32_t>(wire, static_cast<size_t>(dof)));
    req.num("trajectory_connect", trajectory_connect).num("r", r);
    return 0;
}

// Reads the acceptance of a move: 0 accepted, 1 refused, -3 unreadable; the reply length
// goes to *length.
int read_acceptance(const char *tag, int length, const Reply &reply, int *reply_length) {
    if (length < 1) return length;
    if (reply_length != nullptr) *reply_length = length;
    return parse_ky_set_command(tag, reply.text(), "receive_state");
}

int send_move(ky_robot_handle *robot, const char *tag, Req &req, int *reply_length) {
    Reply reply(kMoveReplySize);
    int r = ky::exchange(robot, tag, req, req.command(), reply, ky::out_time());
    return read_acceptance(tag, r, reply, reply_length);
}

// The completion line of an accepted non-blocking move goes to the event callback only:
// on this robot, the first completion filed after the acceptance is never handed to a
// waiter. A move joined to the next one (connect 1) reports no completion of its own, so
// it announces none (it would swallow the completion of the move that ends the set).
int announce(ky_robot_handle *robot, int accepted, int trajectory_connect) {
    if (accepted != 0 || trajectory_connect != 0) return accepted;
    if (g_mode.load() != 1 && g_mode.load() != 2) return accepted;  // only the FIFO files lines
    const uint64_t acceptance = ky::last_taken_order();
    ky::ReadLock lock;
    if (ky_handle *h = ky_get_ky_handle_by_robot_handle(robot)) {
        ky::announce_completion(h->fifo, KY_PENDING_TRAJECTORY, acceptance);
    }
    return accepted;
}

int move_nblock(ky_robot_handle *robot, const char *tag, Req req, int trajectory_connect) {
    return announce(robot, send_move(robot, tag, req, nullptr), trajectory_connect);
}

// A trajectory joined to the next one (connect 1) never reports its own completion.
int move_block(ky_robot_handle *robot, const char *tag, Req req, int trajectory_connect, int block,
               const ky::CompletionWait &wait) {
    int length = 0;
    int r = send_move(robot, tag, req, &length);
    if (r != 0) return r;
    if (trajectory_connect == 1) return 0;
    return ky::finish_blocking(robot, block, length, wait);
}

// movec is sent as its own object printed by the formatted (indented, multi-line) printer,
// "\r\n" and no NUL, through the socket's plain send, with r in thousandths; the
// controller's movec parser expects it so.
int send_movec(ky_robot_handle *robot, const ky_pose &via, const ky_pose &to, int v, int r, int loop,
               int trajectory_connect, bool log_send) {
    auto array = [](const ky_pose &p) {
        const auto wire = pose_to_wire(p);
        cJSON *a = MIO_JSON_CreateArray();
        for (int32_t x : wire) MIO_JSON_AddItemToArray(a, MIO_JSON_CreateNumber(x));
        return a;
    };
    cJSON *root = MIO_JSON_CreateObject();
    cJSON *pose = MIO_JSON_CreateObject();
    MIO_JSON_AddItemToObject(pose, "pose_via", array(via));
    MIO_JSON_AddItemToObject(pose, "pose_to", array(to));
    MIO_JSON_AddItemToObject(root, "command", MIO_JSON_CreateString("movec"));
    MIO_JSON_AddItemToObject(root, "pose", pose);
    MIO_JSON_AddItemToObject(root, "v", MIO_JSON_CreateNumber(v));
    MIO_JSON_AddItemToObject(root, "r", MIO_JSON_CreateNumber(ky::trunc_i32(static_cast<double>(r) * 1000)));
    MIO_JSON_AddItemToObject(root, "loop", MIO_JSON_CreateNumber(loop));
    MIO_JSON_AddItemToObject(root, "trajectory_connect", MIO_JSON_CreateNumber(trajectory_connect));
    char *printed = cJSON_Print(root);
    MIO_JSON_Delete(root);
    if (printed == nullptr) return -1;
    std::string line = printed;
    cJSON_free(printed);
    line += "\r\n";
    if (log_send) ky_log_debug("send is: %s\n", line.c_str());

    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    if (h == nullptr) return -1;
    return h->socket->send(h->socket, line.data(), static_cast<int>(line.size())) == 0 ? 0 : -1;
}

// Sends movec, then waits (sending nothing) for its acceptance.
int movec_accept(ky_robot_handle *robot, const ky_pose &via, const ky_pose &to, int v, int r, int loop,
                 int trajectory_connect, bool blocking, int *reply_length) {
    if (send_movec(robot, via, to, v, r, loop, trajectory_connect, blocking) != 0) return -1;
    Reply reply(kMoveReplySize);
    int n = ky::wait_line(robot, "ky_movec", "movec", reply, ky::out_time());
    return read_acceptance("ky_movec", n, reply, reply_length);
}

// Waits for a completion line for `ms` (the pause between trajectory queries); true when one
// was taken into `line`. Members whose passes start with that wait take it at once instead
// of after the pause; the others sleep.
bool pause(ky_robot_handle *robot, const ky::CompletionWait &w, Reply &line, int ms = kQueryPauseMs) {
    if (!w.wait_first) {
        sleep_cp(ms);
        return false;
    }
    return ky::wait_line(robot, w.tag, kCompletion, line, ms) > 0;
}

}  // namespace

int parse_ky_move_command(const char *text, int *device, int *connect) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("Set command parse err\n");
        return -3;
    }
    const int state = MIO_JSON_GetObjectItemBool(doc.root, "trajectory_state");
    const int dev = MIO_JSON_GetObjectItemInt(doc.root, "device");
    if (dev < 0) {
        ky_log_error("Move command parse err\n");
        return -3;
    }
    if (device != nullptr) *device = dev;
    const int conn = MIO_JSON_GetObjectItemInt(doc.root, "trajectory_connect");
    if (conn < 0) {
        ky_log_error("Move command parse err\n");
        return -3;
    }
    if (connect != nullptr) *connect = conn;
    if (state != 0) {
        ky_log_debug("Move command result is: true, current Device: %d, trajectory_connect: %d\n", dev, conn);
    } else {
        ky_log_error("Move command result is: false, current Device: %d, trajectory_connect: %d\n", dev, conn);
    }
    return state;
}

int ky::arm_trajectory_type(ky_robot_handle *robot, int *activity) {
    float data[7];
    return ky_get_arm_current_trajectory(robot, activity, data);
}

int ky::wait_for_completion(ky_robot_handle *robot, const CompletionWait &w) {
    const int final_wait = w.final_wait_ms < 0 ? out_time() : w.final_wait_ms;
    bool seen_running = false;
    int idle = 0;
    int failures = 0;
    Reply line(kMoveReplySize);
    bool have_line = false;  // taken during the last pause
    int device = 0;
    int connect = 0;
    for (;;) {
        if (w.wait_first) {
            if (!have_line) have_line = wait_line(robot, w.tag, kCompletion, line, out_time()) > 0;
            if (have_line) {
                have_line = false;
                const int s = parse_ky_move_command(line.text(), &device, &connect);
                if (s != 1) return s != 0 ? s : 1;
                if (connect == 1 || device != w.device) continue;  // the set goes on / another device
                if (connect == 0) return 0;
                if (w.strict_device_line) {
                    ky_log_error("[%s] current device is: %d \n", w.tag, device);
                    return -4;
                }
            }
        }
        int type = -1;
        const int q = w.query(robot, &type);
        if (q != 0) {
            if (++failures >= kMaxQueryFailures) return q;
            continue;
        }
        if (type == w.running_type) {
            seen_running = true;
            if (w.pause_while_running) have_line = pause(robot, w, line);
            continue;
        }
        if (type != 0) {  // another kind of trajectory is running
            have_line = pause(robot, w, line, w.other_pause_ms);
            continue;
        }
        if (!seen_running && ++idle <= kIdleAnswersBeforeFinalWait) {
            have_line = pause(robot, w, line, w.idle_pause_ms);
            continue;
        }
        if (wait_line(robot, w.tag, kCompletion, line, final_wait) < 1) {
            have_line = pause(robot, w, line, w.other_pause_ms);
            continue;
        }
        const int s = parse_ky_move_command(line.text(), &device, &connect);
        if (s != 1) return s != 0 ? s : 1;
        if (connect == 1) continue;
        if (connect == 0 && device == w.device) return 0;
        ky_log_error("[%s] current device is: %d \n", w.tag, device);
        return -4;
    }
}

int ky::finish_blocking(ky_robot_handle *robot, int block, int reply_length, const CompletionWait &wait) {
    switch (g_mode.load()) {
    case 0: return ky_movecmd_singlemode_parse(robot, block, wait.device);
    case 1:
    case 2: return wait_for_completion(robot, wait);
    default: return reply_length;  // no reader of completion lines in this mode
    }
}

extern "C" {

KY_API int ky_movecmd_singlemode_parse(ky_robot_handle *robot_handle, int attempts, int device) {
    ky::CallScope scope;
    for (int i = 0; i < attempts; ++i) {
        Reply line(kMoveReplySize);
        if (ky::wait_line(robot_handle, "ky_movecmd_singlemode_parse", kCompletion, line, 1000) < 1) continue;
        int dev = 0;
        int connect = 0;
        const int s = parse_ky_move_command(line.text(), &dev, &connect);
        if (s != 1) return s != 0 ? s : 1;
        if (connect == 0 && dev == device) return 0;
    }
    return -5;
}

// ------------------------------------------------------------------------- movej
KY_API int ky_movej_nblock(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect) {
    ky::CallScope scope;
    Req req("movej");
    if (joint_move(robot_handle, joint, v, r, trajectory_connect, req) != 0) return -1;
    return move_nblock(robot_handle, "ky_movej", std::move(req), trajectory_connect);
}

KY_API int ky_movej_block(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                          int block) {
    ky::CallScope scope;
    Req req("movej");
    if (joint_move(robot_handle, joint, v, r, trajectory_connect, req) != 0) return -1;
    return move_block(robot_handle, "ky_movej", std::move(req), trajectory_connect, block,
                      ky::planned_move("ky_movej", 1));
}

KY_API int ky_movej(ky_robot_handle *robot_handle, const float *joint, int v, int r, int trajectory_connect,
                    int block) {
    ky::CallScope scope;
    return block != 0 ? ky_movej_block(robot_handle, joint, v, r, trajectory_connect, block)
                      : ky_movej_nblock(robot_handle, joint, v, r, trajectory_connect);
}

// ------------------------------------------------------------------------- movel
KY_API int ky_movel_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect) {
    ky::CallScope scope;
    return move_nblock(robot_handle, "ky_movel", pose_move("movel", pose, v, r, trajectory_connect), trajectory_connect);
}

KY_API int ky_movel_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block) {
    ky::CallScope scope;
    return move_block(robot_handle, "ky_movel", pose_move("movel", pose, v, r, trajectory_connect), trajectory_connect,
                      block, ky::planned_move("ky_movel", 2));
}

KY_API int ky_movel(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block) {
    ky::CallScope scope;
    return block != 0 ? ky_movel_block(robot_handle, pose, v, r, trajectory_connect, block)
                      : ky_movel_nblock(robot_handle, pose, v, r, trajectory_connect);
}

// ------------------------------------------------------------------------- moves
KY_API int ky_moves_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect) {
    ky::CallScope scope;
    return move_nblock(robot_handle, "ky_moves", pose_move("moves", pose, v, r, trajectory_connect), trajectory_connect);
}

// The blocking spline move logs under "ky_movel", as the controller tooling expects.
KY_API int ky_moves_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                          int block) {
    ky::CallScope scope;
    return move_block(robot_handle, "ky_movel", pose_move("moves", pose, v, r, trajectory_connect), trajectory_connect,
                      block, ky::planned_move("ky_movel", 4));
}

KY_API int ky_moves(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block) {
    ky::CallScope scope;
    return block != 0 ? ky_moves_block(robot_handle, pose, v, r, trajectory_connect, block)
                      : ky_moves_nblock(robot_handle, pose, v, r, trajectory_connect);
}

// ------------------------------------------------------------------------- movec
KY_API int ky_movec_nblock(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                           int trajectory_connect) {
    ky::CallScope scope;
    return announce(robot_handle,
                    movec_accept(robot_handle, pose_via, pose_to, v, r, loop, trajectory_connect, false, nullptr),
                    trajectory_connect);
}

KY_API int ky_movec_block(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                          int trajectory_connect, int block) {
    ky::CallScope scope;
    int length = 0;
    int res = movec_accept(robot_handle, pose_via, pose_to, v, r, loop, trajectory_connect, true, &length);
    if (res != 0) return res;
    if (trajectory_connect == 1) return 0;
    return ky::finish_blocking(robot_handle, block, length, ky::planned_move("ky_movec", 3));
}

KY_API int ky_movec(ky_robot_handle *robot_handle, ky_pose pose_via, ky_pose pose_to, int v, int r, int loop,
                    int trajectory_connect, int block) {
    ky::CallScope scope;
    if (static_cast<uint32_t>(trajectory_connect) > 1) {
        ky_log_error("[%s] trajectory_connect check err! \n", "ky_movec");
        return -6;
    }
    return block != 0 ? ky_movec_block(robot_handle, pose_via, pose_to, v, r, loop, trajectory_connect, block)
                      : ky_movec_nblock(robot_handle, pose_via, pose_to, v, r, loop, trajectory_connect);
}

// ----------------------------------------------------------------------- movej_p
KY_API int ky_movej_p_nblock(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect) {
    ky::CallScope scope;
    return move_nblock(robot_handle, "ky_movej_p", pose_move("movej_p", pose, v, r, trajectory_connect), trajectory_connect);
}

KY_API int ky_movej_p_block(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect,
                            int block) {
    ky::CallScope scope;
    return move_block(robot_handle, "ky_movej_p", pose_move("movej_p", pose, v, r, trajectory_connect),
                      trajectory_connect, block, ky::movej_p_move("ky_movej_p"));
}

KY_API int ky_movej_p(ky_robot_handle *robot_handle, ky_pose pose, int v, int r, int trajectory_connect, int block) {
    ky::CallScope scope;
    return block != 0 ? ky_movej_p_block(robot_handle, pose, v, r, trajectory_connect, block)
                      : ky_movej_p_nblock(robot_handle, pose, v, r, trajectory_connect);
}

}  // extern "C"
