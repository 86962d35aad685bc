// Controller and tool IO: channel modes, output levels, the input and output groups and the
// supply voltage types. The controller has four digital channels numbered 1..4 and the tool
// flange two, numbered 1..2; a channel it does not have, a mode other than 0 (input) or 1
// (output), a level other than 0 or 1 or a voltage type outside 0..3 is refused. Input levels
// change only through the test hooks (Simulator::set_digital_input, set_tool_digital_input).
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// Reads the 1-based channel number into a 0-based index below `channels`.
bool channel(Ctx &c, int channels, int &index) {
    int n = 0;
    if (!c.geti("IO_Num", n) || n < 1 || n > channels) return false;
    index = n - 1;
    return true;
}

// Reads `key` as a 0/1 value.
bool binary(Ctx &c, const char *key, int &v) { return c.geti(key, v) && (v == 0 || v == 1); }

bool set_channel_value(Ctx &c, int channels, const char *key, int *values) {
    int i = 0, v = 0;
    if (!channel(c, channels, i) || !binary(c, key, v)) return false;
    values[i] = v;
    return true;
}

bool set_voltage_value(Ctx &c, int &type) {
    int v = 0;
    if (!c.geti("voltage_type", v) || v < 0 || v > 3) return false;
    type = v;
    return true;
}

bool set_io_mode(Ctx &c) { return set_channel_value(c, IoState::kChannels, "IO_mode", c.arm.io.mode); }
bool set_do_state(Ctx &c) { return set_channel_value(c, IoState::kChannels, "state", c.arm.io.dout); }
bool set_tool_do_state(Ctx &c) {
    return set_channel_value(c, IoState::kToolChannels, "state", c.arm.io.tool_do);
}
// The tool's mode arrives under "state".
bool set_tool_io_mode(Ctx &c) {
    return set_channel_value(c, IoState::kToolChannels, "state", c.arm.io.tool_mode);
}
bool set_voltage(Ctx &c) { return set_voltage_value(c, c.arm.io.voltage_type); }
bool set_tool_voltage(Ctx &c) { return set_voltage_value(c, c.arm.io.tool_voltage_type); }

// One channel: its mode and the level that mode selects. A channel the controller does not
// have is answered under the request's own name with "get_state" false.
bool get_io_state(Ctx &c) {
    const IoState &io = c.arm.io;
    int i = 0;
    if (!channel(c, IoState::kChannels, i)) {
        c.rename("get_IO_state");
        c.boolean("get_state", false);
        return false;
    }
    c.num("IO_Num", i + 1);
    c.num("IO_Mode", io.mode[i]);
    c.num("IO_state", io.mode[i] == 1 ? io.dout[i] : io.di[i]);
    return true;
}

bool get_io_input(Ctx &c) { return c.arr("DI", c.arm.io.di, IoState::kChannels), true; }
bool get_io_output(Ctx &c) { return c.arr("DO", c.arm.io.dout, IoState::kChannels), true; }
bool get_voltage(Ctx &c) { return c.num("voltage_type", c.arm.io.voltage_type), true; }
bool get_tool_voltage(Ctx &c) { return c.num("voltage_type", c.arm.io.tool_voltage_type), true; }

bool get_tool_io_state(Ctx &c) {
    const IoState &io = c.arm.io;
    int level[IoState::kToolChannels];
    for (int i = 0; i < IoState::kToolChannels; ++i) level[i] = io.tool_mode[i] == 1 ? io.tool_do[i] : io.tool_di[i];
    c.arr("IO_Mode", io.tool_mode, IoState::kToolChannels);
    c.arr("IO_state", level, IoState::kToolChannels);
    return true;
}

}  // namespace

std::span<const Command> io_commands() {
    // The setters of the voltage answer with "state", the others with "set_state"; the getters
    // answer under names of their own.
    static const Command rows[] = {
        {"set_IO_mode", "set_IO_mode", "set_state", set_io_mode},
        {"set_DO_state", "set_DO_state", "set_state", set_do_state},
        {"get_IO_state", "IO_state", nullptr, get_io_state},
        {"get_IO_input", "IO_input_state", nullptr, get_io_input},
        {"get_IO_output", "IO_output_state", nullptr, get_io_output},
        {"set_voltage", "set_voltage", "state", set_voltage},
        {"get_voltage", "voltage_state", nullptr, get_voltage},
        {"set_tool_DO_state", "set_tool_DO_state", "set_state", set_tool_do_state},
        {"set_tool_IO_mode", "set_tool_IO_mode", "set_state", set_tool_io_mode},
        {"get_tool_IO_state", "tool_IO_state", nullptr, get_tool_io_state},
        {"set_tool_voltage", "set_tool_voltage", "state", set_tool_voltage},
        {"get_tool_voltage", "tool_voltage_state", nullptr, get_tool_voltage},
    };
    return rows;
}

}  // namespace ky::sim
