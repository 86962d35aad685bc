// kyarm/cpp/frames.hpp: tool and work frames, tool collision envelopes.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include <string>
#include <vector>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::frames> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or no frame or tool of that name"},
        {-1, "unknown robot handle or send failure; for a current-frame query also an unreadable reply"},
        {-2, "no reply within the time-out (for a frame listing also an unreadable list)"},
        {-3, "unreadable reply"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

namespace detail {

/** A frame name as the C calls take it: NUL-terminated; refused (ok false) when longer than
 *  a frame name field holds (KY_FRAME_NAME_LEN characters). */
struct frame_name_arg {
    char text[KY_FRAME_NAME_LEN + 1] = {};
    bool ok;
    explicit frame_name_arg(std::string_view s) noexcept : ok(copy_text(text, s)) {}
};

/** Room for every name a frame listing can carry (its reply is at most 1024 bytes). */
inline constexpr std::size_t frame_listing_capacity = 512;

}  // namespace detail

/** Tool and work frames kept by the controller: poses in metres and radians, payload in kg,
 *  centre of mass in metres. Frame names are at most KY_FRAME_NAME_LEN characters; a longer
 *  name is refused before sending. A get that finds no such frame fails with 1; a get whose
 *  reply lacked members fails with a positive code (the reply's length). */
template <class Self, class Policy>
class frames_ops : public ops_base<Self, Policy, family::frames, frames_ops<Self, Policy>> {
    KY_OPS_BASE(frames_ops, family::frames);
    using name_arg = detail::frame_name_arg;

    auto listing(const char *fn, int (*call)(ky_robot_handle *, ky_frame_name *, int *)) const {
        std::vector<ky_frame_name> names(detail::frame_listing_capacity);
        int count = 0;
        int rc = call(h(), names.data(), &count);
        std::vector<std::string> out;
        if (rc == 0) {
            out.reserve(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) out.push_back(text(names[static_cast<std::size_t>(i)].name));
        }
        return done(fn, rc, std::move(out));
    }

public:
    // ---- tool frames
    /** Records teaching point `point_num` of a taught tool frame. */
    auto set_auto_tool_frame(int point_num) const {
        return done("ky_set_auto_tool_frame", ky_set_auto_tool_frame(h(), point_num));
    }
    /** Creates the taught tool frame `name` with its payload and centre of mass. */
    auto generate_auto_tool_frame(std::string_view name, float payload, float x, float y, float z) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_generate_auto_tool_frame");
        return done("ky_generate_auto_tool_frame", ky_generate_auto_tool_frame(h(), n.text, payload, x, y, z));
    }
    auto set_manual_tool_frame(const ky_frame &frame) const {
        return done("ky_set_manual_tool_frame", ky_set_manual_tool_frame(h(), &frame));
    }
    auto update_tool_frame(const ky_frame &frame) const {
        return done("ky_update_tool_frame", ky_update_tool_frame(h(), &frame));
    }
    /** Sets a tool's collision envelope (the first min(count, 5) balls). */
    auto set_tool_envelope(const ky_tool_envelope &envelope) const {
        return done("ky_set_tool_envelope", ky_set_tool_envelope(h(), &envelope));
    }
    auto get_tool_envelope(std::string_view tool_name) const {
        ky_tool_envelope env{};
        name_arg n(tool_name);
        if (!n.ok) return refuse("ky_get_tool_envelope", env);
        int rc = ky_get_tool_envelope(h(), n.text, &env);
        return done("ky_get_tool_envelope", rc, env);
    }
    /** Names of the controller's tool frames. */
    auto get_total_tool_frame() const { return listing("ky_get_total_tool_frame", &ky_get_total_tool_frame); }
    /** Tool frame `name` (its name cut to 10 characters). */
    auto get_given_tool_frame(std::string_view name) const {
        ky_frame f{};
        name_arg n(name);
        if (!n.ok) return refuse("ky_get_given_tool_frame", f);
        int rc = ky_get_given_tool_frame(h(), n.text, &f);
        return done("ky_get_given_tool_frame", rc, f);
    }
    /** The current tool frame; also refreshes the robot record's tool_frame and Tool_Matrix. */
    auto get_current_tool_frame() const {
        ky_frame f{};
        int rc = ky_get_current_tool_frame(h(), &f);
        return done("ky_get_current_tool_frame", rc, f);
    }
    /** Switches to tool frame `name`, then reads the current tool frame back. */
    auto change_tool_frame(std::string_view name) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_change_tool_frame");
        return done("ky_change_tool_frame", ky_change_tool_frame(h(), n.text));
    }
    auto delete_tool_frame(std::string_view name) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_delete_tool_frame");
        return done("ky_delete_tool_frame", ky_delete_tool_frame(h(), n.text));
    }

    // ---- work frames
    /** Records teaching point `point_num` of the taught work frame `name`. */
    auto set_auto_work_frame(std::string_view name, int point_num) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_set_auto_work_frame");
        return done("ky_set_auto_work_frame", ky_set_auto_work_frame(h(), n.text, point_num));
    }
    /** Creates work frame `name` at `pose` (position and Euler angles). */
    auto set_manual_work_frame(std::string_view name, const ky_pose &pose) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_set_manual_work_frame");
        return done("ky_set_manual_work_frame", ky_set_manual_work_frame(h(), n.text, &pose));
    }
    auto update_work_frame(std::string_view name, const ky_pose &pose) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_update_work_frame");
        return done("ky_update_work_frame", ky_update_work_frame(h(), n.text, &pose));
    }
    /** Names of the controller's work frames (waits m_nOutTime_max). */
    auto get_total_work_frame() const { return listing("ky_get_total_work_frame", &ky_get_total_work_frame); }
    /** Pose of work frame `name`. */
    auto get_given_work_frame(std::string_view name) const {
        ky_pose p{};
        name_arg n(name);
        if (!n.ok) return refuse("ky_get_given_work_frame", p);
        int rc = ky_get_given_work_frame(h(), n.text, &p);
        return done("ky_get_given_work_frame", rc, p);
    }
    /** The current work frame; also refreshes the robot record's work_frame and Frame_Matrix. */
    auto get_current_work_frame() const {
        ky_frame f{};
        int rc = ky_get_current_work_frame(h(), &f);
        return done("ky_get_current_work_frame", rc, f);
    }
    /** Switches to work frame `name`, then reads the current work frame back. */
    auto change_work_frame(std::string_view name) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_change_work_frame");
        return done("ky_change_work_frame", ky_change_work_frame(h(), n.text));
    }
    auto delete_work_frame(std::string_view name) const {
        name_arg n(name);
        if (!n.ok) return refuse("ky_delete_work_frame");
        return done("ky_delete_work_frame", ky_delete_work_frame(h(), n.text));
    }

    // ---- transforms of the current frames (process-wide: the last query of any robot wins)
    /** Copy of Tool_Matrix, the current tool frame on the flange; read it on the thread that
     *  ran the frame query, or while no frame command runs. */
    static ky_matrix tool_matrix() noexcept { return Tool_Matrix; }
    /** Copy of Frame_Matrix, the current work frame in the base. */
    static ky_matrix frame_matrix() noexcept { return Frame_Matrix; }
};

}  // namespace ky
