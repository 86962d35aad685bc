// Python bindings of the network family.
#include "bind.hpp"

namespace kypy {

void bind_network(py::module_ &, Robot &) {}

}  // namespace kypy
