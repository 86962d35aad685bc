// kyarm/cpp/program_store.hpp: the C++ members of the program_store family (include/kyarm/program_store.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class program_store_ops : public ops_base<Self, Policy, family::program_store, program_store_ops<Self, Policy>> {
    KY_OPS_BASE(program_store_ops, family::program_store);

public:
};

}  // namespace ky
