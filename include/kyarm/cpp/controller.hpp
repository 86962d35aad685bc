// kyarm/cpp/controller.hpp: controller state, arm power and the maintenance counters
// (include/kyarm/controller.h). Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::controller> {
    static constexpr code_text table[] = {
        {1, "the controller answered false"},
        {-1, "unknown robot handle, send failure, or (odometers) the arm's dof is not 6 or 7"},
        {-3, "unreadable reply, or an odometer array whose length is not the arm's dof"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Supply readings of the controller (ky_get_controller_state): voltage, current and
 *  temperature divided by 1000, in the controller's units; err_flag as sent. */
struct controller_state {
    float voltage = 0;
    float current = 0;
    float temperature = 0;
    int err_flag = 0;
};

/** Running time of the controller system (ky_get_system_runtime). */
struct system_runtime {
    int day = 0;
    int hour = 0;
    int min = 0;
    int sec = 0;
    /** The whole running time in seconds. */
    long long total_seconds() const noexcept { return ((day * 24LL + hour) * 60 + min) * 60 + sec; }
};

/** Controller state, power and maintenance counters: each member is one exchange waiting
 *  m_nOutTime (ky::Library::timeout()). */
template <class Self, class Policy>
class controller_ops : public ops_base<Self, Policy, family::controller, controller_ops<Self, Policy>> {
    KY_OPS_BASE(controller_ops, family::controller);

public:
    auto get_controller_state() const {
        controller_state s;
        int rc = ky_get_controller_state(h(), &s.voltage, &s.current, &s.temperature, &s.err_flag);
        return done("ky_get_controller_state", rc, s);
    }
    /** 1 powers the arm, 0 powers it off (sent as given). */
    auto set_arm_power(int arm_power) const {
        return done("ky_set_arm_power", ky_set_arm_power(h(), arm_power));
    }
    /** The power state as the controller reports it. A reply without a readable state gives a
     *  positive code (not -3). */
    auto get_arm_power_state() const {
        int state = 0;
        int rc = ky_get_arm_power_state(h(), &state);
        return done("ky_get_arm_power_state", rc, state);
    }
    auto get_system_runtime() const {
        system_runtime t;
        int rc = ky_get_system_runtime(h(), &t.day, &t.hour, &t.min, &t.sec);
        return done("ky_get_system_runtime", rc, t);
    }
    auto clear_system_runtime() const { return done("ky_clear_system_runtime", ky_clear_system_runtime(h())); }
    /** Each joint's odometer (dof values, the controller's value / 1000). */
    auto get_joint_odom() const {
        float odom[Joints::capacity] = {};
        int rc = ky_get_joint_odom(h(), odom);
        Joints j = joints();
        std::copy_n(odom, j.size(), j.begin());
        return done("ky_get_joint_odom", rc, j);
    }
    auto clear_joint_odom() const { return done("ky_clear_joint_odom", ky_clear_joint_odom(h())); }
    auto clear_system_err() const { return done("ky_clear_system_err", ky_clear_system_err(h())); }
};

}  // namespace ky
