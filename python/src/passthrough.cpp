// Python bindings of the passthrough family.
#include "bind.hpp"

namespace kypy {

void bind_passthrough(py::module_ &, Robot &) {}

}  // namespace kypy
