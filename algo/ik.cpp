// Inverse kinematics dispatcher: target pose to flange transform, reference clamping and
// the per-family solvers.
#include <cstring>

#include "algo/ik_internal.h"
#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"

namespace ky::algo {

namespace {
bool is_identity(const ky_matrix &m) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j)
            if (m.data[i][j] != (i == j ? 1.0f : 0.0f)) return false;
    return true;
}
}  // namespace

int inverse_kinematics(State &s, const float current[], const ky_pose &target, bool use_euler,
                       float out[]) {
    const ky_matrix t = use_euler ? pose_euler_to_transformation_matrix(target)
                                  : pose_quat_to_transformation_matrix(target);
    const Family fam = family_of(s.robot_type);
    const uint32_t type = s.robot_type;
    const bool six = type == 0 || type == 3 || type == 4 || type == 5 || type == 6 || type == 8;
    const bool seven = type == 1 || type == 7;
    if (!six && !seven) return -4;
    const int n = six ? 6 : 7;

    float ref[kMaxJoints] = {};
    std::memcpy(ref, current, sizeof(float) * n);
    // A last-joint reference just past a full turn (by up to 2 degrees) counts as the turn.
    const int last = fam == Family::Ky7a ? 6 : 5;
    if (ref[last] > kTwoPiF && ref[last] < 6.318092f) ref[last] = kTwoPiF;
    if (ref[last] < -kTwoPiF && ref[last] > -6.318092f) ref[last] = -kTwoPiF;

    // Flange in the arm's own base: installation and tool removed (skipped when they are
    // the identity, as they are for most arms).
    Aff flange = aff_from(t);
    if (!is_identity(s.install_rotation)) flange = aff_mul(aff_inv(aff_from(s.install_rotation)), flange);
    if (!is_identity(s.tool_matrix)) flange = aff_mul(flange, aff_inv(aff_from(s.tool_matrix)));
    float result[kMaxJoints] = {};
    const int rc = six ? inverse_kinematics_6dof(s, flange, ref, result)
                       : inverse_kinematics_7dof(s, flange, ref, result);
    if (rc == 0 || rc == -2) std::memcpy(out, result, sizeof(float) * n);
    return rc;
}

}  // namespace ky::algo
