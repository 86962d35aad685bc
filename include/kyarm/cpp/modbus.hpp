// kyarm/cpp/modbus.hpp: the C++ members of the modbus family (include/kyarm/modbus.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class modbus_ops : public ops_base<Self, Policy, family::modbus, modbus_ops<Self, Policy>> {
    KY_OPS_BASE(modbus_ops, family::modbus);

public:
};

}  // namespace ky
