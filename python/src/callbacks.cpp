// Realtime, event and log callbacks delivered to Python callables.
#include "bind.hpp"

namespace kypy {

void bind_callbacks(py::module_ &) {}

}  // namespace kypy
