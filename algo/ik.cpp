// Inverse kinematics dispatcher (placeholder until the solvers land).
#include "algo/kinematics.h"
#include "algo/state.h"

namespace ky::algo {
int inverse_kinematics(State &, const float[], const ky_pose &, bool, float[]) { return -4; }
}  // namespace ky::algo
