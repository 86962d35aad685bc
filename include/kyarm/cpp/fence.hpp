// kyarm/cpp/fence.hpp: the C++ members of the fence family (include/kyarm/fence.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class fence_ops : public ops_base<Self, Policy, family::fence, fence_ops<Self, Policy>> {
    KY_OPS_BASE(fence_ops, family::fence);

public:
};

}  // namespace ky
