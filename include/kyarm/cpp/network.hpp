// kyarm/cpp/network.hpp: the C++ members of the network family (include/kyarm/network.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class network_ops : public ops_base<Self, Policy, family::network, network_ops<Self, Policy>> {
    KY_OPS_BASE(network_ops, family::network);

public:
};

}  // namespace ky
