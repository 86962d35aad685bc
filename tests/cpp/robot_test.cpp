// The C++ interface against the in-process simulator: error codes and their categories,
// the two calling conventions, RAII order, callbacks with captures.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kyarm.hpp"
#include "sim/simulator.h"
#include "realtime/realtime_util.h"

namespace {

ky::sim::Options fast_sim() {
    ky::sim::Options o;
    o.speed_scale = 4.0;
    o.push_port = rttest::free_udp_port();
    return o;
}

TEST(CppErrors, CodesMapToConditionsAndFamilyMessages) {
    struct Row {
        std::error_code ec;
        ky::errc condition;
        const char *message_part;
    };
    const Row rows[] = {
        {ky::make_error_code<ky::family::motion>(1), ky::errc::refused, "trajectory failed"},
        {ky::make_error_code<ky::family::motion>(-2), ky::errc::timeout, "no reply"},
        {ky::make_error_code<ky::family::realtime>(-3), ky::errc::parse, "unreadable"},
        {ky::make_error_code<ky::family::motion>(-4), ky::errc::family_specific, "another device"},
        {ky::make_error_code<ky::family::motion>(-6), ky::errc::family_specific, "trajectory_connect"},
        {ky::make_error_code<ky::family::lifecycle>(-2), ky::errc::timeout, "could not be reached"},
        {ky::make_error_code<ky::family::wrapper>(-1), ky::errc::failed, "shorter than the call needs"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.ec.category().name() + std::string(" ") + std::to_string(r.ec.value()));
        EXPECT_TRUE(r.ec == r.condition);
        EXPECT_NE(r.ec.message().find(r.message_part), std::string::npos) << r.ec.message();
    }
    EXPECT_FALSE(ky::make_error_code<ky::family::motion>(0));
    EXPECT_STREQ(ky::category<ky::family::motion>().name(), "kyarm.motion");
    // The same code means different things in different families.
    EXPECT_NE(ky::make_error_code<ky::family::motion>(-4).message(),
              ky::make_error_code<ky::family::identity>(-4).message());
}

class CppRobot : public ::testing::Test {
protected:
    ky::sim::Simulator sim{fast_sim()};
    void SetUp() override { ASSERT_TRUE(sim.start()) << sim.error(); }
};

TEST_F(CppRobot, ThrowingAndResultFormsOfTheSameCall) {
    ky::Library lib(2);
    ky::Robot robot("127.0.0.1", sim.port());
    EXPECT_EQ(robot.id(), 1);
    EXPECT_EQ(robot.dof(), 6);

    const ky::Joints target{10, -20, 30, 0, 15, 5};
    robot.movej(target, 50);  // blocks until the simulator's arm is there
    const ky::Joints now = robot.get_joint_degree();
    ASSERT_EQ(now.size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(now[i], target[i], 0.01) << i;

    auto r = robot.nothrow().get_joint_degree();
    ASSERT_TRUE(r);
    EXPECT_EQ(*r, now);

    // A joint vector shorter than the dof is refused before anything is sent.
    const float three[] = {1, 2, 3};
    auto refused = robot.nothrow().movej(three, 20);
    EXPECT_EQ(refused.code(), -1);
    EXPECT_EQ(refused.error().category(), ky::category<ky::family::wrapper>());
    EXPECT_THROW(robot.movej(three, 20), ky::Error);

    // A refused move: the simulator refuses everything.
    ky::sim::Faults f;
    f.refuse_all = true;
    sim.set_faults(f);
    try {
        robot.movej(target, 20);
        FAIL() << "no exception";
    } catch (const ky::Error &e) {
        EXPECT_EQ(e.result(), 1);
        EXPECT_STREQ(e.function(), "ky_movej");
        EXPECT_TRUE(e.code() == ky::errc::refused);
        EXPECT_NE(std::string(e.what()).find("ky_movej"), std::string::npos);
    }
    EXPECT_EQ(robot.nothrow().movej(target, 20).code(), 1);
}

TEST_F(CppRobot, TimeoutAndUnreachableController) {
    ky::Library lib(1);
    ky::Library::set_timeout(std::chrono::milliseconds(200));
    ky::Robot robot("127.0.0.1", sim.port());
    ky::sim::Faults f;
    f.drop_share = 1.0;
    sim.set_faults(f);
    auto r = robot.nothrow().get_joint_degree();
    EXPECT_TRUE(r.error() == ky::errc::timeout);
    EXPECT_STREQ(r.function(), "ky_get_joint_degree");
    ky::Library::set_timeout(std::chrono::milliseconds(500));

    sim.stop();
    auto gone = ky::Robot::connect("127.0.0.1", sim.port());
    EXPECT_EQ(gone.code(), -2);
    EXPECT_TRUE(gone.error() == ky::errc::timeout);
    auto bad = ky::Robot::connect("not-an-address-at-all-far-too-long-for-the-field", 1);
    EXPECT_FALSE(bad);
}

TEST_F(CppRobot, RaiiOrderRobotsOutlivingTheLibraryAreInert) {
    auto lib = std::make_unique<ky::Library>(1);
    ky::Robot a("127.0.0.1", sim.port());
    ky::Robot moved = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_TRUE(moved);
    lib.reset();  // ky_destory frees the record
    EXPECT_FALSE(moved);
    EXPECT_EQ(moved.dof(), 0);
    EXPECT_EQ(moved.nothrow().get_joint_degree().code(), -1);
    // A new library and robot work after the old one is gone; the stale robot's destructor
    // must not delete the new record.
    ky::Library lib2(1);
    ky::Robot b("127.0.0.1", sim.port());
    { ky::Robot stale = std::move(moved); }
    EXPECT_TRUE(b.nothrow().get_joint_degree());
}

TEST_F(CppRobot, CallbacksWithCapturesRunOnLibraryThreads) {
    ky::Library lib(2);
    std::atomic<int> pushes{0}, events{0};
    std::atomic<bool> on_caller_thread{false};
    const auto caller = std::this_thread::get_id();
    ky::Library::on_realtime([&](const ky_realtime_arm_joint_state &s) {
        if (s.errCode == 0) ++pushes;
        if (std::this_thread::get_id() == caller) on_caller_thread = true;
    });
    ky::Library::on_event([&](const ky_event_data &e) {
        if (e.event_type == 1 && e.trajectory_state) ++events;
    });
    ky::Robot robot("127.0.0.1", sim.port());
    robot.movej(ky::Joints{5, 5, 5, 5, 5, 5}, 50, 0, 0, 0);  // non-blocking: completion is an event
    for (int i = 0; i < 300 && (events == 0 || pushes < 5); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(events.load(), 1);
    EXPECT_GE(pushes.load(), 5);
    EXPECT_FALSE(on_caller_thread);
    ky::Library::on_realtime(nullptr);
    ky::Library::on_event(nullptr);
}

TEST(CppLibrary, ParserPushPortsAndLogFile) {
    const auto ok = ky::try_parse_realtime_state(
        R"({"waypoint":{"quat":[1000000,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":7,"sys_err":0})");
    ASSERT_TRUE(ok);
    EXPECT_EQ(ok->arm_err, 7);
    const auto bad = ky::try_parse_realtime_state(R"({"arm_err":7})");
    EXPECT_TRUE(bad.error() == ky::errc::parse);
    EXPECT_THROW(ky::parse_realtime_state("not json"), ky::Error);

    {
        ky::Library lib(1);  // no UDP receiver in mode 1
        EXPECT_EQ(ky::Library::add_push_port(rttest::free_udp_port()), -1);
    }
    {
        ky::Library lib(2);
        const int port = rttest::free_udp_port();
        EXPECT_EQ(ky::Library::add_push_port(port), 0);
        EXPECT_EQ(ky::Library::add_push_port(port), 1);
        EXPECT_EQ(ky::Library::delete_push_port(port), 0);
    }
    // The C call would end the process on a file it cannot open: refused here instead.
    EXPECT_FALSE(ky::Library::set_log_save("/nonexistent-dir/kyarm.log"));
}

}  // namespace
