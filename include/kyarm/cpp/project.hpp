// kyarm/cpp/project.hpp: the C++ members of the project family (include/kyarm/project.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class project_ops : public ops_base<Self, Policy, family::project, project_ops<Self, Policy>> {
    KY_OPS_BASE(project_ops, family::project);

public:
};

}  // namespace ky
