// kyarm/cpp/jogging.hpp: steps, teach jogging, stopping and the trajectory query.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::jogging> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or the step failed"},
        {-1, "unknown robot handle or send failure; for teach jogging any failed exchange (a time-out included); "
             "for the trajectory query also a dof not 6 or 7 or an unusable reply"},
        {-4, "the step ended, but the last completion line named another device or connect value"},
        {-5, "no completion within the given number of seconds (mode 0)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** The trajectory running now (ky_get_arm_current_trajectory). */
struct current_trajectory {
    /** 0 none, 1 movej, 2 movel, 3 movec, 4 moves, 5 re_trajectory. */
    int type = 0;
    /** Types 0, 1 and 5: the dof joint angles (degrees); types 2, 3 and 4: the end-effector
     *  pose x, y, z (metres), rx, ry, rz (radians). */
    Joints data;
};

/** Steps, jogging and stopping. Steps: `joint` the controller's joint number, `axis` 0, 1, 2
 *  for x, y, z (rx, ry, rz), `step` in degrees, metres or radians, `v` speed in percent.
 *  The _nblock forms return once sent; the _block forms wait for the step's end (`block`:
 *  non-zero waits; in mode 0 the number of one-second waits). The plain forms take
 *  `block` before `step`, as the C functions do. */
template <class Self, class Policy>
class jogging_ops : public ops_base<Self, Policy, family::jogging, jogging_ops<Self, Policy>> {
    KY_OPS_BASE(jogging_ops, family::jogging);

public:
    // ---- steps
    auto set_joint_step_nblock(int joint, float step, int v) const {
        return done("ky_set_joint_step_nblock", ky_set_joint_step_nblock(h(), joint, step, v));
    }
    auto set_joint_step_block(int joint, float step, int v, int block = 1) const {
        return done("ky_set_joint_step_block", ky_set_joint_step_block(h(), joint, step, v, block));
    }
    auto set_joint_step(int joint, int v, int block, float step) const {
        return done("ky_set_joint_step", ky_set_joint_step(h(), joint, v, block, step));
    }
    auto set_pos_step_nblock(int axis, float step, int v) const {
        return done("ky_set_pos_step_nblock", ky_set_pos_step_nblock(h(), axis, step, v));
    }
    auto set_pos_step_block(int axis, float step, int v, int block = 1) const {
        return done("ky_set_pos_step_block", ky_set_pos_step_block(h(), axis, step, v, block));
    }
    auto set_pos_step(int axis, int v, int block, float step) const {
        return done("ky_set_pos_step", ky_set_pos_step(h(), axis, v, block, step));
    }
    auto set_ort_step_nblock(int axis, float step, int v) const {
        return done("ky_set_ort_step_nblock", ky_set_ort_step_nblock(h(), axis, step, v));
    }
    auto set_ort_step_block(int axis, float step, int v, int block = 1) const {
        return done("ky_set_ort_step_block", ky_set_ort_step_block(h(), axis, step, v, block));
    }
    auto set_ort_step(int axis, int v, int block, float step) const {
        return done("ky_set_ort_step", ky_set_ort_step(h(), axis, v, block, step));
    }

    // ---- stopping and the trajectory queue
    auto set_arm_slow_stop() const { return done("ky_set_arm_slow_stop", ky_set_arm_slow_stop(h())); }
    auto set_arm_stop() const { return done("ky_set_arm_stop", ky_set_arm_stop(h())); }
    auto set_arm_pause() const { return done("ky_set_arm_pause", ky_set_arm_pause(h())); }
    auto set_arm_continue() const { return done("ky_set_arm_continue", ky_set_arm_continue(h())); }
    auto set_delete_current_trajectory() const {
        return done("ky_set_delete_current_trajectory", ky_set_delete_current_trajectory(h()));
    }
    auto set_arm_delete_trajectory() const {
        return done("ky_set_arm_delete_trajectory", ky_set_arm_delete_trajectory(h()));
    }

    // ---- teach jogging: runs until set_stop_teach(); `dir` non-zero positive, zero negative
    auto set_joint_teach(int joint, int dir, int v) const {
        return done("ky_set_joint_teach", ky_set_joint_teach(h(), joint, dir, v));
    }
    auto set_pos_teach(int axis, int dir, int v) const {
        return done("ky_set_pos_teach", ky_set_pos_teach(h(), axis, dir, v));
    }
    auto set_ort_teach(int axis, int dir, int v) const {
        return done("ky_set_ort_teach", ky_set_ort_teach(h(), axis, dir, v));
    }
    auto set_stop_teach() const { return done("ky_set_stop_teach", ky_set_stop_teach(h())); }
    /** Frame of Cartesian jogging, as the controller numbers it. */
    auto set_teach_frame(int frame_type) const {
        return done("ky_set_teach_frame", ky_set_teach_frame(h(), frame_type));
    }
    auto get_teach_frame() const {
        int frame_type = 0;
        int rc = ky_get_teach_frame(h(), &frame_type);
        return done("ky_get_teach_frame", rc, frame_type);
    }

    /** The trajectory running now; `data` holds dof joint angles or 6 pose values by type. */
    auto get_arm_current_trajectory() const {
        current_trajectory t;
        float data[Joints::capacity] = {};
        int rc = ky_get_arm_current_trajectory(h(), &t.type, data);
        const bool pose = t.type >= 2 && t.type <= 4;
        const std::size_t n = pose ? 6 : (arm_dof() ? arm_dof() : Joints::capacity);
        t.data = Joints(std::span<const float>(data, n));
        return done("ky_get_arm_current_trajectory", rc, t);
    }
};

}  // namespace ky
