// The simulator as a Modbus master, at the wire level: raw JSON commands in, real Modbus
// requests out to a libmodbus slave thread on loopback TCP (port 3) and on a pseudo-terminal
// (RTU port 0). Values written through the simulator are read from the slave's own memory and
// the other way round; silent and slow slaves cost at most the Modbus time-out.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <variant>
#include <vector>

#include "sim/simulator.h"
#include "sim/sim_client.h"
#include "support/modbus_slave.h"

using namespace simtest;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kModbusTimeoutMs = 300;  // the simulator's Modbus time-out in these tests
constexpr int kReplyWaitMs = 1000;     // the library's wait for a Modbus reply

struct Line {
    const char *name;
    int port;    // "port" of the commands
    int device;  // slave (unit) id
};
const Line kLines[] = {{"tcp", 3, 7}, {"rtu", 0, 1}};

// One request line, built member by member.
class Req {
public:
    explicit Req(const char *command) : o_(cJSON_CreateObject()) { cJSON_AddStringToObject(o_, "command", command); }
    ~Req() { cJSON_Delete(o_); }
    Req &i(const char *key, int v) { return cJSON_AddNumberToObject(o_, key, v), *this; }
    Req &s(const char *key, const char *v) { return cJSON_AddStringToObject(o_, key, v), *this; }
    Req &a(const char *key, const std::vector<int> &v) {  // also empty, as the library sends it
        cJSON *a = cJSON_AddArrayToObject(o_, key);
        for (int x : v) cJSON_AddItemToArray(a, cJSON_CreateNumber(x));
        return *this;
    }
    operator std::string() const {
        char *t = cJSON_PrintUnformatted(o_);
        std::string text = t;
        cJSON_free(t);
        return text;
    }

private:
    cJSON *o_;
};

// A read or write request; a negative `num` and no `data` leave their keys out.
struct Access {
    const char *command;
    int address;
    int num = -1;
    std::variant<std::monostate, int, std::vector<int>> data{};
};

std::string access_req(const Access &a, const Line &line) {
    Req r(a.command);
    r.i("port", line.port).i("address", a.address);
    if (a.num >= 0) r.i("num", a.num);
    if (const int *i = std::get_if<int>(&a.data)) r.i("data", *i);
    if (const auto *v = std::get_if<std::vector<int>>(&a.data)) r.a("data", *v);
    return r.i("device", line.device);
}

bool is_true(const Json &j, const char *key) { return j && cJSON_IsTrue(member(j, key)); }
bool is_false(const Json &j, const char *key) { return j && cJSON_IsFalse(member(j, key)); }

// "data" as a list of ints; a lone int becomes a list of one.
std::vector<int> data_of(const Json &j) {
    const cJSON *d = j ? member(j, "data") : nullptr;
    std::vector<int> v;
    if (cJSON_IsNumber(d)) v.push_back(d->valueint);
    const cJSON *e = nullptr;
    if (cJSON_IsArray(d)) cJSON_ArrayForEach(e, d) v.push_back(e->valueint);
    return v;
}

// Coils from bytes, bit 0 first.
void put_bits(uint8_t *bits, int address, const std::vector<int> &bytes) {
    for (size_t i = 0; i < bytes.size() * 8; ++i) bits[address + static_cast<int>(i)] = (bytes[i / 8] >> (i % 8)) & 1;
}

class ModbusSim : public ::testing::Test {
protected:
    std::unique_ptr<kytest::ModbusSlave> tcp_slave = kytest::ModbusSlave::tcp();
    std::unique_ptr<kytest::ModbusSlave> rtu_slave = kytest::ModbusSlave::rtu(1);
    std::unique_ptr<ky::sim::Simulator> sim;
    std::unique_ptr<TcpClient> client;

    void SetUp() override {
        ASSERT_TRUE(tcp_slave && rtu_slave);
        ky::sim::Options o;
        o.push_enable = false;
        o.modbus.serial[0] = rtu_slave->serial_path();
        o.modbus.serial[1] = "/nonexistent/ttyKY1";  // a line that cannot be opened
        o.modbus.max_timeout_ms = kModbusTimeoutMs;
        sim = std::make_unique<ky::sim::Simulator>(o);
        ASSERT_TRUE(sim->start()) << sim->error();
        client = std::make_unique<TcpClient>(sim->port());
        ASSERT_TRUE(client->connected());
    }

    kytest::ModbusSlave &slave(const Line &line) { return line.port == 3 ? *tcp_slave : *rtu_slave; }

    // The reply to `json`, matched on its command name.
    Json call(const std::string &json, TcpClient *c = nullptr) {
        return (c ? c : client.get())->request(json, command_of(json), 3000);
    }
    bool open(const Line &line) {
        if (line.port == 3)
            return is_true(call(Req("set_modbustcp_mode").s("ip", "127.0.0.1").i("port", tcp_slave->port()).i("timeout", 0)),
                           "set_state");
        return is_true(call(Req("set_modbus_mode").i("port", line.port).i("baudrate", 115200).i("timeout", 0)),
                       "set_state");
    }
};

TEST_F(ModbusSim, ModeSettingsOpenAndCloseThePorts) {
    int closed_port = 0;
    {
        auto probe = kytest::ModbusSlave::tcp();
        ASSERT_TRUE(probe);
        closed_port = probe->port();
    }
    struct Case {
        std::string request;
        bool ok;
    };
    const Case cases[] = {
        {Req("set_modbustcp_mode").s("ip", "127.0.0.1").i("port", tcp_slave->port()).i("timeout", 5), true},
        {Req("set_modbustcp_mode").s("ip", "127.0.0.1").i("port", closed_port).i("timeout", 5), false},
        {Req("set_modbustcp_mode").s("ip", "controller").i("port", tcp_slave->port()).i("timeout", 5), false},
        {Req("set_modbustcp_mode").s("ip", "127.0.0.1").i("port", 0).i("timeout", 5), false},
        {Req("close_modbustcp_mode"), true},
        {Req("set_modbus_mode").i("port", 0).i("baudrate", 115200).i("timeout", 2), true},
        {Req("set_modbus_mode").i("port", 0).i("baudrate", 9600).i("timeout", 2), true},  // reopened
        {Req("set_modbus_mode").i("port", 0).i("baudrate", 12345).i("timeout", 2), false},
        {Req("set_modbus_mode").i("port", 1).i("baudrate", 115200).i("timeout", 2), false},  // no device
        {Req("set_modbus_mode").i("port", 2).i("baudrate", 115200).i("timeout", 2), false},
        {Req("set_modbus_mode").i("port", 0).i("baudrate", 115200), false},
        {Req("close_modbus_mode").i("port", 0), true},
        {Req("close_modbus_mode").i("port", 1), true},
        {Req("close_modbus_mode").i("port", 4), false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.request);
        const auto start = Clock::now();
        Json j = call(c.request);
        ASSERT_TRUE(j);
        EXPECT_EQ(cJSON_IsTrue(member(j, "set_state")), c.ok);
        EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(kReplyWaitMs));
    }
    // Port 0 was closed last: a read through it fails without reaching the slave.
    const int before = rtu_slave->requests();
    EXPECT_TRUE(is_false(call(access_req({"read_holding_registers", 0}, kLines[1])), "read_state"));
    EXPECT_EQ(rtu_slave->requests(), before);
}

TEST_F(ModbusSim, WritesLandInTheSlavesMemory) {
    enum Area { Coils, Registers };
    struct Case {
        Access access;
        bool ok;
        int function;                // Modbus function code sent (when ok)
        Area area;
        int at;                      // first address compared
        std::vector<int> expected;   // slave memory from `at` on; coils start all 1, registers 0x5555
    };
    const std::vector<int> max_regs(2 * 123, 0x7f), too_many_regs(2 * 124, 0x7f);
    const Case cases[] = {
        {{"write_single_coil", 5, -1, 0}, true, 5, Coils, 4, {1, 0, 1}},
        {{"write_single_coil", 5, -1, 2}, false, 0, Coils, 5, {1}},
        {{"write_single_register", 9, -1, 48879}, true, 6, Registers, 9, {0xBEEF, 0x5555}},
        {{"write_single_register", 9, -1, -2}, true, 6, Registers, 9, {0xFFFE}},
        {{"write_single_register", 9, -1, 65536}, false, 0, Registers, 9, {0x5555}},
        {{"write_registers", 40, 2, std::vector<int>{0x12, 0x34, 0xAB, 0xCD}}, true, 16, Registers, 39,
         {0x5555, 0x1234, 0xABCD, 0x5555}},
        {{"write_registers", 40, 1, std::vector<int>{0x100, 0}}, false, 0, Registers, 40, {0x5555}},
        {{"write_registers", 40, 2, std::vector<int>{1, 2}}, false, 0, Registers, 40, {0x5555}},
        {{"write_registers", 0, 123, max_regs}, true, 16, Registers, 122, {0x7f7f, 0x5555}},
        {{"write_registers", 0, 124, too_many_regs}, false, 0, Registers, 0, {0x5555}},
        {{"write_registers", 0, 0, std::vector<int>{}}, false, 0, Registers, 0, {0x5555}},
        {{"write_coils", 100, 0, std::vector<int>{}}, false, 0, Coils, 100, {1}},
        // One int per 8 coils; coils past a short array (num / 8 rounded down) are written 0.
        {{"write_coils", 100, 7, std::vector<int>{}}, true, 15, Coils, 100, {0, 0, 0, 0, 0, 0, 0, 1}},
        {{"write_coils", 100, 8, std::vector<int>{0xA5}}, true, 15, Coils, 100, {1, 0, 1, 0, 0, 1, 0, 1, 1}},
        {{"write_coils", 100, 9, std::vector<int>{0xA5}}, true, 15, Coils, 100, {1, 0, 1, 0, 0, 1, 0, 1, 0, 1}},
        {{"write_coils", 100, 9, std::vector<int>{0xA4, 1}}, true, 15, Coils, 100, {0, 0, 1, 0, 0, 1, 0, 1, 1, 1}},
        {{"write_coils", 100, 16, std::vector<int>{0x0F, 0xF0}}, true, 15, Coils, 100,
         {1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1}},
        {{"write_coils", 100, 17, std::vector<int>{0x0F, 0xF0}}, true, 15, Coils, 112, {1, 1, 1, 1, 0, 1}},
        {{"write_coils", 100, 17, std::vector<int>{0x0F, 0xF0, 0}}, true, 15, Coils, 112, {1, 1, 1, 1, 0, 1}},
        {{"write_coils", 100, 17, std::vector<int>{0x0F}}, false, 0, Coils, 100, {1}},
        {{"write_coils", 100, 8, std::vector<int>{256}}, false, 0, Coils, 100, {1}},
    };
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        ASSERT_TRUE(open(line));
        kytest::ModbusSlave &s = slave(line);
        for (const auto &c : cases) {
            const std::string request = access_req(c.access, line);
            SCOPED_TRACE(request);
            s.memory([](modbus_mapping_t &m) {
                for (int i = 0; i < m.nb_bits; ++i) m.tab_bits[i] = 1;
                for (int i = 0; i < m.nb_registers; ++i) m.tab_registers[i] = 0x5555;
            });
            const int before = s.requests();
            Json j = call(request);
            ASSERT_TRUE(j);
            EXPECT_EQ(cJSON_IsTrue(member(j, "write_state")), c.ok);
            EXPECT_EQ(s.requests(), before + (c.ok ? 1 : 0));
            if (c.ok) {
                EXPECT_EQ(s.last_function(), c.function);
                EXPECT_EQ(s.last_unit(), line.device);
            }
            std::vector<int> got;
            s.memory([&](modbus_mapping_t &m) {
                for (size_t i = 0; i < c.expected.size(); ++i)
                    got.push_back(c.area == Coils ? m.tab_bits[c.at + i] : m.tab_registers[c.at + i]);
            });
            EXPECT_EQ(got, c.expected);
        }
    }
}

TEST_F(ModbusSim, ReadsReturnTheSlavesMemory) {
    std::vector<int> max_read(2 * 125, 0);  // registers 0..124: all 0 but 10 and 11
    max_read[20] = 0x12, max_read[21] = 0x34, max_read[22] = 0xAB, max_read[23] = 0xCD;
    struct Case {
        Access access;
        bool ok;
        int function;
        std::vector<int> data;
    };
    const Case cases[] = {
        {{"read_coils", 200, 8}, true, 1, {0xA5}},
        {{"read_coils", 200, 7}, true, 1, {0x25}},
        {{"read_coils", 208, 1}, true, 1, {0}},
        {{"read_coils", 200, 9}, false, 0, {}},
        {{"read_coils", 200, 0}, false, 0, {}},
        {{"read_input_status", 300, 8}, true, 2, {0x5A}},
        {{"read_input_status", 302, 4}, true, 2, {0x6}},
        {{"read_holding_registers", 10}, true, 3, {0x1234}},
        {{"read_holding_registers", 11, 5}, true, 3, {0xABCD}},  // a "num" is ignored
        {{"read_holding_registers", 600}, false, 3, {}},         // the slave has no such register
        {{"read_input_registers", 20}, true, 4, {0xFFFF}},
        {{"read_multiple_coils", 200, 0}, false, 0, {}},
        {{"read_multiple_coils", 200, 7}, true, 1, {0x25}},
        {{"read_multiple_coils", 200, 8}, true, 1, {0xA5}},
        {{"read_multiple_coils", 200, 9}, true, 1, {0xA5, 0}},
        {{"read_multiple_coils", 200, 16}, true, 1, {0xA5, 0x3C}},
        {{"read_multiple_coils", 200, 17}, true, 1, {0xA5, 0x3C, 1}},
        {{"read_multiple_coils", 0, 2001}, false, 0, {}},
        {{"read_multiple_holding_registers", 10, 2}, true, 3, {0x12, 0x34, 0xAB, 0xCD}},
        {{"read_multiple_holding_registers", 0, 125}, true, 3, max_read},
        {{"read_multiple_holding_registers", 0, 126}, false, 0, {}},
        {{"read_multiple_holding_registers", 65535, 2}, false, 0, {}},
        {{"read_multiple_input_registers", 20, 2}, true, 4, {0xFF, 0xFF, 1, 2}},
        {{"read_multiple_input_registers", 20, 0}, false, 0, {}},
    };
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        ASSERT_TRUE(open(line));
        kytest::ModbusSlave &s = slave(line);
        s.memory([](modbus_mapping_t &m) {
            put_bits(m.tab_bits, 200, {0xA5, 0x3C, 0x01});
            put_bits(m.tab_input_bits, 300, {0x5A});
            m.tab_registers[10] = 0x1234, m.tab_registers[11] = 0xABCD;
            m.tab_input_registers[20] = 0xFFFF, m.tab_input_registers[21] = 0x0102;
        });
        for (const auto &c : cases) {
            const std::string request = access_req(c.access, line);
            SCOPED_TRACE(request);
            const int before = s.requests();
            Json j = call(request);
            ASSERT_TRUE(j);
            EXPECT_EQ(cJSON_IsTrue(member(j, "read_state")), c.ok);
            EXPECT_EQ(data_of(j), c.data);
            EXPECT_EQ(s.requests(), before + (c.function ? 1 : 0));
            if (c.function) {
                EXPECT_EQ(s.last_function(), c.function);
            }
        }
    }
}

// One request of each function code, for the failure cases.
const Access kEveryFunction[] = {
    {"read_coils", 0, 8},
    {"read_input_status", 0, 8},
    {"read_holding_registers", 0},
    {"read_input_registers", 0},
    {"write_single_coil", 0, -1, 1},
    {"write_single_register", 0, -1, 1},
    {"write_coils", 0, 8, std::vector<int>{1}},
    {"write_registers", 0, 1, std::vector<int>{1, 2}},
    {"read_multiple_coils", 0, 16},
    {"read_multiple_holding_registers", 0, 2},
    {"read_multiple_input_registers", 0, 2},
};

TEST_F(ModbusSim, SilentSlaveOrClosedPortAnswersFalseWithinTheTimeout) {
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        for (const bool opened : {false, true}) {
            if (opened) {
                ASSERT_TRUE(open(line));
                slave(line).set_delay(-1);
            }
            for (const auto &a : kEveryFunction) {
                const std::string request = access_req(a, line);
                SCOPED_TRACE(request);
                const auto start = Clock::now();
                Json j = call(request);
                ASSERT_TRUE(j);
                EXPECT_TRUE(is_false(j, a.command[0] == 'r' ? "read_state" : "write_state"));
                EXPECT_EQ(member(j, "data"), nullptr);
                EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(kReplyWaitMs));
            }
        }
    }
}

TEST_F(ModbusSim, SlowSlaveHoldsOtherClientsNoLongerThanTheTimeout) {
    ASSERT_TRUE(open(kLines[0]));
    tcp_slave->set_delay(3000);
    TcpClient other(sim->port());
    ASSERT_TRUE(other.connected());
    const auto start = Clock::now();
    client->send(access_req({"read_multiple_holding_registers", 0, 4}, kLines[0]));
    Json theirs = other.request(R"({"command":"get_IO_input"})", "IO_input_state", 3000);
    const auto other_done = Clock::now();
    Json mine = parse(client->expect("read_multiple_holding_registers", 3000));
    ASSERT_TRUE(theirs);
    EXPECT_TRUE(is_false(mine, "read_state"));
    EXPECT_LT(other_done - start, std::chrono::milliseconds(kReplyWaitMs));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(kReplyWaitMs));
}

// An answer that comes after its request gave up is never taken for the next request's.
TEST_F(ModbusSim, LateAnswerIsNotTakenForTheNextRequest) {
    for (const Line &line : kLines) {
        SCOPED_TRACE(line.name);
        ASSERT_TRUE(open(line));
        kytest::ModbusSlave &s = slave(line);
        s.memory([](modbus_mapping_t &m) { m.tab_registers[10] = 0x1111; });
        s.set_delay(2 * kModbusTimeoutMs);
        EXPECT_TRUE(is_false(call(access_req({"read_holding_registers", 10}, line)), "read_state"));
        const int answered = s.requests();
        s.set_delay(0);
        // The late answer, still carrying 0x1111, is waiting in the master's input by now.
        std::this_thread::sleep_for(std::chrono::milliseconds(3 * kModbusTimeoutMs));
        s.memory([](modbus_mapping_t &m) { m.tab_registers[10] = 0x2222; });
        Json j = call(access_req({"read_holding_registers", 10}, line));
        EXPECT_TRUE(is_true(j, "read_state"));
        EXPECT_EQ(data_of(j), std::vector<int>{0x2222});
        EXPECT_EQ(s.requests(), answered + 1);
    }
}

}  // namespace
