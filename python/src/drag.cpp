// Python bindings of the drag family.
#include "bind.hpp"

namespace kypy {

void bind_drag(py::module_ &, Robot &) {}

}  // namespace kypy
