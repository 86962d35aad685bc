// Python bindings of the modbus family.
#include "bind.hpp"

namespace kypy {

void bind_modbus(py::module_ &, Robot &) {}

}  // namespace kypy
