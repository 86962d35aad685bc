// The simulated controller's Modbus master: real Modbus requests, through libmodbus, to a
// Modbus TCP slave and to slaves on the two RS485 ports (Modbus RTU over a serial device).
//
// Ports: 0 the controller's RS485 port, 1 the tool flange's RS485 port (both RTU, each on the
// serial device named in ModbusOptions), 3 the Modbus TCP slave opened by open_tcp(). A request
// gives up after the port's time-out, so a missing or silent slave costs at most that long.
// Not synchronised itself: the Simulator serialises every call with its state mutex.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

namespace ky::sim {

struct ModbusOptions {
    // Serial device of each RTU port (index 0 and 1); empty: the port has no line and opening
    // it is refused. In tests, one end of a pseudo-terminal whose other end a slave serves.
    std::string serial[2];
    // Upper bound, in milliseconds, of a connect and of a request's wait for its answer; the
    // "timeout" of a mode setting (in 100 ms) can only shorten it. Below the library's reply
    // time-out, so a missing slave is reported as a failure before the library gives up.
    int max_timeout_ms = 500;
};

class ModbusMaster {
public:
    static constexpr int kRtuPorts = 2;
    static constexpr int kTcpPort = 3;
    // Modbus limits of one request.
    static constexpr int kMaxReadBits = 2000, kMaxWriteBits = 1968;
    static constexpr int kMaxReadRegisters = 125, kMaxWriteRegisters = 123;

    ModbusMaster();
    ~ModbusMaster();  // closes every port
    ModbusMaster(const ModbusMaster &) = delete;
    ModbusMaster &operator=(const ModbusMaster &) = delete;

    void configure(const ModbusOptions &options);

    // RTU port 0 or 1 at `baudrate` (8N1); `timeout` in 100 ms (0: the longest allowed).
    // Reopening a port closes it first. False for another port, an unsupported baud rate, a
    // port without a serial device or a device that cannot be opened.
    bool open_rtu(int port, int baudrate, int timeout);
    bool close_rtu(int port);  // false only for a port that does not exist
    // Connects to the slave at ip:port (replacing an earlier connection); false when it cannot
    // be reached within the time-out.
    bool open_tcp(const std::string &ip, int port, int timeout);
    void close_tcp();

    // One request each (function codes 1, 2, 3, 4, 5, 6, 15, 16) to slave `device` through
    // `port`; false when the port is not open, an argument is outside the Modbus limits, or the
    // slave does not answer correctly in time. Bits are one byte (0/1) each.
    bool read_bits(int port, int device, bool inputs, int address, int count, uint8_t *bits);
    bool read_registers(int port, int device, bool inputs, int address, int count, uint16_t *values);
    bool write_bit(int port, int device, int address, bool on);
    bool write_register(int port, int device, int address, uint16_t value);
    bool write_bits(int port, int device, int address, int count, const uint8_t *bits);
    bool write_registers(int port, int device, int address, int count, const uint16_t *values);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ky::sim
