// Force sensors (see sim/force_sensor.h for the model): the six-axis force data and the
// one-axis Fz with their zero offsets, clearing, and calibration.
//
// A calibration request is not acknowledged: the controller answers once, when the calibration
// ends, with {"command":"set_force_sensor","set_state":true} to every client, whatever the
// request was named ("set_force_sensor", "manual_set_force_pose4", "auto_set_Fz",
// "manual_set_Fz"). A calibration it cannot start (no such sensor, one under way, the arm
// moving, missing or bad poses) is answered at once with "set_state" false. The manual poses
// 1 to 3 are taken silently; pose 4 starts the calibration when 1 to 3 were given.
// An arm without the sensor a query needs answers it under the request's name with
// "get_state" false, and refuses clearing (state key false): "get_force_data" and
// "clear_force_data" need the six-axis sensor, the Fz commands either sensor (on a six-axis
// sensor they act on its z axis).
#include "sim/commands/common.h"
#include "sim/force_sensor.h"

namespace ky::sim {

namespace {

void refuse_calibration(Ctx &c) { c.out.replies.emplace_back(R"({"command":"set_force_sensor","set_state":false})"); }

void start(Ctx &c, ForceSensor::Calibration kind) {
    if (c.arm.moving() || !c.arm.force.start_calibration(kind)) refuse_calibration(c);
}

// A calibration pose: one angle per joint in thousandths of a degree, inside the joint limits.
bool read_pose(Ctx &c, const char *key, std::vector<double> &out) {
    int w[kMaxDof];
    if (!c.geta(key, c.arm.dof, w)) return false;
    Joints q{};
    for (int i = 0; i < c.arm.dof; ++i) q[i] = w[i] / 1000.0;
    if (!c.arm.within_limits(q)) return false;
    out.assign(q.begin(), q.begin() + c.arm.dof);
    return true;
}

void put6(Ctx &c, const char *key, const Wrench &w) {
    int v[6];
    for (int i = 0; i < 6; ++i) v[i] = wire(w[i], 1000.0);
    c.arr(key, v, 6);
}

bool no_sensor(Ctx &c) {
    c.boolean("get_state", false);
    return false;
}

bool get_force_data(Ctx &c) {
    if (!c.arm.force.six_axis()) return no_sensor(c);
    put6(c, "force_data", force_reading(c.arm));
    put6(c, "zero_force_data", c.arm.force.zero);
    put6(c, "work_zero_force_data", zero_in_work(c.arm));
    put6(c, "tool_zero_force_data", zero_in_tool(c.arm));
    return true;
}

bool clear_force_data(Ctx &c) {
    ForceSensor &s = c.arm.force;
    if (!s.six_axis() || s.calibrating != ForceSensor::None) return false;
    s.zero = raw_reading(c.arm);
    return true;
}

bool set_force_sensor(Ctx &c) {
    start(c, ForceSensor::SixAxis);
    return true;
}

// Poses 1 to 3 are kept for pose 4, which calibrates from all four.
template <int N>
bool manual_pose(Ctx &c) {
    ForceSensor &s = c.arm.force;
    std::vector<double> pose;
    const bool ok = s.six_axis() && s.calibrating == ForceSensor::None && read_pose(c, "joint", pose);
    if constexpr (N < 4) {
        if (ok) s.manual_poses[N - 1] = std::move(pose);
    } else {
        bool complete = ok;
        for (const auto &p : s.manual_poses) complete = complete && !p.empty();
        if (complete) {
            start(c, ForceSensor::SixAxis);
        } else {
            refuse_calibration(c);
        }
    }
    return ok;
}

// The stopped calibration's report goes to the stopping client ahead of the stop's answer, so
// it is there before the stop returns and no later wait of that client can take it.
bool stop_set_force_sensor(Ctx &c) {
    if (c.arm.force.type == 0) return false;
    c.arm.force.stop_calibration(c.out.replies);
    return true;
}

bool clear_fz(Ctx &c) {
    ForceSensor &s = c.arm.force;
    if (!s.has_fz() || s.calibrating != ForceSensor::None) return false;
    s.zero[2] = raw_reading(c.arm)[2];
    return true;
}

bool auto_set_fz(Ctx &c) {
    start(c, ForceSensor::OneAxis);
    return true;
}

bool manual_set_fz(Ctx &c) {
    std::vector<double> p1, p2;
    if (!read_pose(c, "pose1", p1) || !read_pose(c, "pose2", p2)) {
        refuse_calibration(c);
        return false;
    }
    start(c, ForceSensor::OneAxis);
    return true;
}

bool get_fz(Ctx &c) {
    if (!c.arm.force.has_fz()) return no_sensor(c);
    c.num("Fz", wire(force_reading(c.arm)[2], 1000.0));
    c.num("zero_Fz", wire(c.arm.force.zero[2], 1000.0));
    c.num("work_zero_Fz", wire(zero_in_work(c.arm)[2], 1000.0));
    c.num("tool_zero_Fz", wire(zero_in_tool(c.arm)[2], 1000.0));
    return true;
}

}  // namespace

std::span<const Command> force_sensor_commands() {
    // Calibrations have no reply row: their only answer is the end report (or a refusal).
    static const Command rows[] = {
        {"get_force_data", "get_force_data", nullptr, get_force_data},
        {"clear_force_data", "clear_force_data", "clear_state", clear_force_data},
        {"set_force_sensor", nullptr, nullptr, set_force_sensor},
        {"manual_set_force_pose1", nullptr, nullptr, manual_pose<1>},
        {"manual_set_force_pose2", nullptr, nullptr, manual_pose<2>},
        {"manual_set_force_pose3", nullptr, nullptr, manual_pose<3>},
        {"manual_set_force_pose4", nullptr, nullptr, manual_pose<4>},
        {"stop_set_force_sensor", "stop_set_force_sensor", "stop_state", stop_set_force_sensor},
        {"clear_Fz", "clear_Fz", "set_state", clear_fz},
        {"auto_set_Fz", nullptr, nullptr, auto_set_fz},
        {"manual_set_Fz", nullptr, nullptr, manual_set_fz},
        {"get_Fz", "get_Fz", nullptr, get_fz},
    };
    return rows;
}

}  // namespace ky::sim
