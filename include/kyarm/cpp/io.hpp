// kyarm/cpp/io.hpp: digital IO and supply voltage of the controller and of the tool flange
// (include/kyarm/io.h). Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::io> {
    static constexpr code_text table[] = {
        {1, "refused by the controller: a channel it lacks, or a mode, level or voltage type it does not take"},
        {-3, "unreadable reply: a missing or non-boolean state key, a missing member or an array of the wrong length"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** One controller channel as ky_get_IO_state reads it. */
struct io_state {
    int state = 0;  // level
    int mode = 0;
};

/** Both tool channels as ky_get_tool_IO_state reads them. */
struct tool_io_state {
    std::array<int, 2> mode{};
    std::array<int, 2> state{};
};

/** Controller and tool IO. Channel numbers, modes, levels and voltage types are the
 *  controller's, passed on unchecked; each member is one exchange waiting m_nOutTime. */
template <class Self, class Policy>
class io_ops : public ops_base<Self, Policy, family::io, io_ops<Self, Policy>> {
    KY_OPS_BASE(io_ops, family::io);

public:
    auto set_IO_mode(int io_num, int io_mode) const {
        return done("ky_set_IO_mode", ky_set_IO_mode(h(), io_num, io_mode));
    }
    auto set_DO_state(int io_num, int state) const {
        return done("ky_set_DO_state", ky_set_DO_state(h(), io_num, state));
    }
    /** Level and mode of controller channel `io_num`. */
    auto get_IO_state(int io_num) const {
        io_state s;
        int rc = ky_get_IO_state(h(), io_num, &s.state, &s.mode);
        return done("ky_get_IO_state", rc, s);
    }
    /** The four controller digital inputs. */
    auto get_IO_input() const {
        std::array<int, 4> di{};
        int rc = ky_get_IO_input(h(), di.data());
        return done("ky_get_IO_input", rc, di);
    }
    /** The four controller digital outputs. */
    auto get_IO_output() const {
        std::array<int, 4> out{};
        int rc = ky_get_IO_output(h(), out.data());
        return done("ky_get_IO_output", rc, out);
    }
    auto set_voltage(int voltage_type) const { return done("ky_set_voltage", ky_set_voltage(h(), voltage_type)); }
    auto get_voltage() const {
        int v = 0;
        int rc = ky_get_voltage(h(), &v);
        return done("ky_get_voltage", rc, v);
    }

    auto set_tool_DO_state(int io_num, int state) const {
        return done("ky_set_tool_DO_state", ky_set_tool_DO_state(h(), io_num, state));
    }
    auto set_tool_IO_mode(int io_num, int io_mode) const {
        return done("ky_set_tool_IO_mode", ky_set_tool_IO_mode(h(), io_num, io_mode));
    }
    /** Modes and levels of both tool channels. */
    auto get_tool_IO_state() const {
        tool_io_state s;
        int rc = ky_get_tool_IO_state(h(), s.mode.data(), s.state.data());
        return done("ky_get_tool_IO_state", rc, s);
    }
    auto set_tool_voltage(int voltage_type) const {
        return done("ky_set_tool_voltage", ky_set_tool_voltage(h(), voltage_type));
    }
    auto get_tool_voltage() const {
        int v = 0;
        int rc = ky_get_tool_voltage(h(), &v);
        return done("ky_get_tool_voltage", rc, v);
    }
};

}  // namespace ky
