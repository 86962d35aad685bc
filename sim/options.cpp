// Command line of ky-sim.
#include <cstdlib>
#include <sstream>

#include "sim/simulator.h"

namespace ky::sim {

std::string usage_text() {
    return R"(Usage: ky-sim [options]

Simulated arm controller. Serves the controller's TCP command protocol (one JSON object per
line, several clients at once), moves one simulated arm in real time and pushes its realtime
state as UDP JSON datagrams. Prints one line "ky-sim ready ..." with the bound port when it
accepts connections, and runs until SIGINT or SIGTERM.

Connection:
  --port N               TCP port to listen on (default 8080; 0 picks a free port)
  --bind ADDR            IPv4 address to bind (default 0.0.0.0)

Arm:
  --product VERSION      product version string (default KY6A-B): KY6A, KY7A, KYL6C, LUX6A,
                         LUX6B, NOV7B or LUX6C, followed by -B (no force sensor), -ZF
                         (one-axis) or -6F (six-axis)
  --kyl6c-revision N     kinematics of a KYL6C arm: hardware revision 2 (default) or 3
  --joints A,B,...       initial joint angles in degrees (default all 0)
  --speed-scale X        makes every motion X times faster (default 1)
  --tick-ms N            motion update period in ms (default 2)
  --gripper-object W     an object of width W (0..1000) between the gripper's fingers: a
                         pick closes on it and holds (default none: a pick closes fully)
  --no-force-noise       force-sensor readings without their small noise
  --modbus-rtu0 DEV      serial device of RS485 port 0 for Modbus RTU (e.g. one end of a
  --modbus-rtu1 DEV      socat pty pair); without one, opening that port is refused

Realtime push (UDP; changed at run time by set_realtime_push):
  --push-ip ADDR         target address (default 127.0.0.1)
  --push-port N          target port (default 8089)
  --push-cycle N         one datagram every N ms, 1..1000 (default 5)
  --no-push              start with the push disabled
  --push-blocks LIST     optional blocks, comma-separated, from joint_speed, lift_state,
                         expand_state, arm_current_status; "none" for none
                         (default arm_current_status)

Fault injection:
  --latency MS           send every reply MS milliseconds after its command
  --drop X               drop a share X (0..1) of the replies (the commands still act)
  --malformed X          send a share X (0..1) of the replies with every member except
                         "command" replaced by the string "?"
  --close-after N        close a connection right after the reply to its Nth command
  --refuse-all           refuse every command (state key false) without acting on it
  --seed N               random seed of the fault draws and of the sensor noise

Other:
  --verbose              log connections and ignored input to standard error
  -h, --help             print this text and exit

Commands of families not simulated are answered with
{"command":<name>,"set_state":false,"receive_state":false}; input that is not JSON is ignored.
Pass-through set-points (movej_canfd, movep_canfd, movej_follow, movep_follow,
Force_Position_Move) are followed and, as on a controller, never answered.
)";
}

namespace {
bool to_int(const std::string &s, int lo, int hi, int &out) {
    char *end = nullptr;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end != '\0' || v < lo || v > hi) return false;
    out = static_cast<int>(v);
    return true;
}
bool to_double(const std::string &s, double lo, double hi, double &out) {
    char *end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (s.empty() || *end != '\0' || !(v >= lo && v <= hi)) return false;
    out = v;
    return true;
}
}  // namespace

bool parse_arguments(int argc, const char *const argv[], Options &o, bool &help, bool &verbose, std::string &error) {
    help = verbose = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&](std::string &v) {
            if (i + 1 >= argc) {
                error = a + " needs a value";
                return false;
            }
            v = argv[++i];
            return true;
        };
        auto bad = [&](const std::string &v) {
            error = "bad value for " + a + ": " + v;
            return false;
        };
        std::string v;
        if (a == "-h" || a == "--help") {
            help = true;
        } else if (a == "--verbose") {
            verbose = true;
        } else if (a == "--no-push") {
            o.push_enable = false;
        } else if (a == "--refuse-all") {
            o.faults.refuse_all = true;
        } else if (a == "--port") {
            if (!value(v) || !to_int(v, 0, 65535, o.port)) return error.empty() ? bad(v) : false;
        } else if (a == "--bind") {
            if (!value(v)) return false;
            o.bind_address = v;
        } else if (a == "--product") {
            if (!value(v)) return false;
            o.product_version = v;
        } else if (a == "--kyl6c-revision") {
            if (!value(v) || !to_int(v, 2, 3, o.kyl6c_revision)) return error.empty() ? bad(v) : false;
        } else if (a == "--joints") {
            if (!value(v)) return false;
            std::stringstream ss(v);
            std::string item;
            o.initial_joints.clear();
            while (std::getline(ss, item, ',')) {
                double d = 0;
                if (!to_double(item, -720, 720, d)) return bad(v);
                o.initial_joints.push_back(d);
            }
        } else if (a == "--speed-scale") {
            if (!value(v) || !to_double(v, 0.01, 1000, o.speed_scale)) return error.empty() ? bad(v) : false;
        } else if (a == "--tick-ms") {
            if (!value(v) || !to_int(v, 1, 100, o.tick_ms)) return error.empty() ? bad(v) : false;
        } else if (a == "--no-force-noise") {
            o.force_noise = false;
        } else if (a == "--modbus-rtu0" || a == "--modbus-rtu1") {
            if (!value(v)) return false;
            o.modbus.serial[a.back() - '0'] = v;
        } else if (a == "--gripper-object") {
            if (!value(v) || !to_int(v, 0, 1000, o.gripper_object)) return error.empty() ? bad(v) : false;
        } else if (a == "--push-ip") {
            if (!value(v)) return false;
            o.push_ip = v;
        } else if (a == "--push-port") {
            if (!value(v) || !to_int(v, 1, 65535, o.push_port)) return error.empty() ? bad(v) : false;
        } else if (a == "--push-cycle") {
            if (!value(v) || !to_int(v, 1, 1000, o.push_cycle_ms)) return error.empty() ? bad(v) : false;
        } else if (a == "--push-blocks") {
            if (!value(v)) return false;
            o.push_joint_speed = o.push_lift_state = o.push_expand_state = o.push_arm_current_status = false;
            std::stringstream ss(v);
            std::string item;
            while (std::getline(ss, item, ',')) {
                if (item == "joint_speed") o.push_joint_speed = true;
                else if (item == "lift_state") o.push_lift_state = true;
                else if (item == "expand_state") o.push_expand_state = true;
                else if (item == "arm_current_status") o.push_arm_current_status = true;
                else if (item != "none") return bad(v);
            }
        } else if (a == "--latency") {
            if (!value(v) || !to_int(v, 0, 600000, o.faults.reply_latency_ms)) return error.empty() ? bad(v) : false;
        } else if (a == "--drop") {
            if (!value(v) || !to_double(v, 0, 1, o.faults.drop_share)) return error.empty() ? bad(v) : false;
        } else if (a == "--malformed") {
            if (!value(v) || !to_double(v, 0, 1, o.faults.malformed_share)) return error.empty() ? bad(v) : false;
        } else if (a == "--close-after") {
            if (!value(v) || !to_int(v, 0, 1 << 30, o.faults.close_after)) return error.empty() ? bad(v) : false;
        } else if (a == "--seed") {
            if (!value(v)) return false;
            char *end = nullptr;
            o.seed = std::strtoull(v.c_str(), &end, 10);
            if (v.empty() || *end != '\0') return bad(v);
        } else {
            error = "unknown option " + a + " (see --help)";
            return false;
        }
    }
    return true;
}

}  // namespace ky::sim
