// kyarm/cpp/motion.hpp: planned moves. Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::motion> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or the trajectory failed"},
        {-1, "unknown robot handle, send failure, dof not 6 or 7, or a completion line without a boolean state"},
        {-4, "the trajectory ended, but the last completion line named another device or connect value"},
        {-5, "no completion within the given number of seconds (mode 0)"},
        {-6, "trajectory_connect other than 0 or 1 (nothing sent)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Planned moves. Arguments as in the C functions: joint angles in degrees, poses in metres
 *  and radians, `v` speed in percent, `r` blending radius, `trajectory_connect` 0 or 1,
 *  `block` non-zero waits for the move to finish (mode 0: seconds to wait). */
template <class Self, class Policy>
class motion_ops : public ops_base<Self, Policy, family::motion, motion_ops<Self, Policy>> {
    KY_OPS_BASE(motion_ops, family::motion);

public:
    auto movej(std::span<const float> joint, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        if (!covers_dof(joint)) return refuse("ky_movej");
        return done("ky_movej", ky_movej(h(), joint.data(), v, r, trajectory_connect, block));
    }
    auto movel(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_movel", ky_movel(h(), pose, v, r, trajectory_connect, block));
    }
    auto moves(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_moves", ky_moves(h(), pose, v, r, trajectory_connect, block));
    }
    auto movec(const ky_pose &pose_via, const ky_pose &pose_to, int v, int r = 0, int loop = 0,
               int trajectory_connect = 0, int block = 1) const {
        return done("ky_movec", ky_movec(h(), pose_via, pose_to, v, r, loop, trajectory_connect, block));
    }
    auto movej_p(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_movej_p", ky_movej_p(h(), pose, v, r, trajectory_connect, block));
    }
    // The explicit forms: _nblock returns once the move is accepted, _block also waits.
    auto movej_nblock(std::span<const float> joint, int v, int r = 0, int trajectory_connect = 0) const {
        if (!covers_dof(joint)) return refuse("ky_movej_nblock");
        return done("ky_movej_nblock", ky_movej_nblock(h(), joint.data(), v, r, trajectory_connect));
    }
    auto movej_block(std::span<const float> joint, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        if (!covers_dof(joint)) return refuse("ky_movej_block");
        return done("ky_movej_block", ky_movej_block(h(), joint.data(), v, r, trajectory_connect, block));
    }
    auto movel_nblock(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0) const {
        return done("ky_movel_nblock", ky_movel_nblock(h(), pose, v, r, trajectory_connect));
    }
    auto movel_block(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_movel_block", ky_movel_block(h(), pose, v, r, trajectory_connect, block));
    }
    auto moves_nblock(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0) const {
        return done("ky_moves_nblock", ky_moves_nblock(h(), pose, v, r, trajectory_connect));
    }
    auto moves_block(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_moves_block", ky_moves_block(h(), pose, v, r, trajectory_connect, block));
    }
    auto movec_nblock(const ky_pose &pose_via, const ky_pose &pose_to, int v, int r = 0, int loop = 0,
                      int trajectory_connect = 0) const {
        return done("ky_movec_nblock", ky_movec_nblock(h(), pose_via, pose_to, v, r, loop, trajectory_connect));
    }
    auto movec_block(const ky_pose &pose_via, const ky_pose &pose_to, int v, int r = 0, int loop = 0,
                     int trajectory_connect = 0, int block = 1) const {
        return done("ky_movec_block",
                    ky_movec_block(h(), pose_via, pose_to, v, r, loop, trajectory_connect, block));
    }
    auto movej_p_nblock(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0) const {
        return done("ky_movej_p_nblock", ky_movej_p_nblock(h(), pose, v, r, trajectory_connect));
    }
    auto movej_p_block(const ky_pose &pose, int v, int r = 0, int trajectory_connect = 0, int block = 1) const {
        return done("ky_movej_p_block", ky_movej_p_block(h(), pose, v, r, trajectory_connect, block));
    }
    /** Waits for a completion line of `device` (0 arm, 3 lift, 4 expansion axis): up to
     *  `attempts` waits of one second (ky_movecmd_singlemode_parse). */
    auto movecmd_singlemode_parse(int attempts, int device = 0) const {
        return done("ky_movecmd_singlemode_parse", ky_movecmd_singlemode_parse(h(), attempts, device));
    }
};

}  // namespace ky
