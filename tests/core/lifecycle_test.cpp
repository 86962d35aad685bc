// Library start and stop, the robot registry, and connection failures.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

TEST(Lifecycle, VersionString) { EXPECT_STREQ(ky_api_version(), "1.0.3.t5"); }

TEST(Lifecycle, FiveRobotsThenNullAndFreedSlotIsReused) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    std::vector<std::unique_ptr<FakeController>> fakes;
    std::vector<ky_robot_handle *> robots;
    for (int i = 0; i < 6; ++i) {
        fakes.push_back(std::make_unique<FakeController>());
        robots.push_back(kytest::connect(*fakes.back()));
    }
    for (int i = 0; i < 5; ++i) {
        ASSERT_NE(robots[i], nullptr);
        EXPECT_EQ(robots[i]->id, i + 1);
        EXPECT_EQ(robots[i]->dof, 6);
    }
    EXPECT_EQ(robots[5], nullptr);
    EXPECT_TRUE(log.contains("[ky_create_robot_arm] robot num is max"));

    EXPECT_EQ(ky_delete_robot_arm(robots[1]), 0);
    EXPECT_EQ(robots[1]->id, 0);  // the record stays readable
    int dof = 0;
    EXPECT_EQ(ky_get_arm_dof(robots[1], &dof), -1);
    ky_robot_handle *again = kytest::connect(*fakes[5]);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->id, 2);
    EXPECT_EQ(ky_get_arm_dof(again, &dof), 0);
    EXPECT_EQ(dof, 6);
}

TEST(Lifecycle, AddressLengthAndPortChecks) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    FakeController fake;
    fake.answer_identity();
    // 21 characters: the socket handle is refused, nothing is registered.
    EXPECT_EQ(ky_create_robot_arm("127.0.0.1............", fake.port()), nullptr);
    EXPECT_TRUE(log.contains("[ky_create_robot_arm] socket connect err!"));
    EXPECT_EQ(ky_create_robot_arm("127.0.0.1", 0), nullptr);
    EXPECT_EQ(ky_create_robot_arm("127.0.0.1", -5), nullptr);
    EXPECT_EQ(ky_create_robot_arm(nullptr, fake.port()), nullptr);
    // Slots are still all free: five robots fit.
    ky_robot_handle *r = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->id, 1);
}

TEST(Lifecycle, NothingListeningGivesIdMinusOneAndKeepsTheSlot) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    int port;
    {
        FakeController closed;  // take a free port, then let it go
        port = closed.port();
    }
    ky_robot_handle *r = ky_create_robot_arm("127.0.0.1", port);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->id, -1);
    EXPECT_TRUE(log.contains("[ky_create_robot_arm] socket connect err!"));
    FakeController fake;
    ky_robot_handle *next = kytest::connect(fake);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->id, 2);  // slot 1 still held by the failed robot
    EXPECT_EQ(ky_delete_robot_arm(r), 0);
}

TEST(Lifecycle, SynchronisationFailureGivesIdMinusOne) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    FakeController fake;  // answers nothing
    ky_robot_handle *r = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->id, -1);
    EXPECT_TRUE(log.contains("[ky_create_robot_arm] get robot info err!"));
}

TEST(Lifecycle, DeleteUnknownHandleAndInfoOfDeletedRobot) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_delete_robot_arm(&bogus), -1);
    EXPECT_TRUE(log.contains("not find handle\n"));
    ky_robot_info info{};
    EXPECT_EQ(ky_get_robot_info(&bogus, &info), -1);
    EXPECT_TRUE(log.contains("[ky_get_robot_info] handle is NULL!"));

    FakeController fake;
    ky_robot_handle *r = kytest::connect(fake, "KY7A-6F");
    ASSERT_EQ(r->id, 1);
    EXPECT_EQ(ky_get_robot_info(r, &info), 0);
    EXPECT_EQ(info.dof, 7);
    EXPECT_EQ(info.model, 1);
    EXPECT_EQ(info.force_type, 2);
}

TEST(Lifecycle, DestroyThenInitAgainWorksInEveryMode) {
    for (int mode : {0, 1, 2, 0, 2}) {
        kytest::Library lib(mode);
        FakeController fake;
        ky_robot_handle *r = kytest::connect(fake);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->id, 1) << "mode " << mode;
        int dof = 0;
        EXPECT_EQ(ky_get_arm_dof(r, &dof), 0);
    }
}

TEST(Lifecycle, DestroyWithDeletedAndLiveRobotsLeavesNothingBehind) {
    // Run under the leak checker in the sanitizer build: every record, socket and FIFO of
    // live and deleted robots is released by ky_destory.
    kytest::Library lib(2);
    FakeController a, b;
    ky_robot_handle *ra = kytest::connect(a);
    ky_robot_handle *rb = kytest::connect(b);
    ASSERT_EQ(ra->id, 1);
    ASSERT_EQ(rb->id, 2);
    EXPECT_EQ(ky_delete_robot_arm(ra), 0);
}

}  // namespace
