// kyarm/cpp/force_sensor.hpp: the C++ members of the force_sensor family (include/kyarm/force_sensor.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class force_sensor_ops : public ops_base<Self, Policy, family::force_sensor, force_sensor_ops<Self, Policy>> {
    KY_OPS_BASE(force_sensor_ops, family::force_sensor);

public:
};

}  // namespace ky
