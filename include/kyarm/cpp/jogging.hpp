// kyarm/cpp/jogging.hpp: the C++ members of the jogging family (include/kyarm/jogging.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class jogging_ops : public ops_base<Self, Policy, family::jogging, jogging_ops<Self, Policy>> {
    KY_OPS_BASE(jogging_ops, family::jogging);

public:
};

}  // namespace ky
