// Python bindings of the force sensing and sensor calibration. Blocking calibrations release
// the GIL while they wait (up to 30 s).
#include "bind.hpp"

namespace kypy {

void bind_force_sensor(py::module_ &m, Robot &robot) {
    using D = ky_force_data;
    py::class_<D>(m, "ForceData", "Six-axis force data, [Fx, Fy, Fz, Mx, My, Mz] in N and Nm.")
        .def_property_readonly("force_data", array_property(&D::force_data))
        .def_property_readonly("zero_force_data", array_property(&D::zero_force_data), "zero offset, sensor frame")
        .def_property_readonly("work_zero_force_data", array_property(&D::work_zero_force_data), "zero offset, work frame")
        .def_property_readonly("tool_zero_force_data", array_property(&D::tool_zero_force_data), "zero offset, tool frame");
    using F = ky_Fz_data;
    py::class_<F>(m, "FzData", "One-axis force (N): reading and its zero offsets.")
        .def_readonly("Fz", &F::Fz)
        .def_readonly("zero_Fz", &F::zero_Fz)
        .def_readonly("work_zero_Fz", &F::work_zero_Fz)
        .def_readonly("tool_zero_Fz", &F::tool_zero_Fz);

    using R = ky::Robot;
    robot.def("get_force_data", &R::get_force_data, nogil())
        .def("clear_force_data", &R::clear_force_data, nogil(), "Zeroes the six-axis reading at the present load.")
        .def("set_force_sensor", &R::set_force_sensor, "block"_a = true, nogil(),
             "Automatic six-axis calibration; block waits up to 30 s for its end.")
        .def("manual_set_force", &R::manual_set_force, "type"_a, "joint"_a, "block"_a = true, nogil(),
             "Manual six-axis calibration pose type 1..4 (joint: dof angles, degrees); only type 4 waits.")
        .def("stop_set_force_sensor", &R::stop_set_force_sensor, nogil())
        .def("clear_Fz", &R::clear_Fz, nogil())
        .def("auto_set_Fz", &R::auto_set_Fz, "block"_a = true, nogil(),
             "Automatic one-axis calibration; block waits up to 30 s for its end.")
        .def("manual_set_Fz", &R::manual_set_Fz, "pose1"_a, "pose2"_a, "block"_a = true, nogil(),
             "One-axis calibration from two poses (dof angles, degrees); block waits up to 30 s.")
        .def("get_Fz", &R::get_Fz, nogil(), "One-axis force (N); an arm whose force_type is not 2 raises TimeoutError (-2) without sending.");
}

}  // namespace kypy
