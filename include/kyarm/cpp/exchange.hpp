// kyarm/cpp/exchange.hpp: the C++ members of the exchange family (include/kyarm/exchange.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class exchange_ops : public ops_base<Self, Policy, family::exchange, exchange_ops<Self, Policy>> {
    KY_OPS_BASE(exchange_ops, family::exchange);

public:
};

}  // namespace ky
