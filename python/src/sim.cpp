// kyarm.sim: the controller simulator in-process, for tests and notebooks.
#include "bind.hpp"

#include <memory>

#include "sim/simulator.h"

namespace kypy {

void bind_sim(py::module_ &m) {
    using ky::sim::Simulator;
    py::class_<Simulator>(m, "Simulator",
                          "A simulated arm controller serving the TCP protocol on 127.0.0.1:port and pushing "
                          "realtime state over UDP. Started on construction; stop() or the context manager ends it.")
        .def(py::init([](const std::string &model, int port, double speed_scale, bool push_enable, int push_port,
                         int push_cycle_ms, std::vector<double> initial_joints) {
                 ky::sim::Options o;
                 o.product_version = model;
                 o.port = port;
                 o.speed_scale = speed_scale;
                 o.push_enable = push_enable;
                 o.push_port = push_port;
                 o.push_cycle_ms = push_cycle_ms;
                 o.initial_joints = std::move(initial_joints);
                 auto s = std::make_unique<Simulator>(o);
                 if (!s->start()) throw std::runtime_error("simulator: " + s->error());
                 return s;
             }),
             "model"_a = "KY6A-B", "port"_a = 0, "speed_scale"_a = 1.0, "push_enable"_a = true, "push_port"_a = 8089,
             "push_cycle_ms"_a = 5, "initial_joints"_a = std::vector<double>{})
        .def("stop", &Simulator::stop, py::call_guard<py::gil_scoped_release>())
        .def("__enter__", [](Simulator &s) -> Simulator & { return s; }, py::return_value_policy::reference)
        .def("__exit__", [](Simulator &s, py::args) { s.stop(); })
        .def_property_readonly("port", &Simulator::port)
        .def_property_readonly("running", &Simulator::running)
        .def_property_readonly("dof", &Simulator::dof)
        .def_property_readonly("joints", &Simulator::joints, "degrees")
        .def_property_readonly("moving", &Simulator::moving)
        .def("wait_idle", &Simulator::wait_idle, "timeout_ms"_a, py::call_guard<py::gil_scoped_release>())
        .def("set_faults",
             [](Simulator &s, int reply_latency_ms, double drop_share, double malformed_share, int close_after,
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
             "refuse_all"_a = false, "Replaces the fault settings (all off by default).");
}

}  // namespace kypy
