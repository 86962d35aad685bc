// Python bindings of the network and serial settings.
#include "bind.hpp"

namespace kypy {

void bind_network(py::module_ &m, Robot &robot) {
    using W = ky_wifi_net;
    py::class_<W> wifi(m, "WifiNet", "Wi-Fi state: mode \"ap\", \"sta\" or \"off\", addresses, network name.");
    wifi.def(py::init<>()).def_readwrite("channel", &W::channel, "radio channel (access-point mode only)");
    text_property(wifi, "ip", &W::ip);
    text_property(wifi, "mac", &W::mac);
    text_property(wifi, "mask", &W::mask);
    text_property(wifi, "mode", &W::mode);
    text_property(wifi, "password", &W::password);
    text_property(wifi, "ssid", &W::ssid);

    py::class_<ky::wired_net>(m, "WiredNet", "Wired interface: address, net mask, MAC.")
        .def_readonly("ip", &ky::wired_net::ip)
        .def_readonly("mask", &ky::wired_net::mask)
        .def_readonly("mac", &ky::wired_net::mac);
    py::class_<ky::rs485_mode>(m, "RS485Mode", "RS485 port: mode code, baud rate (bit/s), Modbus time-out (0 outside Modbus RTU).")
        .def_readonly("mode", &ky::rs485_mode::mode)
        .def_readonly("baudrate", &ky::rs485_mode::baudrate)
        .def_readonly("modbus_timeout", &ky::rs485_mode::modbus_timeout);

    using R = ky::Robot;
    robot.def("set_NetIP", &R::set_NetIP, "ip"_a, nogil(), "Wired address (dotted quad); waits up to 2 s.")
        .def("set_wifi_ap", &R::set_wifi_ap, "wifi_name"_a, "password"_a, nogil(),
             "Access-point mode; no answer is read (returns after 800 ms).")
        .def("set_wifi_sta", &R::set_wifi_sta, "router_name"_a, "password"_a, nogil(),
             "Station mode; no answer is read (returns after 800 ms).")
        .def("set_usb", &R::set_usb, "baudrate"_a, nogil(), "USB baud rate, bit/s; no answer is read.")
        .def("set_RS485", &R::set_RS485, "baudrate"_a, nogil(), "RS485 baud rate, bit/s; no answer is read.")
        .def("get_wired_net", &R::get_wired_net, nogil())
        .def("get_wifi_net", &R::get_wifi_net, nogil())
        .def("set_net_default", &R::set_net_default, nogil(), "Factory network settings; waits up to 4 s.")
        .def("set_wifi_close", &R::set_wifi_close, nogil(), "Switches Wi-Fi off; waits up to 2 s.")
        .def("get_controller_RS485_mode", &R::get_controller_RS485_mode, nogil())
        .def("get_tool_RS485_mode", &R::get_tool_RS485_mode, nogil());
}

}  // namespace kypy
