// kyarm/cpp/force_position.hpp: the C++ members of the force_position family (include/kyarm/force_position.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class force_position_ops : public ops_base<Self, Policy, family::force_position, force_position_ops<Self, Policy>> {
    KY_OPS_BASE(force_position_ops, family::force_position);

public:
};

}  // namespace ky
