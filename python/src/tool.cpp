// Python bindings of the gripper and the dexterous hand. The actions take their time-out as
// whole seconds (as the C calls do) and release the GIL while they wait.
#include "bind.hpp"

namespace kypy {

void bind_tool(py::module_ &m, Robot &robot) {
    using G = ky_gripper_state;
    py::class_<G>(m, "GripperState", "Gripper state, every field as the controller sends it.")
        .def_readonly("enable", &G::enable)
        .def_readonly("status", &G::status)
        .def_readonly("error", &G::error)
        .def_readonly("mode", &G::mode)
        .def_readonly("current_force", &G::current_force)
        .def_readonly("temperature", &G::temperature)
        .def_readonly("actpos", &G::actpos);

    using R = ky::Robot;
    using std::chrono::seconds;
    robot.def("set_gripper_route", &R::set_gripper_route, "min"_a, "max"_a, nogil(), "Gripper travel limits.")
        .def("set_gripper_release",
             [](const R &r, int speed, bool block, int timeout) { r.set_gripper_release(speed, block, seconds(timeout)); },
             "speed"_a, "block"_a, "timeout"_a, nogil(),
             "Opens the gripper; with block waits up to timeout seconds for it to finish.")
        .def("set_gripper_pick",
             [](const R &r, int speed, int force, bool block, int timeout) {
                 r.set_gripper_pick(speed, force, block, seconds(timeout));
             },
             "speed"_a, "force"_a, "block"_a, "timeout"_a, nogil(),
             "Closes the gripper until it holds with force; with block waits up to timeout seconds.")
        .def("set_gripper_pick_on",
             [](const R &r, int speed, int force, bool block, int timeout) {
                 r.set_gripper_pick_on(speed, force, block, seconds(timeout));
             },
             "speed"_a, "force"_a, "block"_a, "timeout"_a, nogil(),
             "As set_gripper_pick, but keeps closing with force after it holds.")
        .def("set_gripper_position",
             [](const R &r, int position, bool block, int timeout) {
                 r.set_gripper_position(position, block, seconds(timeout));
             },
             "position"_a, "block"_a, "timeout"_a, nogil(),
             "Moves the gripper to position; with block waits up to timeout seconds.")
        .def("get_gripper_state", &R::get_gripper_state, nogil())
        .def("set_hand_posture",
             [](const R &r, int posture_num, bool block, int timeout) {
                 r.set_hand_posture(posture_num, block, seconds(timeout));
             },
             "posture_num"_a, "block"_a, "timeout"_a, nogil(),
             "Moves the hand to a stored posture; with block waits up to timeout seconds.")
        .def("set_hand_seq",
             [](const R &r, int seq_num, bool block, int timeout) { r.set_hand_seq(seq_num, block, seconds(timeout)); },
             "seq_num"_a, "block"_a, "timeout"_a, nogil(),
             "Runs a stored hand sequence; with block waits up to timeout seconds.")
        .def("set_hand_angle", &R::set_hand_angle, "angle"_a, nogil(), "Six finger angles.")
        .def("set_hand_follow_angle", &R::set_hand_follow_angle, "angle"_a, nogil(),
             "Six finger angles to follow; no reply is awaited.")
        .def("set_hand_speed", &R::set_hand_speed, "speed"_a, nogil())
        .def("set_hand_force", &R::set_hand_force, "force"_a, nogil());
}

}  // namespace kypy
