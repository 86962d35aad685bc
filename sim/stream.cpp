// Pass-through following model of the simulated arm (see stream.h).
#include "sim/stream.h"

#include <algorithm>
#include <cmath>

#include "sim/arm.h"

namespace ky::sim {

namespace {
// The first step of a stream spans at most this long: the motion step's interval began before
// the set-point arrived, and the arm cannot have moved toward it earlier.
constexpr double kFirstStep = 0.002;  // seconds
// A Cartesian set-point whose nearest solution moves a joint further than this from the one
// followed now lies across a singularity or on another branch: it is not followed.
constexpr double kMaxFollowJump = 20.0;  // degrees

bool can_follow(const Arm &arm) {
    if (!arm.power || arm.busy() || arm.drag.active()) return false;
    for (int i = 0; i < arm.dof; ++i) {
        if (!arm.en_state[i] || arm.err_flag[i]) return false;
    }
    return true;
}

void take(Arm &arm, const Joints &target, FollowState::Kind kind) {
    // A set-point outside the fence or the virtual wall is ignored.
    if (arm.fence.active() && !arm.fence.allows(arm.kin_.tool_world(target.data()).translation())) return;
    FollowState &f = arm.follow;
    if (!f.live) f.fresh = true;
    f.live = true;
    f.kind = kind;
    f.target = target;
    f.silence = 0;
}
}  // namespace

bool follow_joints(Arm &arm, const double deg[], FollowState::Kind kind) {
    if (!can_follow(arm)) return false;
    Joints q = arm.q_;
    for (int i = 0; i < arm.dof; ++i) q[i] = deg[i];
    if (!arm.within_limits(q)) return false;
    take(arm, q, kind);
    return true;
}

bool follow_pose(Arm &arm, const Eigen::Isometry3d &pose_in_work, FollowState::Kind kind) {
    if (!can_follow(arm)) return false;
    // Solved from the set-point followed now, so a stream stays on one branch.
    const Joints seed = arm.follow.live ? arm.follow.target : arm.q_;
    Joints q = seed;
    if (arm.kin_.inverse(seed.data(), arm.kin_.work_world() * pose_in_work, q.data()) != 0) return false;
    if (!arm.within_limits(q)) return false;
    for (int i = 0; i < arm.dof; ++i) {
        if (!(std::fabs(q[i] - seed[i]) <= kMaxFollowJump)) return false;
    }
    take(arm, q, kind);
    return true;
}

bool follow_tick(Arm &arm, double dt) {
    FollowState &f = arm.follow;
    if (!f.live) return false;
    f.silence += dt;
    if (f.silence > kFollowSilence) {
        f.live = false;
        arm.qd_.fill(0);
        return false;
    }
    const double span = f.fresh ? std::min(dt, kFirstStep) : dt;
    f.fresh = false;
    for (int i = 0; i < arm.dof; ++i) {
        const double reach = arm.lim.max_vel[i] * span;
        const double step = std::clamp(f.target[i] - arm.q_[i], -reach, reach);
        arm.qd_[i] = dt > 0 ? step / dt : 0;
        arm.q_[i] += step;
    }
    return true;
}

const char *follow_status(const FollowState &f) {
    switch (f.kind) {
    case FollowState::Joint: return "move_through_joint";
    case FollowState::Pose: return "move_through_pose";
    case FollowState::ForcePose: return "move_through_force_pose";
    }
    return "idle";
}

}  // namespace ky::sim
