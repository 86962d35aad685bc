// kyarm/cpp/passthrough.hpp: pass-through streaming of joint and Cartesian set-points.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::passthrough> {
    static constexpr code_text table[] = {
        {-1, "robot handle not registered, send failure, or the arm's dof is not 6 or 7 (nothing sent)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Streamed set-points: each call sends one line and returns without waiting for or
 *  reading any reply, so they suit a loop at the caller's rate. Joint vectors in degrees
 *  (dof values); a pose goes out as a quaternion when its quaternion is a unit one
 *  (squared norm strictly between 0.99 and 1.1), otherwise as Euler angles. */
template <class Self, class Policy>
class passthrough_ops : public ops_base<Self, Policy, family::passthrough, passthrough_ops<Self, Policy>> {
    KY_OPS_BASE(passthrough_ops, family::passthrough);

public:
    /** `expand`: set-point of the expansion axis (none on most arms). */
    auto movej_canfd(std::span<const float> joint, bool follow, float expand = 0.0f) const {
        if (!covers_dof(joint)) return refuse("ky_movej_canfd");
        return done("ky_movej_canfd", ky_movej_canfd(h(), joint.data(), follow, expand));
    }
    auto movep_canfd(const ky_pose &pose, bool follow) const {
        return done("ky_movep_canfd", ky_movep_canfd(h(), pose, follow));
    }
    auto movej_follow(std::span<const float> joint) const {
        if (!covers_dof(joint)) return refuse("ky_movej_follow");
        return done("ky_movej_follow", ky_movej_follow(h(), joint.data()));
    }
    auto movep_follow(const ky_pose &pose) const { return done("ky_movep_follow", ky_movep_follow(h(), pose)); }
};

}  // namespace ky
