// Motion engine and state of the simulated arm.
//
// Every accepted move is planned at once into joint samples (Cartesian paths through the inverse
// kinematics, sample by sample), so a target outside the limits or out of reach is refused before
// anything moves. The front trajectory of the queue is played back in real time along a smooth
// (cubic) time law whose duration keeps every joint under its speed and acceleration limits
// scaled by the speed ratio v.
#include "sim/arm.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace ky::sim {

namespace {
constexpr double kDeg = M_PI / 180.0;
constexpr double kMaxSampleJump = 15.0;  // degrees between two path samples: a branch flip
// Shortest trajectory in real time, whatever the speed scale: a completion line never leaves in
// the same write as the acceptance of its move (a reader that keeps one line per read loses
// the second one).
constexpr double kMinDuration = 0.02;

double smooth(double tau) {
    tau = std::clamp(tau, 0.0, 1.0);
    return tau * tau * (3.0 - 2.0 * tau);
}

struct ModelName {
    const char *text;
    int type;
};
}  // namespace

bool Arm::init(const Options &o, std::string &error) {
    product = o.product_version;
    static const ModelName names[] = {{"KY6A", 0}, {"KY7A", 1}, {"KYL6C", 3}, {"LUX6A", 5},
                                      {"LUX6B", 6}, {"NOV7B", 7}, {"LUX6C", 8}};
    model_type = -1;
    for (const auto &n : names) {
        if (product.rfind(n.text, 0) == 0) {
            model_type = n.type;
            break;
        }
    }
    if (model_type < 0) {
        error = "unknown arm model in product version \"" + product + "\"";
        return false;
    }
    if (model_type == 3 && o.kyl6c_revision == 3) model_type = 4;
    const std::string suffix = product.substr(product.find('-') == std::string::npos ? product.size() : product.find('-'));
    if (suffix == "-B") sensor = 0;
    else if (suffix == "-ZF") sensor = 1;
    else if (suffix == "-6F") sensor = 2;
    else {
        error = "unknown force-sensor suffix in product version \"" + product + "\" (use -B, -ZF or -6F)";
        return false;
    }
    // Models without sensor variants in the kinematics keep their bare arm geometry.
    if (!kin_.select(model_type, sensor) && !kin_.select(model_type, 0)) {
        error = "the kinematics refuse model " + std::to_string(model_type);
        return false;
    }
    dof = kin_.dof();
    lim = drive = model_defaults = kin_.default_limits();
    for (int i = 0; i < kMaxDof; ++i) {
        drive_acc_wire[i] = static_cast<int>(std::lround(drive.max_acc[i] / 6.0 * 1000.0));
        en_state[i] = i < dof ? 1 : 0;
    }
    tools.clear();
    works.clear();
    tools["Arm_Tip"] = ToolFrame{};
    works["World"] = {0, 0, 0, 0, 0, 0};
    tool_order = {"Arm_Tip"};
    work_order = {"World"};
    push.enable = o.push_enable;
    push.cycle_ms = o.push_cycle_ms;
    push.port = o.push_port;
    push.ip = o.push_ip;
    push.joint_speed = o.push_joint_speed;
    push.lift_state = o.push_lift_state;
    push.expand_state = o.push_expand_state;
    push.arm_current_status = o.push_arm_current_status;
    speed_scale = o.speed_scale > 0 ? o.speed_scale : 1.0;
    rng.seed(o.seed ? o.seed : 0x5eedULL);
    runtime_start = std::chrono::steady_clock::now();
    q_.fill(0);
    for (size_t i = 0; i < o.initial_joints.size() && i < static_cast<size_t>(dof); ++i) q_[i] = o.initial_joints[i];
    if (!within_limits(q_)) {
        error = "initial joints outside the joint limits";
        return false;
    }
    refresh_kinematics();
    return true;
}

void Arm::refresh_kinematics() {
    kin_.set_install_angles(install[0] * kDeg, install[1] * kDeg, install[2] * kDeg);
    kin_.set_tool(tools[tool_name].pose);
    kin_.set_work(works[work_name].data());
    kin_.set_position_limits(lim.max_pos, lim.min_pos);
}

void Arm::tool_pose(double pose[6]) const { kin_.tool_in_work(q_.data(), pose); }

bool Arm::within_limits(const Joints &q) const {
    for (int i = 0; i < dof; ++i) {
        if (!(q[i] <= lim.max_pos[i] + 1e-9 && q[i] >= lim.min_pos[i] - 1e-9)) return false;
    }
    return true;
}

int Arm::trajectory_type() const {
    if (jog_.active) return jog_.kind == JogJoint ? 1 : 2;
    return queue_.empty() ? 0 : queue_.front().type;
}

const char *Arm::status_name() const {
    if (halting_) return "slow_stop";
    if (paused_ && moving()) return "pause";
    if (const char *drag = drag_status(*this)) return drag;
    if (follow.live) return follow_status(follow);
    switch (trajectory_type()) {
    case 1: return "move_J";
    case 2: return "move_L";
    case 3: return "move_C";
    case 4: return "move_S";
    case 5: return "tech_demonstration";
    default: return "idle";
    }
}

int Arm::temperature(int j) {
    const double load = lim.max_vel[j] > 0 ? std::fabs(qd_[j]) / lim.max_vel[j] : 0;
    return static_cast<int>(32000 + 6000 * load + std::uniform_int_distribution<int>(-150, 150)(rng));
}
int Arm::current(int j) {
    const double load = lim.max_vel[j] > 0 ? std::fabs(qd_[j]) / lim.max_vel[j] : 0;
    return en_state[j] ? static_cast<int>(350 + 1800 * load + std::uniform_int_distribution<int>(-30, 30)(rng)) : 0;
}
int Arm::voltage(int) { return 48000 + std::uniform_int_distribution<int>(-120, 120)(rng); }

std::string Arm::completion(bool ok, int connect) const {
    char line[160];
    std::snprintf(line, sizeof line,
                  "{\"command\":\"current_trajectory_state\",\"trajectory_state\":%s,\"device\":0,"
                  "\"trajectory_connect\":%d}",
                  ok ? "true" : "false", connect);
    return line;
}

Joints Arm::planned_end() const {
    if (!joined_.empty()) return joined_.back().samples.back();
    if (!queue_.empty()) return queue_.back().samples.back();
    return q_;
}

// ------------------------------------------------------------------ planning

void Arm::finish_joint_timing(Trajectory &t, int v) {
    const double vr = std::clamp(v, 1, 100) / 100.0;
    double duration = 0.02;
    const Joints &a = t.samples.front(), &b = t.samples.back();
    for (int i = 0; i < dof; ++i) {
        const double d = std::fabs(b[i] - a[i]);
        if (d == 0) continue;
        duration = std::max(duration, 1.5 * d / (vr * std::max(lim.max_vel[i], 1e-3)));
        duration = std::max(duration, std::sqrt(6.0 * d / std::max(lim.max_acc[i], 1e-3)));
    }
    t.duration = std::max(duration / speed_scale, kMinDuration);
}

bool Arm::plan_path(const Eigen::Isometry3d &, const std::vector<Eigen::Isometry3d> &path, const Joints &start, int v,
                    double length, double angle, Trajectory &out) {
    out.samples.clear();
    out.samples.push_back(start);
    Joints prev = start;
    double max_rate = 0;  // largest joint change per sample relative to its speed limit
    for (size_t k = 1; k < path.size(); ++k) {
        Joints q = prev;
        const int rc = kin_.inverse(prev.data(), path[k], q.data());
        if (rc != 0) return false;
        for (int i = 0; i < dof; ++i) {
            const double d = std::fabs(q[i] - prev[i]);
            if (d > kMaxSampleJump) return false;
            max_rate = std::max(max_rate, d / std::max(lim.max_vel[i], 1e-3));
        }
        if (!within_limits(q)) return false;
        out.samples.push_back(q);
        prev = q;
    }
    const double vr = std::clamp(v, 1, 100) / 100.0;
    const int n = static_cast<int>(path.size()) - 1;
    double duration = 0.05;
    duration = std::max(duration, 1.5 * length / (vr * line_speed));
    duration = std::max(duration, 1.5 * angle / (vr * angular_speed));
    duration = std::max(duration, 1.5 * max_rate * n / vr);
    duration = std::max(duration, std::sqrt(6.0 * length / line_acc));
    duration = std::max(duration, std::sqrt(6.0 * angle / angular_acc));
    out.duration = std::max(duration / speed_scale, kMinDuration);
    return true;
}

namespace {
int sample_count(double length, double angle) {
    const double n = std::max(length / 0.002, angle / 0.01);
    // Clamped before the conversion: a path through absurd points (or a NaN) must not
    // overflow the integer.
    if (!(n < 1500.0)) return 1500;
    return std::max(static_cast<int>(std::ceil(n)), 10);
}

std::vector<Eigen::Isometry3d> sample_path(int n, const std::function<Eigen::Isometry3d(double)> &at) {
    std::vector<Eigen::Isometry3d> path;
    path.reserve(n + 1);
    for (int k = 0; k <= n; ++k) path.push_back(at(static_cast<double>(k) / n));
    return path;
}

std::vector<Eigen::Isometry3d> line_path(const Eigen::Isometry3d &a, const Eigen::Isometry3d &b, double &length,
                                         double &angle) {
    const Eigen::Quaterniond qa(a.linear()), qb(b.linear());
    length = (b.translation() - a.translation()).norm();
    angle = qa.angularDistance(qb);
    return sample_path(sample_count(length, angle), [&](double u) {
        Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
        t.linear() = qa.slerp(u, qb).toRotationMatrix();
        t.translation() = a.translation() + u * (b.translation() - a.translation());
        return t;
    });
}
}  // namespace

bool Arm::plan(const MoveRequest &req, const Joints &start, Trajectory &out) {
    out = Trajectory{};
    out.request = req;
    const Eigen::Isometry3d work = kin_.work_world();
    const Eigen::Isometry3d from = kin_.tool_world(start.data());
    switch (req.kind) {
    case MoveRequest::MoveJ:
    case MoveRequest::JointStep: {
        Joints target = start;
        if (req.kind == MoveRequest::MoveJ) {
            for (int i = 0; i < dof; ++i) target[i] = req.joints[i];
        } else {
            if (req.axis < 0 || req.axis >= dof) return false;
            target[req.axis] += req.step;
        }
        if (!within_limits(target)) return false;
        out.type = 1;
        out.samples = {start, target};
        finish_joint_timing(out, req.v);
        return true;
    }
    case MoveRequest::MoveJP: {
        Joints target = start;
        if (kin_.inverse(start.data(), work * pose_to_transform(req.pose), target.data()) != 0) return false;
        if (!within_limits(target)) return false;
        out.type = 1;
        out.samples = {start, target};
        finish_joint_timing(out, req.v);
        return true;
    }
    case MoveRequest::MoveL:
    case MoveRequest::MoveS:
    case MoveRequest::PosStep:
    case MoveRequest::OrtStep: {
        Eigen::Isometry3d to = from;
        if (req.kind == MoveRequest::MoveL || req.kind == MoveRequest::MoveS) {
            to = work * pose_to_transform(req.pose);
        } else {
            if (req.axis < 0 || req.axis > 2) return false;
            const Eigen::Vector3d axis = teach_frame == 1 ? Eigen::Vector3d(from.linear().col(req.axis))
                                                          : Eigen::Vector3d(work.linear().col(req.axis));
            if (req.kind == MoveRequest::PosStep) {
                to.translation() += axis * req.step;
            } else {
                to.linear() = Eigen::AngleAxisd(req.step, axis).toRotationMatrix() * from.linear();
            }
        }
        double length = 0, angle = 0;
        const auto path = line_path(from, to, length, angle);
        out.type = req.kind == MoveRequest::MoveS ? 4 : 2;
        return plan_path(from, path, start, req.v, length, angle, out);
    }
    case MoveRequest::MoveC: {
        const Eigen::Isometry3d via = work * pose_to_transform(req.via), to = work * pose_to_transform(req.pose);
        const Eigen::Vector3d p0 = from.translation(), a = via.translation() - p0, b = to.translation() - p0;
        const Eigen::Vector3d n = a.cross(b);
        if (n.norm() < 1e-9 || req.loop < 0 || req.loop > 100) return false;
        const Eigen::Vector3d c = p0 + (a.squaredNorm() * b - b.squaredNorm() * a).cross(n) / (2.0 * n.squaredNorm());
        const double r = (p0 - c).norm();
        const Eigen::Vector3d e1 = (p0 - c) / r, e3 = n.normalized(), e2 = e3.cross(e1);
        auto angle_of = [&](const Eigen::Vector3d &p) {
            double t = std::atan2((p - c).dot(e2), (p - c).dot(e1));
            return t < 0 ? t + 2 * M_PI : t;
        };
        const double sweep = angle_of(to.translation()) + 2 * M_PI * req.loop;
        const Eigen::Quaterniond qa(from.linear()), qb(to.linear());
        const double length = r * sweep, angle = qa.angularDistance(qb);
        const auto path = sample_path(sample_count(length, angle), [&](double u) {
            Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
            t.linear() = qa.slerp(u, qb).toRotationMatrix();
            const double th = u * sweep;
            t.translation() = c + r * (std::cos(th) * e1 + std::sin(th) * e2);
            return t;
        });
        out.type = 3;
        return plan_path(from, path, start, req.v, length, angle, out);
    }
    }
    return false;
}

// A planned move ends a pass-through stream: it is planned from where the arm stands, and
// set-points are ignored while it runs. Drag teaching refuses planned moves.
bool Arm::submit(const MoveRequest &req) {
    if (!power || jog_.active || halting_ || drag.active()) return false;
    for (int i = 0; i < dof; ++i) {
        if (!en_state[i] || err_flag[i]) return false;
    }
    Trajectory t;
    if (!plan(req, planned_end(), t)) return false;
    // With a fence or the virtual wall enabled, every point of the path must be allowed.
    if (fence.active() && !std::all_of(t.samples.begin(), t.samples.end(), [this](const Joints &s) {
            return fence.allows(kin_.tool_world(s.data()).translation());
        }))
        return false;
    follow.live = false;
    if (req.connect != 0) {
        joined_.push_back(std::move(t));
    } else {
        for (auto &j : joined_) queue_.push_back(std::move(j));
        joined_.clear();
        queue_.push_back(std::move(t));
    }
    return true;
}

// ------------------------------------------------------------------ jogging

bool Arm::start_jog(JogKind kind, int index, bool positive, int v) {
    if (!power || busy() || drag.active() || index < 0 || index >= (kind == JogJoint ? dof : 3) || v <= 0) return false;
    for (int i = 0; i < dof; ++i) {
        if (!en_state[i] || err_flag[i]) return false;
    }
    follow.live = false;
    jog_ = Jog{true, kind, index, positive ? 1.0 : -1.0, std::min(v, 100)};
    return true;
}

// Ending a jog that is not running is no error: the arm is at rest either way.
bool Arm::stop_jog() {
    jog_.active = false;
    qd_.fill(0);
    return true;
}

void Arm::jog_tick(double dt) {
    const double vr = jog_.v / 100.0 * speed_scale * dt;
    Joints q = q_;
    bool stop = false;
    if (jog_.kind == JogJoint) {
        const int j = jog_.index;
        q[j] += jog_.dir * vr * lim.max_vel[j];
        if (q[j] > lim.max_pos[j]) q[j] = lim.max_pos[j], stop = true;
        if (q[j] < lim.min_pos[j]) q[j] = lim.min_pos[j], stop = true;
    } else {
        const Eigen::Isometry3d from = kin_.tool_world(q_.data());
        const Eigen::Vector3d axis = teach_frame == 1 ? Eigen::Vector3d(from.linear().col(jog_.index))
                                                      : Eigen::Vector3d(kin_.work_world().linear().col(jog_.index));
        Eigen::Isometry3d to = from;
        if (jog_.kind == JogPos) to.translation() += axis * (jog_.dir * vr * line_speed);
        else to.linear() = Eigen::AngleAxisd(jog_.dir * vr * angular_speed, axis).toRotationMatrix() * from.linear();
        if (kin_.inverse(q_.data(), to, q.data()) != 0 || !within_limits(q)) {
            q = q_;
            stop = true;
        }
        for (int i = 0; i < dof; ++i) {
            if (std::fabs(q[i] - q_[i]) > 5.0) q = q_, stop = true;
        }
    }
    for (int i = 0; i < dof; ++i) qd_[i] = dt > 0 ? (q[i] - q_[i]) / dt : 0;
    q_ = q;
    if (stop) stop_jog();
}

// ------------------------------------------------------------------ playback and stopping

// Every step's joint travel runs the odometers.
void Arm::tick(double dt, std::vector<std::string> &lines) {
    const Joints before = q_;
    advance(dt, lines);
    for (int i = 0; i < dof; ++i) odom[i] += std::fabs(q_[i] - before[i]);
}

void Arm::advance(double dt, std::vector<std::string> &lines) {
    double rate = paused_ ? 0.0 : 1.0;
    if (halting_) {
        halt_factor_ -= dt / std::max(0.3 / speed_scale, 0.01);
        rate *= std::max(0.0, halt_factor_);
        if (halt_factor_ <= 0) {
            halt(false, lines);
            return;
        }
    }
    if (jog_.active) {
        if (rate > 0) jog_tick(dt * rate);
        else qd_.fill(0);
        return;
    }
    if (drag.active()) {
        drag_tick(*this, dt);
        return;
    }
    if (queue_.empty()) {
        if (follow_tick(*this, dt)) return;
        qd_.fill(0);
        paused_ = false;
        return;
    }
    Trajectory &t = queue_.front();
    if (!t.started) {
        t.started = true;
        // A trajectory planned behind one that was cut short starts from where the arm stands.
        bool moved = false;
        for (int i = 0; i < dof; ++i) moved = moved || std::fabs(t.samples.front()[i] - q_[i]) > 1e-6;
        if (moved) {
            Trajectory re;
            if (!plan(t.request, q_, re)) {
                lines.push_back(completion(false, t.request.connect));
                queue_.pop_front();
                return;
            }
            re.started = true;
            t = std::move(re);
        }
    }
    t.elapsed += dt * rate;
    const double tau = t.duration > 0 ? t.elapsed / t.duration : 1.0;
    const double u = t.uniform ? std::clamp(tau, 0.0, 1.0) : smooth(tau);
    const double x = u * static_cast<double>(t.samples.size() - 1);
    const size_t i0 = std::min(static_cast<size_t>(x), t.samples.size() - 1);
    const size_t i1 = std::min(i0 + 1, t.samples.size() - 1);
    const double f = x - static_cast<double>(i0);
    Joints q = q_;
    for (int i = 0; i < dof; ++i) q[i] = t.samples[i0][i] + f * (t.samples[i1][i] - t.samples[i0][i]);
    for (int i = 0; i < dof; ++i) qd_[i] = dt > 0 ? (q[i] - q_[i]) / dt : 0;
    q_ = q;
    if (t.elapsed >= t.duration) {
        q_ = t.samples.back();
        qd_.fill(0);
        lines.push_back(completion(true, t.request.connect));
        queue_.pop_front();
    }
}

void Arm::halt(bool slow, std::vector<std::string> &lines) {
    if (slow && moving() && !paused_) {
        if (!halting_) halt_factor_ = 1.0;
        halting_ = true;
        return;
    }
    halting_ = false;
    jog_.active = false;
    follow.live = false;
    paused_ = false;
    for (const auto &t : queue_) lines.push_back(completion(false, t.request.connect));
    for (const auto &t : joined_) lines.push_back(completion(false, t.request.connect));
    queue_.clear();
    joined_.clear();
    qd_.fill(0);
}

void Arm::delete_current(std::vector<std::string> &lines) {
    if (queue_.empty()) return;
    lines.push_back(completion(false, queue_.front().request.connect));
    queue_.pop_front();
    qd_.fill(0);
}

void Arm::replay(Trajectory t) {
    t.duration = std::max(t.duration, kMinDuration);
    queue_.push_back(std::move(t));
}

void Arm::delete_queued(std::vector<std::string> &lines) {
    while (queue_.size() > 1) {
        lines.push_back(completion(false, queue_.back().request.connect));
        queue_.pop_back();
    }
    for (const auto &t : joined_) lines.push_back(completion(false, t.request.connect));
    joined_.clear();
}

}  // namespace ky::sim
