// kyarm/cpp/joint_config.hpp: the C++ members of the joint_config family (include/kyarm/joint_config.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class joint_config_ops : public ops_base<Self, Policy, family::joint_config, joint_config_ops<Self, Policy>> {
    KY_OPS_BASE(joint_config_ops, family::joint_config);

public:
};

}  // namespace ky
