// Python bindings of the io family.
#include "bind.hpp"

namespace kypy {

void bind_io(py::module_ &, Robot &) {}

}  // namespace kypy
