// kyarm/cpp/modbus.hpp: Modbus RTU and Modbus TCP pass-through through the controller.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::modbus> {
    static constexpr code_text table[] = {
        {1, "refused by the controller: the port could not be opened or the Modbus exchange failed"},
        {-1, "unknown robot handle, send failure, or a data array shorter than the count needs"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Modbus reads and writes passed through the controller. `params` names port, first
 *  address, slave id and count; registers travel as two ints each (one per byte), coils as
 *  one int per 8 coils (a bit field). */
template <class Self, class Policy>
class modbus_ops : public ops_base<Self, Policy, family::modbus, modbus_ops<Self, Policy>> {
    KY_OPS_BASE(modbus_ops, family::modbus);

    // Ints a single reply's "data" holds at most: the multiple reads never copy more.
    static constexpr int reply_ints = 24;

public:
    /** Opens serial port `port` as an RTU master; `timeout` in the controller's units. */
    auto set_modbus_mode(int port, int baudrate, int timeout) const {
        return done("ky_set_modbus_mode", ky_set_modbus_mode(h(), port, baudrate, timeout));
    }
    auto close_modbus_mode(int port) const { return done("ky_close_modbus_mode", ky_close_modbus_mode(h(), port)); }
    /** Connects the controller's Modbus TCP master to the slave at ip:port. */
    auto set_modbustcp_mode(std::string_view ip, int port, int timeout) const {
        const std::string address(ip);
        return done("ky_set_modbustcp_mode", ky_set_modbustcp_mode(h(), address.c_str(), port, timeout));
    }
    auto close_modbustcp_mode() const { return done("ky_close_modbustcp_mode", ky_close_modbustcp_mode(h())); }

    /** Coils as one int whose bits are the coils. */
    auto read_coils(const ky_modbus_rw_params &params) const {
        int data = 0;
        int rc = ky_read_coils(h(), params, &data);
        return done("ky_read_coils", rc, data);
    }
    auto read_input_status(const ky_modbus_rw_params &params) const {
        int data = 0;
        int rc = ky_read_input_status(h(), params, &data);
        return done("ky_read_input_status", rc, data);
    }
    /** One register at params.address (params.num is not sent). */
    auto read_holding_registers(const ky_modbus_rw_params &params) const {
        int data = 0;
        int rc = ky_read_holding_registers(h(), params, &data);
        return done("ky_read_holding_registers", rc, data);
    }
    auto read_input_registers(const ky_modbus_rw_params &params) const {
        int data = 0;
        int rc = ky_read_input_registers(h(), params, &data);
        return done("ky_read_input_registers", rc, data);
    }
    /** Waits the long reply time-out plus 2 s. */
    auto write_single_coil(const ky_modbus_rw_params &params, int data) const {
        return done("ky_write_single_coil", ky_write_single_coil(h(), params, data));
    }
    auto write_single_register(const ky_modbus_rw_params &params, int data) const {
        return done("ky_write_single_register", ky_write_single_register(h(), params, data));
    }
    /** params.num registers from `data`: 2 x num ints, one per byte; refused when shorter. */
    auto write_registers(const ky_modbus_rw_params &params, std::span<const int> data) const {
        if (params.num > 0 && data.size() / 2 < static_cast<std::size_t>(params.num)) return refuse("ky_write_registers");
        return done("ky_write_registers", ky_write_registers(h(), params, data.data()));
    }
    /** params.num coils from `data`: num / 8 ints (rounded down), eight coils per int;
     *  refused when shorter. Waits the long reply time-out plus 2 s. */
    auto write_coils(const ky_modbus_rw_params &params, std::span<const int> data) const {
        if (params.num > 0 && data.size() < static_cast<std::size_t>(params.num / 8)) return refuse("ky_write_coils");
        return done("ky_write_coils", ky_write_coils(h(), params, data.data()));
    }
    /** params.num coils: num / 8 ints (rounded down), eight coils per int. */
    auto read_multiple_coils(const ky_modbus_rw_params &params) const {
        std::array<int, reply_ints> buf{};
        int rc = ky_read_multiple_coils(h(), params, buf.data());
        return done("ky_read_multiple_coils", rc, ints(buf, params.num / 8));
    }
    /** params.num registers: 2 x num ints, one per byte. */
    auto read_multiple_holding_registers(const ky_modbus_rw_params &params) const {
        std::array<int, reply_ints> buf{};
        int rc = ky_read_multiple_holding_registers(h(), params, buf.data());
        return done("ky_read_multiple_holding_registers", rc, ints(buf, registers_ints(params.num)));
    }
    auto read_multiple_input_registers(const ky_modbus_rw_params &params) const {
        std::array<int, reply_ints> buf{};
        int rc = ky_read_multiple_input_registers(h(), params, buf.data());
        return done("ky_read_multiple_input_registers", rc, ints(buf, registers_ints(params.num)));
    }

private:
    static int registers_ints(int num) noexcept { return num > reply_ints ? reply_ints : 2 * num; }
    static std::vector<int> ints(const std::array<int, reply_ints> &buf, int n) {
        return std::vector<int>(buf.begin(), buf.begin() + std::clamp(n, 0, reply_ints));
    }
};

}  // namespace ky
