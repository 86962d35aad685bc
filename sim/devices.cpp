// The auxiliary devices of the simulated controller: gripper, dexterous hand, lift and expansion
// axis. Every action runs on the simulator's clock (the motion thread's tick), its speed
// multiplied by the speed scale, and reports its end through the completion line when the
// request asked for it.
#include "sim/devices.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace ky::sim {

namespace {
// Shortest action in real time, whatever the speed scale: a completion line never leaves in the
// same write as the acceptance of its action.
constexpr double kMinDuration = 0.02;
constexpr double kPostureSeconds = 1.0, kSequenceSeconds = 2.0;
constexpr int kHandPrograms = 40;  // posture and sequence numbers 1..40
constexpr double kLiftTop = 2600;          // millimetres
constexpr double kLiftRate = 100;          // mm/s at speed 100
constexpr double kExpandTravel = 180000;   // +- thousandths of a degree
constexpr double kExpandRate = 60000;      // thousandths of a degree per second at speed 100

bool in(int v, int lo, int hi) { return v >= lo && v <= hi; }

// Finger travel per second: a full stroke takes about 0.5 s at speed 1000 and 19 s at speed 1.
double gripper_rate(int speed) { return 50.0 + 2.0 * speed; }
}  // namespace

bool Travel::step(double dt) {
    const double d = target - pos;
    const double max_step = rate * dt;
    if (std::fabs(d) <= max_step) pos = target;
    else pos += d > 0 ? max_step : -max_step;
    return pos == target;
}

int LinearAxis::current() const {
    if (!action.active) return 150;
    return 400 + static_cast<int>(std::lround(800.0 * travel.rate / full_rate));
}

void Devices::init(const Options &o) {
    *this = Devices{};
    speed_scale_ = o.speed_scale > 0 ? o.speed_scale : 1.0;
    gripper.object = o.gripper_object;
    lift.min = 0;
    lift.max = kLiftTop;
    lift.full_rate = kLiftRate;
    expand.min = -kExpandTravel;
    expand.max = kExpandTravel;
    expand.full_rate = kExpandRate;
}

// A new action supersedes the one under way, which ends unfinished.
void Devices::start(int device, DeviceAction &a, bool report, std::vector<std::string> &lines) {
    if (a.active) finish(device, a, false, lines);
    a.active = true;
    a.report = report;
    a.min_left = kMinDuration;
}

void Devices::finish(int device, DeviceAction &a, bool ok, std::vector<std::string> &lines) {
    a.active = false;
    const DeviceReport &r = reports[static_cast<size_t>(device)];
    if (!a.report || !r.send) return;
    char line[192];
    std::snprintf(line, sizeof line,
                  "{\"command\":\"current_trajectory_state\",\"trajectory_state\":%s,\"device\":%d,"
                  "\"trajectory_connect\":%d}",
                  ok && r.success ? "true" : "false", r.device >= 0 ? r.device : device, r.connect);
    lines.emplace_back(line);
}

void Devices::tick(double dt, bool powered, std::vector<std::string> &lines) {
    if (!powered) {
        // Without power every device stops where it is.
        if (gripper.action.active) finish(kGripperDevice, gripper.action, false, lines);
        if (hand.action.active) finish(kHandDevice, hand.action, false, lines);
        for (int d : {kLiftDevice, kExpandDevice}) {
            LinearAxis &a = axis(d);
            a.jog = 0;
            if (a.action.active) finish(d, a.action, false, lines);
        }
        gripper.travel.target = gripper.travel.pos;
        lift.travel.target = lift.travel.pos;
        expand.travel.target = expand.travel.pos;
        hand.left = 0;
        return;
    }
    gripper_tick(dt, lines);
    if (hand.action.active) {
        hand.action.min_left -= dt;
        hand.left -= dt * speed_scale_;
        if (hand.left <= 0 && hand.action.min_left <= 0) finish(kHandDevice, hand.action, true, lines);
    }
    axis_tick(kLiftDevice, dt, lines);
    axis_tick(kExpandDevice, dt, lines);
}

void Devices::axis_tick(int device, double dt, std::vector<std::string> &lines) {
    LinearAxis &a = axis(device);
    if (!a.action.active) return;
    a.action.min_left -= dt;
    if (a.travel.step(dt * speed_scale_) && a.action.min_left <= 0) {
        a.jog = 0;
        finish(device, a.action, true, lines);
    }
}

// ------------------------------------------------------------------ gripper

void Devices::gripper_tick(double dt, std::vector<std::string> &lines) {
    Gripper &g = gripper;
    Travel &t = g.travel;
    const bool object_gone = g.object < 0 || g.object < t.pos - 0.5;
    if (!g.action.active) {
        if (g.holding && object_gone) {
            g.holding = false;
            // A continuous pick keeps pressing: the fingers follow an object taken away or
            // narrowed, closing on until they meet it again or reach the route's end.
            if (g.mode == Gripper::PickOn) {
                t.target = g.route_min;
                g.touching = false;
                start(kGripperDevice, g.action, false, lines);
            }
        }
        if (!g.action.active) return;
    }
    // A closing move stops where it meets the object.
    if (g.object >= 0 && t.target < t.pos && g.object <= t.pos && g.object >= t.target) {
        t.target = g.object;
        g.touching = true;
    }
    g.action.min_left -= dt;
    if (t.step(dt * speed_scale_) && g.action.min_left <= 0) {
        g.holding = g.touching && (g.mode == Gripper::Pick || g.mode == Gripper::PickOn);
        finish(kGripperDevice, g.action, true, lines);
    }
}

bool Devices::gripper_route(int min, int max) {
    if (!in(min, 0, Gripper::kStroke) || !in(max, 0, Gripper::kStroke) || min >= max) return false;
    gripper.route_min = min;
    gripper.route_max = max;
    return true;
}

bool Devices::gripper_release(int speed, bool block, std::vector<std::string> &lines) {
    if (!in(speed, 1, 1000)) return false;
    Gripper &g = gripper;
    g.mode = Gripper::Release;
    g.speed = speed;
    g.holding = g.touching = false;
    g.travel.target = g.route_max;
    g.travel.rate = gripper_rate(speed);
    start(kGripperDevice, g.action, block, lines);
    return true;
}

bool Devices::gripper_pick(int speed, int force, bool continuous, bool block, std::vector<std::string> &lines) {
    if (!in(speed, 1, 1000) || !in(force, 1, 1000)) return false;
    Gripper &g = gripper;
    g.mode = continuous ? Gripper::PickOn : Gripper::Pick;
    g.speed = speed;
    g.force = force;
    g.holding = g.touching = false;
    g.travel.target = g.route_min;
    g.travel.rate = gripper_rate(speed);
    start(kGripperDevice, g.action, block, lines);
    return true;
}

// The position is clamped to the route; the fingers move at the speed of the last release or pick.
bool Devices::gripper_position(int position, bool block, std::vector<std::string> &lines) {
    if (!in(position, 0, Gripper::kStroke)) return false;
    Gripper &g = gripper;
    g.mode = Gripper::Position;
    g.holding = g.touching = false;
    g.travel.target = std::clamp(position, g.route_min, g.route_max);
    g.travel.rate = gripper_rate(g.speed);
    start(kGripperDevice, g.action, block, lines);
    return true;
}

int Devices::gripper_status() const {
    if (gripper.action.active) return 1;
    return gripper.holding ? 2 : 0;
}

// ------------------------------------------------------------------ hand

bool Devices::hand_play(bool sequence, int number, bool block, std::vector<std::string> &lines) {
    if (!in(number, 1, kHandPrograms)) return false;
    (sequence ? hand.seq : hand.posture) = number;
    hand.left = sequence ? kSequenceSeconds : kPostureSeconds;
    start(kHandDevice, hand.action, block, lines);
    return true;
}

// Angles take over from a posture or sequence under way.
bool Devices::hand_angle(const int angle[Hand::kFingers], std::vector<std::string> &lines) {
    for (int i = 0; i < Hand::kFingers; ++i)
        if (!in(angle[i], 0, 1000)) return false;
    if (hand.action.active) finish(kHandDevice, hand.action, false, lines);
    hand.left = 0;
    std::copy(angle, angle + Hand::kFingers, hand.angle.begin());
    return true;
}

// ------------------------------------------------------------------ lift and expansion axis

bool Devices::axis_move(int device, int speed, int target, std::vector<std::string> &lines) {
    LinearAxis &a = axis(device);
    if (!in(speed, 1, 100) || target < a.min || target > a.max) return false;
    a.jog = 0;
    a.travel.target = target;
    a.travel.rate = a.full_rate * speed / 100.0;
    start(device, a.action, true, lines);
    return true;
}

// A jog runs toward the end of the travel until speed 0 stops it; it ends a move under way.
bool Devices::axis_jog(int device, int speed, std::vector<std::string> &lines) {
    LinearAxis &a = axis(device);
    if (!in(speed, -100, 100)) return false;
    if (speed == 0) {
        a.jog = 0;
        a.travel.target = a.travel.pos;
        if (a.action.active) finish(device, a.action, false, lines);
        return true;
    }
    a.jog = speed;
    a.travel.target = speed > 0 ? a.max : a.min;
    a.travel.rate = a.full_rate * std::abs(speed) / 100.0;
    start(device, a.action, false, lines);
    return true;
}

}  // namespace ky::sim
