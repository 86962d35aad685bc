// Realtime push configuration: request bytes, read-back, and the connect-time hand-over of
// the push port to the UDP receiver.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "realtime/realtime_util.h"
#include "realtime/udp.h"
#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

ky_realtime_push_config config(bool enable, int cycle, int port, const char *ip, int force,
                               std::array<int, 4> custom) {
    ky_realtime_push_config c{};
    c.enable = enable;
    c.cycle = cycle;
    c.port = port;
    std::strncpy(c.ip, ip, sizeof c.ip);
    c.force_coordinate = force;
    c.custom.joint_speed = custom[0];
    c.custom.lift_state = custom[1];
    c.custom.expand_state = custom[2];
    c.custom.arm_current_status = custom[3];
    return c;
}

std::string push_reply(const std::string &members) {
    return R"({"command":"get_realtime_push",)" + members + "}";
}

TEST(PushConfig, SetRequestBytes) {
    struct Case {
        const char *product;
        ky_realtime_push_config config;
        const char *request;
    } cases[] = {
        {"KY6A-B", config(true, 5, 8089, "192.168.1.10", 1, {1, 0, -1, 7}),
         R"({"command":"set_realtime_push","enable":true,"cycle":5,"port":8089,"ip":"192.168.1.10","custom":{"joint_speed":true,"lift_state":false,"arm_current_status":true}})"},
        {"KY6A-B", config(false, 0, -1, "1.2.3.", 0, {-1, -1, -1, -1}),  // ip of 6 characters
         R"({"command":"set_realtime_push","enable":false,"custom":{}})"},
        {"KY6A-B", config(false, 1, 1, "192.168.100.1001", 0, {-1, -1, -1, -1}),  // ip of 16
         R"({"command":"set_realtime_push","enable":false,"cycle":1,"port":1,"custom":{}})"},
        {"KY6A-B", config(false, 0, 0, "1.2.3.4", 0, {-1, -1, -1, -1}),  // 7
         R"({"command":"set_realtime_push","enable":false,"ip":"1.2.3.4","custom":{}})"},
        {"KY6A-B", config(false, 0, 0, "192.168.100.100", 0, {-1, -1, -1, -1}),  // 15
         R"({"command":"set_realtime_push","enable":false,"ip":"192.168.100.100","custom":{}})"},
        {"KY6A-ZF", config(true, 0, 0, "", 2, {-1, -1, -1, -1}),
         R"({"command":"set_realtime_push","enable":true,"force_cordinate":2,"custom":{}})"},
        {"KY6A-6F", config(true, 0, 0, "", 0, {-1, -1, -1, 0}),  // 0 is not sent
         R"({"command":"set_realtime_push","enable":true,"custom":{"arm_current_status":false}})"},
    };
    for (const auto &c : cases) {
        kytest::Library lib(1);
        FakeController fake;
        ky_robot_handle *robot = kytest::connect(fake, c.product);
        ASSERT_EQ(robot->id, 1);
        fake.on("set_realtime_push", R"({"command":"set_realtime_push","state":true})");
        fake.clear_received();
        EXPECT_EQ(ky_set_realtime_push(robot, &c.config), 0) << c.request;
        ASSERT_EQ(fake.requests().size(), 1u);
        EXPECT_EQ(fake.requests()[0], c.request);
        EXPECT_EQ(fake.received(), std::string(c.request) + "\r\n" + std::string(1, '\0'));
    }
}

TEST(PushConfig, SetResultsAndTheLongerTimeOut) {
    kytest::Library lib(1, 100, 300);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    const auto c = config(true, 5, 8089, "127.0.0.1", 0, {-1, -1, -1, -1});
    struct Case {
        const char *reply;
        int delay_ms;
        int result;
    } cases[] = {
        {R"({"command":"set_realtime_push","state":false})", 0, 1},
        {R"({"command":"set_realtime_push","set_state":true})", 0, -3},
        {R"({"command":"set_realtime_push","state":true})", 170, 0},   // past m_nOutTime, within + 200 ms
        {R"({"command":"set_realtime_push","state":true})", 450, -2},  // past m_nOutTime + 200 ms
    };
    for (const auto &k : cases) {
        fake.on("set_realtime_push", k.reply);
        fake.set_delay(std::chrono::milliseconds(k.delay_ms));
        EXPECT_EQ(ky_set_realtime_push(robot, &c), k.result) << k.reply << " after " << k.delay_ms;
    }
    fake.set_delay(0ms);
    EXPECT_EQ(ky_set_realtime_push(robot, nullptr), -1);
}

TEST(PushConfig, GetParsesIntoTheRecordAndCachesThePort) {
    struct Case {
        const char *product;
        std::string reply;
        int result;
        int push_port;  // robot handle's cached port afterwards
        int force_coordinate;
        std::array<int, 4> custom;
    } cases[] = {
        {"KY6A-6F",
         push_reply(R"("cycle":2,"port":9001,"ip":"192.168.1.100","enable":true,"custom":{"joint_speed":true,"lift_state":false,"arm_current_status":1},"force_coordinate":2)"),
         0, 9001, 2, {1, 0, -1, -1}},
        {"KY6A-B",  // no force sensor: force_coordinate neither needed nor read
         push_reply(R"("cycle":2,"port":9002,"ip":"192.168.1.100","enable":true,"custom":{})"), 0, 9002, -7,
         {-1, -1, -1, -1}},
        {"KY6A-ZF",  // one-axis sensor: force_coordinate required
         push_reply(R"("cycle":2,"port":9003,"ip":"192.168.1.100","enable":true,"custom":{})"), -3, 8089, -7,
         {-7, -7, -7, -7}},
        {"KY6A-B", push_reply(R"("port":9004,"ip":"x","enable":true,"custom":{})"), -3, 8089, -7, {-7, -7, -7, -7}},
        {"KY6A-B", push_reply(R"("cycle":1,"port":9005,"ip":7,"enable":true,"custom":{})"), -3, 8089, -7,
         {-7, -7, -7, -7}},
    };
    for (const auto &c : cases) {
        kytest::Library lib(1);
        FakeController fake;
        ky_robot_handle *robot = kytest::connect(fake, c.product);
        ASSERT_EQ(robot->id, 1);
        ASSERT_EQ(robot->push_port, 8089);  // read during creation
        fake.on("get_realtime_push", c.reply);
        ky_realtime_push_config out;
        std::memset(&out, 0, sizeof out);
        out.force_coordinate = -7;
        out.custom = {-7, -7, -7, -7};
        EXPECT_EQ(ky_get_realtime_push(robot, &out), c.result) << c.reply;
        EXPECT_EQ(robot->push_port, c.push_port) << c.reply;
        EXPECT_EQ(out.force_coordinate, c.force_coordinate) << c.reply;
        EXPECT_EQ((std::array<int, 4>{out.custom.joint_speed, out.custom.lift_state, out.custom.expand_state,
                                      out.custom.arm_current_status}),
                  c.custom)
            << c.reply;
        if (c.result == 0) {
            EXPECT_EQ(out.cycle, 2);
            EXPECT_EQ(out.port, c.push_port);
            EXPECT_STREQ(out.ip, "192.168.1.100");
            EXPECT_TRUE(out.enable);
        }
    }
}

TEST(PushConfig, LongIpIsCutTo28Characters) {
    kytest::Library lib(1);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    fake.on("get_realtime_push", push_reply(R"("cycle":1,"port":1,"ip":"0123456789012345678901234567890123456789","enable":false,"custom":{}})"));
    ky_realtime_push_config out;
    std::memset(&out, '#', sizeof out);
    ASSERT_EQ(ky_get_realtime_push(robot, &out), 0);
    EXPECT_EQ(std::string(out.ip, sizeof out.ip), "0123456789012345678901234567");
    EXPECT_FALSE(out.enable);
    fake.off("get_realtime_push");
    EXPECT_EQ(ky_get_realtime_push(robot, &out), -2);
}

// ------------------------------------------------------------------ connect-time hand-over

std::string enabled_push(int port) {
    return push_reply(R"("cycle":1,"port":)" + std::to_string(port) +
                      R"(,"ip":"127.0.0.1","enable":true,"custom":{"joint_speed":true})");
}

TEST(PushConfig, ConnectInModeTwoHandsAnEnabledPortToTheReceiver) {
    kytest::Library lib(2);
    rttest::Collector::install();
    const int port = rttest::free_udp_port();
    FakeController fake;
    fake.answer_identity();
    fake.on("get_realtime_push", enabled_push(port));
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_EQ(robot->id, 1);
    EXPECT_EQ(robot->push_port, port);
    EXPECT_EQ(ky::udp_entry(gUdpHandle, 0).port, port);
    // A second arm pushing to the same port shares the entry.
    FakeController second;
    second.answer_identity("KY7A-B");
    second.on("get_realtime_push", enabled_push(port));
    ky_robot_handle *robot2 = ky_create_robot_arm("127.0.0.1", second.port());
    ASSERT_EQ(robot2->id, 2);
    EXPECT_EQ(ky::udp_entry(gUdpHandle, 0).refs, 2);
    rttest::Sender(port).send(rttest::datagram(4242));
    ASSERT_TRUE(rttest::Collector::wait_for(1));
    EXPECT_FLOAT_EQ(rttest::Collector::got()[0].joint_position[0], 4.242f);
}

TEST(PushConfig, NoHandOverWhenDisabledOrOutsideModeTwo) {
    for (int mode : {1, 2}) {
        kytest::Library lib(mode);
        const int port = rttest::free_udp_port();
        FakeController fake;
        fake.answer_identity();
        fake.on("get_realtime_push", mode == 1 ? enabled_push(port)
                                               : push_reply(R"("cycle":1,"port":)" + std::to_string(port) +
                                                            R"(,"ip":"127.0.0.1","enable":false,"custom":{})"));
        ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
        ASSERT_EQ(robot->id, 1);
        EXPECT_EQ(robot->push_port, port);
        if (mode == 2) {
            EXPECT_EQ(ky::udp_entry(gUdpHandle, 0).refs, 0);
        }
    }
}

TEST(PushConfig, UnreadablePushConfigurationFailsCreation) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    FakeController fake;
    fake.answer_identity();
    fake.on("get_realtime_push", push_reply(R"("cycle":1)"));
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_NE(robot, nullptr);
    EXPECT_EQ(robot->id, -1);
    EXPECT_TRUE(log.contains("[ky_create_robot_arm] get robot info err!\n"));
    EXPECT_TRUE(fake.requests_for("get_current_work_frame").empty());  // later queries not run
}

}  // namespace
