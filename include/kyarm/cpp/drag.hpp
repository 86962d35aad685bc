// kyarm/cpp/drag.hpp: drag teaching, replay of the recorded path and saving it to a file.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::drag> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or the return move failed"},
        {-4, "the trajectory file could not be opened (save), or the return move's last completion line named "
             "another device"},
        {-5, "no completion line within the given number of seconds (mode 0)"},
        {-6, "no trajectory point within 2 s of the save, or an unexpected line came meanwhile"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Drag teaching. Mode, frame, grade and record flags are the controller's numbers, passed
 *  through as the C functions take them. */
template <class Self, class Policy>
class drag_ops : public ops_base<Self, Policy, family::drag, drag_ops<Self, Policy>> {
    KY_OPS_BASE(drag_ops, family::drag);

public:
    auto start_drag_teach(int trajectory_record) const {
        return done("ky_start_drag_teach", ky_start_drag_teach(h(), trajectory_record));
    }
    auto stop_drag_teach() const { return done("ky_stop_drag_teach", ky_stop_drag_teach(h())); }
    auto start_multi_drag_teach(int mode, int singular_wall) const {
        return done("ky_start_multi_drag_teach", ky_start_multi_drag_teach(h(), mode, singular_wall));
    }
    /** Reads the arm's identity first; free_axes and singular_wall are sent only to arms with a
     *  six-axis force sensor. */
    auto start_multi_drag_teach_new(const ky_multi_drag_teach_param &param) const {
        return done("ky_start_multi_drag_teach_new", ky_start_multi_drag_teach_new(h(), param));
    }
    /** Waits the long reply time-out (m_nOutTime_max). */
    auto set_drag_teach_sensitivity(int grade) const {
        return done("ky_set_drag_teach_sensitivity", ky_set_drag_teach_sensitivity(h(), grade));
    }
    auto get_drag_teach_sensitivity() const {
        int grade = 0;
        int rc = ky_get_drag_teach_sensitivity(h(), &grade);
        return done("ky_get_drag_teach_sensitivity", rc, grade);
    }
    /** Moves back to the start of the recorded path; `block` non-zero waits for the end of the
     *  move (mode 0: seconds to wait), 0 returns once sent. */
    auto drag_trajectory_origin(int block = 1) const {
        return done("ky_drag_trajectory_origin", ky_drag_trajectory_origin(h(), block));
    }
    /** Replays the recorded path. Zero returns once sent; otherwise blocks at least
     *  `timeout_s` and, in modes 1 and 2, as long as the replay runs. */
    auto run_drag_trajectory(std::chrono::seconds timeout_s) const {
        return done("ky_run_drag_trajectory", ky_run_drag_trajectory(h(), clamp_seconds(timeout_s)));
    }
    auto pause_drag_trajectory() const { return done("ky_pause_drag_trajectory", ky_pause_drag_trajectory(h())); }
    auto continue_drag_trajectory() const {
        return done("ky_continue_drag_trajectory", ky_continue_drag_trajectory(h()));
    }
    auto stop_drag_trajectory() const { return done("ky_stop_drag_trajectory", ky_stop_drag_trajectory(h())); }
    /** Saves the recorded path into the local file `path`; returns the controller's point
     *  count. Blocks at least 2 s (modes 1 and 2) and until every point is written. */
    auto save_trajectory(std::string_view path) const {
        const std::string p(path);
        int total_num = 0;
        int rc = ky_save_trajectory(h(), p.c_str(), &total_num);
        return done("ky_save_trajectory", rc, total_num);
    }
    /** Reads a save_trajectory reply line as the save does (no robot needed): the point
     *  count. `tag` names the caller in the log. */
    static auto parse_save_trajectory(std::string_view tag, std::string_view text) {
        const std::string t(tag), x(text);
        int total_num = 0;
        int rc = parse_ky_save_trajectory(t.c_str(), x.c_str(), &total_num);
        return done("parse_ky_save_trajectory", rc, total_num);
    }

private:
    static int clamp_seconds(std::chrono::seconds s) noexcept {
        return static_cast<int>(std::clamp<std::chrono::seconds::rep>(s.count(), 0, 0x7fffffff));
    }
};

}  // namespace ky
