// Python bindings of the Modbus RTU/TCP pass-through. Multi-value data are lists of ints:
// two per register (one per byte), one per eight coils.
#include "bind.hpp"

namespace kypy {

void bind_modbus(py::module_ &m, Robot &robot) {
    py::class_<ky_modbus_rw_params>(m, "ModbusRwParams",
                                    "How one slave is addressed: controller port, first address, slave id, count.")
        .def(py::init([](int32_t port, int32_t address, int32_t device, int32_t num) {
                 return ky_modbus_rw_params{port, address, device, num};
             }),
             "port"_a = 0, "address"_a = 0, "device"_a = 0, "num"_a = 0)
        .def_readwrite("port", &ky_modbus_rw_params::port)
        .def_readwrite("address", &ky_modbus_rw_params::address)
        .def_readwrite("device", &ky_modbus_rw_params::device)
        .def_readwrite("num", &ky_modbus_rw_params::num);

    using R = ky::Robot;
    using P = const ky_modbus_rw_params &;
    robot.def("set_modbus_mode", &R::set_modbus_mode, "port"_a, "baudrate"_a, "timeout"_a, nogil(),
              "Opens serial port `port` as a Modbus RTU master (`timeout` in the controller's units).")
        .def("close_modbus_mode", &R::close_modbus_mode, "port"_a, nogil())
        .def("set_modbustcp_mode", &R::set_modbustcp_mode, "ip"_a, "port"_a, "timeout"_a, nogil(),
             "Connects the controller's Modbus TCP master to the slave at ip:port.")
        .def("close_modbustcp_mode", &R::close_modbustcp_mode, nogil())
        .def("read_coils", &R::read_coils, "params"_a, nogil(), "Coils as one int whose bits are the coils.")
        .def("read_input_status", &R::read_input_status, "params"_a, nogil())
        .def("read_holding_registers", &R::read_holding_registers, "params"_a, nogil(),
             "One register at params.address.")
        .def("read_input_registers", &R::read_input_registers, "params"_a, nogil())
        .def("write_single_coil", &R::write_single_coil, "params"_a, "data"_a, nogil())
        .def("write_single_register", &R::write_single_register, "params"_a, "data"_a, nogil())
        .def(
            "write_registers", [](const R &r, P params, const std::vector<int> &data) { r.write_registers(params, data); },
            "params"_a, "data"_a, nogil(), "params.num registers from `data`: 2 x num ints, one per byte.")
        .def(
            "write_coils", [](const R &r, P params, const std::vector<int> &data) { r.write_coils(params, data); },
            "params"_a, "data"_a, nogil(), "params.num coils from `data`: num // 8 ints, eight coils per int.")
        .def("read_multiple_coils", &R::read_multiple_coils, "params"_a, nogil(),
             "params.num coils: num // 8 ints, eight coils per int.")
        .def("read_multiple_holding_registers", &R::read_multiple_holding_registers, "params"_a, nogil(),
             "params.num registers: 2 x num ints, one per byte.")
        .def("read_multiple_input_registers", &R::read_multiple_input_registers, "params"_a, nogil(),
             "params.num registers: 2 x num ints, one per byte.");
}

}  // namespace kypy
