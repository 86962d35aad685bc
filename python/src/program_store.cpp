// Python bindings of the program_store family.
#include "bind.hpp"

namespace kypy {

void bind_program_store(py::module_ &, Robot &) {}

}  // namespace kypy
