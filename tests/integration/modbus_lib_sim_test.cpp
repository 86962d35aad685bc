// The library's Modbus pass-through against the simulator, which forwards every request to a
// real libmodbus slave (loopback TCP as port 3, a pseudo-terminal as RTU port 0): values
// written through the library are found in the slave's memory and the other way round, the
// coil and register packing survives the round trip, and a failed Modbus exchange comes back
// as 1 within the reply time-out.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <vector>

#include "ky_api.h"
#include "sim/simulator.h"
#include "support/modbus_slave.h"
#include "support/test_util.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Line {
    const char *name;
    int port;
    int device;
};
const Line kLines[] = {{"tcp", 3, 7}, {"rtu", 0, 1}};

class ModbusLibSim : public ::testing::Test {
protected:
    std::unique_ptr<kytest::ModbusSlave> tcp_slave = kytest::ModbusSlave::tcp();
    std::unique_ptr<kytest::ModbusSlave> rtu_slave = kytest::ModbusSlave::rtu(1);
    std::unique_ptr<ky::sim::Simulator> sim;
    std::unique_ptr<kytest::Library> lib;
    ky_robot_handle *robot = nullptr;

    void SetUp() override {
        ASSERT_TRUE(tcp_slave && rtu_slave);
        ky::sim::Options o;
        o.push_enable = false;
        o.modbus.serial[0] = rtu_slave->serial_path();
        o.modbus.max_timeout_ms = 300;
        sim = std::make_unique<ky::sim::Simulator>(o);
        ASSERT_TRUE(sim->start()) << sim->error();
        lib = std::make_unique<kytest::Library>(1, 500, 1000);
        robot = ky_create_robot_arm("127.0.0.1", sim->port());
        ASSERT_NE(robot, nullptr);
    }
    void TearDown() override {
        lib.reset();
        sim.reset();
    }

    kytest::ModbusSlave &slave(const Line &line) { return line.port == 3 ? *tcp_slave : *rtu_slave; }
    int open(const Line &line) {
        return line.port == 3 ? ky_set_modbustcp_mode(robot, "127.0.0.1", tcp_slave->port(), 0)
                              : ky_set_modbus_mode(robot, line.port, 115200, 0);
    }
    int close_line(const Line &line) {
        return line.port == 3 ? ky_close_modbustcp_mode(robot) : ky_close_modbus_mode(robot, line.port);
    }
    std::vector<int> coils(const Line &line, int at, int n) {
        std::vector<int> v;
        slave(line).memory([&](modbus_mapping_t &m) {
            for (int i = 0; i < n; ++i) v.push_back(m.tab_bits[at + i]);
        });
        return v;
    }
    std::vector<int> registers(const Line &line, int at, int n) {
        std::vector<int> v;
        slave(line).memory([&](modbus_mapping_t &m) {
            for (int i = 0; i < n; ++i) v.push_back(m.tab_registers[at + i]);
        });
        return v;
    }
};

TEST_F(ModbusLibSim, WritesReachTheSlaveAndReadsReturnItsMemory) {
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        ASSERT_EQ(open(line), 0);
        auto at = [&](int address, int num) { return ky_modbus_rw_params{line.port, address, line.device, num}; };
        slave(line).memory([](modbus_mapping_t &m) {
            for (int i = 0; i < 8; ++i) m.tab_input_bits[300 + i] = (0x5A >> i) & 1;
            m.tab_input_registers[20] = 0xFFFF, m.tab_input_registers[21] = 0x0102;
            for (int i = 0; i < 32; ++i) m.tab_bits[100 + i] = 1;
        });

        const int regs[4] = {0x12, 0x34, 0xAB, 0xCD};
        ASSERT_EQ(ky_write_registers(robot, at(40, 2), regs), 0);
        EXPECT_EQ(registers(line, 40, 2), (std::vector<int>{0x1234, 0xABCD}));
        int back[4] = {-1, -1, -1, -1};
        ASSERT_EQ(ky_read_multiple_holding_registers(robot, at(40, 2), back), 0);
        EXPECT_EQ(std::vector<int>(back, back + 4), std::vector<int>(regs, regs + 4));

        ASSERT_EQ(ky_write_single_register(robot, at(9, 0), 0xBEEF), 0);
        int one = -1;
        ASSERT_EQ(ky_read_holding_registers(robot, at(9, 0), &one), 0);
        EXPECT_EQ(one, 0xBEEF);
        ASSERT_EQ(ky_write_single_coil(robot, at(140, 0), 1), 0);
        ASSERT_EQ(ky_read_coils(robot, at(140, 1), &one), 0);
        EXPECT_EQ(one, 1);
        ASSERT_EQ(ky_read_input_status(robot, at(300, 8), &one), 0);
        EXPECT_EQ(one, 0x5A);
        ASSERT_EQ(ky_read_input_registers(robot, at(20, 0), &one), 0);
        EXPECT_EQ(one, 0xFFFF);
        ASSERT_EQ(ky_read_multiple_input_registers(robot, at(20, 2), back), 0);
        EXPECT_EQ(std::vector<int>(back, back + 4), (std::vector<int>{0xFF, 0xFF, 1, 2}));

        // Coils: the library sends and copies num / 8 ints rounded down.
        const int bytes[3] = {0x0F, 0xF0, 0x01};
        ASSERT_EQ(ky_write_coils(robot, at(100, 16), bytes), 0);
        EXPECT_EQ(coils(line, 100, 17), (std::vector<int>{1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1}));
        ASSERT_EQ(ky_write_coils(robot, at(116, 7), bytes), 0);  // an empty array: written off
        EXPECT_EQ(coils(line, 116, 8), (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 1}));
        struct CoilRead {
            int num;
            std::vector<int> copied;  // the caller's array after the read (sentinel -1)
        };
        const CoilRead reads[] = {
            {7, {-1, -1, -1}}, {8, {0x0F, -1, -1}}, {16, {0x0F, 0xF0, -1}}, {17, {0x0F, 0xF0, -1}}};
        for (const auto &r : reads) {
            SCOPED_TRACE(r.num);
            int out[3] = {-1, -1, -1};
            ASSERT_EQ(ky_read_multiple_coils(robot, at(100, r.num), out), 0);
            EXPECT_EQ(std::vector<int>(out, out + 3), r.copied);
        }
        EXPECT_EQ(close_line(line), 0);
    }
}

TEST_F(ModbusLibSim, FailedModbusExchangesReturnOneInTime) {
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        const ky_modbus_rw_params p{line.port, 0, line.device, 2};
        int out[4] = {-1, -1, -1, -1};
        EXPECT_EQ(ky_read_multiple_holding_registers(robot, p, out), 1);  // the port is not open
        ASSERT_EQ(open(line), 0);
        slave(line).set_delay(-1);
        const int data[4] = {1, 2, 3, 4};
        struct Call {
            const char *name;
            std::function<int()> fn;
        };
        const Call calls[] = {
            {"read_holding_registers", [&] { return ky_read_holding_registers(robot, p, out); }},
            {"write_registers", [&] { return ky_write_registers(robot, p, data); }},
            {"read_multiple_input_registers", [&] { return ky_read_multiple_input_registers(robot, p, out); }},
        };
        for (const auto &c : calls) {
            SCOPED_TRACE(c.name);
            const auto start = Clock::now();
            EXPECT_EQ(c.fn(), 1);
            EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1000));
        }
        EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{-1, -1, -1, -1}));
    }
    EXPECT_EQ(ky_set_modbus_mode(robot, 1, 115200, 0), 1);  // no serial line on port 1
}

}  // namespace
