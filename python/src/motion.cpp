// Python bindings of the planned moves. They release the GIL while they wait.
#include "bind.hpp"

namespace kypy {

void bind_motion(py::module_ &, Robot &robot) {
    using R = ky::Robot;
    robot.def("movej", &R::movej, "joint"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil(),
              "Joint move to `joint` (dof angles, degrees) at `v` percent speed; `block` non-zero waits for the end.")
        .def("movej_nblock", &R::movej_nblock, "joint"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, nogil())
        .def("movej_block", &R::movej_block, "joint"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil())
        .def("movel", &R::movel, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil(),
             "Straight-line move to `pose` (metres, radians).")
        .def("movel_nblock", &R::movel_nblock, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, nogil())
        .def("movel_block", &R::movel_block, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil())
        .def("moves", &R::moves, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil(),
             "Spline move through `pose` (join several with trajectory_connect=1).")
        .def("moves_nblock", &R::moves_nblock, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, nogil())
        .def("moves_block", &R::moves_block, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil())
        .def("movec", &R::movec, "pose_via"_a, "pose_to"_a, "v"_a, "r"_a = 0, "loop"_a = 0, "trajectory_connect"_a = 0,
             "block"_a = 1, nogil(), "Circular move through `pose_via` to `pose_to`, `loop` full circles.")
        .def("movec_nblock", &R::movec_nblock, "pose_via"_a, "pose_to"_a, "v"_a, "r"_a = 0, "loop"_a = 0,
             "trajectory_connect"_a = 0, nogil())
        .def("movec_block", &R::movec_block, "pose_via"_a, "pose_to"_a, "v"_a, "r"_a = 0, "loop"_a = 0,
             "trajectory_connect"_a = 0, "block"_a = 1, nogil())
        .def("movej_p", &R::movej_p, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil(),
             "Joint-space move to the Cartesian target `pose`.")
        .def("movej_p_nblock", &R::movej_p_nblock, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, nogil())
        .def("movej_p_block", &R::movej_p_block, "pose"_a, "v"_a, "r"_a = 0, "trajectory_connect"_a = 0, "block"_a = 1, nogil())
        .def("movecmd_singlemode_parse", &R::movecmd_singlemode_parse, "attempts"_a, "device"_a = 0, nogil(),
             "Waits for a completion line of `device`: up to `attempts` waits of one second.");
}

}  // namespace kypy
