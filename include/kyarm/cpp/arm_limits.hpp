// kyarm/cpp/arm_limits.hpp: the C++ members of the arm_limits family (include/kyarm/arm_limits.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class arm_limits_ops : public ops_base<Self, Policy, family::arm_limits, arm_limits_ops<Self, Policy>> {
    KY_OPS_BASE(arm_limits_ops, family::arm_limits);

public:
};

}  // namespace ky
