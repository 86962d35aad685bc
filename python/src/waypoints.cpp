// Python bindings of the waypoints family.
#include "bind.hpp"

namespace kypy {

void bind_waypoints(py::module_ &, Robot &) {}

}  // namespace kypy
