// Python bindings of the frames family.
#include "bind.hpp"

namespace kypy {

void bind_frames(py::module_ &, Robot &) {}

}  // namespace kypy
