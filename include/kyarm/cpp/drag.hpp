// kyarm/cpp/drag.hpp: the C++ members of the drag family (include/kyarm/drag.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class drag_ops : public ops_base<Self, Policy, family::drag, drag_ops<Self, Policy>> {
    KY_OPS_BASE(drag_ops, family::drag);

public:
};

}  // namespace ky
