// The C++ members of the controller, io, tool, axes, network and force-sensor families
// against the in-process simulator: set-then-get round trips (argument order, units, output
// sizes), refusals before sending, and the families' own completion codes.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "kyarm.hpp"
#include "realtime/realtime_util.h"
#include "sim/simulator.h"

namespace {

using namespace std::chrono_literals;

ky::sim::Options sim_options(const char *model) {
    ky::sim::Options o;
    o.product_version = model;
    o.speed_scale = 4.0;
    o.force_noise = false;
    o.push_port = rttest::free_udp_port();
    return o;
}

class CppDevices : public ::testing::Test {
protected:
    ky::sim::Simulator sim{sim_options("KY6A-B")};
    void SetUp() override { ASSERT_TRUE(sim.start()) << sim.error(); }
};

// Each row sets through one member and reads back through another; distinct values per row
// catch swapped arguments and outputs read from the wrong slot.
TEST_F(CppDevices, SetThenGetRoundTrips) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    struct Row {
        const char *name;
        std::function<void()> set;
        std::function<void()> check;
    };
    const Row rows[] = {
        {"controller IO mode and output level",
         [&] {
             robot.set_IO_mode(3, 1);
             robot.set_DO_state(3, 1);
         },
         [&] {
             const ky::io_state s = robot.get_IO_state(3);
             EXPECT_EQ(s.mode, 1);
             EXPECT_EQ(s.state, 1);
             EXPECT_EQ(robot.get_IO_output(), (std::array<int, 4>{0, 0, 1, 0}));
         }},
        {"controller digital input", [&] { ASSERT_TRUE(sim.set_digital_input(2, 1)); },
         [&] {
             EXPECT_EQ(robot.get_IO_input(), (std::array<int, 4>{0, 1, 0, 0}));
             EXPECT_EQ(robot.get_IO_state(2).state, 1);
         }},
        {"supply voltages",
         [&] {
             robot.set_voltage(2);
             robot.set_tool_voltage(3);
         },
         [&] {
             EXPECT_EQ(robot.get_voltage(), 2);
             EXPECT_EQ(robot.get_tool_voltage(), 3);
         }},
        {"tool IO",
         [&] {
             robot.set_tool_IO_mode(2, 1);
             robot.set_tool_DO_state(2, 1);
             ASSERT_TRUE(sim.set_tool_digital_input(1, 1));
         },
         [&] {
             const ky::tool_io_state s = robot.get_tool_IO_state();
             EXPECT_EQ(s.mode, (std::array<int, 2>{0, 1}));
             EXPECT_EQ(s.state, (std::array<int, 2>{1, 1}));
         }},
        {"wired address", [&] { robot.set_NetIP("192.168.7.42"); },
         [&] {
             const ky::wired_net n = robot.get_wired_net();
             EXPECT_EQ(n.ip, "192.168.7.42");
             EXPECT_EQ(n.mac.size(), 17u) << n.mac;
         }},
        {"wifi station and RS485 baud rate",
         [&] {
             robot.set_wifi_sta("lab-router", "correct horse");
             robot.set_RS485(57600);
         },
         [&] {
             const ky_wifi_net w = robot.get_wifi_net();
             EXPECT_EQ(ky::text(w.mode), "sta");
             EXPECT_EQ(ky::text(w.ssid), "lab-router");
             EXPECT_EQ(ky::text(w.password), "correct horse");
             const ky::rs485_mode m = robot.get_controller_RS485_mode();
             EXPECT_EQ(m.baudrate, 57600);
             if (m.mode != 1) {
                 EXPECT_EQ(m.modbus_timeout, 0);  // reported only in Modbus RTU mode
             }
             EXPECT_NE(robot.get_tool_RS485_mode().baudrate, 0);
         }},
        {"wifi off", [&] { robot.set_wifi_close(); }, [&] { EXPECT_EQ(ky::text(robot.get_wifi_net().mode), "off"); }},
        {"arm power", [&] { robot.set_arm_power(0); },
         [&] {
             EXPECT_EQ(robot.get_arm_power_state(), 0);
             robot.set_arm_power(1);
             EXPECT_EQ(robot.get_arm_power_state(), 1);
         }},
        {"joint odometers in degrees", [&] { robot.movej(ky::Joints{0, 0, 20, 0, -10, 0}, 80); },
         [&] {
             const ky::Joints odom = robot.get_joint_odom();
             ASSERT_EQ(odom.size(), 6u);
             EXPECT_NEAR(odom[2], 20.0, 0.05);
             EXPECT_NEAR(odom[4], 10.0, 0.05);
             EXPECT_NEAR(odom[0], 0.0, 0.05);
             robot.clear_joint_odom();
             EXPECT_EQ(robot.get_joint_odom(), ky::Joints(6));
         }},
        {"running time", [&] { robot.clear_system_runtime(); },
         [&] {
             const ky::system_runtime t = robot.get_system_runtime();
             EXPECT_LE(t.total_seconds(), 2);
             const ky::controller_state c = robot.get_controller_state();
             EXPECT_NEAR(c.temperature, 38.0, 0.5);  // sent in thousandths
             EXPECT_GT(c.voltage, 1.0f);
             EXPECT_EQ(c.err_flag, 0);
             robot.clear_system_err();
         }},
        {"lift and expansion axis, blocking",
         [&] {
             robot.set_lift_height(100, 240);
             robot.set_expand_pos(100, -30000);
         },
         [&] {
             const std::array<int, 4> lift = robot.get_lift_state();
             EXPECT_EQ(lift[KY_LIFT_HEIGHT], 240);
             EXPECT_EQ(lift[KY_LIFT_MODE], 0);
             const std::array<int, 4> expand = robot.get_expand_state();
             EXPECT_EQ(expand[KY_EXPAND_POS], -30000);
             EXPECT_EQ(expand[KY_EXPAND_MODE], 0);
         }},
        {"gripper, blocking",
         [&] {
             robot.set_gripper_route(0, 1000);
             robot.set_gripper_position(420, true, 5s);
         },
         [&] {
             const ky_gripper_state g = robot.get_gripper_state();
             EXPECT_EQ(g.actpos, 420);
             EXPECT_EQ(g.mode, 4);
             EXPECT_EQ(g.enable, 1);
         }},
        {"gripper pick on an object",
         [&] {
             sim.set_gripper_object(300);
             robot.set_gripper_pick(600, 150, true, 5s);
         },
         [&] {
             const ky_gripper_state g = robot.get_gripper_state();
             EXPECT_EQ(g.status, 2);  // holding
             EXPECT_EQ(g.current_force, 150);
             EXPECT_EQ(g.actpos, 300);
             robot.set_gripper_release(600, true, 5s);
             EXPECT_EQ(robot.get_gripper_state().mode, 1);
         }},
        {"hand settings", [&] {
             robot.set_hand_speed(300);
             robot.set_hand_force(200);
             robot.set_hand_angle({10, 20, 30, 40, 50, 60});
             robot.set_hand_posture(1, true, 5s);
         },
         [&] { EXPECT_FALSE(sim.hand_moving()); }},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        try {
            r.set();
            r.check();
        } catch (const ky::Error &e) {
            ADD_FAILURE() << e.what() << " (" << e.result() << ")";
        }
    }
}

// Joint vectors shorter than the dof and over-long texts never reach the controller.
TEST_F(CppDevices, ShortInputsAreRefusedBeforeSending) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    const float three[] = {1, 2, 3};
    const ky::Joints six{0, 0, 0, 0, 0, 0};
    const ky::NothrowRef n = robot.nothrow();
    struct Row {
        const char *name;
        ky::result<void> r;
    };
    const uint64_t before = sim.commands_received();
    const Row rows[] = {
        {"manual_set_force", n.manual_set_force(1, three, false)},
        {"manual_set_Fz pose1", n.manual_set_Fz(three, six, false)},
        {"manual_set_Fz pose2", n.manual_set_Fz(six, three, false)},
        {"set_NetIP", n.set_NetIP("192.168.100.200:8080")},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.r.code(), -1);
        EXPECT_EQ(r.r.error().category(), ky::category<ky::family::wrapper>());
    }
    EXPECT_EQ(sim.commands_received(), before);
    EXPECT_THROW(robot.manual_set_force(4, three), ky::Error);
}

// The tool's completion codes differ per action; each must reach the caller in the tool
// family with its own meaning.
TEST_F(CppDevices, DeviceCompletionCodesCarryTheirFamily) {
    ky::Library lib(1);
    ky::Library::set_long_timeout(500ms);
    ky::Robot robot("127.0.0.1", sim.port());
    ky::sim::DeviceReport wrong_device;
    wrong_device.device = 3;
    ky::sim::DeviceReport silent;
    silent.send = false;
    struct Row {
        const char *name;
        int device;
        ky::sim::DeviceReport report;
        std::function<ky::result<void>()> call;
        int code;
        const char *message_part;
    };
    const ky::NothrowRef n = robot.nothrow();
    const Row rows[] = {
        {"pick, report of another device", 1, wrong_device, [&] { return n.set_gripper_pick(500, 200, true, 3s); }, -5,
         "another device"},
        {"release, no report", 1, silent, [&] { return n.set_gripper_release(500, true, 1s); }, -4, "no completion report"},
        {"hand posture, no report", 2, silent, [&] { return n.set_hand_posture(2, true, 1s); }, -5, "no completion report"},
        {"hand sequence, report of another device", 2, wrong_device, [&] { return n.set_hand_seq(1, true, 3s); }, -4,
         "another device"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ASSERT_TRUE(sim.set_device_report(r.device, r.report));
        const ky::result<void> res = r.call();
        EXPECT_EQ(res.code(), r.code);
        EXPECT_STREQ(res.error().category().name(), "kyarm.tool");
        EXPECT_TRUE(res.error() == ky::errc::family_specific);
        EXPECT_NE(res.error().message().find(r.message_part), std::string::npos) << res.error().message();
        ASSERT_TRUE(sim.set_device_report(r.device, ky::sim::DeviceReport{}));
        sim.wait_idle(3000);
    }
    ky::Library::set_long_timeout(5000ms);
}

// ky_get_Fz asks only an arm whose force-sensor type is 2: any other fails with -2 in the
// force-sensor family, without sending.
TEST_F(CppDevices, OneAxisQueryOnAnArmWithoutTheSensorType) {
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    ASSERT_EQ(robot.force_type(), 0);
    const uint64_t before = sim.commands_received();
    try {
        robot.get_Fz();
        FAIL() << "no exception";
    } catch (const ky::Error &e) {
        EXPECT_EQ(e.result(), -2);
        EXPECT_STREQ(e.function(), "ky_get_Fz");
        EXPECT_EQ(e.code().category(), ky::category<ky::family::force_sensor>());
        EXPECT_TRUE(e.code() == ky::errc::timeout);
        EXPECT_NE(e.code().message().find("type is not 2"), std::string::npos) << e.code().message();
    }
    EXPECT_EQ(sim.commands_received(), before);
}

// The six-axis data arrive in newtons, the one-axis record in the order of ky_Fz_data, and a
// blocking calibration waits for its end.
TEST(CppForceSensor, SixAxisArm) {
    ky::sim::Simulator sim{sim_options("KY6A-6F")};
    ASSERT_TRUE(sim.start()) << sim.error();
    ky::Library lib(1);
    ky::Robot robot("127.0.0.1", sim.port());
    ASSERT_EQ(robot.force_type(), 2);
    robot.set_force_sensor(true);
    const ky_force_data before = robot.get_force_data();
    robot.clear_force_data();
    const ky_force_data d = robot.get_force_data();
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(d.force_data[i], 0.0, 0.01) << i;
    const ky_Fz_data fz = robot.get_Fz();
    EXPECT_NEAR(fz.Fz, d.force_data[2], 0.01);
    EXPECT_NEAR(fz.zero_Fz, d.zero_force_data[2], 0.01);
    EXPECT_NEAR(d.zero_force_data[2], before.force_data[2] + before.zero_force_data[2], 0.05);
    robot.clear_Fz();
    robot.stop_set_force_sensor();

    // Manual calibration: poses 1 to 3 are not awaited, pose 4 waits for the end.
    const ky::Joints poses[4] = {{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 90, 0}, {0, 0, 0, 0, -90, 0}, {0, 0, 0, 0, 0, 90}};
    for (int type = 1; type <= 4; ++type) robot.manual_set_force(type, poses[type - 1]);
    robot.manual_set_Fz(poses[0], poses[1]);
    robot.auto_set_Fz(true);
}

}  // namespace
