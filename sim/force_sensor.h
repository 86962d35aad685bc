// The simulated force sensor on the flange: a six-axis sensor ("-6F") or a one-axis sensor
// measuring along the flange's z axis ("-ZF").
//
// What the sensor measures (its raw reading, in the sensor = flange frame, N and Nm) is the
// gravity of the active tool's payload, hanging at the tool's centre of mass (given on the
// flange), plus the sensor's own bias and, unless switched off, a little noise:
//   F = R_flange^T * (0, 0, -m g),  M = com x F,  raw = [F, M] + bias + noise.
// The reported force is raw - zero. Clearing sets the zero to the present raw reading (the
// reading becomes 0 at this load); a calibration identifies the bias and sets the zero to it,
// so afterwards the reading is the payload's gravity alone. The zero values reported in the work
// and tool frames are the sensor-frame zero rotated into those frames' axes.
//
// A calibration takes kCalibrationSeconds of simulated time (divided by the speed scale) and
// ends with {"command":"set_force_sensor","set_state":true} to every client; a calibration
// stopped by stop_set_force_sensor ends with "set_state" false, sent to the stopping client. Not synchronised: the
// Simulator serialises every access with its state mutex.
#pragma once
#include <array>
#include <string>
#include <vector>

namespace ky::sim {

class Arm;

using Wrench = std::array<double, 6>;  // Fx, Fy, Fz (N), Mx, My, Mz (Nm)

struct ForceSensor {
    static constexpr double kCalibrationSeconds = 3.0;
    static constexpr double kGravity = 9.81;
    static constexpr double kForceNoise = 0.04, kTorqueNoise = 0.004;  // uniform, +-

    enum Calibration { None = 0, SixAxis = 1, OneAxis = 2 };

    int type = 0;        // 0 none, 1 one-axis, 2 six-axis
    bool noise = true;   // adds the uniform noise to every raw reading
    // The sensor's own offset at no load: what a calibration finds.
    Wrench bias{1.2, -0.8, 2.5, 0.03, -0.02, 0.01};
    Wrench zero{};       // subtracted from the raw reading
    Calibration calibrating = None;
    double calibration_left = 0;  // seconds of simulated time
    double speed_scale = 1.0;
    // Calibration poses given so far (manual_set_force_pose1..3), joint angles in degrees.
    std::array<std::vector<double>, 3> manual_poses;

    bool six_axis() const { return type == 2; }
    bool has_fz() const { return type == 1 || type == 2; }

    // Starts a calibration (refused when one is under way or there is no such sensor).
    bool start_calibration(Calibration kind);
    // Ends the calibration under way with "set_state" false; false when none is.
    bool stop_calibration(std::vector<std::string> &lines);
    // Advances a calibration under way; its end report is appended to `lines`.
    void tick(double dt, std::vector<std::string> &lines);
};

// The sensor's raw reading at the arm's present pose and active tool (noise included when on).
Wrench raw_reading(Arm &arm);
// The reported force: raw - zero.
Wrench force_reading(Arm &arm);
// The zero offset rotated into the active work frame's and the active tool's axes.
Wrench zero_in_work(const Arm &arm);
Wrench zero_in_tool(const Arm &arm);

}  // namespace ky::sim
