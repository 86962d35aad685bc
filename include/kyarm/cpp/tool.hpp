// kyarm/cpp/tool.hpp: electric gripper and dexterous hand on the tool flange
// (include/kyarm/tool.h). Include <kyarm.hpp> rather than this file.
#pragma once

#include <chrono>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::tool> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or the device reported the action as failed"},
        {-1, "unknown robot handle, send failure, or a completion report without a boolean trajectory_state"},
        {-2, "no acknowledgement within the time-out"},
        {-3, "unreadable acknowledgement or completion report"},
        {-4, "no completion report in time (gripper), or a report of another device (release, hand)"},
        {-5, "a report of another device (pick, position), or no completion report in time (hand)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Gripper and dexterous hand. Speeds, forces, positions and numbers are the controller's,
 *  sent as given. Set commands wait up to m_nOutTime_max for their acknowledgement; the
 *  actions with `block` true then wait up to `timeout` (whole seconds) for the device's
 *  completion report. A gripper action with block false and a zero timeout is sent without
 *  awaiting any reply. */
template <class Self, class Policy>
class tool_ops : public ops_base<Self, Policy, family::tool, tool_ops<Self, Policy>> {
    KY_OPS_BASE(tool_ops, family::tool);

    static int secs(std::chrono::seconds t) noexcept {
        return static_cast<int>(std::clamp<std::chrono::seconds::rep>(t.count(), 0, INT32_MAX));
    }

public:
    auto set_gripper_route(int min, int max) const {
        return done("ky_set_gripper_route", ky_set_gripper_route(h(), min, max));
    }
    auto set_gripper_release(int speed, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_gripper_release", ky_set_gripper_release(h(), speed, block, secs(timeout)));
    }
    auto set_gripper_pick(int speed, int force, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_gripper_pick", ky_set_gripper_pick(h(), speed, force, block, secs(timeout)));
    }
    auto set_gripper_pick_on(int speed, int force, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_gripper_pick_on", ky_set_gripper_pick_on(h(), speed, force, block, secs(timeout)));
    }
    auto set_gripper_position(int position, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_gripper_position", ky_set_gripper_position(h(), position, block, secs(timeout)));
    }
    /** Waits m_nOutTime. */
    auto get_gripper_state() const {
        ky_gripper_state s{};
        int rc = ky_get_gripper_state(h(), &s);
        return done("ky_get_gripper_state", rc, s);
    }

    auto set_hand_posture(int posture_num, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_hand_posture", ky_set_hand_posture(h(), posture_num, block, secs(timeout)));
    }
    auto set_hand_seq(int seq_num, bool block, std::chrono::seconds timeout) const {
        return done("ky_set_hand_seq", ky_set_hand_seq(h(), seq_num, block, secs(timeout)));
    }
    /** Six finger angles. */
    auto set_hand_angle(const std::array<int, 6> &angle) const {
        return done("ky_set_hand_angle", ky_set_hand_angle(h(), angle.data()));
    }
    /** Six finger angles to follow; no reply is awaited (holds m_nOutTime_max). */
    auto set_hand_follow_angle(const std::array<int, 6> &angle) const {
        return done("ky_set_hand_follow_angle", ky_set_hand_follow_angle(h(), angle.data()));
    }
    auto set_hand_speed(int speed) const { return done("ky_set_hand_speed", ky_set_hand_speed(h(), speed)); }
    auto set_hand_force(int force) const { return done("ky_set_hand_force", ky_set_hand_force(h(), force)); }
};

}  // namespace ky
