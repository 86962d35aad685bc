// Realtime state: the datagram parser, and the UDP receiver on real loopback sockets.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "realtime/realtime_util.h"
#include "realtime/udp.h"
#include "support/test_util.h"

using namespace std::chrono_literals;
using rttest::Collector;
using rttest::Sender;

namespace {

ky_realtime_arm_joint_state parse(const std::string &text, int expect) {
    ky_realtime_arm_joint_state s;
    std::memset(&s, 0x5a, sizeof s);  // the parser zeroes the record first
    EXPECT_EQ(parse_ky_realtime_arm_joint_state(text.c_str(), &s), expect) << text;
    return s;
}

const char *kWaypoint = R"("waypoint":{"quat":[707107,0,707107,0],"euler":[1571,-20,3142],"position":[100000,-250000,500000]},"arm_err":3,"sys_err":4)";

TEST(UdpParse, EveryBlockIsScaledIntoTheRecord) {
    const std::string text =
        R"({"arm_current_status":"move_J","hand":{"hand_pos":500,"hand_force":120,"hand_state":1,"hand_err":2},)"
        R"("lift_state":{"pos":12345,"height":600,"current":700,"err_flag":1,"en_flag":1},)"
        R"("expand_state":{"joint_id":1,"mode":2,"pos":-1500,"current":30,"err_flag":0,"en_flag":1},)"
        R"("joint_status":{"joint_position":[1000,-2500,0,0,90000,12345],"joint_current":[100,0,0,0,0,200],)"
        R"("joint_en_flag":[1,0,2,0,0,1],"joint_err_code":[0,65537,0,0,0,9],"joint_temperature":[25000,0,0,0,0,1],)"
        R"("joint_voltage":[48000,0,0,0,0,0],"joint_speed":[1000,0,0,0,0,-500]},)"
        R"("six_force_sensor":{"force":[1000,2000,3000,4000,5000,6000],"zero_force":[1,2,3,4,5,6],"coordinate":1},)" +
        std::string(kWaypoint) + "}";
    const auto s = parse(text, 0);
    EXPECT_EQ(s.arm_current_status, KY_ARM_MOVE_J);
    EXPECT_EQ(s.hand_state.hand_pos, 500);
    EXPECT_FLOAT_EQ(s.hand_state.hand_force, 120.0f);  // not scaled
    EXPECT_EQ(s.hand_state.hand_err, 2);
    EXPECT_FLOAT_EQ(s.lift_state.pos, 12.345f);
    EXPECT_EQ(s.lift_state.height, 600);
    EXPECT_EQ(s.expand_state.mode, 2);
    EXPECT_FLOAT_EQ(s.expand_state.pos, -1.5f);
    EXPECT_FLOAT_EQ(s.joint_position[1], -2.5f);
    EXPECT_FLOAT_EQ(s.joint_position[5], 12.345f);
    EXPECT_FLOAT_EQ(s.joint_position[6], 0.0f);  // zeroed, not sent
    EXPECT_FLOAT_EQ(s.joint_current[5], 0.2f);
    EXPECT_TRUE(s.joint_en_flag[2]);
    EXPECT_FALSE(s.joint_en_flag[1]);
    EXPECT_EQ(s.joint_err_code[1], 1);  // 16 bits
    EXPECT_FLOAT_EQ(s.joint_temperature[0], 25.0f);
    EXPECT_FLOAT_EQ(s.joint_voltage[0], 48.0f);
    EXPECT_FLOAT_EQ(s.joint_speed[0], 6.0f);  // x 6 / 1000
    EXPECT_FLOAT_EQ(s.joint_speed[5], -3.0f);
    EXPECT_FLOAT_EQ(s.force[5], 6.0f);
    EXPECT_FLOAT_EQ(s.zero_force[0], 0.001f);
    EXPECT_EQ(s.coordinate, 1);
    EXPECT_FLOAT_EQ(s.quaternion[0], 0.707107f);
    EXPECT_FLOAT_EQ(s.quaternion[2], 0.707107f);
    EXPECT_FLOAT_EQ(s.euler[0], 1.571f);
    EXPECT_FLOAT_EQ(s.euler[1], -0.02f);
    EXPECT_FLOAT_EQ(s.position[1], -0.25f);
    EXPECT_FLOAT_EQ(s.position[2], 0.5f);
    EXPECT_EQ(s.arm_err, 3);
    EXPECT_EQ(s.sys_err, 4);
    EXPECT_EQ(s.errCode, 0);
    EXPECT_EQ(s.sender_ip[0], '\0');
}

TEST(UdpParse, OverlongArraysAreCutAndOneAxisSensorOverwritesSixAxis) {
    const std::string text =
        R"({"joint_status":{"joint_position":[1,2,3,4,5,6,7,8,9,10],"joint_speed":[1000,1000,1000,1000,1000,1000,1000,1000,1000]},)"
        R"("six_force_sensor":{"force":[1,2,3,4,5,6,7,8],"coordinate":2},)"
        R"("one_force_sensor":{"force":[9000],"zero_force":[1,1,1,1,1,1,1,1,1,1],"coordinate":"x"},)" +
        std::string(kWaypoint) + "}";
    const auto s = parse(text, 0);
    EXPECT_FLOAT_EQ(s.joint_position[6], 0.007f);
    EXPECT_FLOAT_EQ(s.joint_speed[6], 6.0f);
    EXPECT_FLOAT_EQ(s.force[0], 9.0f);    // one-axis block read last
    EXPECT_FLOAT_EQ(s.force[1], 0.002f);  // rest of the six-axis block stays
    EXPECT_FLOAT_EQ(s.zero_force[5], 0.001f);
    EXPECT_EQ(s.coordinate, 2);  // a non-number coordinate is skipped
    EXPECT_EQ(s.arm_err, 3);
}

TEST(UdpParse, StatusStringsMapToTheirCodes) {
    const char *names[] = {"idle", "move_L", "move_J", "move_C", "move_S", "move_through_joint", "move_through_pose",
                           "move_through_force_pose", "move_through_current", "stop", "slow_stop", "pause",
                           "current_drag", "sensor_drag", "tech_demonstration", "flying"};
    for (int code = 0; code < 16; ++code) {
        const auto s = parse(std::string(R"({"arm_current_status":")") + names[code] + "\"," + kWaypoint + "}", 0);
        EXPECT_EQ(s.arm_current_status, code < 15 ? code : 0) << names[code];  // unknown -> idle
    }
}

TEST(UdpParse, MalformedDatagramsGiveMinusThreeAndKeepEarlierFields) {
    struct Case {
        const char *name;
        std::string text;
        bool status_kept;  // arm_current_status (move_L) parsed before the fault
        bool joints_kept;  // joint_position parsed before the fault
        int arm_err;
    } cases[] = {
        {"no waypoint", R"({"arm_current_status":"move_L","joint_status":{"joint_position":[5000]},"arm_err":1,"sys_err":1})",
         true, true, 0},
        {"quat of 3", R"({"arm_current_status":"move_L","joint_status":{"joint_position":[5000]},"waypoint":{"quat":[1,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":1,"sys_err":1})",
         true, true, 0},
        {"position of 4", R"({"arm_current_status":"move_L","waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0,0]},"arm_err":1,"sys_err":1})",
         true, false, 0},
        {"no sys_err", R"({"arm_current_status":"move_L","waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":7})",
         true, false, 7},
        {"arm_err text", R"({"waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":"7","sys_err":0})",
         false, false, 0},
        {"status not a string", R"({"arm_current_status":3,"joint_status":{"joint_position":[5000]},"waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":1,"sys_err":1})",
         false, false, 0},
        {"hand member missing", R"({"arm_current_status":"move_L","hand":{"hand_pos":1,"hand_force":1,"hand_state":1},"joint_status":{"joint_position":[5000]},"waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":1,"sys_err":1})",
         true, false, 0},
        {"lift member text", R"({"arm_current_status":"move_L","lift_state":{"pos":1,"height":"2","current":1,"err_flag":1,"en_flag":1},"waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":1,"sys_err":1})",
         true, false, 0},
        {"expand member missing", R"({"expand_state":{"joint_id":1},"waypoint":{"quat":[1,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":1,"sys_err":1})",
         false, false, 0},
    };
    for (const auto &c : cases) {
        const auto s = parse(c.text, -3);
        EXPECT_EQ(s.arm_current_status, c.status_kept ? KY_ARM_MOVE_L : 0) << c.name;
        EXPECT_FLOAT_EQ(s.joint_position[0], c.joints_kept ? 5.0f : 0.0f) << c.name;
        EXPECT_EQ(s.arm_err, c.arm_err) << c.name;
    }
    // The fields of a block read before its faulty member keep their values.
    const auto s = parse(R"({"lift_state":{"pos":2000,"height":3,"current":"x"}})", -3);
    EXPECT_FLOAT_EQ(s.lift_state.pos, 2.0f);
    EXPECT_EQ(s.lift_state.height, 3);
}

TEST(UdpParse, NotJsonIsLogged) {
    kytest::LogCapture log;
    parse("{\"waypoint\":", -3);
    parse("", -3);
    EXPECT_TRUE(log.contains("[ky_realtime_arm_joint_state] parse err\n"));
    EXPECT_EQ(parse_ky_realtime_arm_joint_state("{}", nullptr), -3);
}

// ------------------------------------------------------------------ the receiver

class UdpReceiver : public ::testing::Test {
protected:
    kytest::Library lib{2};
    void SetUp() override {
        Collector::install();
        ASSERT_NE(gUdpHandle, nullptr);
    }
    ky_udp_port_entry entry(int i) { return ky::udp_entry(gUdpHandle, i); }
};

TEST_F(UdpReceiver, DatagramsReachTheCallbackWithSenderAndErrorGlobals) {
    const int port = rttest::free_udp_port();
    ASSERT_EQ(ky_udp_add_port(gUdpHandle, port), 0);
    Sender tx(port);
    ASSERT_TRUE(tx.send(rttest::datagram(1234, 17)));
    ASSERT_TRUE(tx.send("not json"));
    ASSERT_TRUE(tx.send(R"({"joint_status":{"joint_position":[9000]},"arm_err":1,"sys_err":2})"));
    ASSERT_TRUE(Collector::wait_for(3));
    const auto got = Collector::got();
    EXPECT_EQ(got[0].errCode, 0);
    EXPECT_STREQ(got[0].sender_ip, "127.0.0.1");
    EXPECT_FLOAT_EQ(got[0].joint_position[0], 1.234f);
    EXPECT_EQ(got[0].arm_err, 17);
    EXPECT_EQ(got[1].errCode, -3);
    EXPECT_STREQ(got[1].sender_ip, "127.0.0.1");
    EXPECT_EQ(got[2].errCode, -3);  // no waypoint: handed on with what was parsed
    EXPECT_FLOAT_EQ(got[2].joint_position[0], 9.0f);
    EXPECT_EQ(__atomic_load_n(&udp_arm_err, __ATOMIC_RELAXED), 0);  // the last datagram stopped before arm_err
}

TEST_F(UdpReceiver, PortTableSharesEntriesAndKeepsSharedPortsBound) {
    const int port = rttest::free_udp_port();
    EXPECT_EQ(gUdpHandle->add_port(gUdpHandle, port), 0);
    EXPECT_EQ(gUdpHandle->add_port(gUdpHandle, port), 1);  // a second robot on the same port
    EXPECT_EQ(entry(0).port, port);
    EXPECT_EQ(entry(0).refs, 2);
    EXPECT_EQ(entry(1).refs, 0);
    EXPECT_EQ(gUdpHandle->delete_port(gUdpHandle, port), 0);
    EXPECT_EQ(entry(0).refs, 1);
    Sender tx(port);
    tx.send(rttest::datagram(1));
    EXPECT_TRUE(Collector::wait_for(1));  // still served for the other robot
    EXPECT_EQ(ky_udp_delete_port(gUdpHandle, port), 0);
    EXPECT_EQ(entry(0).refs, 0);
    EXPECT_EQ(entry(0).fd, 0);
    EXPECT_EQ(entry(0).port, 0);
    // Registered again, the port is served again (by the socket kept open for it).
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, port), 0);
    tx.send(rttest::datagram(2));
    ASSERT_TRUE(Collector::wait_for(2));
    EXPECT_FLOAT_EQ(Collector::got()[1].joint_position[0], 0.002f);
}

TEST_F(UdpReceiver, FullTableAndUnbindablePorts) {
    const std::vector<int> ports = rttest::free_udp_ports(6);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(ky_udp_add_port(gUdpHandle, ports[i]), 0) << i;
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, ports[5]), -2);
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, ports[2]), 1);  // present ports still count up
    ky_udp_delete_port(gUdpHandle, ports[0]);
    // A port held by another socket without address reuse cannot be bound: the entry stays free.
    int blocker = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    ASSERT_EQ(::bind(blocker, reinterpret_cast<sockaddr *>(&a), sizeof a), 0);
    socklen_t len = sizeof a;
    ::getsockname(blocker, reinterpret_cast<sockaddr *>(&a), &len);
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, ntohs(a.sin_port)), -1);
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, 0), -1);
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, 70000), -1);
    EXPECT_EQ(entry(0).refs, 0);
    ::close(blocker);
    EXPECT_EQ(ky_udp_add_port(nullptr, ports[0]), -1);
    EXPECT_EQ(ky_udp_add_port(gUdpHandle, ports[5]), 0);  // takes the freed entry
    EXPECT_EQ(entry(0).port, ports[5]);
}

TEST_F(UdpReceiver, BurstFasterThanAnyPollCycleArrivesCompleteAndInOrder) {
    const std::vector<int> p = rttest::free_udp_ports(2);
    const int a = p[0], b = p[1];
    ASSERT_EQ(ky_udp_add_port(gUdpHandle, a), 0);
    ASSERT_EQ(ky_udp_add_port(gUdpHandle, b), 0);
    Sender ta(a), tb(b);
    constexpr int kBurst = 400;
    for (int i = 1; i <= kBurst; ++i) {
        ASSERT_TRUE(ta.send(rttest::datagram(i)));
        ASSERT_TRUE(tb.send(rttest::datagram(-i)));
    }
    ASSERT_TRUE(Collector::wait_for(2 * kBurst, 10s)) << Collector::count();
    int next_a = 1, next_b = -1;
    for (const auto &s : Collector::got()) {
        const int seq = static_cast<int>(std::lround(s.joint_position[0] * 1000.0f));
        if (seq > 0) {
            EXPECT_EQ(seq, next_a++);
        } else {
            EXPECT_EQ(seq, next_b--);
        }
    }
    EXPECT_EQ(next_a, kBurst + 1);
    EXPECT_EQ(next_b, -kBurst - 1);
}

TEST(UdpLifecycle, ShutdownWhileDatagramsFlowEndsPromptlyAndRestarts) {
    Collector::install();
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(ky_init(2), 0);
        const int port = rttest::free_udp_port();
        ASSERT_EQ(ky_udp_add_port(gUdpHandle, port), 0);
        std::atomic<bool> stop{false};
        std::thread flood([&] {
            Sender tx(port);
            for (int i = 0; !stop; ++i) tx.send(rttest::datagram(i));
        });
        ASSERT_TRUE(Collector::wait_for(Collector::count() + 20));
        EXPECT_EQ(ky_destory(), 0);
        EXPECT_EQ(gUdpHandle, nullptr);
        const size_t after = Collector::count();
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(Collector::count(), after);  // nothing is delivered once stopped
        stop = true;
        flood.join();
    }
}

TEST(UdpLifecycle, OtherModesHaveNoReceiver) {
    for (int mode : {0, 1}) {
        kytest::Library lib(mode);
        EXPECT_EQ(gUdpHandle, nullptr);
        EXPECT_EQ(ky::udp_add_port(rttest::free_udp_port()), -1);
    }
}

}  // namespace
