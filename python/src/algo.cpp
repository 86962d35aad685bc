// Python bindings of the kinematics (kyarm.algo).
#include "bind.hpp"

namespace kypy {

void bind_algo(py::module_ &) {}

}  // namespace kypy
