// kyarm/cpp/waypoints.hpp: the C++ members of the waypoints family (include/kyarm/waypoints.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class waypoints_ops : public ops_base<Self, Policy, family::waypoints, waypoints_ops<Self, Policy>> {
    KY_OPS_BASE(waypoints_ops, family::waypoints);

public:
};

}  // namespace ky
