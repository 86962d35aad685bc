// kyarm/cpp/joint_config.hpp: per-joint drive and motion limits, enabling, zeroing and
// error flags. Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::joint_config> {
    static constexpr code_text table[] = {
        {-1, "unknown robot handle, send failure, or the arm's dof is not 6 or 7"},
        {-3, "unreadable reply or a joint array of the wrong length"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Error flags and brake states of every joint (ky_get_joint_err_flag); the first dof
 *  entries of each are filled. */
struct joint_err_flags {
    std::array<uint16_t, 7> err_flag{};
    std::array<uint16_t, 7> brake_state{};
};

/** Per-joint settings. `joint` is the controller's joint number, passed on as given;
 *  positions in degrees, speeds in degrees/s, accelerations in degrees/s^2. Getters return
 *  the dof values of every joint. */
template <class Self, class Policy>
class joint_config_ops : public ops_base<Self, Policy, family::joint_config, joint_config_ops<Self, Policy>> {
    KY_OPS_BASE(joint_config_ops, family::joint_config);

    // One "read every joint into float[dof]" query.
    template <class F>
    auto read_joints(const char *fn, F &&call) const {
        Joints j = joints();
        int rc = call(h(), j.data());
        return done(fn, rc, j);
    }

public:
    // ---- drive limits
    auto set_joint_drive_max_speed(int joint, float speed) const {
        return done("ky_set_joint_drive_max_speed", ky_set_joint_drive_max_speed(h(), joint, speed));
    }
    /** Sent x 1000 (not divided by 6 like the other speeds and accelerations). */
    auto set_joint_drive_max_acc(int joint, float acc) const {
        return done("ky_set_joint_drive_max_acc", ky_set_joint_drive_max_acc(h(), joint, acc));
    }
    auto set_joint_drive_min_pos(int joint, float pos) const {
        return done("ky_set_joint_drive_min_pos", ky_set_joint_drive_min_pos(h(), joint, pos));
    }
    auto set_joint_drive_max_pos(int joint, float pos) const {
        return done("ky_set_joint_drive_max_pos", ky_set_joint_drive_max_pos(h(), joint, pos));
    }
    auto get_joint_drive_max_speed() const {
        return read_joints("ky_get_joint_drive_max_speed", ky_get_joint_drive_max_speed);
    }
    /** Read back as wire value x 6 / 1000. */
    auto get_joint_drive_max_acc() const {
        return read_joints("ky_get_joint_drive_max_acc", ky_get_joint_drive_max_acc);
    }
    auto get_joint_drive_min_pos() const {
        return read_joints("ky_get_joint_drive_min_pos", ky_get_joint_drive_min_pos);
    }
    auto get_joint_drive_max_pos() const {
        return read_joints("ky_get_joint_drive_max_pos", ky_get_joint_drive_max_pos);
    }

    // ---- motion limits: each setter reads every joint's value back into the robot record
    auto set_joint_max_speed(int joint, float speed) const {
        return done("ky_set_joint_max_speed", ky_set_joint_max_speed(h(), joint, speed));
    }
    auto set_joint_max_acc(int joint, float acc) const {
        return done("ky_set_joint_max_acc", ky_set_joint_max_acc(h(), joint, acc));
    }
    auto set_joint_min_pos(int joint, float pos) const {
        return done("ky_set_joint_min_pos", ky_set_joint_min_pos(h(), joint, pos));
    }
    auto set_joint_max_pos(int joint, float pos) const {
        return done("ky_set_joint_max_pos", ky_set_joint_max_pos(h(), joint, pos));
    }
    /** The controller sets the position limits itself, which are then read back. */
    auto auto_set_joint_limit(int mode) const {
        return done("ky_auto_set_joint_limit", ky_auto_set_joint_limit(h(), mode));
    }
    /** Also refreshes the robot record's joint_max_speed. */
    auto get_joint_max_speed() const { return read_joints("ky_get_joint_max_speed", ky_get_joint_max_speed); }
    auto get_joint_max_acc() const { return read_joints("ky_get_joint_max_acc", ky_get_joint_max_acc); }
    auto get_joint_min_pos() const { return read_joints("ky_get_joint_min_pos", ky_get_joint_min_pos); }
    auto get_joint_max_pos() const { return read_joints("ky_get_joint_max_pos", ky_get_joint_max_pos); }

    // ---- enabling, zero, errors
    auto set_joint_en_state(int joint, int state) const {
        return done("ky_set_joint_en_state", ky_set_joint_en_state(h(), joint, state));
    }
    auto set_joint_zero_pos(int joint) const {
        return done("ky_set_joint_zero_pos", ky_set_joint_zero_pos(h(), joint));
    }
    auto set_joint_clear_err(int joint) const {
        return done("ky_set_joint_clear_err", ky_set_joint_clear_err(h(), joint));
    }
    /** One enable byte per joint; the first dof entries are filled. */
    auto get_joint_en_state() const {
        std::array<uint8_t, 7> v{};
        int rc = ky_get_joint_en_state(h(), v.data());
        return done("ky_get_joint_en_state", rc, v);
    }
    auto get_joint_err_flag() const {
        joint_err_flags f;
        int rc = ky_get_joint_err_flag(h(), f.err_flag.data(), f.brake_state.data());
        return done("ky_get_joint_err_flag", rc, f);
    }
};

}  // namespace ky
