// Modbus master of the simulated controller on libmodbus: one RTU context per RS485 port and
// one TCP context. Every request first drops whatever a slave sent late to an earlier one, so a
// reply that missed its time-out is never taken for the answer to the next request.
#include "sim/modbus.h"

#include <arpa/inet.h>
#include <modbus.h>

#include <algorithm>
#include <cerrno>

namespace ky::sim {

namespace {

constexpr int kBaudRates[] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800};

struct Context {
    modbus_t *ctx = nullptr;
    bool tcp = false;
    bool link_lost = false;  // the TCP connection broke; reconnect before the next request

    ~Context() { reset(); }
    void reset() {
        if (ctx != nullptr) {
            modbus_close(ctx);
            modbus_free(ctx);
        }
        ctx = nullptr;
        link_lost = false;
    }
};

void set_timeouts(modbus_t *ctx, int ms) {
    const auto sec = static_cast<uint32_t>(ms / 1000), usec = static_cast<uint32_t>(ms % 1000) * 1000;
    modbus_set_response_timeout(ctx, sec, usec);
    // A slave that stops in the middle of a frame is given up after a fraction of the wait.
    const int byte_ms = std::max(1, std::min(ms, 100));
    modbus_set_byte_timeout(ctx, 0, static_cast<uint32_t>(byte_ms) * 1000);
}

bool link_error(int e) { return e == ECONNRESET || e == EPIPE || e == EBADF || e == ENOTCONN || e == ECONNREFUSED; }

}  // namespace

struct ModbusMaster::Impl {
    ModbusOptions options;
    Context rtu[kRtuPorts];
    Context tcp;

    int wait_ms(int timeout) const {
        const int cap = std::max(1, options.max_timeout_ms);
        return timeout > 0 && timeout <= cap / 100 ? timeout * 100 : cap;
    }

    // The open context of `port`, addressed to `device`; null when the port is not open or the
    // device number is not a slave address of its kind (RTU 1..247, TCP unit 0..255).
    modbus_t *target(int port, int device) {
        Context *c = port == kTcpPort ? &tcp : (port >= 0 && port < kRtuPorts ? &rtu[port] : nullptr);
        if (c == nullptr || c->ctx == nullptr) return nullptr;
        if (device < (c->tcp ? 0 : 1) || device > (c->tcp ? 255 : 247)) return nullptr;
        if (c->link_lost) {
            modbus_close(c->ctx);
            if (modbus_connect(c->ctx) != 0) return nullptr;
            c->link_lost = false;
        }
        if (modbus_set_slave(c->ctx, device) != 0) return nullptr;
        modbus_flush(c->ctx);
        return c->ctx;
    }

    // Notes a failed request on a TCP context whose connection broke.
    bool done(int port, int rc, int expected) {
        if (rc == expected) return true;
        if (port == kTcpPort && rc < 0 && link_error(errno)) tcp.link_lost = true;
        return false;
    }
};

ModbusMaster::ModbusMaster() : impl_(std::make_unique<Impl>()) {}
ModbusMaster::~ModbusMaster() = default;

void ModbusMaster::configure(const ModbusOptions &options) { impl_->options = options; }

bool ModbusMaster::open_rtu(int port, int baudrate, int timeout) {
    if (port < 0 || port >= kRtuPorts) return false;
    Context &c = impl_->rtu[port];
    c.reset();
    const std::string &device = impl_->options.serial[port];
    if (device.empty() || std::find(std::begin(kBaudRates), std::end(kBaudRates), baudrate) == std::end(kBaudRates))
        return false;
    c.ctx = modbus_new_rtu(device.c_str(), baudrate, 'N', 8, 1);
    if (c.ctx == nullptr) return false;
    set_timeouts(c.ctx, impl_->wait_ms(timeout));
    if (modbus_connect(c.ctx) != 0) {
        modbus_free(c.ctx);
        c.ctx = nullptr;
        return false;
    }
    return true;
}

bool ModbusMaster::close_rtu(int port) {
    if (port < 0 || port >= kRtuPorts) return false;
    impl_->rtu[port].reset();
    return true;
}

bool ModbusMaster::open_tcp(const std::string &ip, int port, int timeout) {
    Context &c = impl_->tcp;
    c.reset();
    in_addr a{};
    if (port < 1 || port > 65535 || inet_pton(AF_INET, ip.c_str(), &a) != 1) return false;
    c.ctx = modbus_new_tcp(ip.c_str(), port);
    if (c.ctx == nullptr) return false;
    c.tcp = true;
    // libmodbus bounds the connect by the response time-out as well.
    set_timeouts(c.ctx, impl_->wait_ms(timeout));
    if (modbus_connect(c.ctx) != 0) {
        modbus_free(c.ctx);
        c.ctx = nullptr;
        return false;
    }
    return true;
}

void ModbusMaster::close_tcp() { impl_->tcp.reset(); }

namespace {
bool span_ok(int address, int count, int max) {
    return address >= 0 && count >= 1 && count <= max && address + count <= 0x10000;
}
}  // namespace

bool ModbusMaster::read_bits(int port, int device, bool inputs, int address, int count, uint8_t *bits) {
    if (!span_ok(address, count, kMaxReadBits)) return false;
    modbus_t *ctx = impl_->target(port, device);
    if (ctx == nullptr) return false;
    const int rc = inputs ? modbus_read_input_bits(ctx, address, count, bits) : modbus_read_bits(ctx, address, count, bits);
    return impl_->done(port, rc, count);
}

bool ModbusMaster::read_registers(int port, int device, bool inputs, int address, int count, uint16_t *values) {
    if (!span_ok(address, count, kMaxReadRegisters)) return false;
    modbus_t *ctx = impl_->target(port, device);
    if (ctx == nullptr) return false;
    const int rc = inputs ? modbus_read_input_registers(ctx, address, count, values)
                          : modbus_read_registers(ctx, address, count, values);
    return impl_->done(port, rc, count);
}

bool ModbusMaster::write_bit(int port, int device, int address, bool on) {
    if (!span_ok(address, 1, 1)) return false;
    modbus_t *ctx = impl_->target(port, device);
    return ctx != nullptr && impl_->done(port, modbus_write_bit(ctx, address, on ? 1 : 0), 1);
}

bool ModbusMaster::write_register(int port, int device, int address, uint16_t value) {
    if (!span_ok(address, 1, 1)) return false;
    modbus_t *ctx = impl_->target(port, device);
    return ctx != nullptr && impl_->done(port, modbus_write_register(ctx, address, value), 1);
}

bool ModbusMaster::write_bits(int port, int device, int address, int count, const uint8_t *bits) {
    if (!span_ok(address, count, kMaxWriteBits)) return false;
    modbus_t *ctx = impl_->target(port, device);
    return ctx != nullptr && impl_->done(port, modbus_write_bits(ctx, address, count, bits), count);
}

bool ModbusMaster::write_registers(int port, int device, int address, int count, const uint16_t *values) {
    if (!span_ok(address, count, kMaxWriteRegisters)) return false;
    modbus_t *ctx = impl_->target(port, device);
    return ctx != nullptr && impl_->done(port, modbus_write_registers(ctx, address, count, values), count);
}

}  // namespace ky::sim
