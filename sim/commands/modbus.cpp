// Modbus pass-through: the controller as a Modbus master (sim/modbus.h). The mode settings open
// and close the RTU ports 0 and 1 and the connection to a Modbus TCP slave (port 3); every read
// and write is one real Modbus request whose answer goes back in the reply.
//
// Values on the wire: a coil group travels as one int per 8 coils (bit 0 the first coil), a
// register as two ints, its high byte first. A single coil read packs up to 8 coils into its
// one int; a single register read answers the register's value. Reads answer "read_state",
// writes "write_state" (false, without "data", when the slave did not answer in time, the port
// is not open or a number is outside the Modbus limits).
#include <cstdint>
#include <vector>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

struct Access {
    int port = 0, address = 0, device = 0, num = 1;
};

bool access(Ctx &c, Access &a, bool with_num) {
    return c.geti("port", a.port) && c.geti("address", a.address) && c.geti("device", a.device) &&
           (!with_num || c.geti("num", a.num));
}

int bytes_for(int bits) { return (bits + 7) / 8; }

// Bits (one byte each) packed eight to an int, bit 0 first.
std::vector<int> pack_bits(const std::vector<uint8_t> &bits) {
    std::vector<int> out(static_cast<size_t>(bytes_for(static_cast<int>(bits.size()))), 0);
    for (size_t i = 0; i < bits.size(); ++i)
        if (bits[i]) out[i / 8] |= 1 << (i % 8);
    return out;
}

bool byte_values(const int *v, int n) {
    for (int i = 0; i < n; ++i)
        if (v[i] < 0 || v[i] > 255) return false;
    return true;
}

bool set_modbus_mode(Ctx &c) {
    int port = 0, baudrate = 0, timeout = 0;
    return c.geti("port", port) && c.geti("baudrate", baudrate) && c.geti("timeout", timeout) &&
           c.arm.modbus.open_rtu(port, baudrate, timeout);
}

bool close_modbus_mode(Ctx &c) {
    int port = 0;
    return c.geti("port", port) && c.arm.modbus.close_rtu(port);
}

bool set_modbustcp_mode(Ctx &c) {
    std::string ip;
    int port = 0, timeout = 0;
    return c.gets("ip", ip) && c.geti("port", port) && c.geti("timeout", timeout) &&
           c.arm.modbus.open_tcp(ip, port, timeout);
}

bool close_modbustcp_mode(Ctx &c) { return c.arm.modbus.close_tcp(), true; }

// Up to 8 coils or discrete inputs in one int.
bool read_bits_single(Ctx &c, bool inputs) {
    Access a;
    if (!access(c, a, true) || a.num < 1 || a.num > 8) return false;
    std::vector<uint8_t> bits(static_cast<size_t>(a.num));
    if (!c.arm.modbus.read_bits(a.port, a.device, inputs, a.address, a.num, bits.data())) return false;
    c.num("data", pack_bits(bits)[0]);
    return true;
}
bool read_coils(Ctx &c) { return read_bits_single(c, false); }
bool read_input_status(Ctx &c) { return read_bits_single(c, true); }

bool read_register_single(Ctx &c, bool inputs) {
    Access a;
    uint16_t v = 0;
    if (!access(c, a, false) || !c.arm.modbus.read_registers(a.port, a.device, inputs, a.address, 1, &v)) return false;
    c.num("data", v);
    return true;
}
bool read_holding_registers(Ctx &c) { return read_register_single(c, false); }
bool read_input_registers(Ctx &c) { return read_register_single(c, true); }

bool read_multiple_coils(Ctx &c) {
    Access a;
    if (!access(c, a, true) || a.num < 1 || a.num > ModbusMaster::kMaxReadBits) return false;
    std::vector<uint8_t> bits(static_cast<size_t>(a.num));
    if (!c.arm.modbus.read_bits(a.port, a.device, false, a.address, a.num, bits.data())) return false;
    const std::vector<int> packed = pack_bits(bits);
    c.arr("data", packed.data(), static_cast<int>(packed.size()));
    return true;
}

bool read_multiple_registers(Ctx &c, bool inputs) {
    Access a;
    if (!access(c, a, true) || a.num < 1 || a.num > ModbusMaster::kMaxReadRegisters) return false;
    std::vector<uint16_t> regs(static_cast<size_t>(a.num));
    if (!c.arm.modbus.read_registers(a.port, a.device, inputs, a.address, a.num, regs.data())) return false;
    std::vector<int> bytes;
    for (const uint16_t r : regs) {
        bytes.push_back(r >> 8);
        bytes.push_back(r & 0xff);
    }
    c.arr("data", bytes.data(), static_cast<int>(bytes.size()));
    return true;
}
bool read_multiple_holding_registers(Ctx &c) { return read_multiple_registers(c, false); }
bool read_multiple_input_registers(Ctx &c) { return read_multiple_registers(c, true); }

bool write_single_coil(Ctx &c) {
    Access a;
    int v = 0;
    return access(c, a, false) && c.geti("data", v) && (v == 0 || v == 1) &&
           c.arm.modbus.write_bit(a.port, a.device, a.address, v == 1);
}

// A register value, also given as its signed 16-bit reading.
bool write_single_register(Ctx &c) {
    Access a;
    int v = 0;
    return access(c, a, false) && c.geti("data", v) && v >= -32768 && v <= 65535 &&
           c.arm.modbus.write_register(a.port, a.device, a.address, static_cast<uint16_t>(v & 0xffff));
}

bool write_registers(Ctx &c) {
    Access a;
    if (!access(c, a, true) || a.num < 1 || a.num > ModbusMaster::kMaxWriteRegisters) return false;
    std::vector<int> bytes(2 * static_cast<size_t>(a.num));
    if (!c.geta("data", 2 * a.num, bytes.data()) || !byte_values(bytes.data(), 2 * a.num)) return false;
    std::vector<uint16_t> regs(static_cast<size_t>(a.num));
    for (size_t i = 0; i < regs.size(); ++i) regs[i] = static_cast<uint16_t>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
    return c.arm.modbus.write_registers(a.port, a.device, a.address, a.num, regs.data());
}

// "data" holds one int per 8 coils. The library sends num / 8 of them rounded down, so an
// array one short of the coil count is taken too: the coils past its end are written off.
bool write_coils(Ctx &c) {
    Access a;
    if (!access(c, a, true) || a.num < 1 || a.num > ModbusMaster::kMaxWriteBits) return false;
    const cJSON *data = c.item("data");
    const int n = cJSON_IsArray(data) ? cJSON_GetArraySize(data) : -1;
    if (n != bytes_for(a.num) && n != a.num / 8) return false;
    std::vector<int> bytes(static_cast<size_t>(bytes_for(a.num)), 0);
    if (!c.geta(data, n, bytes.data()) || !byte_values(bytes.data(), n)) return false;
    std::vector<uint8_t> bits(static_cast<size_t>(a.num));
    for (size_t i = 0; i < bits.size(); ++i) bits[i] = (bytes[i / 8] >> (i % 8)) & 1;
    return c.arm.modbus.write_bits(a.port, a.device, a.address, a.num, bits.data());
}

}  // namespace

std::span<const Command> modbus_commands() {
    static const Command rows[] = {
        {"set_modbus_mode", "set_modbus_mode", "set_state", set_modbus_mode},
        {"close_modbus_mode", "close_modbus_mode", "set_state", close_modbus_mode},
        {"set_modbustcp_mode", "set_modbustcp_mode", "set_state", set_modbustcp_mode},
        {"close_modbustcp_mode", "close_modbustcp_mode", "set_state", close_modbustcp_mode},
        {"read_coils", "read_coils", "read_state", read_coils},
        {"read_input_status", "read_input_status", "read_state", read_input_status},
        {"read_holding_registers", "read_holding_registers", "read_state", read_holding_registers},
        {"read_input_registers", "read_input_registers", "read_state", read_input_registers},
        {"read_multiple_coils", "read_multiple_coils", "read_state", read_multiple_coils},
        {"read_multiple_holding_registers", "read_multiple_holding_registers", "read_state",
         read_multiple_holding_registers},
        {"read_multiple_input_registers", "read_multiple_input_registers", "read_state",
         read_multiple_input_registers},
        {"write_single_coil", "write_single_coil", "write_state", write_single_coil},
        {"write_single_register", "write_single_register", "write_state", write_single_register},
        {"write_registers", "write_registers", "write_state", write_registers},
        {"write_coils", "write_coils", "write_state", write_coils},
    };
    return rows;
}

}  // namespace ky::sim
