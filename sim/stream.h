// Pass-through following: set-points that arrive without a reply ("movej_canfd", "movep_follow",
// "Force_Position_Move", ...) become the arm's commanded position. The arm moves toward the latest
// one at up to each joint's speed limit per motion tick, so a stream within the limits is followed
// within one tick and a set-point beyond them is approached at the limit. A stream that falls
// silent for kFollowSilence ends: the arm holds and reports "idle" again.
#pragma once
#include <array>

#include "sim/arm_kinematics.h"

namespace ky::sim {

class Arm;

constexpr double kFollowSilence = 0.1;  // seconds without a set-point that end a stream

struct FollowState {
    enum Kind { Joint, Pose, ForcePose };
    bool live = false;                     // a stream is being followed
    Kind kind = Joint;
    std::array<double, kMaxDof> target{};  // degrees
    double silence = 0;                    // seconds since the last set-point
    bool fresh = false;                    // the stream began since the last motion step
    // Force-position control: switched on by set_force_position, its set-point mode by
    // Start_Force_Position_Move (force set-points are ignored outside it).
    bool force_control = false;
    bool force_move = false;
};

// One joint set-point (degrees, dof values). False when it is ignored: a planned move, jog or
// drag teaching is under way, the arm is unpowered or disabled, or the target is outside the
// joint limits.
bool follow_joints(Arm &arm, const double deg[], FollowState::Kind kind);
// One Cartesian set-point: the active tool at `pose` in the active work frame. Ignored as above,
// and also when the pose is out of reach or would flip the arm to another solution branch.
bool follow_pose(Arm &arm, const Eigen::Isometry3d &pose_in_work, FollowState::Kind kind);
// One motion step toward the set-point; false when nothing is being followed.
bool follow_tick(Arm &arm, double dt);
const char *follow_status(const FollowState &f);

}  // namespace ky::sim
