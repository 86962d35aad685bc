// Drag teaching, recording and replay of the simulated arm (see drag.h).
#include "sim/drag.h"

#include <algorithm>
#include <cmath>

#include "sim/arm.h"

namespace ky::sim {

namespace {
constexpr double kAtOrigin = 0.01;  // degrees: the arm stands at the recording's start
constexpr int kOriginSpeed = 20;    // percent of the joint speed limits

bool can_move(const Arm &arm) {
    if (!arm.power) return false;
    for (int i = 0; i < arm.dof; ++i) {
        if (!arm.en_state[i] || arm.err_flag[i]) return false;
    }
    return true;
}

void sample(Arm &arm) {
    DragState &d = arm.drag;
    if (d.recording && d.taking.size() < kMaxDragSamples) d.taking.push_back(arm.q_);
}
}  // namespace

bool drag_start(Arm &arm, DragState::Mode mode, bool record) {
    DragState &d = arm.drag;
    if (!can_move(arm) || arm.busy()) return false;
    arm.follow.live = false;
    if (record && !(d.active() && d.recording)) {
        d.taking.clear();
        d.since_sample = 0;
        d.recording = true;
        sample(arm);
    }
    d.mode = mode;
    return true;
}

void drag_stop(Arm &arm) {
    DragState &d = arm.drag;
    // The recording ends where the hand left the arm, even between two sample instants.
    if (d.recording && !d.taking.empty() && d.taking.back() != arm.q_) sample(arm);
    if (d.recording && !d.taking.empty()) d.recorded = std::move(d.taking);
    d.taking.clear();
    d.recording = false;
    d.hand.clear();
    d.mode = DragState::Off;
    arm.qd_.fill(0);
}

bool drag_hand(Arm &arm, const std::vector<DragState::Sample> &path, double step_s) {
    DragState &d = arm.drag;
    if (!d.active() || path.empty() || !(step_s > 0)) return false;
    for (const auto &p : path) {
        if (!arm.within_limits(p)) return false;
    }
    d.hand.clear();
    d.hand.push_back(arm.q_);
    d.hand.insert(d.hand.end(), path.begin(), path.end());
    d.hand_step = step_s;
    d.hand_t = 0;
    return true;
}

void drag_tick(Arm &arm, double dt) {
    DragState &d = arm.drag;
    Joints q = arm.q_;
    if (!d.hand.empty()) {
        d.hand_t += dt;
        const double x = d.hand_t / d.hand_step;
        const size_t last = d.hand.size() - 1;
        if (x >= static_cast<double>(last)) {
            q = d.hand.back();
            d.hand.clear();
        } else {
            const size_t i0 = static_cast<size_t>(x);
            const double f = x - static_cast<double>(i0);
            for (int i = 0; i < arm.dof; ++i) q[i] = d.hand[i0][i] + f * (d.hand[i0 + 1][i] - d.hand[i0][i]);
        }
    }
    for (int i = 0; i < arm.dof; ++i) arm.qd_[i] = dt > 0 ? (q[i] - arm.q_[i]) / dt : 0;
    arm.q_ = q;
    d.since_sample += dt;
    while (d.since_sample >= kDragSample) {
        d.since_sample -= kDragSample;
        sample(arm);
    }
}

// A six-axis force sensor drags by the measured force, every other arm by the joint currents.
const char *drag_status(const Arm &arm) {
    if (!arm.drag.active()) return nullptr;
    return arm.sensor == 2 ? "sensor_drag" : "current_drag";
}

int drag_save(Arm &arm) {
    DragState &d = arm.drag;
    if (d.recorded.empty()) return 0;
    d.pending.clear();
    d.emit_credit = 0;
    for (const auto &s : d.recorded) {
        std::string line = "{\"point\":[";
        for (int i = 0; i < arm.dof; ++i) {
            if (i) line += ',';
            line += std::to_string(static_cast<int>(std::lround(s[i] * 1000.0)));
        }
        line += "]}";
        d.pending.push_back(std::move(line));
    }
    d.save_requested = true;
    return static_cast<int>(d.recorded.size());
}

bool drag_origin(Arm &arm) {
    if (arm.drag.recorded.empty() || arm.drag.active()) return false;
    MoveRequest r;
    r.kind = MoveRequest::MoveJ;
    r.joints = arm.drag.recorded.front();
    r.v = kOriginSpeed;
    return arm.submit(r);
}

bool drag_replay(Arm &arm) {
    const DragState &d = arm.drag;
    if (d.recorded.empty() || d.active() || arm.busy() || !can_move(arm)) return false;
    for (int i = 0; i < arm.dof; ++i) {
        if (std::fabs(arm.q_[i] - d.recorded.front()[i]) > kAtOrigin) return false;
    }
    Trajectory t;
    t.type = 5;
    t.samples = d.recorded;
    t.uniform = true;
    t.started = true;
    t.duration = static_cast<double>(d.recorded.size() - 1) * kDragSample / arm.speed_scale;
    arm.follow.live = false;
    arm.replay(std::move(t));
    return true;
}

void drag_emit(DragState &d, double dt, std::vector<std::string> &out) {
    if (d.pending.empty()) return;
    d.emit_credit += dt;
    while (!d.pending.empty() && d.emit_credit >= kPointInterval) {
        d.emit_credit -= kPointInterval;
        out.push_back(std::move(d.pending.front()));
        d.pending.pop_front();
    }
}

}  // namespace ky::sim
