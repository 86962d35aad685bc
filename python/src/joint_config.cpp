// Python bindings of the per-joint configuration: drive and motion limits, enabling, zeroing
// and error flags.
#include "bind.hpp"

namespace kypy {

void bind_joint_config(py::module_ &, Robot &robot) {
    using R = ky::Robot;
    robot.def("set_joint_drive_max_speed", &R::set_joint_drive_max_speed, "joint"_a, "speed"_a, nogil(),
              "Drive speed limit of one joint, degrees/s.")
        .def("set_joint_drive_max_acc", &R::set_joint_drive_max_acc, "joint"_a, "acc"_a, nogil(),
             "Drive acceleration limit of one joint, degrees/s^2.")
        .def("set_joint_drive_min_pos", &R::set_joint_drive_min_pos, "joint"_a, "pos"_a, nogil(),
             "Drive minimum position of one joint, degrees.")
        .def("set_joint_drive_max_pos", &R::set_joint_drive_max_pos, "joint"_a, "pos"_a, nogil(),
             "Drive maximum position of one joint, degrees.")
        .def("get_joint_drive_max_speed", &R::get_joint_drive_max_speed, nogil(), "Every joint's drive speed limit, degrees/s.")
        .def("get_joint_drive_max_acc", &R::get_joint_drive_max_acc, nogil(), "Every joint's drive acceleration limit.")
        .def("get_joint_drive_min_pos", &R::get_joint_drive_min_pos, nogil(), "Every joint's drive minimum position, degrees.")
        .def("get_joint_drive_max_pos", &R::get_joint_drive_max_pos, nogil(), "Every joint's drive maximum position, degrees.")
        .def("set_joint_max_speed", &R::set_joint_max_speed, "joint"_a, "speed"_a, nogil(),
             "Motion speed limit of one joint, degrees/s; every joint's limit is then read back.")
        .def("set_joint_max_acc", &R::set_joint_max_acc, "joint"_a, "acc"_a, nogil(),
             "Motion acceleration limit of one joint, degrees/s^2; then read back.")
        .def("set_joint_min_pos", &R::set_joint_min_pos, "joint"_a, "pos"_a, nogil(),
             "Motion minimum position of one joint, degrees; then read back.")
        .def("set_joint_max_pos", &R::set_joint_max_pos, "joint"_a, "pos"_a, nogil(),
             "Motion maximum position of one joint, degrees; then read back.")
        .def("auto_set_joint_limit", &R::auto_set_joint_limit, "mode"_a, nogil(),
             "Lets the controller set the position limits itself; they are then read back.")
        .def("get_joint_max_speed", &R::get_joint_max_speed, nogil(), "Every joint's motion speed limit, degrees/s.")
        .def("get_joint_max_acc", &R::get_joint_max_acc, nogil(), "Every joint's motion acceleration limit, degrees/s^2.")
        .def("get_joint_min_pos", &R::get_joint_min_pos, nogil(), "Every joint's minimum position, degrees.")
        .def("get_joint_max_pos", &R::get_joint_max_pos, nogil(), "Every joint's maximum position, degrees.")
        .def("set_joint_en_state", &R::set_joint_en_state, "joint"_a, "state"_a, nogil(),
             "Enables (state non-zero) or disables one joint.")
        .def("set_joint_zero_pos", &R::set_joint_zero_pos, "joint"_a, nogil(), "Takes the joint's position as its zero.")
        .def("set_joint_clear_err", &R::set_joint_clear_err, "joint"_a, nogil(), "Clears the joint's error.")
        .def("get_joint_en_state", [](const R &r) {
            auto v = [&] { py::gil_scoped_release g; return r.get_joint_en_state(); }();
            return py::array_t<uint8_t>(r.dof(), v.data());
        }, "Every joint's enable state (uint8 array of dof values).")
        .def("get_joint_err_flag", [](const R &r) {
            auto f = [&] { py::gil_scoped_release g; return r.get_joint_err_flag(); }();
            return py::make_tuple(py::array_t<uint16_t>(r.dof(), f.err_flag.data()),
                                  py::array_t<uint16_t>(r.dof(), f.brake_state.data()));
        }, "(err_flag, brake_state): two uint16 arrays of dof values.");
}

}  // namespace kypy
