// kyarm/cpp/passthrough.hpp: the C++ members of the passthrough family (include/kyarm/passthrough.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class passthrough_ops : public ops_base<Self, Policy, family::passthrough, passthrough_ops<Self, Policy>> {
    KY_OPS_BASE(passthrough_ops, family::passthrough);

public:
};

}  // namespace ky
