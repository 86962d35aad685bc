// kyarm/cpp/frames.hpp: the C++ members of the frames family (include/kyarm/frames.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class frames_ops : public ops_base<Self, Policy, family::frames, frames_ops<Self, Policy>> {
    KY_OPS_BASE(frames_ops, family::frames);

public:
};

}  // namespace ky
