// The simulated arm: identity, limits, frames, push settings and the motion engine.
// Not synchronised itself: the Simulator serialises every access with its state mutex.
#pragma once
#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "sim/arm_kinematics.h"
#include "sim/devices.h"
#include "sim/drag.h"
#include "sim/fence.h"
#include "sim/modbus.h"
#include "sim/force_sensor.h"
#include "sim/program.h"
#include "sim/simulator.h"
#include "sim/stream.h"

namespace ky::sim {

using Joints = std::array<double, kMaxDof>;

struct ToolFrame {
    double pose[6] = {0, 0, 0, 0, 0, 0};  // on the flange: m, rad
    double payload = 0;                   // kg
    double com[3] = {0, 0, 0};            // centre of mass, m
};

// Digital IO of the controller (four channels) and of the tool flange (two channels). A
// channel's mode selects what its single-channel read reports: 0 input level, 1 output level.
struct IoState {
    static constexpr int kChannels = 4, kToolChannels = 2;
    int mode[kChannels] = {}, di[kChannels] = {}, dout[kChannels] = {};
    int tool_mode[kToolChannels] = {}, tool_di[kToolChannels] = {}, tool_do[kToolChannels] = {};
    int voltage_type = 3, tool_voltage_type = 0;  // 0 off, 1 5 V, 2 12 V, 3 24 V
};

// Network and serial settings (commands/network.cpp). An RS485 port in mode 1 is a Modbus RTU
// master and reports its "modbus_timeout" (ms); in mode 0 it is a plain serial port.
struct NetSettings {
    std::string ip = "192.168.1.18", mask = "255.255.255.0", mac = "02:4b:59:00:00:01";  // wired
    std::string wifi_mode = "ap", ssid = "KyArm", password = "ky123456";  // "ap", "sta" or "off"
    std::string wifi_ip = "192.168.33.80", wifi_mask = "255.255.255.0", wifi_mac = "02:4b:59:00:00:02";
    int wifi_channel = 6;
    int usb_baud = 460800;
    int rs485_mode = 0, rs485_baud = 460800, modbus_timeout = 100;
    int tool_rs485_mode = 0, tool_rs485_baud = 115200, tool_modbus_timeout = 100;
};

struct EnvelopeBall {
    std::string name;
    int radius = 0, x = 0, y = 0, z = 0;  // thousandths, as on the wire
};

struct PushConfig {
    bool enable = true;
    int cycle_ms = 5;
    int port = 8089;
    std::string ip = "127.0.0.1";
    int force_coordinate = 0;
    bool joint_speed = false, lift_state = false, expand_state = false, arm_current_status = true;
};

// What a move command asks for; planned into joint samples when accepted and again when it starts.
struct MoveRequest {
    enum Kind { MoveJ, MoveJP, MoveL, MoveS, MoveC, JointStep, PosStep, OrtStep } kind = MoveJ;
    Joints joints{};        // MoveJ target, degrees
    double pose[6] = {};    // MoveJP/MoveL/MoveS/MoveC target in the work frame
    double via[6] = {};     // MoveC via point
    int loop = 0;           // MoveC extra full circles
    int axis = 0;           // steps: joint index (0-based) or axis 0..2
    double step = 0;        // steps: degrees, metres or radians
    int v = 20;             // speed ratio, percent
    int connect = 0;        // trajectory_connect
};

struct Trajectory {
    MoveRequest request;
    int type = 1;                         // 1 movej, 2 movel, 3 movec, 4 moves, 5 drag-teach replay
    std::vector<Joints> samples;          // joint vectors along the path, equally spaced in path parameter
    double duration = 0;                  // seconds
    double elapsed = 0;
    bool started = false;
    bool uniform = false;                 // samples equally spaced in time (a replayed recording)
};

class Arm {
public:
    // Loads the model of options.product_version; false with `error` set when unknown.
    bool init(const Options &options, std::string &error);

    // Motion engine: advances by dt seconds; completion lines are appended to `lines`.
    void tick(double dt, std::vector<std::string> &lines);

    // Accepts a move (planned from the end of everything queued); false when refused.
    bool submit(const MoveRequest &req);
    enum JogKind { JogJoint, JogPos, JogOrt };
    bool start_jog(JogKind kind, int index, bool positive, int v);
    bool stop_jog();
    // Holds the running motion where it is; with nothing moving there is nothing to hold.
    void pause() { paused_ = moving(); }
    void resume() { paused_ = false; }
    // Halts everything at once (slow = decelerate first); unfinished trajectories report false.
    void halt(bool slow, std::vector<std::string> &lines);
    void delete_current(std::vector<std::string> &lines);
    void delete_queued(std::vector<std::string> &lines);
    // Runs a trajectory planned elsewhere (a drag-teach replay) once nothing else is queued.
    void replay(Trajectory t);

    bool busy() const { return !queue_.empty() || !joined_.empty() || jog_.active || halting_; }
    bool moving() const { return !queue_.empty() || jog_.active || halting_; }
    bool paused() const { return paused_; }
    int trajectory_type() const;           // 0 none, 1 movej, 2 movel, 3 movec, 4 moves, 5 replay
    const char *status_name() const;       // the "arm_current_status" string

    // Applies the active frames, installation and limits to the kinematics.
    void refresh_kinematics();
    void tool_pose(double pose[6]) const;  // active tool in the active work frame
    Eigen::Isometry3d flange_world() const { return kin_.flange_world(q_.data()); }
    Eigen::Isometry3d tool_world() const { return kin_.tool_world(q_.data()); }
    bool within_limits(const Joints &q) const;

    // Plausible electrical readings, in thousandths.
    int temperature(int j);
    int current(int j);
    int voltage(int j);

    // ---- state read and written by the command handlers
    std::string product;
    int model_type = 0, sensor = 0, dof = 6;
    Joints q_{}, qd_{};                    // degrees, degrees/s
    JointLimits lim{};                     // limits applied in motion
    JointLimits drive{};                   // limits of the joint drives
    JointLimits model_defaults{};          // the model's limits, restored by auto_set_joint_limit
    int drive_acc_wire[kMaxDof] = {};      // drive acceleration exactly as last set
    int en_state[kMaxDof] = {};
    int err_flag[kMaxDof] = {};
    Joints init_pose{};
    int install[3] = {0, 0, 0};            // degrees, as set
    int teach_frame = 0;                   // 0 work frame axes, 1 tool axes
    double line_speed = 0.25, line_acc = 1.6, angular_speed = 0.6, angular_acc = 4.0;
    int collision_stage = 0;
    double speed_scale = 1.0;

    std::map<std::string, ToolFrame> tools;
    std::map<std::string, std::array<double, 6>> works;
    std::vector<std::string> tool_order, work_order;  // creation order, for the listings
    std::string tool_name = "Arm_Tip", work_name = "World";
    std::map<int, Eigen::Isometry3d> tool_points;    // teaching points: flange poses in the world
    std::map<int, Eigen::Vector3d> work_points;      // teaching points: tool positions in the world
    std::map<std::string, std::vector<EnvelopeBall>> envelopes;
    PushConfig push;
    // Controller state: arm power (off refuses motion), the origin of the system running time,
    // each joint's travel in degrees since its odometer was cleared, the system error flag.
    bool power = true;
    std::chrono::steady_clock::time_point runtime_start = std::chrono::steady_clock::now();
    double odom[kMaxDof] = {};
    int system_err = 0;
    IoState io;
    NetSettings net;
    Devices devices;  // gripper, hand, lift and expansion axis
    FollowState follow;                    // pass-through set-points (stream.h)
    DragState drag;                        // drag teaching and its recording (drag.h)
    ModbusMaster modbus;  // RTU ports and the Modbus TCP slave
    ForceSensor force;  // the flange's force sensor (type 0: none)
    Programs programs;  // uploaded projects, the program store and the running program
    FenceState fence;   // electronic fences, virtual wall, self-collision, run mode (fence.h)
    std::vector<std::string> waypoints;  // global waypoints in creation order, each its JSON object (commands/waypoints.cpp)

    ArmKinematics kin_;
    std::mt19937_64 rng;

private:
    bool plan(const MoveRequest &req, const Joints &start, Trajectory &out);
    bool plan_path(const Eigen::Isometry3d &from, const std::vector<Eigen::Isometry3d> &path, const Joints &start,
                   int v, double length, double angle, Trajectory &out);
    void finish_joint_timing(Trajectory &t, int v);
    Joints planned_end() const;
    std::string completion(bool ok, int connect) const;
    void jog_tick(double dt);
    void advance(double dt, std::vector<std::string> &lines);  // one motion step of tick()

    std::deque<Trajectory> queue_;         // accepted; the front one runs
    std::vector<Trajectory> joined_;       // trajectory_connect 1, waiting for one with 0
    bool paused_ = false;
    bool halting_ = false;                 // slow stop under way
    double halt_factor_ = 1.0;
    struct Jog {
        bool active = false;
        JogKind kind = JogJoint;
        int index = 0;
        double dir = 1;
        int v = 0;
    } jog_;
};

}  // namespace ky::sim
