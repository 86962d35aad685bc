// Python bindings of the tool family.
#include "bind.hpp"

namespace kypy {

void bind_tool(py::module_ &, Robot &) {}

}  // namespace kypy
