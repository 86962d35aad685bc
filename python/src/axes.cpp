// Python bindings of the axes family.
#include "bind.hpp"

namespace kypy {

void bind_axes(py::module_ &, Robot &) {}

}  // namespace kypy
