// Modbus pass-through: request bytes, the state keys each command is judged by, the value
// packing (registers two ints each, coils one int per 8 with the read's rounding asymmetry),
// the "read_state" fallback of reads, and the two reply waits.
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string line(const std::string &command, const std::string &members) {
    std::string s = R"({"command":")";
    s.append(command).append("\"");
    if (!members.empty()) s.append(",").append(members);
    return s.append("}");
}

std::string int_array(const std::vector<int> &v) {
    std::string s = "[";
    for (size_t i = 0; i < v.size(); ++i) s.append(i ? "," : "").append(std::to_string(v[i]));
    return s.append("]");
}

std::vector<int> iota_from(int first, int count) {
    std::vector<int> v;
    for (int i = 0; i < count; ++i) v.push_back(first + i);
    return v;
}

ky_modbus_rw_params params(int num) { return ky_modbus_rw_params{1, 10, 3, num}; }

enum Kind { kSet, kWrite, kRead };

struct Fn {
    const char *command;
    Kind kind;
    bool slow;  // confirmed up to 2 s later than the others
    std::function<int(ky_robot_handle *, int *)> call;
    const char *request;
    const char *data;           // "data" of the reply that succeeds (reads only)
    std::vector<int> written;   // out[] after that reply; -7 is untouched
};

const int kRegs[] = {7, 8, 9, 10, 99};
const int kCoils[] = {0xA5, 0x3C, 99};

const std::vector<Fn> &functions() {
    static const std::vector<Fn> fns = {
        {"set_modbus_mode", kSet, false, [](auto *r, int *) { return ky_set_modbus_mode(r, 1, 115200, 2); },
         R"({"command":"set_modbus_mode","port":1,"baudrate":115200,"timeout":2})", nullptr, {-7}},
        {"close_modbus_mode", kSet, false, [](auto *r, int *) { return ky_close_modbus_mode(r, 1); },
         R"({"command":"close_modbus_mode","port":1})", nullptr, {-7}},
        {"set_modbustcp_mode", kSet, false,
         [](auto *r, int *) { return ky_set_modbustcp_mode(r, "192.168.1.50", 502, 3); },
         R"({"command":"set_modbustcp_mode","ip":"192.168.1.50","port":502,"timeout":3})", nullptr, {-7}},
        {"close_modbustcp_mode", kSet, false, [](auto *r, int *) { return ky_close_modbustcp_mode(r); },
         R"({"command":"close_modbustcp_mode"})", nullptr, {-7}},
        {"read_coils", kRead, false, [](auto *r, int *o) { return ky_read_coils(r, params(10), o); },
         R"({"command":"read_coils","port":1,"address":10,"num":10,"device":3})", "165", {165, -7}},
        {"read_input_status", kRead, false, [](auto *r, int *o) { return ky_read_input_status(r, params(4), o); },
         R"({"command":"read_input_status","port":1,"address":10,"num":4,"device":3})", "6", {6, -7}},
        // The single register reads send no "num", whatever the record holds.
        {"read_holding_registers", kRead, false,
         [](auto *r, int *o) { return ky_read_holding_registers(r, params(5), o); },
         R"({"command":"read_holding_registers","port":1,"address":10,"device":3})", "513", {513, -7}},
        {"read_input_registers", kRead, false,
         [](auto *r, int *o) { return ky_read_input_registers(r, params(5), o); },
         R"({"command":"read_input_registers","port":1,"address":10,"device":3})", "-2", {-2, -7}},
        {"write_single_coil", kWrite, true, [](auto *r, int *) { return ky_write_single_coil(r, params(5), 1); },
         R"({"command":"write_single_coil","port":1,"address":10,"data":1,"device":3})", nullptr, {-7}},
        {"write_single_register", kWrite, false,
         [](auto *r, int *) { return ky_write_single_register(r, params(5), 300); },
         R"({"command":"write_single_register","port":1,"address":10,"data":300,"device":3})", nullptr, {-7}},
        {"write_registers", kWrite, false, [](auto *r, int *) { return ky_write_registers(r, params(2), kRegs); },
         R"({"command":"write_registers","port":1,"address":10,"num":2,"data":[7,8,9,10],"device":3})", nullptr,
         {-7}},
        {"write_coils", kWrite, true, [](auto *r, int *) { return ky_write_coils(r, params(10), kCoils); },
         R"({"command":"write_coils","port":1,"address":10,"num":10,"data":[165],"device":3})", nullptr, {-7}},
        {"read_multiple_coils", kRead, true,
         [](auto *r, int *o) { return ky_read_multiple_coils(r, params(10), o); },
         R"({"command":"read_multiple_coils","port":1,"address":10,"num":10,"device":3})", "[165,2]", {165, -7}},
        {"read_multiple_holding_registers", kRead, false,
         [](auto *r, int *o) { return ky_read_multiple_holding_registers(r, params(2), o); },
         R"({"command":"read_multiple_holding_registers","port":1,"address":10,"num":2,"device":3})",
         "[0,1,2,255]", {0, 1, 2, 255, -7}},
        {"read_multiple_input_registers", kRead, false,
         [](auto *r, int *o) { return ky_read_multiple_input_registers(r, params(2), o); },
         R"({"command":"read_multiple_input_registers","port":1,"address":10,"num":2,"device":3})",
         "[4,3,2,1]", {4, 3, 2, 1, -7}},
    };
    return fns;
}

std::string ok_reply(const Fn &f) {
    if (f.kind == kRead) return line(f.command, std::string(R"("data":)").append(f.data));
    return line(f.command, f.kind == kSet ? R"("set_state":true)" : R"("write_state":true)");
}

std::vector<int> head(const std::vector<int> &out, size_t n) { return {out.begin(), out.begin() + static_cast<long>(n)}; }

// Every function: its exact bytes, the reply it takes, and how its state key decides.
TEST(Modbus, RequestsRepliesAndStateKeys) {
    Arm arm;
    for (const auto &f : functions()) {
        struct Variant {
            std::string reply;
            int expected;
            bool writes;
        };
        std::vector<Variant> variants = {{ok_reply(f), 0, true}};
        if (f.kind == kRead) {
            variants.insert(variants.end(), {
                // No data: "read_state" decides, the output stays.
                {line(f.command, R"("read_state":false)"), 1, false},
                {line(f.command, R"("read_state":true)"), 0, false},
                {line(f.command, ""), -3, false},
                {line(f.command, R"("read_state":"no")"), -3, false},
            });
        } else {
            const std::string key = f.kind == kSet ? "set_state" : "write_state";
            const std::string other = f.kind == kSet ? "write_state" : "set_state";
            variants.insert(variants.end(), {
                {line(f.command, std::string("\"").append(key).append("\":false")), 1, false},
                {line(f.command, std::string("\"").append(other).append("\":true")), -3, false},
                {line(f.command, std::string("\"").append(key).append("\":1")), -3, false},
            });
        }
        for (const auto &v : variants) {
            std::vector<int> out(8, -7);
            arm.fake.clear_received();
            arm.fake.on(f.command, v.reply);
            EXPECT_EQ(f.call(arm.robot, out.data()), v.expected) << v.reply;
            EXPECT_EQ(arm.fake.received(), wire(f.request)) << f.command;
            const std::vector<int> untouched(f.written.size(), -7);
            EXPECT_EQ(head(out, f.written.size()), v.writes ? f.written : untouched) << v.reply;
        }
        arm.fake.off(f.command);
    }
}

// Replies whose "data" cannot be read as the function needs it fall back to "read_state".
TEST(Modbus, MistypedDataFallsBackToReadState) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, int *)> call;
        const char *members;
        int expected;
        std::vector<int> written;
    } cases[] = {
        {"read_multiple_holding_registers",
         [](auto *r, int *o) { return ky_read_multiple_holding_registers(r, params(2), o); },
         R"("data":5,"read_state":false)", 1, {-7, -7}},
        {"read_multiple_holding_registers",
         [](auto *r, int *o) { return ky_read_multiple_holding_registers(r, params(2), o); },
         R"("data":[1,2,3],"read_state":true)", 0, {-7, -7}},
        {"read_multiple_input_registers",
         [](auto *r, int *o) { return ky_read_multiple_input_registers(r, params(1), o); },
         R"("data":"1,2")", -3, {-7, -7}},
        {"read_multiple_coils", [](auto *r, int *o) { return ky_read_multiple_coils(r, params(16), o); },
         R"("data":{"a":1},"read_state":false)", 1, {-7, -7}},
        // An integer read takes no type check: a non-number reads as 0.
        {"read_coils", [](auto *r, int *o) { return ky_read_coils(r, params(8), o); }, R"("data":"x")", 0,
         {0, -7}},
    };
    Arm arm;
    kytest::LogCapture log;
    for (const auto &c : cases) {
        std::vector<int> out(4, -7);
        arm.fake.on(c.command, line(c.command, c.members));
        EXPECT_EQ(c.call(arm.robot, out.data()), c.expected) << c.members;
        EXPECT_EQ(head(out, c.written.size()), c.written) << c.members;
    }
    EXPECT_TRUE(log.contains("[ky_read_multiple_holding_registers] data is not an array\n"));
    EXPECT_TRUE(log.contains("[ky_read_multiple_holding_registers] Array size mismatch for key data\n"));
    EXPECT_TRUE(log.contains("[ky_read_multiple_holding_registers] read_state: false\n"));
    EXPECT_TRUE(log.contains("[ky_read_multiple_input_registers] read_state command parse err\n"));
}

// Coils: writes send num / 8 ints rounded down; reads take num / 8 rounded up from the
// reply and copy num / 8 rounded down. Registers: 2 x num ints both ways, at most 24 in a
// reply. A reply of any other length is unreadable (-3 here, no "read_state").
TEST(Modbus, CoilAndRegisterCountsAtTheirLimits) {
    struct Case {
        bool coils;
        int num;
        int sent;      // ints in the write's "data"
        int replied;   // ints the read expects in the reply
        int copied;    // ints the read hands over; -1: the reply is refused (-3)
    } cases[] = {
        {true, 0, 0, 0, 0},    {true, 7, 0, 1, 0},    {true, 8, 1, 1, 1},     {true, 9, 1, 2, 1},
        {true, 10, 1, 2, 1},   {true, 16, 2, 2, 2},   {true, 17, 2, 3, 2},    {true, 192, 24, 24, 24},
        {true, 193, 24, 25, -1},
        {false, 0, 0, 0, 0},   {false, 1, 2, 2, 2},   {false, 12, 24, 24, 24}, {false, 13, 26, 26, -1},
        {false, -1, 0, -2, -1},
    };
    Arm arm;
    kytest::LogCapture log;
    const std::vector<int> source = iota_from(100, 40);
    for (const auto &c : cases) {
        const std::string what = std::string(c.coils ? "coils " : "registers ").append(std::to_string(c.num));
        const char *write = c.coils ? "write_coils" : "write_registers";
        const char *read = c.coils ? "read_multiple_coils" : "read_multiple_holding_registers";
        arm.fake.on(write, line(write, R"("write_state":true)"));
        arm.fake.clear_received();
        const int w = c.coils ? ky_write_coils(arm.robot, params(c.num), source.data())
                              : ky_write_registers(arm.robot, params(c.num), source.data());
        EXPECT_EQ(w, 0) << what;
        ASSERT_EQ(arm.fake.requests().size(), 1u) << what;
        EXPECT_EQ(kytest::member_of(arm.fake.requests()[0], "data"), int_array(iota_from(100, c.sent))) << what;

        const std::vector<int> reply_data = iota_from(1, std::max(c.replied, 0));
        arm.fake.on(read, line(read, std::string(R"("data":)").append(int_array(reply_data))));
        std::vector<int> out(40, -7);
        const int r = c.coils ? ky_read_multiple_coils(arm.robot, params(c.num), out.data())
                              : ky_read_multiple_holding_registers(arm.robot, params(c.num), out.data());
        EXPECT_EQ(r, c.copied < 0 ? -3 : 0) << what;
        std::vector<int> expected(40, -7);
        for (int i = 0; i < c.copied; ++i) expected[static_cast<size_t>(i)] = reply_data[static_cast<size_t>(i)];
        EXPECT_EQ(out, expected) << what;

        // One int fewer or more than expected is refused as well.
        if (c.copied < 0) continue;
        for (int len : {c.replied - 1, c.replied + 1}) {
            if (len < 0) continue;
            arm.fake.on(read, line(read, std::string(R"("data":)").append(int_array(iota_from(1, len)))));
            std::vector<int> untouched(40, -7);
            const int r2 = c.coils ? ky_read_multiple_coils(arm.robot, params(c.num), untouched.data())
                                   : ky_read_multiple_holding_registers(arm.robot, params(c.num), untouched.data());
            EXPECT_EQ(r2, -3) << what << " reply of " << len;
            EXPECT_EQ(untouched, std::vector<int>(40, -7)) << what;
        }
    }
    EXPECT_TRUE(log.contains("[ky_read_multiple_coils] Array size mismatch for key data\n"));
    EXPECT_TRUE(log.contains("[ky_read_multiple_holding_registers] Array size mismatch for key data\n"));
}

// Unknown handles and arguments that cannot be sent are refused before anything goes out.
TEST(Modbus, RefusedWithoutSending) {
    Arm arm;
    ky_robot_handle bogus{};
    for (const auto &f : functions()) {
        int out[8];
        EXPECT_EQ(f.call(&bogus, out), -1) << f.command;
    }
    const std::pair<const char *, std::function<int()>> refused[] = {
        {"null ip", [&] { return ky_set_modbustcp_mode(arm.robot, nullptr, 502, 1); }},
        {"null registers", [&] { return ky_write_registers(arm.robot, params(1), nullptr); }},
        {"null coils", [&] { return ky_write_coils(arm.robot, params(8), nullptr); }},
        {"register count beyond int", [&] { return ky_write_registers(arm.robot, params(1 << 30), kRegs); }},
    };
    for (const auto &[what, call] : refused) EXPECT_EQ(call(), -1) << what;
    EXPECT_TRUE(arm.fake.requests().empty());
    // With nothing to send, a null array is fine.
    arm.fake.on("write_coils", line("write_coils", R"("write_state":true)"));
    EXPECT_EQ(ky_write_coils(arm.robot, params(7), nullptr), 0);
    EXPECT_EQ(arm.fake.requests(), std::vector<std::string>{
                                       R"({"command":"write_coils","port":1,"address":10,"num":7,"data":[],"device":3})"});
}

// Every function waits m_nOutTime_max for its reply, the coil writes and the multiple coil
// read 2000 ms longer. All calls run at once; replies come after the short wait has passed.
TEST(Modbus, ReplyWaits) {
    Arm arm;
    arm.fake.set_silent(true);
    m_nOutTime_max = 60;  // reset by the library guard at the end
    kytest::LogCapture log;
    auto run_all = [&](bool slow_only) {
        std::vector<std::pair<const Fn *, std::future<std::pair<int, long>>>> runs;
        for (const auto &f : functions()) {
            if (slow_only && !f.slow) continue;
            runs.emplace_back(&f, std::async(std::launch::async, [&arm, &f] {
                int out[8];
                const auto t0 = Clock::now();
                const int r = f.call(arm.robot, out);
                return std::make_pair(
                    r, static_cast<long>(
                           std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count()));
            }));
        }
        return runs;
    };

    // Silent: the slow ones give up only after m_nOutTime_max + 2000 ms.
    arm.fake.clear_received();
    for (auto &[f, result] : run_all(true)) {
        const auto [r, ms] = result.get();
        EXPECT_EQ(r, -2) << f->command;
        EXPECT_GE(ms, 2060) << f->command;
    }

    // Replies 600 ms late: taken by the slow ones, too late for the others.
    arm.fake.clear_received();
    auto runs = run_all(false);
    ASSERT_TRUE(arm.fake.wait_for_requests(functions().size(), 2s));
    std::this_thread::sleep_for(600ms);
    for (const auto &f : functions()) arm.fake.push(ok_reply(f));
    for (auto &[f, result] : runs) {
        const auto [r, ms] = result.get();
        EXPECT_EQ(r, f->slow ? 0 : -2) << f->command;
        EXPECT_GE(ms, f->slow ? 600 : 60) << f->command;
    }
    EXPECT_TRUE(log.contains("[ky_write_single_register] write_single_register revice error\n"));
    EXPECT_TRUE(log.contains("[ky_set_modbustcp_mode] set_modbustcp_mode revice error\n"));
}

}  // namespace
