// Several robots and threads at once: every call gets its own command's reply.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

TEST(Concurrency, FiveRobotsFourThreadsEachGetTheirOwnReplies) {
    kytest::Library lib(1, 2000, 2000);
    constexpr int kRobots = 5, kThreads = 4, kCalls = 40;
    std::vector<std::unique_ptr<FakeController>> fakes;
    std::vector<ky_robot_handle *> robots;
    for (int r = 0; r < kRobots; ++r) {
        fakes.push_back(std::make_unique<FakeController>());
        auto &fake = *fakes.back();
        // Each thread asks its own command; the reply echoes robot and thread. Every third
        // answer is preceded by a line nobody waits for, and a pusher adds more: the FIFO
        // must keep handing each waiter its own reply among them.
        for (int t = 0; t < kThreads; ++t) {
            std::string cmd = "get_t" + std::to_string(t);
            std::string reply = "{\"command\":\"" + cmd + "\",\"value\":" + std::to_string(r * 100 + t) + "}";
            auto calls = std::make_shared<std::atomic<int>>(0);
            fake.on(cmd, [reply, calls](const std::string &) {
                if (++*calls % 3 == 0) return std::vector<std::string>{R"({"command":"unrelated","n":1})", reply};
                return std::vector<std::string>{reply};
            });
        }
        robots.push_back(kytest::connect(fake));
        ASSERT_EQ(robots.back()->id, r + 1);
    }
    std::atomic<bool> stop{false};
    std::vector<std::thread> noise;
    for (auto &f : fakes) {
        noise.emplace_back([&stop, &f] {
            int i = 0;
            while (!stop) {
                f->push(R"({"command":"current_trajectory_state","trajectory_state":true,"device":)" +
                        std::to_string(i++ % 5) + "}");
                std::this_thread::sleep_for(20ms);
            }
        });
    }
    std::atomic<int> wrong{0}, failed{0};
    std::vector<std::thread> workers;
    for (int r = 0; r < kRobots; ++r) {
        for (int t = 0; t < kThreads; ++t) {
            workers.emplace_back([&, r, t] {
                std::string cmd = "get_t" + std::to_string(t);
                for (int i = 0; i < kCalls; ++i) {
                    int v = -1;
                    int res = ky_get_data_common(robots[r], &v, cmd.c_str(), "value");
                    if (res != 0) ++failed;
                    else if (v != r * 100 + t) ++wrong;
                }
            });
        }
    }
    for (auto &w : workers) w.join();
    stop = true;
    for (auto &n : noise) n.join();
    EXPECT_EQ(failed.load(), 0);
    EXPECT_EQ(wrong.load(), 0);
}

TEST(Concurrency, DeleteWaitsForCommandsInFlightAndLaterCallsFail) {
    kytest::Library lib(1, 300, 300);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    fake.clear_received();
    std::atomic<int> result{99};
    std::thread waiter([&] {
        int v;
        result = ky_get_data_common(robot, &v, "never_answered", "x");
    });
    // Once the request is out, the waiter holds the registry's read lock for its wait.
    ASSERT_TRUE(fake.wait_for_requests(1, 2s));
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ky_delete_robot_arm(robot), 0);  // blocks until the waiter's exchange ended
    EXPECT_GE(std::chrono::steady_clock::now() - t0, 150ms);
    waiter.join();
    EXPECT_EQ(result.load(), -2);
    int v;
    EXPECT_EQ(ky_get_data_common(robot, &v, "get_x", "x"), -1);
}

TEST(Concurrency, CreateAndDeleteWhileOtherRobotsWork) {
    kytest::Library lib(1, 1000, 1000);
    FakeController steady;
    steady.on("get_v", R"({"command":"get_v","value":1})");
    ky_robot_handle *robot = kytest::connect(steady);
    ASSERT_EQ(robot->id, 1);
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::thread worker([&] {
        while (!stop) {
            int v = 0;
            if (ky_get_data_common(robot, &v, "get_v", "value") != 0 || v != 1) ++failures;
        }
    });
    for (int i = 0; i < 10; ++i) {
        FakeController other;
        ky_robot_handle *r = kytest::connect(other);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->id, 2);
        EXPECT_EQ(ky_delete_robot_arm(r), 0);
    }
    stop = true;
    worker.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
