// kyarm/cpp/realtime.hpp: push configuration and the arm state queries.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <class Self, class Policy>
class realtime_ops : public ops_base<Self, Policy, family::realtime, realtime_ops<Self, Policy>> {
    KY_OPS_BASE(realtime_ops, family::realtime);

public:
    /** Configures the controller's UDP push (ky_set_realtime_push). */
    auto set_realtime_push(const ky_realtime_push_config &config) const {
        return done("ky_set_realtime_push", ky_set_realtime_push(h(), &config));
    }
    auto get_realtime_push() const {
        ky_realtime_push_config c{};
        int rc = ky_get_realtime_push(h(), &c);
        return done("ky_get_realtime_push", rc, c);
    }
    /** Joint angles (degrees) and tool pose (ky_get_current_arm_state). */
    auto get_current_arm_state() const {
        ky_current_arm_state s{};
        int rc = ky_get_current_arm_state(h(), &s);
        return done("ky_get_current_arm_state", rc, s);
    }
    /** dof joint angles, degrees (ky_get_joint_degree). */
    auto get_joint_degree() const {
        Joints j = joints();
        int rc = ky_get_joint_degree(h(), j.data());
        return done("ky_get_joint_degree", rc, j);
    }
    auto get_arm_all_state() const {
        ky_arm_all_state s{};
        int rc = ky_get_arm_all_state(h(), &s);
        return done("ky_get_arm_all_state", rc, s);
    }
    /** dof joint temperatures. */
    auto get_current_joint_temperature() const {
        Joints j = joints();
        int rc = ky_get_current_joint_temperature(h(), j.data());
        return done("ky_get_current_joint_temperature", rc, j);
    }
    /** dof joint currents. */
    auto get_current_joint_current() const {
        Joints j = joints();
        int rc = ky_get_current_joint_current(h(), j.data());
        return done("ky_get_current_joint_current", rc, j);
    }
    /** dof joint voltages. */
    auto get_current_joint_voltage() const {
        Joints j = joints();
        int rc = ky_get_current_joint_voltage(h(), j.data());
        return done("ky_get_current_joint_voltage", rc, j);
    }
};

}  // namespace ky
