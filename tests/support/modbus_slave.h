// A Modbus slave for the tests, served by its own thread with libmodbus: on loopback TCP (an
// ephemeral port) or as an RTU slave on a pseudo-terminal whose other end the master opens.
// Its memory (coils, discrete inputs, holding and input registers) is read and written by the
// tests directly; it can answer late or not at all.
#pragma once
#include <modbus.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace kytest {

class ModbusSlave {
public:
    static constexpr int kBits = 4096, kRegisters = 512;

    // Listens on 127.0.0.1; null when it cannot.
    static std::unique_ptr<ModbusSlave> tcp();
    // Serves RTU unit `unit` on a new pseudo-terminal; null when none can be made.
    static std::unique_ptr<ModbusSlave> rtu(int unit);
    ~ModbusSlave();
    ModbusSlave(const ModbusSlave &) = delete;
    ModbusSlave &operator=(const ModbusSlave &) = delete;

    int port() const { return port_; }                          // TCP
    const std::string &serial_path() const { return path_; }    // RTU: the master's end

    // Runs `f` on the slave's memory with the serving thread held off.
    void memory(const std::function<void(modbus_mapping_t &)> &f);
    // Answers each request `ms` late (0: at once); a negative value: never.
    void set_delay(int ms);
    int requests() const { return requests_; }           // requests received
    int last_unit() const { return last_unit_; }         // unit id of the last one
    int last_function() const { return last_function_; } // its function code

private:
    ModbusSlave() = default;
    void serve();
    bool wait_delay(int ms);  // false when stopping

    modbus_t *ctx_ = nullptr;
    modbus_mapping_t *map_ = nullptr;
    int listen_fd_ = -1, conn_fd_ = -1, pty_master_ = -1, pty_slave_ = -1;
    int port_ = 0;
    std::string path_;
    bool rtu_ = false;
    std::mutex m_;
    std::condition_variable cv_;
    int delay_ms_ = 0;
    bool stop_ = false;
    std::atomic<int> requests_{0}, last_unit_{-1}, last_function_{-1};
    std::thread thread_;
};

}  // namespace kytest
