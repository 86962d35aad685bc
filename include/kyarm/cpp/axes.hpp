// kyarm/cpp/axes.hpp: the lift and the expansion axis (include/kyarm/axes.h).
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::axes> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or the axis reported the move as failed"},
        {-1, "unknown robot handle, send failure, or a completion report without a boolean trajectory_state"},
        {-3, "unreadable reply or completion report (lift: also a library mode other than 0, 1 and 2)"},
        {-4, "a completion report with a trajectory_connect other than 0 and 1, or of another device once the axis was idle"},
        {-5, "no completion report within the given number of seconds (library mode 0)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Lift and expansion axis. Speeds, heights, positions and currents are the controller's.
 *  State arrays hold [height or pos, current, err_flag, mode] (KY_LIFT_* / KY_EXPAND_*).
 *  Moves with `block` non-zero wait for the axis to arrive (library modes 1 and 2: a flag,
 *  no overall limit while the axis moves; mode 0: a time-out in seconds). */
template <class Self, class Policy>
class axes_ops : public ops_base<Self, Policy, family::axes, axes_ops<Self, Policy>> {
    KY_OPS_BASE(axes_ops, family::axes);

public:
    auto set_lift_speed(int speed) const { return done("ky_set_lift_speed", ky_set_lift_speed(h(), speed)); }
    /** [height, current, err_flag, mode]. */
    auto get_lift_state() const {
        std::array<int, 4> s{};
        int rc = ky_get_lift_state(h(), s.data());
        return done("ky_get_lift_state", rc, s);
    }
    /** Not acknowledged by the controller: holds m_nOutTime, then waits when `block`. */
    auto set_lift_height(int speed, int height, int block = 1) const {
        return done("ky_set_lift_height", ky_set_lift_height(h(), speed, height, block));
    }
    /** [pos, current, err_flag, mode]. */
    auto get_expand_state() const {
        std::array<int, 4> s{};
        int rc = ky_get_expand_state(h(), s.data());
        return done("ky_get_expand_state", rc, s);
    }
    auto set_expand_speed(int speed) const { return done("ky_set_expand_speed", ky_set_expand_speed(h(), speed)); }
    auto set_expand_pos(int speed, int pos, int block = 1) const {
        return done("ky_set_expand_pos", ky_set_expand_pos(h(), speed, pos, block));
    }
};

}  // namespace ky
