// ky-sim: a simulated arm controller that speaks the controller's TCP/UDP protocol.
//
// The simulator listens for TCP command connections (several clients at once), answers every
// command of the families built so far with the replies the library parses, moves one simulated
// arm in real time (joint and Cartesian trajectories, steps, jogging, pause/stop) and pushes the
// realtime state as UDP JSON datagrams. It runs in-process (tests, the demo) or as the `ky-sim`
// executable. All public member functions are thread-safe.
//
// Commands of families the simulator does not know yet are answered with a refusal named by the
// command: {"command":<name>,"set_state":false,"receive_state":false}. Input that is not JSON,
// or JSON without a "command" string, is ignored.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/modbus.h"

namespace ky::sim {

// Faults injected into the command connection; all off by default.
struct Faults {
    int reply_latency_ms = 0;     // every reply is sent this long after its command arrived
    double drop_share = 0.0;      // share (0..1) of replies that are never sent (the command still acts)
    double malformed_share = 0.0; // share (0..1) of replies sent with every member but "command"
                                  // turned into the string "?" (a state key is then no boolean)
    int close_after = 0;          // > 0: a connection is closed right after the reply to its Nth command
    bool refuse_all = false;      // every command is refused (state key false) and has no effect
};

// How a device reports the end of its actions (Simulator::set_device_report): by default with
// its own device code, "trajectory_state" true and "trajectory_connect" 0. Tests of the
// library's completion waits change it to a wrong device, a failure, another connect value or
// silence.
struct DeviceReport {
    bool send = true;     // false: the device never reports
    int device = -1;      // device code written in the line; -1 the device's own
    bool success = true;  // false: every report says "trajectory_state":false
    int connect = 0;      // "trajectory_connect" written
};

struct Options {
    int port = 0;                           // TCP port; 0 picks a free one (see port())
    std::string bind_address = "127.0.0.1"; // address the TCP listener binds to
    // Product version: model "KY6A", "KY7A", "KYL6C", "LUX6A", "LUX6B", "NOV7B" or "LUX6C" with
    // the force-sensor suffix "-B" (none), "-ZF" (one-axis) or "-6F" (six-axis).
    std::string product_version = "KY6A-B";
    int kyl6c_revision = 2;                 // kinematics of a KYL6C arm: hardware revision 2 or 3
    std::vector<double> initial_joints;     // degrees; empty = all zero

    // Realtime push defaults (changed later by set_realtime_push).
    bool push_enable = true;
    int push_cycle_ms = 5;                  // one datagram every cycle, in milliseconds (1..1000)
    std::string push_ip = "127.0.0.1";
    int push_port = 8089;
    bool push_joint_speed = false;          // optional blocks of each datagram
    bool push_lift_state = false;
    bool push_expand_state = false;
    bool push_arm_current_status = true;

    double speed_scale = 1.0;               // > 1 makes every motion that many times faster
    // Width of an object between the gripper's fingers (positions 0..1000): a pick closes on it
    // and holds its force. < 0: no object, a pick closes fully.
    int gripper_object = -1;
    // Force-sensor arms add a small uniform noise (+-0.04 N, +-0.004 Nm) to every reading;
    // false makes the readings exact.
    bool force_noise = true;
    int tick_ms = 2;                        // motion update period
    // A client whose unsent output grows past this many bytes (it does not read) is disconnected.
    size_t max_output_bytes = 4 << 20;
    Faults faults;
    ModbusOptions modbus;                   // serial devices of the RTU ports, Modbus time-out
    uint64_t seed = 0;                      // random seed of the fault draws and noise; 0 = fixed default
    // Receives one line per notable event (client connected, ignored input, ...); may be empty.
    // Called from the simulator's threads with its state locked: it must not call back into it.
    std::function<void(const std::string &)> log;
};

// Tool pose in the active work frame: metres and radians (R = Rz(rz) * Ry(ry) * Rx(rx)).
struct Pose {
    double x = 0, y = 0, z = 0, rx = 0, ry = 0, rz = 0;
};

class Simulator {
public:
    explicit Simulator(Options options = {});
    ~Simulator();  // stops
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    // Binds the listener and the push socket and starts the threads. False (with error() set)
    // when the product version is unknown or the port cannot be bound. Starting twice is a no-op.
    bool start();
    // Closes every connection and joins the threads. Idempotent.
    void stop();
    bool running() const;
    int port() const;           // the bound TCP port (after start)
    std::string error() const;  // why start() failed

    // ---- live state, for tests and front ends
    int dof() const;
    std::vector<double> joints() const;        // degrees
    Pose tool_pose() const;                    // active tool in the active work frame
    int trajectory_type() const;               // 0 none, 1 movej, 2 movel, 3 movec, 4 moves, 5 replay
    bool moving() const;                       // a trajectory, step or jog is under way
    bool paused() const;
    std::string tool_frame_name() const;
    std::string work_frame_name() const;
    // Waits until nothing moves and nothing is queued; false after `timeout_ms`.
    bool wait_idle(int timeout_ms) const;
    // Places the arm at `joints` (degrees) at once; false while moving or outside the limits.
    bool set_joints(const std::vector<double> &joints);
    // Drives a digital input of the controller (channels 1..4) or of the tool flange (1..2) to
    // `level` (0 or 1), as wiring would; false for a channel or level the controller lacks.
    bool set_digital_input(int channel, int level);
    bool set_tool_digital_input(int channel, int level);
    // Places an object of `width` (0..1000) between the gripper's fingers, or takes it away
    // (< 0). A pick closing past the width stops on it and holds; a continuous pick
    // (set_gripper_pick_on) follows an object taken away and closes on.
    void set_gripper_object(int width);
    // Changes how `device` (1 gripper, 2 hand, 3 lift, 4 expansion axis) reports its completions;
    // false for another device number.
    bool set_device_report(int device, const DeviceReport &report);

    // ---- drag teaching by hand
    // While drag teaching is on, moves the arm as an operator's hand would: from where it stands
    // through `path` (degrees, one point every `step_ms`, straight in joint space in between),
    // in real time. False when drag teaching is off or a point is outside the joint limits.
    bool drag_along(const std::vector<std::vector<double>> &path, int step_ms);
    bool hand_moving() const;                  // the hand has not reached its path's end
    // The last finished drag-teach recording, one joint vector (degrees) per sample.
    std::vector<std::vector<double>> drag_recording() const;

    // ---- connection control
    int client_count() const;
    uint64_t commands_received() const;        // every command line received so far
    // Bytes of command input the framing has looked at: every received byte once, plus each
    // complete object probed once at a bare line feed. Stays near the bytes received.
    uint64_t input_bytes_examined() const;
    void broadcast(const std::string &line);   // sends line + "\r\n" to every client
    void disconnect_clients();                 // closes every client connection now
    void set_faults(const Faults &faults);     // replaces the fault settings
    uint64_t datagrams_sent() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Command line of the ky-sim executable.
std::string usage_text();
// Fills `options` from the arguments (argv[0] is skipped). False with `error` set on a bad
// argument; `help` is set when --help (-h) was given. `verbose` reports --verbose.
bool parse_arguments(int argc, const char *const argv[], Options &options, bool &help, bool &verbose,
                     std::string &error);

}  // namespace ky::sim
