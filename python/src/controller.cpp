// Python bindings of the controller family.
#include "bind.hpp"

namespace kypy {

void bind_controller(py::module_ &, Robot &) {}

}  // namespace kypy
