// kyarm/cpp/arm_limits.hpp: Cartesian speed and acceleration limits of the tool centre point,
// collision sensitivity. Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::arm_limits> {
    static constexpr code_text table[] = {
        {-3, "unreadable reply or state key missing"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Tool-centre-point limits in the controller's units (passed on unchecked, x 1000 on the
 *  wire). A getter fails with a positive code (the reply's length) when the reply lacks
 *  its member. */
template <class Self, class Policy>
class arm_limits_ops : public ops_base<Self, Policy, family::arm_limits, arm_limits_ops<Self, Policy>> {
    KY_OPS_BASE(arm_limits_ops, family::arm_limits);

    template <class T, class F>
    auto read(const char *fn, F &&call) const {
        T v{};
        int rc = call(h(), &v);
        return done(fn, rc, v);
    }

public:
    auto set_arm_max_line_speed(float speed) const {
        return done("ky_set_arm_max_line_speed", ky_set_arm_max_line_speed(h(), speed));
    }
    auto set_arm_max_line_acc(float acc) const {
        return done("ky_set_arm_max_line_acc", ky_set_arm_max_line_acc(h(), acc));
    }
    auto set_arm_max_angular_speed(float speed) const {
        return done("ky_set_arm_max_angular_speed", ky_set_arm_max_angular_speed(h(), speed));
    }
    auto set_arm_max_angular_acc(float acc) const {
        return done("ky_set_arm_max_angular_acc", ky_set_arm_max_angular_acc(h(), acc));
    }
    auto get_arm_max_line_speed() const { return read<float>("ky_get_arm_max_line_speed", ky_get_arm_max_line_speed); }
    auto get_arm_max_line_acc() const { return read<float>("ky_get_arm_max_line_acc", ky_get_arm_max_line_acc); }
    auto get_arm_max_angular_speed() const {
        return read<float>("ky_get_arm_max_angular_speed", ky_get_arm_max_angular_speed);
    }
    auto get_arm_max_angular_acc() const {
        return read<float>("ky_get_arm_max_angular_acc", ky_get_arm_max_angular_acc);
    }
    /** Resets the four limits to the controller's initial values. */
    auto set_arm_tcp_init() const { return done("ky_set_arm_tcp_init", ky_set_arm_tcp_init(h())); }
    /** Collision-detection stage (the range is the controller's). */
    auto set_collision_state(int stage) const {
        return done("ky_set_collision_state", ky_set_collision_state(h(), stage));
    }
    auto get_collision_stage() const { return read<int>("ky_get_collision_stage", ky_get_collision_stage); }
};

}  // namespace ky
