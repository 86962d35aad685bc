// Python bindings of the tool-centre-point limits and the collision stage.
#include "bind.hpp"

namespace kypy {

void bind_arm_limits(py::module_ &, Robot &robot) {
    using R = ky::Robot;
    robot.def("set_arm_max_line_speed", &R::set_arm_max_line_speed, "speed"_a, nogil(),
              "Maximum linear speed of the tool centre point (controller units).")
        .def("set_arm_max_line_acc", &R::set_arm_max_line_acc, "acc"_a, nogil(), "Maximum linear acceleration.")
        .def("set_arm_max_angular_speed", &R::set_arm_max_angular_speed, "speed"_a, nogil(), "Maximum angular speed.")
        .def("set_arm_max_angular_acc", &R::set_arm_max_angular_acc, "acc"_a, nogil(), "Maximum angular acceleration.")
        .def("get_arm_max_line_speed", &R::get_arm_max_line_speed, nogil())
        .def("get_arm_max_line_acc", &R::get_arm_max_line_acc, nogil())
        .def("get_arm_max_angular_speed", &R::get_arm_max_angular_speed, nogil())
        .def("get_arm_max_angular_acc", &R::get_arm_max_angular_acc, nogil())
        .def("set_arm_tcp_init", &R::set_arm_tcp_init, nogil(), "Resets the four limits to the controller's initial values.")
        .def("set_collision_state", &R::set_collision_state, "stage"_a, nogil(), "Collision-detection stage.")
        .def("get_collision_stage", &R::get_collision_stage, nogil());
}

}  // namespace kypy
