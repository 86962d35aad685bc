// Arm state queries over TCP: requests, scaling, dof checks and parse failures.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "core/units.h"
#include "support/test_util.h"

using kytest::FakeController;

namespace {

class StateQueries : public ::testing::TestWithParam<const char *> {
protected:
    kytest::Library lib{1};
    FakeController fake;
    ky_robot_handle *robot = nullptr;
    void SetUp() override {
        robot = kytest::connect(fake, GetParam());
        ASSERT_EQ(robot->id, 1);
        fake.clear_received();
    }
    int dof() const { return robot->dof; }
    // "[v0,v1,...]" with dof values starting at `first`, step `step`.
    std::string list(int first, int step, int extra = 0) const {
        std::string s = "[";
        for (int i = 0; i < dof() + extra; ++i) {
            if (i) s += ',';
            s += std::to_string(first + i * step);
        }
        return s + "]";
    }
};

TEST_P(StateQueries, CurrentArmStateScalesPoseAndComputesQuaternion) {
    fake.on("get_current_arm_state", R"({"command":"current_arm_state","arm_state":{"arm_err":300,"sys_err":257,"joint":)" +
                                         list(1000, 1500) + R"(,"pose":[100000,0,500000,3142,0,0]}})");
    ky_current_arm_state s{};
    ASSERT_EQ(ky_get_current_arm_state(robot, &s), 0);
    EXPECT_EQ(fake.requests()[0], R"({"command":"get_current_arm_state"})");
    EXPECT_FLOAT_EQ(s.pose.position.x, 0.1f);
    EXPECT_FLOAT_EQ(s.pose.position.y, 0.0f);
    EXPECT_FLOAT_EQ(s.pose.position.z, 0.5f);
    EXPECT_FLOAT_EQ(s.pose.euler.rx, 3.142f);
    const ky_quaternion q = ky_algo_euler2quaternion(ky_euler{3.142f, 0, 0});
    EXPECT_FLOAT_EQ(s.pose.quaternion.w, q.w);
    EXPECT_FLOAT_EQ(s.pose.quaternion.x, q.x);
    EXPECT_NEAR(s.pose.quaternion.x, 1.0f, 1e-3);  // a half turn about x
    EXPECT_EQ(s.arm_err, 44);                      // 300 cut to 8 bits
    EXPECT_EQ(s.sys_err, 1);
    EXPECT_FLOAT_EQ(s.joint[0], 1.0f);
    EXPECT_FLOAT_EQ(s.joint[dof() - 1], (1000 + (dof() - 1) * 1500) / 1000.0f);
}

TEST_P(StateQueries, AllStateReadsEveryArrayInsideItsObject) {
    fake.on("get_arm_all_state", R"({"command":"arm_all_state","all_state":{"temperature":)" + list(25000, 100) +
                                     R"(,"current":)" + list(-500, 10) + R"(,"voltage":)" + list(48000, 0) +
                                     R"(,"err_flag":)" + list(0, 1) + R"(,"en_flag":)" + list(1, 0) +
                                     R"(,"sys_err":9}})");
    ky_arm_all_state s{};
    ASSERT_EQ(ky_get_arm_all_state(robot, &s), 0);
    EXPECT_EQ(fake.requests()[0], R"({"command":"get_arm_all_state"})");
    EXPECT_FLOAT_EQ(s.joint_temperature[1], 25.1f);
    EXPECT_FLOAT_EQ(s.joint_current[0], -0.5f);
    EXPECT_FLOAT_EQ(s.joint_voltage[dof() - 1], 48.0f);
    EXPECT_EQ(s.joint_err_code[dof() - 1], dof() - 1);
    EXPECT_EQ(s.joint_en_flag[0], 1);
    EXPECT_EQ(s.sys_err, 9);
}

TEST_P(StateQueries, JointValueQueriesTable) {
    struct Case {
        const char *command, *reply_key, *member;
        int (*fn)(ky_robot_handle *, float *);
    } cases[] = {
        {"get_joint_degree", "joint_degree", "joint", ky_get_joint_degree},
        {"get_current_joint_temperature", "current_joint_temperature", "joint_temperature",
         ky_get_current_joint_temperature},
        {"get_current_joint_current", "current_joint_current", "joint_current", ky_get_current_joint_current},
        {"get_current_joint_voltage", "current_joint_voltage", "joint_voltage", ky_get_current_joint_voltage},
    };
    for (const auto &c : cases) {
        fake.clear_received();
        fake.on(c.command, std::string(R"({"command":")") + c.reply_key + R"(",")" + c.member + "\":" +
                               list(-1500, 2001) + "}");
        float out[7] = {};
        ASSERT_EQ(c.fn(robot, out), 0) << c.command;
        EXPECT_EQ(fake.requests()[0], std::string(R"({"command":")") + c.command + "\"}");
        EXPECT_FLOAT_EQ(out[0], -1.5f) << c.command;
        EXPECT_FLOAT_EQ(out[dof() - 1], (-1500 + (dof() - 1) * 2001) / 1000.0f) << c.command;
        // One value too many for the arm: -3, the output untouched.
        fake.on(c.command, std::string(R"({"command":")") + c.reply_key + R"(",")" + c.member + "\":" +
                               list(7, 0, 1) + "}");
        float sentinel[7] = {42, 42, 42, 42, 42, 42, 42};
        EXPECT_EQ(c.fn(robot, sentinel), -3) << c.command;
        EXPECT_FLOAT_EQ(sentinel[0], 42.0f);
        fake.off(c.command);
        EXPECT_EQ(c.fn(robot, sentinel), -2) << c.command;
    }
}

TEST_P(StateQueries, ExtraJointOrMissingMemberLeavesTheRecordUntouched) {
    struct Case {
        std::string reply;
    } cases[] = {
        {R"({"command":"current_arm_state","arm_state":{"arm_err":0,"sys_err":0,"joint":)" + list(0, 0, 1) +
         R"(,"pose":[0,0,0,0,0,0]}})"},
        {R"({"command":"current_arm_state","arm_state":{"arm_err":0,"sys_err":0,"joint":)" + list(0, 0) +
         R"(,"pose":[0,0,0,0,0]}})"},
        {R"({"command":"current_arm_state","arm_state":{"sys_err":0,"joint":)" + list(0, 0) +
         R"(,"pose":[0,0,0,0,0,0]}})"},
        {R"({"command":"current_arm_state","arm_state":{"arm_err":0,"sys_err":0,"joint":5,"pose":[0,0,0,0,0,0]}})"},
    };
    for (const auto &c : cases) {
        fake.on("get_current_arm_state", c.reply);
        ky_current_arm_state s;
        std::memset(&s, 0x11, sizeof s);
        EXPECT_EQ(ky_get_current_arm_state(robot, &s), -3) << c.reply;
        EXPECT_EQ(s.arm_err, 0x11);
        EXPECT_EQ(s.joint[0], s.joint[1]);  // still the fill pattern
    }
}

INSTANTIATE_TEST_SUITE_P(Arms, StateQueries, ::testing::Values("KY6A-B", "KY7A-B"));

TEST(StateQueriesDisconnected, DofNotSixOrSevenIsMinusOneAfterTheExchange) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    FakeController fake;
    fake.answer_identity("XYZ-B");  // unknown model: dof stays 0
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_EQ(robot->id, -1);
    fake.on("get_current_arm_state", R"({"command":"current_arm_state","arm_err":0})");
    fake.on("get_arm_all_state", R"({"command":"arm_all_state"})");
    fake.on("get_joint_degree", R"({"command":"joint_degree"})");
    ky_current_arm_state s{};
    ky_arm_all_state a{};
    float j[7];
    EXPECT_EQ(ky_get_current_arm_state(robot, &s), -1);
    EXPECT_TRUE(log.contains("[ky_get_current_arm_state] The robotic arm has been disconnected\n"));
    EXPECT_EQ(ky_get_arm_all_state(robot, &a), -1);
    EXPECT_TRUE(log.contains("[ky_get_arm_all_state] The robotic arm has been disconnected\n"));
    EXPECT_EQ(ky_get_joint_degree(robot, j), -1);
    EXPECT_EQ(fake.requests_for("get_joint_degree").size(), 1u);  // asked first, checked after
    ky_delete_robot_arm(robot);
    EXPECT_EQ(ky_get_current_arm_state(robot, &s), -1);
}

TEST(PoseWire, ConversionsTruncateAndScale) {
    struct Case {
        ky_pose pose;
        std::array<int32_t, 6> wire;
    } cases[] = {
        {{{0.1f, -0.25f, 0.5f}, {}, {3.142f, -0.0009f, 1.5707f}}, {100000, -250000, 500000, 3142, 0, 1570}},
        {{{1e-7f, -1e-6f, 2.0f}, {}, {0, 0, -3.1415926f}}, {0, -1, 2000000, 0, 0, -3141}},
        {{{3000.0f, 0, 0}, {}, {}}, {2147483647, 0, 0, 0, 0, 0}},  // saturates
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ky::pose_to_wire(c.pose), c.wire);
    }
    const int32_t w[6] = {100000, 0, 500000, 0, 0, 1571};
    const ky_pose p = ky::pose_from_wire(w);
    EXPECT_FLOAT_EQ(p.position.z, 0.5f);
    EXPECT_FLOAT_EQ(p.euler.rz, 1.571f);
    EXPECT_NEAR(p.quaternion.w, std::cos(1.571f / 2), 1e-6);
    EXPECT_NEAR(p.quaternion.z, std::sin(1.571f / 2), 1e-6);
}

}  // namespace
