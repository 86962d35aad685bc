// Python bindings of the exchange family.
#include "bind.hpp"

namespace kypy {

void bind_exchange(py::module_ &, Robot &) {}

}  // namespace kypy
