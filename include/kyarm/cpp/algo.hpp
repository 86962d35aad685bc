// kyarm/cpp/algo.hpp: the kinematics (ky::algo). Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky::algo {
}  // namespace ky::algo
