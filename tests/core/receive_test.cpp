// Receive thread and reply FIFO: line framing, bounds, slot reuse, events.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/receiver.h"
#include "core/registry.h"
#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

class ReceiveTest : public kytest::ConnectedTest<1> {
protected:
    // Waits for a line under `key` without sending anything.
    int wait(const char *key, ky::Reply &reply, int ms = 300) { return ky::wait_line(robot, "t", key, reply, ms); }
};

TEST_F(ReceiveTest, FramingVariantsEachFileTheirLines) {
    struct Case {
        const char *name;
        std::string bytes;
        std::vector<std::string> keys;
    } cases[] = {
        {"two in one write", "{\"command\":\"a\",\"v\":1}\r\n{\"command\":\"b\",\"v\":2}\r\n", {"a", "b"}},
        {"glued without gap", "{\"command\":\"c\"}\r\n{\"command\":\"d\"}\r\n{\"command\":\"e\"}\r\n", {"c", "d", "e"}},
        {"state key", "{\"state\":\"f\",\"x\":1}\r\n", {"f"}},
    };
    for (const auto &c : cases) {
        fake.push_raw(c.bytes);
        for (const auto &k : c.keys) {
            ky::Reply reply;
            EXPECT_GT(wait(k.c_str(), reply), 0) << c.name << " key " << k;
        }
    }
}

TEST_F(ReceiveTest, LineSplitAcrossWritesIsCompletedBeforeSplitting) {
    fake.set_split(4, 5ms);
    fake.push(R"({"command":"slow","v":3})");
    ky::Reply reply;
    EXPECT_GT(wait("slow", reply), 0);
    EXPECT_STREQ(reply.text(), R"({"command":"slow","v":3})");
}

TEST_F(ReceiveTest, LineOverTextFieldIsCutAndFailsToParse) {
    std::string pad(12000, 'x');
    fake.push(R"({"command":"long","v":1,"pad":")" + pad + "\"}");
    ky::Reply reply(20000);
    int r = wait("long", reply);
    EXPECT_GT(r, 10240);  // the stored length is the line's
    EXPECT_EQ(std::strlen(reply.text()), 10239u);
    json_parse_item item = ky::parse_int("v");
    EXPECT_EQ(common_json_parse("t", reply.text(), &item, 1), -3);
    // The stream goes on normally after it.
    fake.push(R"({"command":"after"})");
    EXPECT_GT(wait("after", reply), 0);
}

TEST_F(ReceiveTest, KeyLongerThan53CharactersIsCut) {
    std::string key(60, 'k');
    fake.push(R"({"command":")" + key + "\"}");
    ky::Reply reply;
    EXPECT_EQ(wait(key.c_str(), reply, 100), -2);
    EXPECT_GT(wait(key.substr(0, 53).c_str(), reply), 0);
}

TEST_F(ReceiveTest, ShortAndMalformedInputIsDroppedWithoutHarm) {
    kytest::LogCapture log;
    fake.push_raw("{}\r\n");                // shorter than 7 bytes: dropped
    fake.push_raw("garbage\r\n");           // not JSON
    fake.push_raw(R"({"x":1})" "\r\n");     // no key, no point: logged
    fake.push(R"({"command":"ok"})");
    ky::Reply reply;
    EXPECT_GT(wait("ok", reply), 0);
    EXPECT_TRUE(log.contains("Error: 'point' is not an array."));
}

// FIFO capacity, driven directly (mode 0 has no receive thread to race with).
TEST(Fifo, FullFifoDropsNewLinesUntilTheOldestAreMoreThanFiftyLinesOld) {
    kytest::Library lib(0);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    ky_rdlock_lock();
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    ky_rdlock_unlock();
    auto file = [&](const std::string &key) {
        std::string line = R"({"command":")" + key + "\"}";
        add_str_to_fifo(h, line.c_str(), static_cast<int>(line.size()));
    };
    // Built by appending: "n" + std::to_string(i) draws a false overlapping-copy warning
    // (-Wrestrict) from GCC 12 at -O2 and above.
    auto numbered = [](const char *prefix, int i) {
        std::string key = prefix;
        key += std::to_string(i);
        return key;
    };
    auto take = [&](const std::string &key) {
        char out[64] = {};
        return get_str_from_fifo(h->fifo, key.c_str(), out, sizeof out);
    };
    for (int i = 0; i < 21; ++i) file(numbered("n", i));
    EXPECT_EQ(take("n20"), -1);  // found all 20 slots taken
    EXPECT_GT(take("n19"), 0);
    for (int i = 0; i < 19; ++i) EXPECT_GT(take(numbered("n", i)), 0) << i;

    for (int i = 0; i < 20; ++i) file(numbered("m", i));
    for (int i = 0; i < 30; ++i) file("filler");  // dropped: nothing is stale yet
    file("early");                                // m0 is exactly 50 lines old: dropped
    file("late");                                 // m0 is 51 lines old: overwritten
    EXPECT_EQ(take("early"), -1);
    EXPECT_EQ(take("m0"), -1);
    EXPECT_GT(take("late"), 0);
    EXPECT_GT(take("m1"), 0);
    EXPECT_EQ(take("filler"), -1);
    // Non-JSON lines count but are never stored.
    file("x\"");
    EXPECT_EQ(take("x"), -1);
}

std::atomic<int> g_events{0};
ky_event_data g_last_event{};
std::mutex g_event_mutex;
void on_event(ky_event_data e) {
    std::lock_guard<std::mutex> lock(g_event_mutex);
    g_last_event = e;
    ++g_events;
}

TEST_F(ReceiveTest, CompletionLinesRaiseEventsAndPendingKindDiscardsOnce) {
    ky_get_arm_event_call_back(&on_event);
    g_events = 0;
    struct Case {
        std::string line;
        ky_event_data expect;
    } cases[] = {
        {R"({"command":"current_trajectory_state","trajectory_state":false,"device":3,"trajectory_connect":1})",
         {1, 1, false, 3, 1, 0}},
        {R"({"state":"current_trajectory_state","device":0})", {1, 1, true, 0, 0, 0}},
        {R"({"command":"program_run_finish","finish_id":42})", {1, 2, false, 0, 0, 42}},
    };
    for (const auto &c : cases) {
        int before = g_events;
        fake.push(c.line);
        for (int i = 0; i < 200 && g_events == before; ++i) std::this_thread::sleep_for(1ms);
        std::lock_guard<std::mutex> lock(g_event_mutex);
        EXPECT_EQ(g_last_event.handle_id, c.expect.handle_id) << c.line;
        EXPECT_EQ(g_last_event.event_type, c.expect.event_type) << c.line;
        EXPECT_EQ(g_last_event.trajectory_state, c.expect.trajectory_state) << c.line;
        EXPECT_EQ(g_last_event.device, c.expect.device) << c.line;
        EXPECT_EQ(g_last_event.trajectory_connect, c.expect.trajectory_connect) << c.line;
        EXPECT_EQ(g_last_event.program_id, c.expect.program_id) << c.line;
    }
    // The lines are also filed; with pending kind 1 the first completion line is dropped.
    ky::Reply reply;
    // Two completion lines are filed: with pending kind 1 the first is dropped, the
    // second reaches the waiter.
    ky::set_pending_event(KY_PENDING_TRAJECTORY);
    EXPECT_GT(wait("current_trajectory_state", reply, 60), 0);
    EXPECT_STREQ(reply.text(), R"({"state":"current_trajectory_state","device":0})");
    EXPECT_EQ(ky::pending_event(), KY_PENDING_NONE);
    ky::set_pending_event(KY_PENDING_PROGRAM);
    EXPECT_EQ(wait("program_run_finish", reply, 60), -2);
    EXPECT_EQ(ky::pending_event(), KY_PENDING_NONE);
}

TEST_F(ReceiveTest, WaiterWakesAsSoonAsItsLineIsFiled) {
    ky::Reply reply;
    std::thread later([&] {
        std::this_thread::sleep_for(30ms);
        fake.push(R"({"command":"wake"})");
    });
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_GT(wait("wake", reply, 2000), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, 1000ms);
    later.join();
}

// The line splitter itself, on texts that the socket layer never produces by accident.
TEST(SplitLines, ScanStartsAtIndexFiveAndTheLastTwoBytesEndTheText) {
    kytest::Library lib(0);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    ky_rdlock_lock();
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    ky_rdlock_unlock();
    struct Case {
        std::string text;
        const char *key;
        bool filed;
    } cases[] = {
        {"{\"command\":\"ab\"}\n", "ab", false},      // ends in LF only: the closing brace is cut
        {"{\"command\":\"cd\"}\r\n", "cd", true},
        {"{\"command\":\"ef\"}XY", "ef", true},        // no line end: the last two bytes are cut
        {"{}\r\n{\"command\":\"gh\"}\r\n", "gh", false}, // CR LF in the first five bytes is not an end
    };
    for (auto &c : cases) {
        std::string buf = c.text;
        ky::split_and_file(h, buf.data(), static_cast<int>(buf.size()));
        char out[128] = {};
        EXPECT_EQ(get_str_from_fifo(h->fifo, c.key, out, sizeof out) > 0, c.filed) << c.text;
    }
}

}  // namespace
