// Faults a host program meets with real controllers, each reproduced against the fake
// controller: stale and late lines, several robots at once, framing, teardown races, lock
// fairness, process exit, and the connection state with reconnect.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "commands/motion_support.h"
#include "core/fifo.h"
#include "core/registry.h"
#include "support/test_util.h"

namespace {

using namespace kymotion;
using kytest::FakeController;

const float kTarget[7] = {10, 20, 30, 40, 50, 60, 0};

// A robot whose controller reports a running movej while it is asked, and accepts moves.
struct MovingArm {
    FakeController fake;
    ky_robot_handle *robot = nullptr;
    std::unique_ptr<QueryScript> query;
    MovingArm() {
        robot = kytest::connect(fake);
        fake.on("movej", accepted("movej"));
        query = std::make_unique<QueryScript>(fake, [](int) { return std::vector<std::string>{trajectory("movej")}; });
        fake.clear_received();
    }
    std::future<int> block() {
        auto *r = robot;
        return start([r] { return ky_movej_block(r, kTarget, 20, 0, 0, 1); });
    }
};

// A blocking move returns 0 only on its own completion, whatever older lines are around.
TEST(StaleLines, BlockingMoveIgnoresCompletionsThatAreNotItsOwn) {
    struct Case {
        const char *name;
        std::function<void(MovingArm &)> before;  // runs before the blocking move is sent
        std::vector<std::string> during;          // pushed while it waits
    } cases[] = {
        {"completion of a move the host started elsewhere, filed before the call",
         [](MovingArm &a) { a.fake.push(completion(true, 0, 0)); }, {}},
        {"late acceptance and completion of a move whose call timed out",
         [](MovingArm &a) {
             a.fake.off("movej");
             EXPECT_EQ(ky_movej_block(a.robot, kTarget, 20, 0, 0, 1), -2);
             a.fake.push(accepted("movej"));
             a.fake.push(completion(true, 0, 0));
             a.fake.on("movej", accepted("movej"));
         },
         {}},
        {"two non-blocking moves, their completions arrive while the blocking one waits",
         [](MovingArm &a) {
             EXPECT_EQ(ky_movej_nblock(a.robot, kTarget, 20, 0, 0), 0);
             EXPECT_EQ(ky_movej_nblock(a.robot, kTarget, 20, 0, 0), 0);
         },
         {completion(true, 0, 0), completion(true, 0, 0)}},
    };
    for (const auto &c : cases) {
        kytest::Library lib(1, 100, 300);
        MovingArm arm;
        c.before(arm);
        std::this_thread::sleep_for(50ms);  // everything above is filed before the call
        auto f = arm.block();
        ASSERT_TRUE(seen(arm.fake, "movej")) << c.name;
        for (const auto &line : c.during) arm.fake.push(line);
        EXPECT_EQ(f.wait_for(400ms), std::future_status::timeout) << c.name << ": returned on a stale line";
        arm.fake.push(completion(true, 0, 0));
        ASSERT_EQ(f.wait_for(3s), std::future_status::ready) << c.name;
        EXPECT_EQ(f.get(), 0) << c.name;
    }
}

// One robot's non-blocking move never swallows another robot's completion, and five robots
// blocking at once each return on their own completion.
TEST(SeveralRobots, EachWaitTakesItsOwnRobotsCompletion) {
    kytest::Library lib(1, 100, 300);
    std::vector<std::unique_ptr<MovingArm>> arms;
    for (int i = 0; i < 5; ++i) arms.push_back(std::make_unique<MovingArm>());
    ASSERT_EQ(ky_movej_nblock(arms[0]->robot, kTarget, 20, 0, 0), 0);  // robot 1 moves on its own

    std::vector<std::future<int>> waits;
    for (size_t i = 1; i < arms.size(); ++i) waits.push_back(arms[i]->block());
    for (size_t i = 1; i < arms.size(); ++i) ASSERT_TRUE(seen(arms[i]->fake, "movej"));
    for (size_t i = 1; i < arms.size(); ++i) {
        EXPECT_EQ(waits[i - 1].wait_for(100ms), std::future_status::timeout) << "robot " << i + 1;
        arms[i]->fake.push(completion(true, 0, 0));
        ASSERT_EQ(waits[i - 1].wait_for(3s), std::future_status::ready) << "robot " << i + 1;
        EXPECT_EQ(waits[i - 1].get(), 0);
    }
    // Robot 1's own completion went to the event callback only.
    arms[0]->fake.push(completion(true, 0, 0));
    for (int i = 0; i < 200 && kytest::pending_completions(arms[0]->robot) != 0; ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(kytest::pending_completions(arms[0]->robot), 0);
}

// The announced completion and the waiting move's own completion are both filed when the
// wait starts: the wait ends at once, not after another full wait for a new line.
TEST(SeveralRobots, DiscardedCompletionNeverDelaysALineAlreadyFiled) {
    kytest::Library lib(1, 2000, 3000);
    MovingArm arm;
    ASSERT_EQ(ky_movej_nblock(arm.robot, kTarget, 20, 0, 0), 0);
    // The controller answers the blocking move with its acceptance, the earlier move's
    // completion and its own, in one write.
    arm.fake.on("movej", [](const std::string &) {
        return std::vector<std::string>{accepted("movej"), completion(true, 0, 0), completion(true, 0, 0)};
    });
    const auto t0 = Clock::now();
    EXPECT_EQ(ky_movej_block(arm.robot, kTarget, 20, 0, 0, 1), 0);
    EXPECT_LT(Clock::now() - t0, 1500ms);  // well within the 2 s wait it would otherwise take
}

// Threads asking one robot the same question at once each get an answer: a call never takes
// a newer reply while leaving an older one that only it could take.
TEST(SeveralThreads, SameQueryOnOneRobotNeverLosesAReply) {
    kytest::Library lib(1, 1000, 1000);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            float v[7];
            for (int i = 0; i < 150; ++i) {
                if (ky_get_joint_max_speed(robot, v) != 0) ++failures;
            }
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
}

// Replies framed like our own requests ("\r\n" and a NUL), one per read, are complete lines.
TEST(Framing, RepliesEndingInCrLfNulAreFiled) {
    for (int mode : {1, 2}) {
        kytest::Library lib(mode, 1000, 1000);
        FakeController fake;
        ky_robot_handle *robot = kytest::connect(fake);
        fake.off("get_joint_max_speed");
        fake.clear_received();  // the connection's own limit queries are not this call
        auto f = start([robot] {
            float v[7] = {};
            return ky_get_joint_max_speed(robot, v);
        });
        ASSERT_TRUE(seen(fake, "get_joint_max_speed", 0ms));
        fake.push_raw(std::string(R"({"command":"joint_max_speed","joint_speed":[1,2,3,4,5,6]})") + "\r\n" +
                      std::string(1, '\0'));
        EXPECT_EQ(f.get(), 0) << "mode " << mode;
    }
}

// ky_destory while another thread is inside ky_create_robot_arm: the record that creation
// works on stays valid until it lets go (the sanitizer build checks the memory).
TEST(Teardown, DestroyDuringCreateIsSafe) {
    for (int delay_ms : {20, 60, 150}) {
        auto lib = std::make_unique<kytest::Library>(1, 200, 300);
        FakeController fake;
        fake.answer_identity();
        fake.set_delay(std::chrono::milliseconds(25));
        auto creating = start([&] {
            ky_robot_handle *r = ky_create_robot_arm("127.0.0.1", fake.port());
            return r == nullptr ? 0 : r->id;  // reading the record must be valid
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
        EXPECT_EQ(ky_destory(), 0);
        ASSERT_EQ(creating.wait_for(10s), std::future_status::ready);
        EXPECT_LE(creating.get(), 5);
        lib.reset();
    }
}

// Create and delete are not starved by command traffic on other threads.
TEST(Locking, WritersGetInUnderCommandTraffic) {
    kytest::Library lib(1, 500, 500);
    FakeController busy;
    ky_robot_handle *robot = kytest::connect(busy);
    std::atomic<bool> stop{false};
    std::atomic<long> calls{0};
    std::vector<std::thread> traffic;
    for (int t = 0; t < 3; ++t) {
        traffic.emplace_back([&] {
            float v[7];
            while (!stop) {
                ky_get_joint_max_speed(robot, v);
                ++calls;
            }
        });
    }
    FakeController other;
    other.answer_identity();
    for (int round = 0; round < 3; ++round) {
        const auto t0 = Clock::now();
        ky_robot_handle *r = ky_create_robot_arm("127.0.0.1", other.port());
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(ky_delete_robot_arm(r), 0);
        EXPECT_LT(Clock::now() - t0, 5s) << "round " << round;  // unbounded before (over 20 s)
    }
    stop = true;
    for (auto &t : traffic) t.join();
    EXPECT_GT(calls.load(), 0);
}

// A host that leaves through exit() (or returns from main) without ky_destory exits
// cleanly, and an unwritable log path ends the process with status 1, never an abort.
TEST(ProcessExit, EndsWithTheStatusTheHostAsksFor) {
    struct Case {
        const char *name;
        std::function<void()> body;
        int status;
    } cases[] = {
        {"mode 1, no destroy", [] { ky_init(1); std::exit(0); }, 0},
        {"mode 2, no destroy", [] { ky_init(2); std::exit(0); }, 0},
        {"mode 2 with a robot, no destroy",
         [] {
             FakeController *fake = new FakeController;  // left to the exit, like the library
             ky_init(2);
             kytest::connect(*fake);
             std::exit(0);
         },
         0},
        {"unwritable log file", [] { ky_init(1); ky_set_log_save("/nonexistent-dir/ky.log"); std::exit(7); }, 1},
    };
    for (const auto &c : cases) {
        std::fflush(nullptr);
        pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            ::close(STDERR_FILENO);  // keep the child's perror line out of the test output
            c.body();
            ::_exit(99);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status)) << c.name << ": ended by signal " << WTERMSIG(status);
        if (WIFEXITED(status)) {
            EXPECT_EQ(WEXITSTATUS(status), c.status) << c.name;
        }
    }
}

// ------------------------------------------------------------ connection state, reconnect
template <int Mode>
struct Reconnect {
    kytest::Library lib{Mode, 200, 300};
    std::unique_ptr<FakeController> fake = std::make_unique<FakeController>();
    ky_robot_handle *robot = kytest::connect(*fake);

    void wait_closed() {
        for (int i = 0; i < 400 && ky_get_connection_state(robot) != KY_CONNECTION_CLOSED; ++i) {
            if (Mode == 0) {
                float v[7];
                ky_get_joint_max_speed(robot, v);  // mode 0 notices it while reading
            }
            std::this_thread::sleep_for(5ms);
        }
    }
};

TEST(ConnectionState, PeerCloseIsSeenAndTheSameHandleReconnects) {
    Reconnect<1> r;
    kytest::LogCapture log(KY_LOG_WARN);
    ASSERT_EQ(ky_get_connection_state(r.robot), KY_CONNECTION_CONNECTED);
    r.fake->close_client();
    r.wait_closed();
    EXPECT_EQ(ky_get_connection_state(r.robot), KY_CONNECTION_CLOSED);
    EXPECT_TRUE(log.contains("closed by the controller"));
    float v[7];
    EXPECT_EQ(ky_get_joint_max_speed(r.robot, v), -1);  // nothing can be sent

    ASSERT_EQ(ky_reconnect_robot_arm(r.robot), 0);
    EXPECT_EQ(ky_get_connection_state(r.robot), KY_CONNECTION_CONNECTED);
    EXPECT_EQ(r.robot->id, 1);
    EXPECT_EQ(r.robot->dof, 6);
    EXPECT_FALSE(r.fake->requests_for("get_arm_software_info").empty());  // synchronised again
    EXPECT_EQ(ky_get_joint_max_speed(r.robot, v), 0);
}

TEST(ConnectionState, ModeZeroNoticesTheCloseWhileReading) {
    Reconnect<0> r;
    r.fake->close_client();
    r.wait_closed();
    EXPECT_EQ(ky_get_connection_state(r.robot), KY_CONNECTION_CLOSED);
    ASSERT_EQ(ky_reconnect_robot_arm(r.robot), 0);
    float v[7];
    EXPECT_EQ(ky_get_joint_max_speed(r.robot, v), 0);
}

TEST(ConnectionState, ReconnectFailuresHaveTheirCodes) {
    Reconnect<1> r;
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_get_connection_state(&bogus), -1);
    EXPECT_EQ(ky_reconnect_robot_arm(&bogus), -1);

    // Connected but the arm does not identify itself: -3, id -1 as after a failed creation.
    r.fake->off("get_arm_software_info");
    r.fake->close_client();
    r.wait_closed();
    EXPECT_EQ(ky_reconnect_robot_arm(r.robot), -3);
    EXPECT_EQ(r.robot->id, -1);
    r.fake->answer_identity();
    EXPECT_EQ(ky_reconnect_robot_arm(r.robot), 0);
    EXPECT_EQ(r.robot->id, 1);

    // Nothing listens any more.
    r.fake.reset();
    r.wait_closed();
    EXPECT_EQ(ky_reconnect_robot_arm(r.robot), -2);
    EXPECT_EQ(ky_get_connection_state(r.robot), KY_CONNECTION_CLOSED);

    // A creation that could not connect keeps its slot; its connection was never made.
    ky_delete_robot_arm(r.robot);
    auto gone = std::make_unique<FakeController>();
    const int dead_port = gone->port();
    gone.reset();
    ky_robot_handle *never = ky_create_robot_arm("127.0.0.1", dead_port);
    ASSERT_NE(never, nullptr);
    EXPECT_EQ(never->id, -1);
    EXPECT_EQ(ky_get_connection_state(never), KY_CONNECTION_NEVER);
    EXPECT_EQ(ky_reconnect_robot_arm(never), -2);
}

TEST(ConnectionState, ConcurrentReconnectsOfOneRobotAllSucceed) {
    Reconnect<1> r;
    r.fake->close_client();
    r.wait_closed();
    std::vector<std::future<int>> calls;
    for (int i = 0; i < 4; ++i) calls.push_back(start([&] { return ky_reconnect_robot_arm(r.robot); }));
    for (auto &c : calls) EXPECT_EQ(c.get(), 0);
    float v[7];
    EXPECT_EQ(ky_get_joint_max_speed(r.robot, v), 0);
}

}  // namespace
