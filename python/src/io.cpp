// Python bindings of the controller and tool digital IO and supply voltages.
#include "bind.hpp"

namespace kypy {

void bind_io(py::module_ &m, Robot &robot) {
    py::class_<ky::io_state>(m, "IOState", "One controller channel: its level (state) and mode.")
        .def_readonly("state", &ky::io_state::state)
        .def_readonly("mode", &ky::io_state::mode);
    py::class_<ky::tool_io_state>(m, "ToolIOState", "Both tool channels: modes and levels, two each.")
        .def_readonly("mode", &ky::tool_io_state::mode)
        .def_readonly("state", &ky::tool_io_state::state);

    using R = ky::Robot;
    robot.def("set_IO_mode", &R::set_IO_mode, "io_num"_a, "io_mode"_a, nogil(), "Mode of controller channel io_num.")
        .def("set_DO_state", &R::set_DO_state, "io_num"_a, "state"_a, nogil(), "Output level of controller channel io_num.")
        .def("get_IO_state", &R::get_IO_state, "io_num"_a, nogil())
        .def("get_IO_input", &R::get_IO_input, nogil(), "The four controller digital inputs.")
        .def("get_IO_output", &R::get_IO_output, nogil(), "The four controller digital outputs.")
        .def("set_voltage", &R::set_voltage, "voltage_type"_a, nogil())
        .def("get_voltage", &R::get_voltage, nogil())
        .def("set_tool_DO_state", &R::set_tool_DO_state, "io_num"_a, "state"_a, nogil())
        .def("set_tool_IO_mode", &R::set_tool_IO_mode, "io_num"_a, "io_mode"_a, nogil())
        .def("get_tool_IO_state", &R::get_tool_IO_state, nogil())
        .def("set_tool_voltage", &R::set_tool_voltage, "voltage_type"_a, nogil())
        .def("get_tool_voltage", &R::get_tool_voltage, nogil());
}

}  // namespace kypy
