// Streamed set-points: the pass-through commands ("movej_canfd", "movep_canfd",
// "movej_follow", "movep_follow") and the force-position set-points ("Force_Position_Move").
//
// These calls are made thousands of times per second from a control loop and expect no
// reply, so they skip the general request builder: under one registry read lock each call
// writes its line straight into a buffer of the calling thread and sends it. The line is
// byte for byte what the cJSON-based packer prints for the same members (no blanks,
// integers in decimal, booleans as true / false), followed by CR, LF and one NUL like
// every command. Nothing is allocated, nothing sleeps, nothing is read back.
#include <charconv>
#include <cstdint>
#include <cstring>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/registry.h"
#include "core/units.h"

namespace {

// One command line, built in place. A line that does not fit is refused, never cut.
class Line {
public:
    void begin(const char *command) {
        n_ = 0;
        ok_ = true;
        raw("{\"command\":\"");
        raw(command);
        put('"');
    }
    Line &num(const char *key, int32_t v) {
        member(key);
        integer(v);
        return *this;
    }
    Line &flag(const char *key, bool v) {
        member(key);
        raw(v ? "true" : "false");
        return *this;
    }
    Line &ints(const char *key, const int32_t *v, int count) {
        member(key);
        put('[');
        for (int i = 0; i < count; ++i) {
            if (i > 0) put(',');
            integer(v[i]);
        }
        put(']');
        return *this;
    }
    // Closes the object and appends CR LF NUL: the number of bytes to send, or -1 when the
    // line did not fit.
    int end() {
        raw("}\r\n");
        put('\0');
        return ok_ ? n_ : -1;
    }
    const char *data() const { return buf_; }

private:
    void member(const char *key) {
        raw(",\"");
        raw(key);
        raw("\":");
    }
    void put(char c) {
        if (n_ < static_cast<int>(sizeof buf_)) {
            buf_[n_++] = c;
        } else {
            ok_ = false;
        }
    }
    void raw(const char *s) {
        const size_t len = std::strlen(s);
        if (len > sizeof buf_ - static_cast<size_t>(n_)) {
            ok_ = false;
            return;
        }
        std::memcpy(buf_ + n_, s, len);
        n_ += static_cast<int>(len);
    }
    void integer(int32_t v) {
        auto [end, ec] = std::to_chars(buf_ + n_, buf_ + sizeof buf_, v);
        if (ec != std::errc()) {
            ok_ = false;
            return;
        }
        n_ = static_cast<int>(end - buf_);
    }

    char buf_[1024];
    int n_ = 0;
    bool ok_ = true;
};

// The longest line (the general force-position set-point) takes about 400 bytes.
thread_local Line t_line;

// A pose goes out with its quaternion when that is (close to) a unit quaternion, else with
// its Euler angles; a caller who leaves the quaternion zero gets the Euler form. The bounds
// are single-precision values too, so a squared norm of exactly 0.99f or 1.1f is outside.
void put_pose(Line &line, const ky_pose &p) {
    const ky_quaternion &q = p.quaternion;
    const float norm = q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z;
    if (norm > 0.99f && norm < 1.1f) {
        const int32_t wire[7] = {ky::micro_to_wire(p.position.x), ky::micro_to_wire(p.position.y),
                                 ky::micro_to_wire(p.position.z), ky::micro_to_wire(q.w),
                                 ky::micro_to_wire(q.x),          ky::micro_to_wire(q.y),
                                 ky::micro_to_wire(q.z)};
        line.ints("pose_quat", wire, 7);
    } else {
        const auto wire = ky::pose_to_wire(p);
        line.ints("pose", wire.data(), 6);
    }
}

void put_joints(Line &line, const float *joint, int dof) {
    int32_t wire[7];
    for (int i = 0; i < dof; ++i) wire[i] = ky::deg_to_wire(joint[i]);
    line.ints("joint", wire, dof);
}

void put_axes(Line &line, const char *key, const float *values, int32_t (*to_wire)(float)) {
    int32_t wire[KY_FORCE_AXES];
    for (int i = 0; i < KY_FORCE_AXES; ++i) wire[i] = to_wire(values[i]);
    line.ints(key, wire, KY_FORCE_AXES);
}

enum class Target { pose, joints };

// Builds the line with `fill(line, dof)` and sends it, holding the registry's read lock for
// the lookup and the send only. Joint targets need the arm's dof (6 or 7) first.
template <class Fill>
int stream(ky_robot_handle *robot, const char *tag, const char *command, Target target, Fill &&fill) {
    enum { sent, unknown_handle, disconnected, send_failed } outcome = sent;
    {
        ky::ReadLock lock;
        ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
        const int dof = h != nullptr ? ky::load_field(h->robot.dof) : 0;
        if (target == Target::joints && dof != 6 && dof != 7) {
            outcome = disconnected;
        } else if (h == nullptr) {
            outcome = unknown_handle;
        } else {
            Line &line = t_line;
            line.begin(command);
            fill(line, dof);
            const int length = line.end();
            if (length < 0) {
                outcome = send_failed;
            } else {
                ky_log_debug("send is: %s\n", line.data());
                if (h->socket->block_send(h->socket, line.data(), length) != 0) outcome = send_failed;
            }
        }
    }
    switch (outcome) {
    case sent: return 0;
    case disconnected: ky_log_error("[%s] The robotic arm has been disconnected\n", tag); break;
    case send_failed: ky_log_error("[%s] %s send error\n", tag, command); break;
    case unknown_handle: break;
    }
    return -1;
}

}  // namespace

extern "C" {

// ------------------------------------------------------------------ pass-through
KY_API int ky_movej_canfd(ky_robot_handle *robot_handle, const float *joint, bool follow, float expand) {
    ky::CallScope scope;
    if (joint == nullptr) return -1;
    return stream(robot_handle, "ky_movej_canfd", "movej_canfd", Target::joints, [&](Line &line, int dof) {
        put_joints(line, joint, dof);
        line.flag("follow", follow).num("expand", ky::milli_to_wire(expand));
    });
}

KY_API int ky_movep_canfd(ky_robot_handle *robot_handle, ky_pose pose, bool follow) {
    ky::CallScope scope;
    return stream(robot_handle, "ky_movep_canfd", "movep_canfd", Target::pose, [&](Line &line, int) {
        line.flag("follow", follow);
        put_pose(line, pose);
    });
}

KY_API int ky_movej_follow(ky_robot_handle *robot_handle, const float *joint) {
    ky::CallScope scope;
    if (joint == nullptr) return -1;
    return stream(robot_handle, "ky_movej_follow", "movej_follow", Target::joints,
                  [&](Line &line, int dof) { put_joints(line, joint, dof); });
}

KY_API int ky_movep_follow(ky_robot_handle *robot_handle, ky_pose pose) {
    ky::CallScope scope;
    return stream(robot_handle, "ky_movep_follow", "movep_follow", Target::pose,
                  [&](Line &line, int) { put_pose(line, pose); });
}

// ------------------------------------------------------------------ force-position set-points
// The joint and pose forms cut the force to whole newtons before scaling it to tenths.
KY_API int ky_force_position_move_joint(ky_robot_handle *robot_handle, const float *joint, int sensor, int mode,
                                        int direction, bool follow, float force) {
    ky::CallScope scope;
    if (joint == nullptr) return -1;
    return stream(robot_handle, "ky_force_position_move_joint", "Force_Position_Move", Target::joints,
                  [&](Line &line, int dof) {
                      put_joints(line, joint, dof);
                      line.flag("follow", follow).num("sensor", sensor).num("mode", mode).num("dir", direction);
                      line.num("force", ky::whole_deci_to_wire(force));
                  });
}

KY_API int ky_force_position_move_pose(ky_robot_handle *robot_handle, ky_pose pose, int sensor, int mode,
                                       int direction, bool follow, float force) {
    ky::CallScope scope;
    return stream(robot_handle, "ky_force_position_move_pose", "Force_Position_Move", Target::pose,
                  [&](Line &line, int) {
                      line.flag("follow", follow).num("sensor", sensor).num("mode", mode).num("dir", direction);
                      line.num("force", ky::whole_deci_to_wire(force));
                      put_pose(line, pose);
                  });
}

KY_API int ky_force_position_move(ky_robot_handle *robot_handle, const ky_force_position_move_params *params) {
    static const char *tag = "ky_force_position_move";
    ky::CallScope scope;
    if (params == nullptr) return -1;
    if (params->target_type != KY_FORCE_TARGET_JOINT && params->target_type != KY_FORCE_TARGET_POSE) {
        ky_log_error("[%s] unknown target type %d\n", tag, static_cast<int>(params->target_type));
        return -1;
    }
    const Target target = params->target_type == KY_FORCE_TARGET_JOINT ? Target::joints : Target::pose;
    return stream(robot_handle, tag, "Force_Position_Move", target, [&](Line &line, int dof) {
        if (target == Target::joints) {
            put_joints(line, params->joint, dof);
        } else {
            put_pose(line, params->pose);
        }
        line.num("sensor", params->sensor).num("mode", params->mode);
        line.ints("control_mode", params->control_mode, KY_FORCE_AXES);
        put_axes(line, "desired_force", params->desired_force, ky::deci_to_wire);
        put_axes(line, "limit_vel", params->limit_vel, ky::milli_to_wire);
        line.flag("follow", params->follow);
    });
}

}  // extern "C"
