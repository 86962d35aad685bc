// Pass-through motion: joint and Cartesian set-points streamed without replies (movej_canfd,
// movep_canfd, movej_follow, movep_follow) and the force-position set-points
// (Force_Position_Move, followed only while the force-position move mode is on). Each valid
// set-point becomes the arm's commanded position (sim/stream.h); a malformed one, or one the arm
// cannot take, is ignored and the arm holds. Nothing is ever answered.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

bool joint_setpoint(Ctx &c, FollowState::Kind kind) {
    int w[kMaxDof];
    if (!c.geta("joint", c.arm.dof, w)) return false;
    double deg[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) deg[i] = w[i] / 1000.0;
    return follow_joints(c.arm, deg, kind);
}

// "pose_quat" [x, y, z (um), w, x, y, z (millionths)] or else "pose" [x, y, z (um), rx, ry, rz
// (mrad)], in the active work frame.
bool pose_setpoint(Ctx &c, FollowState::Kind kind) {
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    if (c.item("pose_quat") != nullptr) {
        int w[7];
        if (!c.geta("pose_quat", 7, w)) return false;
        Eigen::Quaterniond q(w[3] / 1e6, w[4] / 1e6, w[5] / 1e6, w[6] / 1e6);
        const double n2 = q.squaredNorm();
        if (!(n2 > 0.5 && n2 < 2.0)) return false;
        q.normalize();
        t.linear() = q.toRotationMatrix();
        t.translation() = Eigen::Vector3d(w[0] / 1e6, w[1] / 1e6, w[2] / 1e6);
    } else {
        double p[6];
        if (!c.getpose(c.item("pose"), p)) return false;
        t = pose_to_transform(p);
    }
    return follow_pose(c.arm, t, kind);
}

// "follow" is a boolean when present.
bool follow_flag_ok(const Ctx &c) {
    const cJSON *f = c.item("follow");
    return f == nullptr || cJSON_IsBool(f);
}

bool movej_canfd(Ctx &c) {
    int expand = 0;
    if (!follow_flag_ok(c) || (c.item("expand") != nullptr && !c.geti("expand", expand))) return false;
    return joint_setpoint(c, FollowState::Joint);
}
bool movej_follow(Ctx &c) { return joint_setpoint(c, FollowState::Joint); }
bool movep_canfd(Ctx &c) { return follow_flag_ok(c) && pose_setpoint(c, FollowState::Pose); }
bool movep_follow(Ctx &c) { return pose_setpoint(c, FollowState::Pose); }

bool force_position_move(Ctx &c) {
    if (!c.arm.follow.force_move || !follow_flag_ok(c)) return false;
    if (c.item("joint") != nullptr) return joint_setpoint(c, FollowState::ForcePose);
    return pose_setpoint(c, FollowState::ForcePose);
}

}  // namespace

std::span<const Command> passthrough_commands() {
    static const Command rows[] = {
        {"movej_canfd", nullptr, nullptr, movej_canfd},
        {"movep_canfd", nullptr, nullptr, movep_canfd},
        {"movej_follow", nullptr, nullptr, movej_follow},
        {"movep_follow", nullptr, nullptr, movep_follow},
        {"Force_Position_Move", nullptr, nullptr, force_position_move},
    };
    return rows;
}

}  // namespace ky::sim
