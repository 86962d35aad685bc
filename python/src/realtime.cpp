// Python bindings of the push configuration, the state queries and the realtime state record.
#include "bind.hpp"

namespace kypy {

void bind_realtime(py::module_ &m, Robot &robot) {
    using S = ky_realtime_arm_joint_state;
    py::class_<S>(m, "RealtimeState", "One realtime state push (UDP datagram), as the callbacks receive it.")
        .def_readonly("err_code", &S::errCode)
        .def_property_readonly("sender_ip", [](const S &s) { return ky::text(s.sender_ip); })
        .def_readonly("arm_err", &S::arm_err)
        .def_readonly("sys_err", &S::sys_err)
        .def_property_readonly("joint_position", array_property(&S::joint_position), "degrees (7 slots)")
        .def_property_readonly("joint_speed", array_property(&S::joint_speed))
        .def_property_readonly("joint_current", array_property(&S::joint_current))
        .def_property_readonly("joint_temperature", array_property(&S::joint_temperature))
        .def_property_readonly("joint_voltage", array_property(&S::joint_voltage))
        .def_property_readonly("joint_err_code", array_property(&S::joint_err_code))
        .def_property_readonly("joint_en_flag", array_property(&S::joint_en_flag))
        .def_property_readonly("force", array_property(&S::force))
        .def_property_readonly("zero_force", array_property(&S::zero_force))
        .def_readonly("coordinate", &S::coordinate)
        .def_property_readonly("position", array_property(&S::position), "metres")
        .def_property_readonly("quaternion", array_property(&S::quaternion), "w, x, y, z")
        .def_property_readonly("euler", array_property(&S::euler), "radians")
        .def_readonly("arm_current_status", &S::arm_current_status)
        .def_property_readonly("lift_height", [](const S &s) { return s.lift_state.height; })
        .def_property_readonly("lift_pos", [](const S &s) { return s.lift_state.pos; })
        .def_property_readonly("expand_pos", [](const S &s) { return s.expand_state.pos; })
        .def_property_readonly("hand_pos", [](const S &s) { return s.hand_state.hand_pos; });

    using C = ky_realtime_push_config;
    py::class_<C>(m, "RealtimePushConfig", "UDP push configuration (fields 0 or less are not sent on set).")
        .def(py::init([](int cycle, bool enable, int port, int force_coordinate, const std::string &ip) {
                 C c{};
                 c.cycle = cycle;
                 c.enable = enable;
                 c.port = port;
                 c.force_coordinate = force_coordinate;
                 if (!ky::copy_text(c.ip, ip)) throw py::value_error("ip: text too long");
                 c.custom = {-1, -1, -1, -1};
                 return c;
             }),
             "cycle"_a = 0, "enable"_a = true, "port"_a = 0, "force_coordinate"_a = 0, "ip"_a = "")
        .def_readwrite("cycle", &C::cycle)
        .def_readwrite("enable", &C::enable)
        .def_readwrite("port", &C::port)
        .def_readwrite("force_coordinate", &C::force_coordinate)
        .def_property("ip", [](const C &c) { return ky::text(c.ip); },
                      [](C &c, const std::string &s) { if (!ky::copy_text(c.ip, s)) throw py::value_error("ip: text too long"); })
        .def_property("joint_speed", [](const C &c) { return c.custom.joint_speed; }, [](C &c, int v) { c.custom.joint_speed = v; })
        .def_property("lift_state", [](const C &c) { return c.custom.lift_state; }, [](C &c, int v) { c.custom.lift_state = v; })
        .def_property("expand_state", [](const C &c) { return c.custom.expand_state; }, [](C &c, int v) { c.custom.expand_state = v; })
        .def_property("arm_current_status", [](const C &c) { return c.custom.arm_current_status; },
                      [](C &c, int v) { c.custom.arm_current_status = v; });

    using A = ky_current_arm_state;
    py::class_<A>(m, "CurrentArmState", "Joint angles (degrees), tool pose and error codes.")
        .def_readonly("pose", &A::pose)
        .def_property_readonly("joint", array_property(&A::joint))
        .def_readonly("arm_err", &A::arm_err)
        .def_readonly("sys_err", &A::sys_err);

    using L = ky_arm_all_state;
    py::class_<L>(m, "ArmAllState", "Per-joint currents, enable flags, temperatures, voltages and error codes.")
        .def_property_readonly("joint_current", array_property(&L::joint_current))
        .def_property_readonly("joint_en_flag", array_property(&L::joint_en_flag))
        .def_property_readonly("joint_temperature", array_property(&L::joint_temperature))
        .def_property_readonly("joint_voltage", array_property(&L::joint_voltage))
        .def_property_readonly("joint_err_code", array_property(&L::joint_err_code))
        .def_readonly("sys_err", &L::sys_err);

    m.def("parse_realtime_arm_joint_state", &ky::parse_realtime_state, "text"_a,
          "Parses one realtime datagram's text into a RealtimeState; ParseError (-3) when it is not valid.");
    m.def("add_push_port", &ky::Library::add_push_port, "port"_a,
          "Registers another UDP push port with the realtime receiver (mode 2): 0 new, 1 already registered, "
          "-1 no socket or no receiver, -2 all five ports in use.");
    m.def("delete_push_port", &ky::Library::delete_push_port, "port"_a, "One user of a push port fewer: 0, or -1.");
    m.def("set_log_save", [](const std::string &path) {
              if (!ky::Library::set_log_save(path)) throw py::value_error("cannot open " + path + " for appending");
          }, "path"_a, "Appends every log line to the file `path`.");

    using R = ky::Robot;
    robot.def("set_realtime_push", &R::set_realtime_push, "config"_a, nogil())
        .def("get_realtime_push", &R::get_realtime_push, nogil())
        .def("get_current_arm_state", &R::get_current_arm_state, nogil())
        .def("get_joint_degree", &R::get_joint_degree, nogil(), "dof joint angles, degrees (float32 array).")
        .def("get_arm_all_state", &R::get_arm_all_state, nogil())
        .def("get_current_joint_temperature", &R::get_current_joint_temperature, nogil())
        .def("get_current_joint_current", &R::get_current_joint_current, nogil())
        .def("get_current_joint_voltage", &R::get_current_joint_voltage, nogil());
}

}  // namespace kypy
