// kyarm/cpp/force_sensor.hpp: six-axis and one-axis force data, their zeroing and the sensor
// calibrations (include/kyarm/force_sensor.h). Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::force_sensor> {
    static constexpr code_text table[] = {
        {1, "the controller answered false"},
        {-1, "unknown robot handle, send failure, an argument refused, or the arm's joint count not known"},
        {-2, "no reply within the wait, or (ky_get_Fz) an arm whose force-sensor type is not 2: nothing sent"},
        {-3, "unreadable reply: a member missing, not an array, of the wrong length, or a state key not boolean"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Force sensing: forces in N, torques in Nm, vectors [Fx, Fy, Fz, Mx, My, Mz]. Queries and
 *  clears wait m_nOutTime. The calibrations with `block` true wait up to 30 s for the end of
 *  the calibration; with `block` false they return 0 after sending. */
template <class Self, class Policy>
class force_sensor_ops : public ops_base<Self, Policy, family::force_sensor, force_sensor_ops<Self, Policy>> {
    KY_OPS_BASE(force_sensor_ops, family::force_sensor);

public:
    auto get_force_data() const {
        ky_force_data d{};
        int rc = ky_get_force_data(h(), &d);
        return done("ky_get_force_data", rc, d);
    }
    auto clear_force_data() const { return done("ky_clear_force_data", ky_clear_force_data(h())); }
    /** Automatic six-axis calibration. */
    auto set_force_sensor(bool block = true) const {
        return done("ky_set_force_sensor", ky_set_force_sensor(h(), block));
    }
    /** Manual six-axis calibration, pose `type` 1 to 4 in order: `joint` holds the arm's dof
     *  angles in degrees. Only type 4 waits (when `block`). */
    auto manual_set_force(int type, std::span<const float> joint, bool block = true) const {
        if (!covers_dof(joint)) return refuse("ky_manual_set_force");
        Joints j(joint);  // the C call takes a mutable pointer
        return done("ky_manual_set_force", ky_manual_set_force(h(), type, j.data(), block));
    }
    auto stop_set_force_sensor() const { return done("ky_stop_set_force_sensor", ky_stop_set_force_sensor(h())); }
    auto clear_Fz() const { return done("ky_clear_Fz", ky_clear_Fz(h())); }
    /** Automatic one-axis calibration. */
    auto auto_set_Fz(bool block = true) const { return done("ky_auto_set_Fz", ky_auto_set_Fz(h(), block)); }
    /** One-axis calibration from two poses of dof joint angles (degrees). */
    auto manual_set_Fz(std::span<const float> pose1, std::span<const float> pose2, bool block = true) const {
        if (!covers_dof(pose1) || !covers_dof(pose2)) return refuse("ky_manual_set_Fz");
        Joints p1(pose1), p2(pose2);
        return done("ky_manual_set_Fz", ky_manual_set_Fz(h(), p1.data(), p2.data(), block));
    }
    /** One-axis force (N). Only an arm whose cached force-sensor type is 2 (six-axis) is asked;
     *  any other gives -2 without sending. */
    auto get_Fz() const {
        float v[4] = {};
        int rc = ky_get_Fz(h(), v);
        return done("ky_get_Fz", rc, ky_Fz_data{v[0], v[1], v[2], v[3]});
    }
};

}  // namespace ky
