// Python bindings of the exchange family: the generic integer get and set commands and the
// raw exchange of any JSON command.
#include <pybind11/chrono.h>

#include "bind.hpp"

namespace kypy {

void bind_exchange(py::module_ &, Robot &robot) {
    using R = ky::Robot;
    robot.def("get_data_common", &R::get_data_common, "command"_a, "reply_key"_a, nogil(),
              "Sends {\"command\": command} and returns the integer member reply_key of its reply.")
        .def("set_data_common", &R::set_data_common, "value"_a, "command"_a, "key"_a, nogil(),
             "Sends {\"command\": command, key: value} and checks the reply's \"set_state\".")
        .def("raw", &R::raw, "json_object"_a, "reply_key"_a = "", "timeout"_a = py::none(), nogil(),
             "Sends one JSON object and returns the reply line (str). The reply is the line named "
             "reply_key, or the object's own \"command\" when reply_key is empty; timeout in "
             "seconds or a timedelta (None: the library's default wait).");
}

}  // namespace kypy
