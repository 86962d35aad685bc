// kyarm/cpp/tool.hpp: the C++ members of the tool family (include/kyarm/tool.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class tool_ops : public ops_base<Self, Policy, family::tool, tool_ops<Self, Policy>> {
    KY_OPS_BASE(tool_ops, family::tool);

public:
};

}  // namespace ky
