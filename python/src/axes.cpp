// Python bindings of the lift and the expansion axis. Blocking moves release the GIL.
#include "bind.hpp"

namespace kypy {

void bind_axes(py::module_ &m, Robot &robot) {
    // Indices of the state lists.
    m.attr("LIFT_HEIGHT") = static_cast<int>(KY_LIFT_HEIGHT);
    m.attr("LIFT_CURRENT") = static_cast<int>(KY_LIFT_CURRENT);
    m.attr("LIFT_ERR_FLAG") = static_cast<int>(KY_LIFT_ERR_FLAG);
    m.attr("LIFT_MODE") = static_cast<int>(KY_LIFT_MODE);
    m.attr("EXPAND_POS") = static_cast<int>(KY_EXPAND_POS);
    m.attr("EXPAND_CURRENT") = static_cast<int>(KY_EXPAND_CURRENT);
    m.attr("EXPAND_ERR_FLAG") = static_cast<int>(KY_EXPAND_ERR_FLAG);
    m.attr("EXPAND_MODE") = static_cast<int>(KY_EXPAND_MODE);

    using R = ky::Robot;
    robot.def("set_lift_speed", &R::set_lift_speed, "speed"_a, nogil())
        .def("get_lift_state", &R::get_lift_state, nogil(), "[height, current, err_flag, mode]; mode non-zero: moving.")
        .def("set_lift_height", &R::set_lift_height, "speed"_a, "height"_a, "block"_a = 1, nogil(),
             "Moves the lift; block non-zero waits until it arrives (library mode 0: block is seconds).")
        .def("get_expand_state", &R::get_expand_state, nogil(), "[pos, current, err_flag, mode]; mode non-zero: moving.")
        .def("set_expand_speed", &R::set_expand_speed, "speed"_a, nogil())
        .def("set_expand_pos", &R::set_expand_pos, "speed"_a, "pos"_a, "block"_a = 1, nogil(),
             "Moves the expansion axis; block non-zero waits until it arrives (library mode 0: block is seconds).");
}

}  // namespace kypy
