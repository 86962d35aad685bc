// kyarm/cpp/io.hpp: the C++ members of the io family (include/kyarm/io.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class io_ops : public ops_base<Self, Policy, family::io, io_ops<Self, Policy>> {
    KY_OPS_BASE(io_ops, family::io);

public:
};

}  // namespace ky
