// Python bindings of the joint_config family.
#include "bind.hpp"

namespace kypy {

void bind_joint_config(py::module_ &, Robot &) {}

}  // namespace kypy
