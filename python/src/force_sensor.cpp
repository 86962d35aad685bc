// Python bindings of the force_sensor family.
#include "bind.hpp"

namespace kypy {

void bind_force_sensor(py::module_ &, Robot &) {}

}  // namespace kypy
