// Python bindings of the jogging family.
#include "bind.hpp"

namespace kypy {

void bind_jogging(py::module_ &, Robot &) {}

}  // namespace kypy
