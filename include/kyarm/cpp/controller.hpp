// kyarm/cpp/controller.hpp: the C++ members of the controller family (include/kyarm/controller.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class controller_ops : public ops_base<Self, Policy, family::controller, controller_ops<Self, Policy>> {
    KY_OPS_BASE(controller_ops, family::controller);

public:
};

}  // namespace ky
