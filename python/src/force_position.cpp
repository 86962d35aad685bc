// Python bindings of the force_position family.
#include "bind.hpp"

namespace kypy {

void bind_force_position(py::module_ &, Robot &) {}

}  // namespace kypy
