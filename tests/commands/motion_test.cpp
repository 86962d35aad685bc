// Planned moves: request bytes, acceptance, and the blocking completion wait against the
// fake controller (completion lines, trajectory queries, faults, mode 0, pending events).
#include <gtest/gtest.h>

#include <mutex>

#include "commands/motion.h"
#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

const float kJoints[7] = {10.0f, 0.0f, 90.0f, 0.0f, 90.0f, 0.0f, 45.0f};

// ------------------------------------------------------------------ request bytes
struct WireCase {
    const char *name;
    const char *command;
    std::function<int(ky_robot_handle *)> call;
    const char *expected;
};

TEST(MoveWire, RequestLinesOfEveryMove) {
    const ky_pose p = pose(0.1234567f, -0.25f, 0.5f, 3.1415f, -0.0019f, 1.0f);
    const float odd[6] = {12.3456f, -0.0009f, -12.3456f, 0.0f, 360.0f, -0.001f};
    const WireCase cases[] = {
        {"movej", "movej", [](auto *r) { return ky_movej_nblock(r, kJoints, 20, 0, 0); },
         R"({"command":"movej","v":20,"joint":[10000,0,90000,0,90000,0],"trajectory_connect":0,"r":0})"},
        {"movej_truncation", "movej", [&](auto *r) { return ky_movej(r, odd, 5, 3, 1, 0); },
         R"({"command":"movej","v":5,"joint":[12345,0,-12345,0,360000,-1],"trajectory_connect":1,"r":3})"},
        {"movel", "movel", [&](auto *r) { return ky_movel_nblock(r, p, 30, 2, 0); },
         R"({"command":"movel","v":30,"pose":[123456,-250000,500000,3141,-1,1000],"trajectory_connect":0,"r":2})"},
        {"moves", "moves", [&](auto *r) { return ky_moves(r, p, 10, 0, 1, 0); },
         R"({"command":"moves","v":10,"pose":[123456,-250000,500000,3141,-1,1000],"trajectory_connect":1,"r":0})"},
        {"movej_p", "movej_p", [&](auto *r) { return ky_movej_p_nblock(r, p, 50, 1, 0); },
         R"({"command":"movej_p","v":50,"pose":[123456,-250000,500000,3141,-1,1000],"trajectory_connect":0,"r":1})"},
    };
    Arm arm;
    for (const auto &c : cases) {
        arm.fake.clear_received();
        arm.fake.on(c.command, accepted(c.command));
        EXPECT_EQ(c.call(arm.robot), 0) << c.name;
        auto req = arm.fake.requests();
        ASSERT_EQ(req.size(), 1u) << c.name;
        EXPECT_EQ(req[0], c.expected) << c.name;
        EXPECT_EQ(arm.fake.received(), std::string(c.expected) + std::string("\r\n\0", 3)) << c.name;
    }
}

TEST(MoveWire, JointArrayFollowsTheArmsDof) {
    for (auto [product, expected] : {std::pair{"KY6A-B", "[10000,0,90000,0,90000,0]"},
                                     std::pair{"KY7A-B", "[10000,0,90000,0,90000,0,45000]"}}) {
        Arm arm(1, product);
        arm.fake.on("movej", accepted("movej"));
        EXPECT_EQ(ky_movej_nblock(arm.robot, kJoints, 20, 0, 0), 0);
        ASSERT_EQ(arm.fake.requests().size(), 1u);
        EXPECT_EQ(kytest::member_of(arm.fake.requests()[0], "joint"), expected) << product;
    }
}

TEST(MoveWire, MovecIsFormattedWithRadiusInThousandthsAndNoNul) {
    Arm arm;
    arm.fake.on("movec", accepted("movec"));
    const std::string expected =
        "{\n\t\"command\":\t\"movec\",\n\t\"pose\":\t{\n"
        "\t\t\"pose_via\":\t[100000, 200000, 300000, 1000, 0, -1500],\n"
        "\t\t\"pose_to\":\t[-100000, 0, 250000, 0, 3141, 0]\n\t},\n"
        "\t\"v\":\t20,\n\t\"r\":\t2000,\n\t\"loop\":\t3,\n\t\"trajectory_connect\":\t0\n}";
    kytest::LogCapture log;
    EXPECT_EQ(ky_movec(arm.robot, pose(0.1f, 0.2f, 0.3f, 1.0f, 0, -1.5f), pose(-0.1f, 0, 0.25f, 0, 3.1415f, 0), 20, 2,
                       3, 0, 0),
              0);
    ASSERT_TRUE(arm.fake.wait_for_requests(1, 1s));
    EXPECT_EQ(arm.fake.received(), expected + "\r\n");
    EXPECT_FALSE(log.contains("send is:"));  // only the blocking form logs what it sends
    // The blocking form with connect 1 returns once accepted, after logging the text.
    arm.fake.clear_received();
    EXPECT_EQ(ky_movec_block(arm.robot, pose(0, 0, 0, 0, 0, 0), pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1, 1), 0);
    EXPECT_TRUE(log.contains("send is: {\n\t\"command\":\t\"movec\""));
    EXPECT_EQ(kytest::member_of(arm.fake.requests()[0], "trajectory_connect"), "1");
}

TEST(MoveWire, MovecRefusesConnectValuesOtherThanZeroAndOne) {
    Arm arm;
    arm.fake.on("movec", accepted("movec"));
    for (int connect : {2, -1, 1000}) {
        kytest::LogCapture log;
        EXPECT_EQ(ky_movec(arm.robot, pose(0, 0, 0, 0, 0, 0), pose(0, 0, 0, 0, 0, 0), 1, 0, 0, connect, 1), -6);
        EXPECT_TRUE(log.contains("[ky_movec] trajectory_connect check err! \n"));
    }
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(arm.fake.received(), "");
}

// ------------------------------------------------------------------- acceptance
TEST(MoveAccept, ReplyOutcomes) {
    struct Case {
        const char *reply;  // null: no reply
        int expected;
        const char *log;
    } cases[] = {
        {R"({"command":"movel","receive_state":true})", 0, nullptr},
        {R"({"command":"movel","receive_state":false})", 1, "[ky_movel] receive_state: false\n"},
        {R"({"command":"movel"})", -3, "[ky_movel] receive_state command parse err\n"},
        {nullptr, -2, "[ky_movel] movel revice error\n"},
    };
    Arm arm;
    for (const auto &c : cases) {
        kytest::LogCapture log;
        if (c.reply) {
            arm.fake.on("movel", c.reply);
        } else {
            arm.fake.off("movel");
        }
        const int before = kytest::pending_completions(arm.robot);
        EXPECT_EQ(ky_movel(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 0), c.expected) << c.reply;
        // Only an accepted non-blocking move announces its completion line as an event.
        EXPECT_EQ(kytest::pending_completions(arm.robot) - before, c.expected == 0 ? 1 : 0);
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
}

TEST(MoveAccept, BlockingMovesLogUnderTheirTags) {
    Arm arm;  // nothing answers
    struct Case {
        std::function<int(ky_robot_handle *)> call;
        const char *log;
    } cases[] = {
        {[](auto *r) { return ky_moves_block(r, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1); }, "[ky_movel] moves revice error\n"},
        {[](auto *r) { return ky_moves_nblock(r, pose(0, 0, 0, 0, 0, 0), 1, 0, 0); }, "[ky_moves] moves revice error\n"},
        {[](auto *r) { return ky_movej_p_block(r, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1); },
         "[ky_movej_p] movej_p revice error\n"},
        {[](auto *r) { return ky_movej_block(r, kJoints, 1, 0, 0, 1); }, "[ky_movej] movej revice error\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        EXPECT_EQ(c.call(arm.robot), -2) << c.log;
        EXPECT_TRUE(log.contains(c.log)) << c.log;
    }
    // movec waits for its acceptance without a request of its own: no revice line.
    kytest::LogCapture log;
    EXPECT_EQ(ky_movec_nblock(arm.robot, pose(0, 0, 0, 0, 0, 0), pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 0), -2);
    EXPECT_FALSE(log.contains("revice error"));
}

TEST(MoveAccept, UnknownHandleAndDisconnectedArmSendNothing) {
    Arm arm;
    arm.fake.on("movej", accepted("movej"));
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_movej_nblock(&bogus, kJoints, 1, 0, 0), -1);
    EXPECT_EQ(ky_movel_block(&bogus, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1), -1);
    EXPECT_EQ(ky_movec_block(&bogus, pose(0, 0, 0, 0, 0, 0), pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 0, 1), -1);
    EXPECT_EQ(ky_movej_nblock(arm.robot, nullptr, 1, 0, 0), -1);
    kytest::LogCapture log;
    ky::store_field(arm.robot->dof, 0);  // dof unknown, as before identification
    EXPECT_EQ(ky_movej_block(arm.robot, kJoints, 1, 0, 0, 1), -1);
    EXPECT_TRUE(log.contains("[ky_movej] The robotic arm has been disconnected\n"));
    ky::store_field(arm.robot->dof, 6);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(arm.fake.received(), "");
}

// --------------------------------------------------------------- completion wait
class BlockingMove : public ::testing::TestWithParam<int> {
protected:
    Arm arm{GetParam()};
    void SetUp() override { arm.fake.on("movej", accepted("movej")); }
    // Starts a blocking movej, pushes `lines` once it was accepted.
    std::future<int> move_then_push(const std::vector<std::string> &lines, int connect = 0) {
        arm.fake.clear_received();
        auto f = start([this, connect] { return ky_movej_block(arm.robot, kJoints, 20, 0, connect, 2); });
        EXPECT_TRUE(seen(arm.fake, "movej"));
        for (const auto &l : lines) arm.fake.push(l);
        return f;
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, BlockingMove, ::testing::Values(1, 2),
                         [](const auto &info) { return "mode" + std::to_string(info.param); });

TEST_P(BlockingMove, CompletionLineDecides) {
    QueryScript query(arm.fake, [](int) { return std::vector<std::string>{trajectory("movej")}; });
    struct Case {
        std::string line;
        int expected;
        const char *log;
    } cases[] = {
        {completion(true, 0, 0), 0, nullptr},
        {R"({"state":"current_trajectory_state","trajectory_state":true,"device":0,"trajectory_connect":0})", 0, nullptr},
        {completion(false, 0, 0), 1, "Move command result is: false, current Device: 0, trajectory_connect: 0\n"},
        {R"({"command":"current_trajectory_state","device":0,"trajectory_connect":0})", -1, nullptr},
        {R"({"command":"current_trajectory_state","trajectory_state":true,"device":-1})", -3,
         "Move command parse err\n"},
        {R"({"command":"current_trajectory_state","trajectory_state":true,"trajectory_connect":-2})", -3,
         "Move command parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        EXPECT_EQ(move_then_push({c.line}).get(), c.expected) << c.line;
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
}

TEST_P(BlockingMove, CompletionOfAnotherDeviceOrJoinedTrajectoryDoesNotEndTheWait) {
    QueryScript query(arm.fake, [](int) { return std::vector<std::string>{trajectory("movej")}; });
    auto f = move_then_push({completion(true, 3, 0), completion(true, 0, 1)});
    EXPECT_EQ(f.wait_for(300ms), std::future_status::timeout);
    arm.fake.push(completion(true, 0, 0));
    EXPECT_EQ(f.get(), 0);
    EXPECT_GE(query.count(), 1);  // the trajectory was polled while waiting
}

TEST_P(BlockingMove, JoinedTrajectoryReturnsOnceAccepted) {
    QueryScript query(arm.fake, [](int) { return std::vector<std::string>{trajectory("movej")}; });
    EXPECT_EQ(ky_movej_block(arm.robot, kJoints, 20, 0, 1, 1), 0);
    EXPECT_EQ(query.count(), 0);
    EXPECT_EQ(kytest::pending_completions(arm.robot), 0);
}

TEST_P(BlockingMove, DroppedConnectionEndsTheWaitWithAnError) {
    QueryScript query(arm.fake, [this](int) {
        arm.fake.close_client();
        return std::vector<std::string>{};
    });
    auto t0 = Clock::now();
    const int r = ky_movej_block(arm.robot, kJoints, 20, 0, 0, 1);
    EXPECT_TRUE(r == -1 || r == -2) << r;
    EXPECT_LT(Clock::now() - t0, 3s);
}

// Faster time-outs for the cases that go through many passes; long enough that a query's
// reply is not late on a loaded machine (a late reply is a failed query, and the scripted
// completion line filed with it would be taken at the start of the next pass).
class CompletionLoop : public ::testing::Test {
protected:
    Arm arm{1, "KY6A-B", 60};
    void SetUp() override {
        for (const char *m : {"movej", "movel", "moves", "movec", "movej_p"}) arm.fake.on(m, accepted(m));
    }
};

TEST_F(CompletionLoop, TenIdleAnswersThenTheFinalCompletionLine) {
    struct Case {
        std::string line;
        int expected;
        const char *log;
    } cases[] = {
        {completion(true, 0, 0), 0, nullptr},
        {completion(true, 3, 0), -4, "[ky_movej] current device is: 3 \n"},
        {completion(true, 0, 2), -4, "[ky_movej] current device is: 0 \n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        QueryScript query(arm.fake, [&c](int n) {
            std::vector<std::string> out{trajectory("none")};
            if (n == 10) out.push_back(c.line);
            return out;
        });
        EXPECT_EQ(ky_movej_block(arm.robot, kJoints, 20, 0, 0, 1), c.expected) << c.line;
        EXPECT_EQ(query.count(), 10);
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
}

TEST_F(CompletionLoop, RunningThenIdleLooksForTheCompletionAtOnce) {
    struct Case {
        const char *name;
        std::function<int()> call;
        const char *running;
    } cases[] = {
        {"movel", [this] { return ky_movel_block(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1); }, "movel"},
        {"moves", [this] { return ky_moves_block(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1); }, "moves"},
        {"movec", [this] { return ky_movec(arm.robot, pose(0, 0, 0, 0, 0, 0), pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 0, 1); },
         "movec"},
        {"movej_p", [this] { return ky_movej_p_block(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1); }, "movej"},
    };
    for (const auto &c : cases) {
        const std::string running = c.running;
        QueryScript query(arm.fake, [running](int n) {
            // Another kind of trajectory first, then the own kind, then idle with the completion.
            if (n == 1) return std::vector<std::string>{trajectory("re_trajectory")};
            if (n <= 3) return std::vector<std::string>{trajectory(running, "[1,2,3,4,5,6]")};
            return std::vector<std::string>{trajectory("none"), completion()};
        });
        EXPECT_EQ(c.call(), 0) << c.name;
        EXPECT_EQ(query.count(), 4) << c.name;
    }
}

TEST_F(CompletionLoop, MovejPTakesTheCompletionOnlyOnceIdle) {
    // movej_p starts each pass with the query; a completion line that arrives while the
    // trajectory still shows as running waits in the FIFO until the arm is idle.
    QueryScript query(arm.fake, [](int n) {
        if (n == 1) return std::vector<std::string>{trajectory("movej"), completion(true, 0, 0)};
        if (n <= 3) return std::vector<std::string>{trajectory("movej")};
        return std::vector<std::string>{trajectory("none")};
    });
    EXPECT_EQ(ky_movej_p_block(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 1), 0);
    EXPECT_EQ(query.count(), 4);
}

TEST_F(CompletionLoop, SixFailedQueriesReturnTheQuerysCode) {
    struct Case {
        const char *reply;  // null: unanswered
        int expected;
    } cases[] = {{nullptr, -2}, {R"({"command":"arm_current_trajectory","type":"pause","data":[]})", -1}};
    for (const auto &c : cases) {
        QueryScript query(arm.fake, [&c](int) {
            return c.reply ? std::vector<std::string>{c.reply} : std::vector<std::string>{};
        });
        EXPECT_EQ(ky_movej_block(arm.robot, kJoints, 20, 0, 0, 1), c.expected);
        EXPECT_EQ(query.count(), 6);
    }
}

// ------------------------------------------------------------------------ mode 0
TEST(SingleMode, CompletionWithinTheBlockSeconds) {
    Arm arm(0);
    arm.fake.on("movel", accepted("movel"));
    auto f = start([&] { return ky_movel_block(arm.robot, pose(0, 0, 0, 0, 0, 0), 1, 0, 0, 2); });
    ASSERT_TRUE(seen(arm.fake, "movel", 50ms));
    arm.fake.push(completion(true, 3, 0));  // uses up the first one-second wait
    std::this_thread::sleep_for(30ms);     // its own read: bytes after a matched line are dropped
    arm.fake.push(completion(true, 0, 0));
    EXPECT_EQ(f.get(), 0);
    EXPECT_TRUE(arm.fake.requests_for("get_arm_current_trajectory").empty());
}

TEST(SingleMode, NoCompletionReturnsMinusFiveAfterBlockSeconds) {
    Arm arm(0);
    arm.fake.on("movej", accepted("movej"));
    auto t0 = Clock::now();
    EXPECT_EQ(ky_movej(arm.robot, kJoints, 1, 0, 0, 3), -5);
    EXPECT_GE(Clock::now() - t0, 2900ms);
}

TEST(SingleMode, ParseIsReusableWithOtherDeviceCodes) {
    Arm arm(1);
    EXPECT_EQ(ky_movecmd_singlemode_parse(arm.robot, 0, 0), -5);
    // A call takes only lines filed after it began: each line is pushed while it waits.
    auto parse_while_pushed = [&](int attempts, int device, const std::string &line) {
        auto f = start([&] { return ky_movecmd_singlemode_parse(arm.robot, attempts, device); });
        std::this_thread::sleep_for(50ms);
        arm.fake.push(line);
        return f.get();
    };
    EXPECT_EQ(parse_while_pushed(1, 3, completion(true, 3, 0)), 0);
    EXPECT_EQ(parse_while_pushed(1, 4, completion(true, 0, 0)), -5);  // the attempt is used up
    EXPECT_EQ(parse_while_pushed(3, 4, completion(false, 4, 0)), 1);
}

// ------------------------------------------------------------------ pending events
std::mutex g_events_mutex;
std::vector<ky_event_data> g_events;
void record_event(ky_event_data e) {
    std::lock_guard<std::mutex> lock(g_events_mutex);
    g_events.push_back(e);
}
std::vector<ky_event_data> events() {
    std::lock_guard<std::mutex> lock(g_events_mutex);
    return g_events;
}

TEST(PendingEvent, BlockingMoveAfterNonBlockingOneIgnoresTheEarlierCompletion) {
    Arm arm(1);
    {
        std::lock_guard<std::mutex> lock(g_events_mutex);
        g_events.clear();
    }
    ky_get_arm_event_call_back(record_event);
    arm.fake.on("movej", accepted("movej"));
    QueryScript query(arm.fake, [](int) { return std::vector<std::string>{trajectory("movej")}; });

    ASSERT_EQ(ky_movej_nblock(arm.robot, kJoints, 20, 0, 0), 0);
    EXPECT_EQ(kytest::pending_completions(arm.robot), 1);
    // The earlier move's completion (reported failed) arrives before the next move is sent.
    arm.fake.push(completion(false, 0, 0));
    for (int i = 0; i < 100 && events().empty(); ++i) std::this_thread::sleep_for(5ms);
    arm.fake.clear_received();
    auto f = start([&] { return ky_movej_block(arm.robot, kJoints, 20, 0, 0, 1); });
    ASSERT_TRUE(seen(arm.fake, "movej"));
    EXPECT_EQ(f.wait_for(250ms), std::future_status::timeout);  // it did not take the old line
    arm.fake.push(completion(true, 0, 0));
    EXPECT_EQ(f.get(), 0);
    EXPECT_EQ(kytest::pending_completions(arm.robot), 0);

    auto ev = events();
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_EQ(ev[0].handle_id, 1);
    EXPECT_EQ(ev[0].event_type, 1);
    EXPECT_FALSE(ev[0].trajectory_state);
    EXPECT_TRUE(ev[1].trajectory_state);
}

}  // namespace
