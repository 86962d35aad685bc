// Python bindings of the arm_limits family.
#include "bind.hpp"

namespace kypy {

void bind_arm_limits(py::module_ &, Robot &) {}

}  // namespace kypy
