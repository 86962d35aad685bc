// kyarm/cpp/axes.hpp: the C++ members of the axes family (include/kyarm/axes.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class axes_ops : public ops_base<Self, Policy, family::axes, axes_ops<Self, Policy>> {
    KY_OPS_BASE(axes_ops, family::axes);

public:
};

}  // namespace ky
