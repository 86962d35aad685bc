// Python bindings of the fence family.
#include "bind.hpp"

namespace kypy {

void bind_fence(py::module_ &, Robot &) {}

}  // namespace kypy
