// kyarm.sim: the controller simulator in-process, for tests and notebooks.
#include "bind.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

#include "sim/simulator.h"

namespace kypy {

namespace {

// A UDP port on loopback that was free a moment ago: the default push port, so that
// simulators started side by side (parallel tests) do not push into each other's receivers.
int free_udp_port() {
    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) return 8089;
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    int port = 8089;
    if (::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0)
        port = ntohs(a.sin_port);
    ::close(fd);
    return port;
}

// The simulator with the options it was started with (the push port picked, for instance).
struct PySimulator : ky::sim::Simulator {
    explicit PySimulator(const ky::sim::Options &o) : Simulator(o), options(o) {}
    ky::sim::Options options;
};

ky_pose to_pose(const ky::sim::Pose &p) {
    return ky::make_pose(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z),
                         static_cast<float>(p.rx), static_cast<float>(p.ry), static_cast<float>(p.rz));
}

}  // namespace

void bind_sim(py::module_ &m) {
    using ky::sim::Simulator;
    using S = PySimulator;
    using release = py::call_guard<py::gil_scoped_release>;
    py::class_<S>(m, "Simulator",
                  "A simulated arm controller serving the TCP protocol on 127.0.0.1:port and pushing the realtime "
                  "state over UDP to push_ip:push_port every push_cycle_ms. Started on construction; stop() or the "
                  "context manager ends it.\n\n"
                  "model: product version, e.g. \"KY6A-B\", \"KY7A-6F\", \"LUX6C-ZF\". port: TCP port, 0 picks a "
                  "free one (see .port). speed_scale > 1 makes every motion that many times faster. push_port: "
                  "None picks a free UDP port (the library's receiver learns it when a Robot connects). "
                  "initial_joints: degrees, empty for all zero. gripper_object: width (0..1000) of an object "
                  "between the gripper's fingers, < 0 none. force_noise: small noise on force readings. seed: "
                  "random seed of the fault draws and the noise (0 a fixed default).")
        .def(py::init([](const std::string &model, int port, double speed_scale, bool push_enable,
                         std::optional<int> push_port, int push_cycle_ms, const std::string &push_ip,
                         bool push_joint_speed, bool push_lift_state, bool push_expand_state,
                         bool push_arm_current_status, std::vector<double> initial_joints, int gripper_object,
                         bool force_noise, int kyl6c_revision, int tick_ms, uint64_t seed) {
                 ky::sim::Options o;
                 o.product_version = model;
                 o.port = port;
                 o.speed_scale = speed_scale;
                 o.push_enable = push_enable;
                 o.push_port = push_port ? *push_port : free_udp_port();
                 o.push_cycle_ms = push_cycle_ms;
                 o.push_ip = push_ip;
                 o.push_joint_speed = push_joint_speed;
                 o.push_lift_state = push_lift_state;
                 o.push_expand_state = push_expand_state;
                 o.push_arm_current_status = push_arm_current_status;
                 o.initial_joints = std::move(initial_joints);
                 o.gripper_object = gripper_object;
                 o.force_noise = force_noise;
                 o.kyl6c_revision = kyl6c_revision;
                 o.tick_ms = tick_ms;
                 o.seed = seed;
                 auto s = std::make_unique<S>(o);
                 bool started;
                 {
                     py::gil_scoped_release nogil;
                     started = s->start();
                 }
                 if (!started) throw std::runtime_error("simulator: " + s->error());
                 return s;
             }),
             "model"_a = "KY6A-B", "port"_a = 0, "speed_scale"_a = 1.0, "push_enable"_a = true,
             "push_port"_a = py::none(), "push_cycle_ms"_a = 5, "push_ip"_a = "127.0.0.1", "push_joint_speed"_a = false,
             "push_lift_state"_a = false, "push_expand_state"_a = false, "push_arm_current_status"_a = true,
             "initial_joints"_a = std::vector<double>{}, "gripper_object"_a = -1, "force_noise"_a = true,
             "kyl6c_revision"_a = 2, "tick_ms"_a = 2, "seed"_a = 0)
        .def("stop", &Simulator::stop, release(), "Closes every connection and stops (idempotent).")
        .def("__enter__", [](S &s) -> S & { return s; }, py::return_value_policy::reference)
        .def("__exit__", [](S &s, py::args) {
            py::gil_scoped_release nogil;
            s.stop();
        })
        .def("__repr__", [](const S &s) {
            std::string r = "<kyarm.sim.Simulator ";
            r += s.options.product_version;
            r += " port=";
            r += std::to_string(s.port());
            r += " push_port=";
            r += std::to_string(s.options.push_port);
            r += s.running() ? " running>" : " stopped>";
            return r;
        })
        .def_property_readonly("port", &Simulator::port, "TCP port the simulator listens on")
        .def_property_readonly("push_port", [](const S &s) { return s.options.push_port; },
                               "UDP port the realtime state is pushed to (until a client changes it)")
        .def_property_readonly("model", [](const S &s) { return s.options.product_version; })
        .def_property_readonly("running", &Simulator::running)
        .def_property_readonly("dof", &Simulator::dof)
        .def_property_readonly("joints", &Simulator::joints, "joint angles, degrees (list)")
        .def_property_readonly("tool_pose", [](const S &s) { return to_pose(s.tool_pose()); },
                               "active tool in the active work frame (kyarm.Pose: metres, radians)")
        .def_property_readonly("trajectory_type", &Simulator::trajectory_type,
                               "0 none, 1 movej, 2 movel, 3 movec, 4 moves, 5 replay")
        .def_property_readonly("moving", &Simulator::moving, "a trajectory, step or jog is under way")
        .def_property_readonly("paused", &Simulator::paused)
        .def_property_readonly("tool_frame_name", &Simulator::tool_frame_name)
        .def_property_readonly("work_frame_name", &Simulator::work_frame_name)
        .def_property_readonly("client_count", &Simulator::client_count)
        .def_property_readonly("commands_received", &Simulator::commands_received)
        .def_property_readonly("datagrams_sent", &Simulator::datagrams_sent)
        .def("wait_idle", &Simulator::wait_idle, "timeout_ms"_a, release(),
             "Waits until nothing moves and nothing is queued; False after timeout_ms.")
        .def("set_joints", &Simulator::set_joints, "joints"_a,
             "Places the arm at `joints` (degrees) at once; False while moving or outside the limits.")
        .def("set_digital_input", &Simulator::set_digital_input, "channel"_a, "level"_a,
             "Drives controller digital input `channel` (1..4) to `level` (0 or 1).")
        .def("set_tool_digital_input", &Simulator::set_tool_digital_input, "channel"_a, "level"_a,
             "Drives tool digital input `channel` (1..2) to `level` (0 or 1).")
        .def("set_gripper_object", &Simulator::set_gripper_object, "width"_a,
             "Places an object of `width` (0..1000) between the gripper's fingers; < 0 takes it away.")
        .def("set_device_report",
             [](S &s, int device, bool send, int report_device, bool success, int connect) {
                 ky::sim::DeviceReport r;
                 r.send = send;
                 r.device = report_device;
                 r.success = success;
                 r.connect = connect;
                 return s.set_device_report(device, r);
             },
             "device"_a, "send"_a = true, "report_device"_a = -1, "success"_a = true, "connect"_a = 0,
             "How `device` (1 gripper, 2 hand, 3 lift, 4 expansion axis) reports its completions: not at all "
             "(send=False), under another device code, as failures, or with another trajectory_connect.")
        .def("drag_along", &Simulator::drag_along, "path"_a, "step_ms"_a, release(),
             "While drag teaching is on, moves the arm through `path` (degrees, one point every step_ms) as a "
             "hand would.")
        .def_property_readonly("hand_moving", &Simulator::hand_moving)
        .def_property_readonly("drag_recording", &Simulator::drag_recording,
                               "the last drag-teach recording, one joint vector (degrees) per sample")
        .def("broadcast", &Simulator::broadcast, "line"_a, release(), "Sends line + CRLF to every client.")
        .def("disconnect_clients", &Simulator::disconnect_clients, release(), "Closes every client connection now.")
        .def("set_faults",
             [](S &s, int reply_latency_ms, double drop_share, double malformed_share, int close_after,
                bool refuse_all) {
                 ky::sim::Faults f;
                 f.reply_latency_ms = reply_latency_ms;
                 f.drop_share = drop_share;
                 f.malformed_share = malformed_share;
                 f.close_after = close_after;
                 f.refuse_all = refuse_all;
                 s.set_faults(f);
             },
             "reply_latency_ms"_a = 0, "drop_share"_a = 0.0, "malformed_share"_a = 0.0, "close_after"_a = 0,
             "refuse_all"_a = false,
             "Replaces the fault settings (all off by default): reply latency, share of replies dropped or "
             "malformed, close a connection after its Nth command, refuse every command.");
}

}  // namespace kypy
