// Python bindings of the project family.
#include "bind.hpp"

namespace kypy {

void bind_project(py::module_ &, Robot &) {}

}  // namespace kypy
