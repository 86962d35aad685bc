// Python bindings of the controller state, arm power and maintenance counters.
#include "bind.hpp"

namespace kypy {

void bind_controller(py::module_ &m, Robot &robot) {
    using S = ky::controller_state;
    py::class_<S>(m, "ControllerState", "Supply voltage, current, temperature (controller's units) and error flag.")
        .def_readonly("voltage", &S::voltage)
        .def_readonly("current", &S::current)
        .def_readonly("temperature", &S::temperature)
        .def_readonly("err_flag", &S::err_flag);

    using T = ky::system_runtime;
    py::class_<T>(m, "SystemRuntime", "Running time of the controller system.")
        .def_readonly("day", &T::day)
        .def_readonly("hour", &T::hour)
        .def_readonly("min", &T::min)
        .def_readonly("sec", &T::sec)
        .def_property_readonly("total_seconds", &T::total_seconds);

    using R = ky::Robot;
    robot.def("get_controller_state", &R::get_controller_state, nogil())
        .def("set_arm_power", &R::set_arm_power, "arm_power"_a, nogil(), "1 powers the arm, 0 powers it off.")
        .def("get_arm_power_state", &R::get_arm_power_state, nogil())
        .def("get_system_runtime", &R::get_system_runtime, nogil())
        .def("clear_system_runtime", &R::clear_system_runtime, nogil())
        .def("get_joint_odom", &R::get_joint_odom, nogil(), "Each joint's odometer (dof values, float32 array).")
        .def("clear_joint_odom", &R::clear_joint_odom, nogil())
        .def("clear_system_err", &R::clear_system_err, nogil());
}

}  // namespace kypy
