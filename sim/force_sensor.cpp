// The simulated force sensor: readings from the payload's gravity, zero offsets, calibration.
#include "sim/force_sensor.h"

#include <algorithm>
#include <random>

#include "sim/arm.h"

namespace ky::sim {

namespace {

std::string calibration_report(bool ok) {
    return std::string(R"({"command":"set_force_sensor","set_state":)") + (ok ? "true" : "false") + "}";
}

// Rotates the force and the torque part of `w` by R.
Wrench rotate(const Eigen::Matrix3d &r, const Wrench &w) {
    const Eigen::Vector3d f = r * Eigen::Vector3d(w[0], w[1], w[2]);
    const Eigen::Vector3d m = r * Eigen::Vector3d(w[3], w[4], w[5]);
    return {f.x(), f.y(), f.z(), m.x(), m.y(), m.z()};
}

}  // namespace

bool ForceSensor::start_calibration(Calibration kind) {
    if (calibrating != None || type == 0 || (kind == SixAxis && !six_axis())) return false;
    calibrating = kind;
    calibration_left = kCalibrationSeconds;
    return true;
}

bool ForceSensor::stop_calibration(std::vector<std::string> &lines) {
    if (calibrating == None) return false;
    calibrating = None;
    lines.push_back(calibration_report(false));
    return true;
}

void ForceSensor::tick(double dt, std::vector<std::string> &lines) {
    if (calibrating == None) return;
    calibration_left -= dt * speed_scale;
    if (calibration_left > 0) return;
    // The calibration has found the sensor's bias: a six-axis one on every axis, a one-axis
    // one (or the Fz calibration of a six-axis sensor) along z only.
    if (calibrating == SixAxis) {
        zero = bias;
    } else {
        zero[2] = bias[2];
    }
    calibrating = None;
    for (auto &p : manual_poses) p.clear();
    lines.push_back(calibration_report(true));
}

Wrench raw_reading(Arm &arm) {
    const ToolFrame &tool = arm.tools[arm.tool_name];
    const Eigen::Matrix3d r = arm.flange_world().linear();
    // The payload's weight in the sensor frame, and its moment about the sensor's origin.
    const Eigen::Vector3d f = r.transpose() * Eigen::Vector3d(0, 0, -tool.payload * ForceSensor::kGravity);
    const Eigen::Vector3d m = Eigen::Vector3d(tool.com[0], tool.com[1], tool.com[2]).cross(f);
    Wrench w{f.x(), f.y(), f.z(), m.x(), m.y(), m.z()};
    const ForceSensor &s = arm.force;
    for (int i = 0; i < 6; ++i) w[i] += s.bias[i];
    if (s.noise) {
        std::uniform_real_distribution<double> force(-ForceSensor::kForceNoise, ForceSensor::kForceNoise);
        std::uniform_real_distribution<double> torque(-ForceSensor::kTorqueNoise, ForceSensor::kTorqueNoise);
        for (int i = 0; i < 3; ++i) w[i] += force(arm.rng);
        for (int i = 3; i < 6; ++i) w[i] += torque(arm.rng);
    }
    // A one-axis sensor measures along z only.
    if (s.type == 1) w = {0, 0, w[2], 0, 0, 0};
    return w;
}

Wrench force_reading(Arm &arm) {
    Wrench w = raw_reading(arm);
    for (int i = 0; i < 6; ++i) w[i] -= arm.force.zero[i];
    if (arm.force.type == 1) w = {0, 0, w[2], 0, 0, 0};
    return w;
}

Wrench zero_in_work(const Arm &arm) {
    // sensor -> world -> work frame axes
    const Eigen::Matrix3d r = arm.kin_.work_world().linear().transpose() * arm.flange_world().linear();
    return rotate(r, arm.force.zero);
}

Wrench zero_in_tool(const Arm &arm) {
    const auto it = arm.tools.find(arm.tool_name);
    Eigen::Matrix3d tool = Eigen::Matrix3d::Identity();
    if (it != arm.tools.end()) tool = pose_to_transform(it->second.pose).linear();
    return rotate(tool.transpose(), arm.force.zero);
}

}  // namespace ky::sim
