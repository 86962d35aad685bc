// The controller's auxiliary devices: the electric gripper (device 1), the dexterous hand (2),
// the lift (3) and the expansion axis (4). Each acts in real time, scaled by the simulator's
// speed scale like the arm, and reports the end of an action with the arm's completion line
// under its own device code:
//   {"command":"current_trajectory_state","trajectory_state":true,"device":N,"trajectory_connect":0}
// An action that is superseded by the next one, or cut by the arm power, ends with
// "trajectory_state" false. Not synchronised: the Simulator serialises every access with its
// state mutex.
#pragma once
#include <array>
#include <string>
#include <vector>

#include "sim/simulator.h"

namespace ky::sim {

enum DeviceCode { kGripperDevice = 1, kHandDevice = 2, kLiftDevice = 3, kExpandDevice = 4 };

// An action under way on one device.
struct DeviceAction {
    bool active = false;
    bool report = false;   // sends its completion line when it ends
    double min_left = 0;   // real seconds it lasts at least, so its end never shares a write with its acceptance
};

// A position that moves toward its target at `rate` units per second (before the speed scale).
struct Travel {
    double pos = 0, target = 0, rate = 0;
    // Moves by at most rate * dt; true once at the target.
    bool step(double dt);
};

struct Gripper {
    static constexpr int kStroke = 1000;  // positions 0 (closed) .. 1000 (open), the route inside
    enum Mode { Idle = 0, Release = 1, Pick = 2, PickOn = 3, Position = 4 };
    int route_min = 0, route_max = kStroke;
    Travel travel{kStroke, kStroke, 0};
    Mode mode = Idle;
    int speed = 500;       // of the last release or pick; also drives position moves
    int force = 0;         // commanded force of the last pick
    bool holding = false;  // a pick met the object and presses on it
    int object = -1;       // width of the object between the fingers; < 0 none
    bool touching = false; // the closing move under way has met the object
    DeviceAction action;
};

struct Hand {
    static constexpr int kFingers = 6;
    std::array<int, kFingers> angle{};
    int speed = 500, force = 500;
    int posture = 0, seq = 0;  // last started
    double left = 0;           // seconds of the posture or sequence still to run (before the scale)
    DeviceAction action;
};

// The lift and the expansion axis: a position move at a given speed, or a jog at a signed speed
// until stopped or at the end of the travel.
struct LinearAxis {
    double min = 0, max = 0;  // travel
    double full_rate = 0;     // units per second at speed 100
    Travel travel;
    int jog = 0;              // signed speed of a jog under way, 0 none
    DeviceAction action;
    bool moving() const { return action.active; }
    int current() const;      // drive current in thousandths of an ampere
};

class Devices {
public:
    void init(const Options &options);
    // Advances every device by dt seconds; completion lines are appended to `lines`. A device
    // still acting when the arm power is off stops where it is.
    void tick(double dt, bool powered, std::vector<std::string> &lines);

    // Gripper actions; false when an argument is out of range (nothing changes).
    bool gripper_route(int min, int max);
    bool gripper_release(int speed, bool block, std::vector<std::string> &lines);
    bool gripper_pick(int speed, int force, bool continuous, bool block, std::vector<std::string> &lines);
    bool gripper_position(int position, bool block, std::vector<std::string> &lines);
    // "status": 0 at rest, 1 moving, 2 holding an object.
    int gripper_status() const;
    int gripper_force() const { return gripper.holding ? gripper.force : 0; }

    // Hand: posture or sequence number 1..40, angles 0..1000 each, speed and force 1..1000.
    bool hand_play(bool sequence, int number, bool block, std::vector<std::string> &lines);
    bool hand_angle(const int angle[Hand::kFingers], std::vector<std::string> &lines);

    // Axis moves: speed 1..100 (percent), target inside the travel. Jogs: speed -100..100, 0 stops.
    bool axis_move(int device, int speed, int target, std::vector<std::string> &lines);
    bool axis_jog(int device, int speed, std::vector<std::string> &lines);
    LinearAxis &axis(int device) { return device == kLiftDevice ? lift : expand; }

    // How each device reports (index = device code); see Simulator::set_device_report.
    std::array<DeviceReport, 5> reports{};

    Gripper gripper;
    Hand hand;
    LinearAxis lift;    // height in millimetres
    LinearAxis expand;  // position in thousandths of a degree

private:
    void start(int device, DeviceAction &a, bool report, std::vector<std::string> &lines);
    void finish(int device, DeviceAction &a, bool ok, std::vector<std::string> &lines);
    void gripper_tick(double dt, std::vector<std::string> &lines);
    void axis_tick(int device, double dt, std::vector<std::string> &lines);
    double speed_scale_ = 1.0;
};

}  // namespace ky::sim
