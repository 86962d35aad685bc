// Python bindings of the pass-through set-points: each sends one line and returns without
// waiting for a reply.
#include "bind.hpp"

namespace kypy {

void bind_passthrough(py::module_ &, Robot &robot) {
    using R = ky::Robot;
    robot.def("movej_canfd", &R::movej_canfd, "joint"_a, "follow"_a, "expand"_a = 0.0f, nogil(),
              "Streams a joint set-point (dof angles, degrees); `expand` is the expansion axis' set-point. Never waits.")
        .def("movep_canfd", &R::movep_canfd, "pose"_a, "follow"_a, nogil(),
             "Streams a Cartesian set-point: as a quaternion when pose.quaternion is a unit one, else Euler. Never waits.")
        .def("movej_follow", &R::movej_follow, "joint"_a, nogil(),
             "Streams a joint set-point (degrees) for the follow mode. Never waits.")
        .def("movep_follow", &R::movep_follow, "pose"_a, nogil(),
             "Streams a Cartesian set-point for the follow mode. Never waits.");
}

}  // namespace kypy
