// Fault matrix: every connection fault the controller side can produce, against a query
// (ky_get_joint_max_speed), a non-blocking move (ky_movej_nblock) and a blocking move
// (ky_movej_block), in the event-driven mode 1 and the synchronous mode 0. Each case checks
// the call's result code, that it returns within its time-out (with a generous margin), and
// that the next ordinary call on the connection works and gets its own reply.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "core/units.h"
#include "core/fifo.h"
#include "support/test_util.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr int kOutTime = 200;             // m_nOutTime of every case
constexpr int kMarginMs = 1500;           // scheduling slack on a loaded machine
constexpr int kOwnWire = 30000;           // speed limit in the replies to the call itself
constexpr int kStaleWire = 12000;         // speed limit in replies meant for an earlier call
constexpr auto kCompletionDelay = 50ms;   // the arm "moves" this long after accepting
const float kTarget[7] = {10, 0, 90, 0, 90, 0, 0};

std::string speeds(int wire) {
    std::string s = R"({"command":"joint_max_speed","joint_speed":[)";
    for (int i = 0; i < 6; ++i) {
        if (i > 0) s += ',';
        s += std::to_string(wire);  // appended: "," + std::to_string() draws GCC 12's -Wrestrict at -O3
    }
    return s + "]}";
}
std::string accepted(bool ok) { return std::string(R"({"command":"movej","receive_state":)") + (ok ? "true}" : "false}"); }
std::string completion(bool ok, int device = 0) {
    return std::string(R"({"command":"current_trajectory_state","trajectory_state":)") + (ok ? "true" : "false") +
           R"(,"device":)" + std::to_string(device) + R"(,"trajectory_connect":0})";
}
const std::string kIdle = R"({"command":"arm_current_trajectory","type":"none","data":[0,0,0,0,0,0]})";

enum class Call { Get, NonBlocking, Blocking };
enum class Fault { Silence, Close, Garbage, GarbageNul, Flood, OverLong, NonJson, Malformed, Refused, OtherDevice, Slow, Late };

constexpr int kNotRun = 99;  // the row does not apply in that mode

struct Row {
    Fault fault;
    const char *name;
    int get;           // ky_get_joint_max_speed
    int nonblocking;   // ky_movej_nblock
    int blocking[2];   // ky_movej_block in mode 1, mode 0
    int blocking_ms;   // how long the blocking call may wait at most, before the margin
};

// Codes per fault. A connection closed during the completion wait makes every trajectory
// query fail at the send (-1, after six of them); mode 0 waits its one completion period
// (-5). A completion of another device ends mode 1's wait with -4 once the arm is idle. A
// late line sits in mode 0's socket until a later read takes it, so the rows of late lines
// only run in mode 1, where the reply FIFO records when each line came.
const Row kRows[] = {
    {Fault::Silence, "Silence", -2, -2, {-2, -2}, kOutTime},
    {Fault::Close, "CloseMidWait", -2, -2, {-1, -5}, 6 * 2 * kOutTime},
    {Fault::Garbage, "GarbageBytes", 0, 0, {0, 0}, 4 * kOutTime},
    {Fault::GarbageNul, "GarbageWithNul", 0, 0, {0, 0}, 4 * kOutTime},
    {Fault::Flood, "FloodOfPushes", 0, 0, {0, 0}, 4 * kOutTime},
    {Fault::OverLong, "OverLongLine", 0, 0, {0, 0}, 4 * kOutTime},
    {Fault::NonJson, "NonJsonReply", -2, -2, {-2, -2}, kOutTime},
    {Fault::Malformed, "MalformedReply", -3, -3, {-3, -3}, kOutTime},
    {Fault::Refused, "Refused", -3, 1, {1, 1}, kOutTime},
    {Fault::OtherDevice, "OtherDeviceCompletion", 0, 0, {-4, -5}, 12 * (kOutTime + 100) + kOutTime},
    {Fault::Slow, "SlowReply", -2, -2, {-2, kNotRun}, kOutTime},
    {Fault::Late, "LateReply", -2, -2, {-2, kNotRun}, kOutTime},
};

struct Case {
    int mode;
    const Row *row;
    Call call;
};

// The fake controller's scripts for one case. Ordinary replies answer every request; the
// faulted call's request is answered as its row says. Lines the arm pushes later (the
// completion of a move) are sent from a helper thread after kCompletionDelay.
class Rig {
public:
    explicit Rig(kytest::FakeController &fake) : fake_(fake) {}
    ~Rig() {
        std::vector<std::thread> pending;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            closing_ = true;
            pending.swap(later_);
        }
        for (auto &t : pending) t.join();
    }

    // Every command answered normally; blocking moves complete.
    void normal() {
        fake_.on("get_joint_max_speed", speeds(kOwnWire));
        fake_.on("movej", [this](const std::string &) {
            after(kCompletionDelay, [this] { fake_.push(completion(true)); });
            return Lines{accepted(true)};
        });
        // Mode 1 asks for the running trajectory while it waits; the arm is idle and says
        // again how its last move ended.
        answer("get_arm_current_trajectory", {kIdle, completion(true)});
    }

    // The faulted call's request is answered according to `fault`.
    void fault(Fault fault, Call call) {
        const bool move = call != Call::Get;
        const std::string command = move ? "movej" : "get_joint_max_speed";
        const std::string own = move ? accepted(true) : speeds(kOwnWire);
        // A move's own acceptance is followed by its completion; other lines are not.
        auto reply = [this, command, move](Lines lines, bool complete = true) {
            complete = complete && move;
            fake_.on(command, [this, lines, complete](const std::string &) {
                if (complete) after(kCompletionDelay, [this] { fake_.push(completion(true)); });
                return lines;
            });
        };
        switch (fault) {
        case Fault::Silence:
        case Fault::Late:
            fake_.on(command, [](const std::string &) { return Lines{}; });
            break;
        case Fault::Close:
            // A blocking move is accepted and the connection goes while it waits for the
            // completion; the other calls lose it while they wait for their reply.
            fake_.on(command, [this, call, own](const std::string &) {
                after(kCompletionDelay, [this] { fake_.close_client(); });
                return call == Call::Blocking ? Lines{own} : Lines{};
            });
            break;
        case Fault::Garbage: reply({"\x01\xff\xfe#garbage~\x7f", own}); break;
        case Fault::GarbageNul: reply({std::string("\0\xff\xfe junk\0\x01", 10), own}); break;
        case Fault::Flood: {
            Lines lines(40, R"({"state":"x"})");
            lines.push_back(own);
            reply(lines);
            break;
        }
        case Fault::OverLong:
            reply({R"({"state":"x","pad":")" + std::string(24 * 1024, 'a') + R"("})", own});
            break;
        case Fault::NonJson: reply({own.substr(0, own.size() / 2)}, false); break;
        case Fault::Malformed:
            reply({move ? R"({"command":"movej","receive_state":"?"})"
                        : R"({"command":"joint_max_speed","joint_speed":"?"})"},
                  false);
            break;
        case Fault::Refused:
            reply({move ? accepted(false) : R"({"command":"joint_max_speed","get_state":false})"}, false);
            break;
        case Fault::OtherDevice:
            if (call == Call::Blocking) {
                fake_.on("movej", [this](const std::string &) {
                    after(kCompletionDelay, [this] { fake_.push(completion(true, 2)); });
                    return Lines{accepted(true)};
                });
                answer("get_arm_current_trajectory", {kIdle, completion(true, 2)});
            } else {
                reply({completion(true, 2), own}, false);
            }
            break;
        case Fault::Slow:
            // The reply to the faulted call comes well after its time-out (and says something
            // else than an ordinary reply, so taking it later shows).
            fake_.on(command, [move](const std::string &) {
                std::this_thread::sleep_for(std::chrono::milliseconds(kOutTime + 300));
                return Lines{move ? accepted(false) : speeds(kStaleWire)};
            });
            break;
        }
    }

    // Lines answering a call that timed out, arriving before the next call.
    void push_late(Call call) {
        if (call == Call::Get) {
            fake_.push(speeds(kStaleWire));
        } else {
            fake_.push(accepted(false) + "\r\n" + completion(false));
        }
    }

private:
    void answer(const std::string &command, Lines lines) {
        fake_.on(command, [lines](const std::string &) { return lines; });
    }

    void after(std::chrono::milliseconds delay, std::function<void()> action) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closing_) return;
        later_.emplace_back([delay, action = std::move(action)] {
            std::this_thread::sleep_for(delay);
            action();
        });
    }

    kytest::FakeController &fake_;
    std::mutex mutex_;
    bool closing_ = false;
    std::vector<std::thread> later_;
};

struct Outcome {
    int code;
    long long ms;
    float speed;  // first joint's limit read by a query (0 otherwise)
};

Outcome run(ky_robot_handle *robot, Call call) {
    float speed[7] = {};
    const auto start = Clock::now();
    int code = 0;
    switch (call) {
    case Call::Get: code = ky_get_joint_max_speed(robot, speed); break;
    case Call::NonBlocking: code = ky_movej_nblock(robot, kTarget, 20, 0, 0); break;
    case Call::Blocking: code = ky_movej_block(robot, kTarget, 20, 0, 0, 1); break;
    }
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    return {code, ms, speed[0]};
}

int expected(const Case &c) {
    switch (c.call) {
    case Call::Get: return c.row->get;
    case Call::NonBlocking: return c.row->nonblocking;
    case Call::Blocking: return c.row->blocking[c.mode == 1 ? 0 : 1];
    }
    return kNotRun;
}

int budget_ms(const Case &c) { return (c.call == Call::Blocking ? c.row->blocking_ms : kOutTime) + kMarginMs; }

const char *const kCallNames[] = {"Get", "NonBlocking", "Blocking"};

// Names a case in failure messages as in the test name.
[[maybe_unused]] void PrintTo(const Case &c, std::ostream *os) {
    *os << "mode " << c.mode << ", " << c.row->name << ", " << kCallNames[static_cast<int>(c.call)];
}

class FaultMatrix : public ::testing::TestWithParam<Case> {};

// Waits (at most 3 s) until the library has filed a line after arrival order `before`: a
// late line must be in before the next call begins, or nothing can tell it from a reply.
void wait_filed(uint64_t before) {
    for (int i = 0; i < 600 && ky::arrival_now() <= before; ++i) std::this_thread::sleep_for(5ms);
    std::this_thread::sleep_for(5ms);  // the filing that counted it completes
}

TEST_P(FaultMatrix, CodeInTimeThenTheNextCallWorks) {
    const Case &c = GetParam();
    const int want = expected(c);
    kytest::LogCapture quiet(KY_LOG_ERROR);  // the faults are logged at error level
    kytest::Library lib(c.mode, kOutTime, 300);
    kytest::FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_NE(robot, nullptr);
    {
        Rig rig(fake);
        rig.normal();
        rig.fault(c.row->fault, c.call);
        const size_t answered = fake.answers();
        const uint64_t filed_before = ky::arrival_now();

        const Outcome got = run(robot, c.call);
        EXPECT_EQ(got.code, want);
        EXPECT_LE(got.ms, budget_ms(c)) << "the call overran its time-out";
        if (c.call == Call::Get && want == 0) {
            EXPECT_FLOAT_EQ(got.speed, ky::speed_from_wire(kOwnWire));
        }

        // Back to ordinary answers, after the fault has played out.
        rig.normal();
        switch (c.row->fault) {
        case Fault::Close:
            ASSERT_EQ(ky_delete_robot_arm(robot), 0);
            robot = kytest::connect(fake);
            ASSERT_NE(robot, nullptr);
            break;
        case Fault::Slow:
            ASSERT_TRUE(fake.wait_for_answers(answered + 1, 3s));
            wait_filed(filed_before);  // the late line reaches the library before the next call
            break;
        case Fault::Late:
            rig.push_late(c.call);
            wait_filed(filed_before);
            break;
        default:
            std::this_thread::sleep_for(2 * kCompletionDelay);  // pushes of the faulted call land
            break;
        }

        const Outcome next = run(robot, c.call);
        EXPECT_EQ(next.code, 0) << "the call after the fault";
        EXPECT_LE(next.ms, (c.call == Call::Blocking ? 4 * kOutTime : kOutTime) + kMarginMs);
        if (c.call == Call::Get) {
            EXPECT_FLOAT_EQ(next.speed, ky::speed_from_wire(kOwnWire)) << "not its own reply";
        }
    }
    // The helper threads have ended; taking the fake's lock now orders their writes before
    // the fake closes the connection the deletion ends (for ThreadSanitizer, which cannot see
    // that order through the socket).
    (void)fake.answers();
    ky_delete_robot_arm(robot);
}

std::vector<Case> cases() {
    std::vector<Case> out;
    for (int mode : {1, 0}) {
        for (const Row &row : kRows) {
            for (Call call : {Call::Get, Call::NonBlocking, Call::Blocking}) {
                Case c{mode, &row, call};
                const bool late_line = row.fault == Fault::Slow || row.fault == Fault::Late;
                if (mode == 0 && late_line) continue;
                if (expected(c) == kNotRun) continue;
                out.push_back(c);
            }
        }
    }
    return out;
}

std::string case_name(const ::testing::TestParamInfo<Case> &info) {
    return "Mode" + std::to_string(info.param.mode) + "_" + info.param.row->name + "_" +
           kCallNames[static_cast<int>(info.param.call)];
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(cases()), case_name);

}  // namespace
