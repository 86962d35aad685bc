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
    // The test body is one call: its waits see every line pushed from the start on.
    ky::CallScope scope;
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

// FIFO capacity and arrival order, driven directly (mode 0 has no receive thread to race with).
class Fifo : public ::testing::Test {
protected:
    kytest::Library lib{0};
    FakeController fake;
    ky_handle *h = nullptr;
    void SetUp() override {
        ky_robot_handle *robot = kytest::connect(fake);
        ASSERT_EQ(robot->id, 1);
        ky::ReadLock lock;
        h = ky_get_ky_handle_by_robot_handle(robot);
    }
    void file(const std::string &key) {
        std::string line = R"({"command":")" + key + "\"}";
        add_str_to_fifo(h, line.c_str(), static_cast<int>(line.size()));
    }
    int take(const std::string &key) {
        char out[64] = {};
        return get_str_from_fifo(h->fifo, key.c_str(), out, sizeof out);
    }
};

TEST_F(Fifo, FullFifoEvictsTheOldestLineNobodyWaitsFor) {
    // A burst of unsolicited lines never costs the reply that follows it.
    // Keys built by appending: "push" + std::to_string(i) draws a false overlapping-copy
    // warning (-Wrestrict) from GCC 12 at -O2 and above.
    auto numbered = [](const char *prefix, int i) {
        std::string key = prefix;
        key += std::to_string(i);
        return key;
    };
    for (int i = 0; i < 45; ++i) file(numbered("push", i));
    file("reply");
    EXPECT_GT(take("reply"), 0);
    EXPECT_EQ(take("push0"), -1);   // evicted, oldest first
    EXPECT_EQ(take("push25"), -1);
    EXPECT_GT(take("push26"), 0);   // the 19 newest pushes are still there
    EXPECT_GT(take("push44"), 0);

    // A line a wait in progress wants survives a flood that fills every other slot.
    ky::FifoWaiter waiting{"wanted", ky::arrival_now()};
    {
        std::lock_guard<std::mutex> lock(h->fifo->mutex);
        h->fifo->waiters.push_back(&waiting);
    }
    file("wanted");
    for (int i = 0; i < 60; ++i) file("flood");
    {
        std::lock_guard<std::mutex> lock(h->fifo->mutex);
        h->fifo->waiters.clear();
    }
    EXPECT_GT(take("wanted"), 0);
    // A line whose call has not begun to wait yet (its thread preempted between send and
    // wait) is not overwritten for its age while slots are free.
    file("mine");
    for (int i = 0; i < 120; ++i) {
        file("traffic");
        EXPECT_GT(take("traffic"), 0);
    }
    EXPECT_GT(take("mine"), 0);
    // Non-JSON lines count but are never stored.
    file("x\"");
    EXPECT_EQ(take("x"), -1);
}

TEST_F(Fifo, CallTakesOnlyLinesFiledAfterItBegan) {
    file("late_reply");  // a reply to a call that already timed out
    {
        ky::CallScope call;
        EXPECT_EQ(take("late_reply"), -1);
        file("late_reply");
        {
            ky::CallScope read_back;  // nested: shares the outer call's start
            EXPECT_GT(take("late_reply"), 0);
        }
    }
    EXPECT_GT(take("late_reply"), 0);  // outside any call everything is visible
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
    // The lines are also filed. An announced completion goes to the callback only: the
    // first completion line after the announcement never reaches a waiter, the next does.
    ky_fifo *fifo = nullptr;
    {
        ky::ReadLock lock;
        fifo = ky_get_ky_handle_by_robot_handle(robot)->fifo;
    }
    ky::Reply reply;
    ky::announce_completion(fifo, KY_PENDING_TRAJECTORY, 0);  // both lines are filed already
    EXPECT_GT(wait("current_trajectory_state", reply, 60), 0);
    EXPECT_STREQ(reply.text(), R"({"state":"current_trajectory_state","device":0})");
    EXPECT_EQ(ky::pending_completions(fifo), 0);
    ky::announce_completion(fifo, KY_PENDING_PROGRAM, ky::arrival_now());  // not filed yet
    EXPECT_EQ(ky::pending_completions(fifo), 1);
    fake.push(R"({"command":"program_run_finish","finish_id":43})");
    for (int i = 0; i < 200 && ky::pending_completions(fifo) != 0; ++i) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(ky::pending_completions(fifo), 0);
    EXPECT_GT(wait("program_run_finish", reply, 60), 0);  // the line filed before it is left
    EXPECT_STREQ(reply.text(), R"({"command":"program_run_finish","finish_id":42})");
    EXPECT_EQ(wait("program_run_finish", reply, 60), -2);  // 43 went to the callback only
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
