// Python bindings of steps, teach jogging, stopping and the trajectory query. The blocking
// steps release the GIL while they wait.
#include "bind.hpp"

namespace kypy {

void bind_jogging(py::module_ &m, Robot &robot) {
    using T = ky::current_trajectory;
    py::class_<T>(m, "CurrentTrajectory", "The trajectory running now.")
        .def_readonly("type", &T::type, "0 none, 1 movej, 2 movel, 3 movec, 4 moves, 5 re_trajectory")
        .def_readonly("data", &T::data,
                      "types 0, 1, 5: dof joint angles (degrees); 2, 3, 4: pose x, y, z (m), rx, ry, rz (rad)")
        .def("__repr__", [](const T &t) {
            std::string s = "CurrentTrajectory(type=";
            s += std::to_string(t.type);
            s += ")";
            return s;
        });

    using R = ky::Robot;
    robot.def("set_joint_step_nblock", &R::set_joint_step_nblock, "joint"_a, "step"_a, "v"_a, nogil(),
              "Steps one joint by `step` degrees at `v` percent; returns once sent.")
        .def("set_joint_step_block", &R::set_joint_step_block, "joint"_a, "step"_a, "v"_a, "block"_a = 1, nogil(),
             "Steps one joint by `step` degrees and waits for the step's end (releases the GIL).")
        .def("set_joint_step", &R::set_joint_step, "joint"_a, "v"_a, "block"_a, "step"_a, nogil(),
             "Joint step; `block` non-zero waits. Note the order: block before step.")
        .def("set_pos_step_nblock", &R::set_pos_step_nblock, "axis"_a, "step"_a, "v"_a, nogil(),
             "Position step along axis 0 x, 1 y, 2 z by `step` metres; returns once sent.")
        .def("set_pos_step_block", &R::set_pos_step_block, "axis"_a, "step"_a, "v"_a, "block"_a = 1, nogil(),
             "Position step in metres; waits for its end (releases the GIL).")
        .def("set_pos_step", &R::set_pos_step, "axis"_a, "v"_a, "block"_a, "step"_a, nogil(),
             "Position step (metres); `block` non-zero waits.")
        .def("set_ort_step_nblock", &R::set_ort_step_nblock, "axis"_a, "step"_a, "v"_a, nogil(),
             "Orientation step about axis 0 rx, 1 ry, 2 rz by `step` radians; returns once sent.")
        .def("set_ort_step_block", &R::set_ort_step_block, "axis"_a, "step"_a, "v"_a, "block"_a = 1, nogil(),
             "Orientation step in radians; waits for its end (releases the GIL).")
        .def("set_ort_step", &R::set_ort_step, "axis"_a, "v"_a, "block"_a, "step"_a, nogil(),
             "Orientation step (radians); `block` non-zero waits.")
        .def("set_arm_slow_stop", &R::set_arm_slow_stop, nogil(), "Slow stop of the current motion.")
        .def("set_arm_stop", &R::set_arm_stop, nogil(), "Immediate stop.")
        .def("set_arm_pause", &R::set_arm_pause, nogil(), "Pauses the current trajectory.")
        .def("set_arm_continue", &R::set_arm_continue, nogil(), "Continues a paused trajectory.")
        .def("set_delete_current_trajectory", &R::set_delete_current_trajectory, nogil(),
             "Deletes the trajectory running now.")
        .def("set_arm_delete_trajectory", &R::set_arm_delete_trajectory, nogil(), "Deletes every queued trajectory.")
        .def("set_joint_teach", &R::set_joint_teach, "joint"_a, "dir"_a, "v"_a, nogil(),
             "Jogs one joint until set_stop_teach(); `dir` non-zero positive, zero negative.")
        .def("set_pos_teach", &R::set_pos_teach, "axis"_a, "dir"_a, "v"_a, nogil(),
             "Jogs along axis 0 x, 1 y, 2 z of the teach frame until set_stop_teach().")
        .def("set_ort_teach", &R::set_ort_teach, "axis"_a, "dir"_a, "v"_a, nogil(),
             "Jogs about axis 0 rx, 1 ry, 2 rz until set_stop_teach().")
        .def("set_stop_teach", &R::set_stop_teach, nogil(), "Ends teach jogging.")
        .def("set_teach_frame", &R::set_teach_frame, "frame_type"_a, nogil(), "Frame of Cartesian jogging.")
        .def("get_teach_frame", &R::get_teach_frame, nogil())
        .def("get_arm_current_trajectory", &R::get_arm_current_trajectory, nogil(),
             "The trajectory running now, as a CurrentTrajectory.");
}

}  // namespace kypy
