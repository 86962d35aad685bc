// kyarm/cpp/force_position.hpp: force-position control, its mode commands and its streamed
// set-points. Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::force_position> {
    static constexpr code_text table[] = {
        {-1, "unknown robot handle, send failure, an unknown target type, or the arm's dof is not 6 or 7"},
        {-3, "unreadable reply or state key missing"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Force-position control. Sensor, mode, direction and control-mode numbers are the
 *  controller's, sent as given; forces in newtons. set_force_position and the
 *  force_position_move_joint / _pose set-points send the force cut to whole newtons;
 *  set_force_position_new and force_position_move keep tenths. The mode commands wait for
 *  the reply; the force_position_move* set-points are streamed (sent without waiting, like
 *  the pass-through commands) between start_force_position_move() and
 *  stop_force_position_move(). */
template <class Self, class Policy>
class force_position_ops
    : public ops_base<Self, Policy, family::force_position, force_position_ops<Self, Policy>> {
    KY_OPS_BASE(force_position_ops, family::force_position);

public:
    // ---- mode commands (one exchange each)
    auto set_force_position(int sensor, int mode, int direction, float force) const {
        return done("ky_set_force_position", ky_set_force_position(h(), sensor, mode, direction, force));
    }
    auto set_force_position_new(const ky_force_position_params &params) const {
        return done("ky_set_force_position_new", ky_set_force_position_new(h(), &params));
    }
    auto stop_force_position() const { return done("ky_stop_force_position", ky_stop_force_position(h())); }
    auto start_force_position_move() const {
        return done("ky_start_force_position_move", ky_start_force_position_move(h()));
    }
    auto stop_force_position_move() const {
        return done("ky_stop_force_position_move", ky_stop_force_position_move(h()));
    }

    // ---- streamed set-points (never wait)
    /** `joint`: dof angles, degrees. */
    auto force_position_move_joint(std::span<const float> joint, int sensor, int mode, int direction, bool follow,
                                   float force) const {
        if (!covers_dof(joint)) return refuse("ky_force_position_move_joint");
        return done("ky_force_position_move_joint",
                    ky_force_position_move_joint(h(), joint.data(), sensor, mode, direction, follow, force));
    }
    auto force_position_move_pose(const ky_pose &pose, int sensor, int mode, int direction, bool follow,
                                  float force) const {
        return done("ky_force_position_move_pose",
                    ky_force_position_move_pose(h(), pose, sensor, mode, direction, follow, force));
    }
    /** The target is `params.joint` or `params.pose` by `params.target_type`. */
    auto force_position_move(const ky_force_position_move_params &params) const {
        return done("ky_force_position_move", ky_force_position_move(h(), &params));
    }
};

}  // namespace ky
