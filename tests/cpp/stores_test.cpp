// The drag, fence, Modbus, program store, project and waypoint members of the C++ interface
// against the in-process simulator: set-then-get round trips (argument order, units, output
// sizes), refusals before anything is sent, each family's own reading of its result codes,
// and the register and coil packing through a real Modbus slave.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kyarm.hpp"
#include "sim/simulator.h"
#include "support/modbus_slave.h"

namespace {

using namespace std::chrono_literals;

ky::sim::Options quiet_sim() {
    ky::sim::Options o;
    o.push_enable = false;
    o.speed_scale = 4.0;
    return o;
}

std::string temp_path(const char *name) { return ::testing::TempDir() + name; }

// A headed project file of one joint move to `joints` (degrees), plus `extra` raw lines.
std::string write_project(const std::string &path, const float (&joints)[6], const std::string &extra = "") {
    std::string move = R"({"command":"movej","joint":[)";
    for (int i = 0; i < 6; ++i) move.append(i ? "," : "").append(std::to_string(static_cast<int>(joints[i] * 1000)));
    move.append(R"(],"v":50,"r":0,"trajectory_connect":0})");
    const int lines = extra.empty() ? 1 : 2;
    std::string text = "{\"file\":6}\r\n{\"name\":\"Folder\",\"num\":1,\"type\":";
    text.append(std::to_string(lines)).append(",\"enabled\":true,\"parent_number\":0}\r\n");
    text.append(move).append("\r\n");
    if (!extra.empty()) text.append(extra).append("\r\n");
    std::ofstream(path, std::ios::binary) << text;
    return text;
}

ky_project_upload upload_of(const std::string &path, int save_id) {
    ky_project_upload up{};
    EXPECT_TRUE(ky::copy_text(up.project_path, path));
    up.project_path_len = static_cast<int32_t>(path.size());
    up.plan_speed = 100;
    up.only_save = 1;
    up.save_id = save_id;
    return up;
}

class CppStores : public ::testing::Test {
protected:
    ky::sim::Simulator sim{quiet_sim()};
    ky::Library lib{1};
    ky::Robot robot;
    void SetUp() override {
        ASSERT_TRUE(sim.start()) << sim.error();
        robot = ky::Robot("127.0.0.1", sim.port());
    }
};

TEST_F(CppStores, SetThenGetRoundTrips) {
    ky_fence_config plane{};
    plane.form = KY_FENCE_PLANE;
    plane.x1 = 0.1f, plane.y1 = 0.2f, plane.z1 = 0.3f, plane.x2 = -0.4f, plane.y2 = 0.5f, plane.z2 = 0.6f;
    plane.x3 = 0.7f, plane.y3 = -0.8f, plane.z3 = 0.9f;
    ky_fence_config sphere{};
    sphere.form = KY_FENCE_SPHERE;
    sphere.x = 0.25f, sphere.y = -0.5f, sphere.z = 0.75f, sphere.radius = 0.125f;
    // The cube's x and z minimum are equal: requests carry x_min_limit under "z_min_limit".
    ky_fence_config cube{};
    cube.form = KY_FENCE_CUBE;
    ASSERT_TRUE(ky::copy_text(cube.form_name, "cage"));
    cube.x_min_limit = -0.5f, cube.x_max_limit = 0.5f, cube.y_min_limit = -0.25f, cube.y_max_limit = 0.75f;
    cube.z_min_limit = -0.5f, cube.z_max_limit = 1.0f;

    ky_waypoint wp{};
    ASSERT_TRUE(ky::copy_text(wp.point_name, "wc_pick"));
    const float wj[6] = {10.5f, -20.25f, 30, 0, 45.125f, -90};
    std::copy(std::begin(wj), std::end(wj), wp.joint);
    wp.pose = ky::make_pose(0.25f, -0.125f, 0.5f, 3.1416f, 0, -1.5f);
    ASSERT_TRUE(ky::copy_text(wp.work_frame, "World"));
    ASSERT_TRUE(ky::copy_text(wp.tool_frame, "Arm_Tip"));

    struct Row {
        const char *what;
        std::function<void()> check;
    };
    const Row rows[] = {
        {"drag sensitivity",
         [&] {
             robot.set_drag_teach_sensitivity(4);
             EXPECT_EQ(robot.get_drag_teach_sensitivity(), 4);
         }},
        {"fence enable",
         [&] {
             robot.set_electronic_fence_enable({true, 1, 2});
             const ky_fence_enable e = robot.get_electronic_fence_enable();
             EXPECT_TRUE(e.enable_state);
             EXPECT_EQ(e.in_out_side, 1);
             EXPECT_EQ(e.effective_region, 2);
         }},
        {"virtual wall enable",
         [&] {
             robot.set_virtual_wall_enable({true, 0, 1});
             const ky_fence_enable e = robot.get_virtual_wall_enable();
             EXPECT_TRUE(e.enable_state);
             EXPECT_EQ(e.in_out_side, 0);
             EXPECT_EQ(e.effective_region, 1);
         }},
        {"self collision",
         [&] {
             robot.set_self_collision_enable(true);
             EXPECT_TRUE(robot.get_self_collision_enable());
             robot.set_self_collision_enable(false);
             EXPECT_FALSE(robot.get_self_collision_enable());
         }},
        {"run mode",
         [&] {
             robot.set_arm_run_mode(0);
             EXPECT_EQ(robot.get_arm_run_mode(), 0);
             robot.set_arm_run_mode(5);  // sent as 1
             EXPECT_EQ(robot.get_arm_run_mode(), 1);
         }},
        {"fence in force (plane)",
         [&] {
             robot.set_electronic_fence_config(plane);
             const ky_fence_config c = robot.get_electronic_fence_config();
             EXPECT_EQ(c.form, KY_FENCE_PLANE);
             const float got[9] = {c.x1, c.y1, c.z1, c.x2, c.y2, c.z2, c.x3, c.y3, c.z3};
             const float want[9] = {0.1f, 0.2f, 0.3f, -0.4f, 0.5f, 0.6f, 0.7f, -0.8f, 0.9f};
             for (int i = 0; i < 9; ++i) EXPECT_NEAR(got[i], want[i], 1e-3) << i;
         }},
        {"virtual wall (sphere)",
         [&] {
             robot.set_virtual_wall_config(sphere);
             const ky_fence_config c = robot.get_virtual_wall_config();
             EXPECT_EQ(c.form, KY_FENCE_SPHERE);
             EXPECT_NEAR(c.x, 0.25f, 1e-3);
             EXPECT_NEAR(c.y, -0.5f, 1e-3);
             EXPECT_NEAR(c.z, 0.75f, 1e-3);
             EXPECT_NEAR(c.radius, 0.125f, 1e-3);
         }},
        {"named fence (cube)",
         [&] {
             robot.add_electronic_fence_config(cube);
             const ky_fence_config c = robot.get_given_electronic_fence_config("cage");
             EXPECT_EQ(ky::text(c.form_name), "cage");
             EXPECT_NEAR(c.y_min_limit, -0.25f, 1e-3);
             EXPECT_NEAR(c.y_max_limit, 0.75f, 1e-3);
             EXPECT_NEAR(c.z_max_limit, 1.0f, 1e-3);
             EXPECT_EQ(robot.get_electronic_fence_list_names(), std::vector<std::string>{"cage"});
             const std::vector<ky_fence_config> all = robot.get_electronic_fence_list_infos();
             ASSERT_EQ(all.size(), 1u);
             EXPECT_NEAR(all[0].x_max_limit, 0.5f, 1e-3);
             robot.delete_electronic_fence_config("cage");
             EXPECT_TRUE(robot.get_electronic_fence_list_names().empty());
         }},
        {"global waypoint",
         [&] {
             const ky_waypoint sent = robot.add_global_waypoint(wp);
             EXPECT_EQ(ky::text(sent.time).size(), 19u);  // stamped on the copy
             EXPECT_EQ(wp.time[0], '\0');                 // not on the caller's record
             const ky_waypoint got = robot.get_given_global_waypoint("wc_pick");
             for (int i = 0; i < 6; ++i) EXPECT_NEAR(got.joint[i], wj[i], 1e-3) << i;
             EXPECT_NEAR(got.pose.position.x, 0.25f, 1e-5);
             EXPECT_NEAR(got.pose.position.y, -0.125f, 1e-5);
             EXPECT_NEAR(got.pose.euler.rx, 3.1416f, 1e-3);
             EXPECT_NEAR(got.pose.euler.rz, -1.5f, 1e-3);
             EXPECT_EQ(ky::text(got.tool_frame), "Arm_Tip");
             ky_waypoint moved = wp;
             moved.joint[0] = -1.5f;
             robot.update_global_waypoint(moved);
             const ky_waypoint_list list = robot.get_global_waypoints_list(1, 10, "wc_");
             ASSERT_EQ(list.list_len, 1);
             EXPECT_EQ(list.total_size, 1);
             EXPECT_NEAR(list.points[0].joint[0], -1.5f, 1e-3);
             robot.delete_global_waypoint("wc_pick");
             EXPECT_EQ(robot.get_global_waypoints_list(1, 10).list_len, 0);
         }},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.what);
        try {
            r.check();
        } catch (const ky::Error &e) {
            ADD_FAILURE() << e.what();
        }
    }
}

TEST_F(CppStores, FamilyCodesReachTheCallerWithTheirMeaning) {
    ky_fence_config odd{};
    odd.form = 9;
    ky_project_upload missing = upload_of(temp_path("wc_no_such_project.txt"), 3);
    auto n = robot.nothrow();
    struct Row {
        const char *what;
        std::function<std::error_code()> call;
        int code;
        const char *category;
        const char *text;
    };
    const Row rows[] = {
        {"fence of unknown form", [&] { return n.add_electronic_fence_config(odd).error(); }, -4, "kyarm.fence",
         "unknown fence form"},
        {"trajectory file not writable", [&] { return n.save_trajectory("/nonexistent-dir/wc.txt").error(); }, -4,
         "kyarm.drag", "could not be opened"},
        {"project file missing", [&] { return n.send_project(missing).error(); }, -5, "kyarm.project",
         "could not be opened"},
        {"unknown program", [&] { return n.set_program_id_run(99).error(); }, 1, "kyarm.program_store",
         "no such program"},
        {"unknown waypoint", [&] { return n.get_given_global_waypoint("nowhere").error(); }, 1, "kyarm.waypoints",
         "no such waypoint"},
        {"Modbus port not open", [&] { return n.read_coils({0, 0, 1, 8}).error(); }, 1, "kyarm.modbus",
         "Modbus exchange failed"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.what);
        const std::error_code ec = r.call();
        EXPECT_EQ(ec.value(), r.code);
        EXPECT_STREQ(ec.category().name(), r.category);
        EXPECT_NE(ec.message().find(r.text), std::string::npos) << ec.message();
    }
    try {
        robot.add_electronic_fence_config(odd);
        FAIL() << "no exception";
    } catch (const ky::Error &e) {
        EXPECT_STREQ(e.function(), "ky_add_electronic_fence_config");
        EXPECT_TRUE(e.code() == ky::errc::family_specific);
    }
}

TEST(CppSaveTrajectoryReply, ParsedWithoutARobot) {
    struct Row {
        const char *line;
        int code;
        int total;
    };
    const Row rows[] = {
        {R"({"command":"save_trajectory","save_state":true,"total_num":12})", 0, 12},
        {R"({"command":"save_trajectory","save_state":true})", 0, 0},
        {R"({"command":"save_trajectory","save_state":false,"total_num":12})", 1, 0},
        {R"({"command":"save_trajectory","save_state":true,"total_num":-1})", -3, 0},
        {"not json", -3, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.line);
        auto got = ky::NothrowRef::parse_save_trajectory("wc", r.line);
        EXPECT_EQ(got.code(), r.code);
        if (r.code == 0) {
            EXPECT_EQ(*got, r.total);
        }
    }
}

TEST_F(CppStores, ShortOrUnreadableArgumentsAreRefusedBeforeSending) {
    const std::string plain = temp_path("wc_plain.txt");
    std::ofstream(plain) << "a\nb\nc\n";
    ky_project_upload headed = upload_of(temp_path("wc_missing_dir/none.txt"), 1);
    headed.add_header = 1;
    const int five[5] = {1, 2, 3, 4, 5};
    const int one[1] = {0xff};
    auto n = robot.nothrow();
    const uint64_t before = sim.commands_received();
    struct Row {
        const char *what;
        std::function<int()> call;
    };
    const Row rows[] = {
        {"3 registers from 5 ints", [&] { return n.write_registers({3, 0, 1, 3}, five).code(); }},
        {"16 coils from 1 int", [&] { return n.write_coils({3, 0, 1, 16}, one).code(); }},
        {"line count of a missing file", [&] { return ky::NothrowRef::countLinesInFile("/nonexistent/x").code(); }},
        {"header for a missing file", [&] { return n.add_lines_to_file("/nonexistent/x", plain + ".out").code(); }},
        {"headed upload of a missing file", [&] { return n.send_project(headed).code(); }},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.call(), -1);
    }
    EXPECT_EQ(sim.commands_received(), before);
    // The same calls with enough data go through.
    EXPECT_EQ(robot.countLinesInFile(plain), 3);
    EXPECT_EQ(n.write_coils({3, 0, 1, 8}, one).code(), 1);  // sent: no Modbus TCP connection
    EXPECT_GT(sim.commands_received(), before);
    std::remove(plain.c_str());
}

TEST_F(CppStores, ModbusRegistersAndCoilsSurviveThePacking) {
    auto slave = kytest::ModbusSlave::tcp();
    ASSERT_TRUE(slave);
    robot.set_modbustcp_mode("127.0.0.1", slave->port(), 0);

    const ky_modbus_rw_params regs{3, 10, 7, 3};
    robot.write_registers(regs, std::vector<int>{0x12, 0x34, 0x00, 0x01, 0xff, 0xfe});
    std::vector<int> stored;
    slave->memory([&](modbus_mapping_t &m) { stored.assign(m.tab_registers + 10, m.tab_registers + 13); });
    EXPECT_EQ(stored, (std::vector<int>{0x1234, 0x0001, 0xfffe}));
    EXPECT_EQ(robot.read_multiple_holding_registers(regs), (std::vector<int>{0x12, 0x34, 0x00, 0x01, 0xff, 0xfe}));
    robot.write_single_register({3, 11, 7, 1}, 0x0a0b);
    EXPECT_EQ(robot.read_holding_registers({3, 11, 7, 1}), 0x0a0b);

    const ky_modbus_rw_params coils{3, 20, 7, 16};
    robot.write_coils(coils, std::vector<int>{0xa5, 0x3c});
    std::vector<int> bits;
    slave->memory([&](modbus_mapping_t &m) { bits.assign(m.tab_bits + 20, m.tab_bits + 36); });
    for (int i = 0; i < 16; ++i) EXPECT_EQ(bits[i], ((i < 8 ? 0xa5 : 0x3c) >> (i % 8)) & 1) << i;
    EXPECT_EQ(robot.read_multiple_coils(coils), (std::vector<int>{0xa5, 0x3c}));
    EXPECT_EQ(robot.read_multiple_coils({3, 20, 7, 10}).size(), 1u);  // 10 coils: one whole int
    EXPECT_EQ(robot.read_coils({3, 20, 7, 8}), 0xa5);
    robot.close_modbustcp_mode();
}

TEST_F(CppStores, ProjectStoredRunByIdAndRejectedWithItsLine) {
    const ky::Joints start = robot.get_joint_degree();
    const float target[6] = {start[0] + 5, start[1], start[2], start[3], start[4], start[5]};
    const std::string path = temp_path("wc_job.txt");
    const std::string text = write_project(path, target);
    const ky_project_upload up = upload_of(path, 7);

    EXPECT_EQ(robot.send_project(up), "wc_job");
    EXPECT_EQ(ky::text(up.project_path), path);  // the caller's record keeps its path
    EXPECT_EQ(robot.countLinesInFile(path), 3);

    const ky_program_list list = robot.get_program_trajectory_list(1, 10, "wc_");
    ASSERT_EQ(list.total_size, 1);
    EXPECT_EQ(list.list[0].id, 7);
    EXPECT_EQ(ky::text(list.list[0].trajectory_name), "wc_job");
    robot.update_program_trajectory(7, 40, "wc_job");
    EXPECT_EQ(robot.get_program_trajectory_list(1, 10, "wc_").list[0].speed, 40);
    robot.set_default_run_program(7);
    EXPECT_EQ(robot.get_default_run_program(), 7);

    robot.set_program_id_run(7);  // blocks until the program has finished
    EXPECT_NEAR(robot.get_joint_degree()[0], target[0], 0.01);
    EXPECT_EQ(robot.get_program_run_state().run_state, 0);
    robot.delete_program_trajectory(7);
    EXPECT_EQ(robot.get_program_trajectory_list(1, 10, "wc_").total_size, 0);

    // From memory: announced first, then streamed.
    ky_project_upload mem = upload_of("wc_mem", 8);
    robot.run_project(mem, static_cast<int>(text.size()));
    robot.send_project_lock(text);
    EXPECT_EQ(robot.get_program_trajectory_list(1, 10, "wc_mem").total_size, 1);

    // A line the controller cannot run: rejected, with its line number.
    write_project(path, target, R"({"command":"no_such_command"})");
    int err_line = 0;
    auto rejected = robot.nothrow().send_project(up, &err_line);
    EXPECT_EQ(rejected.code(), 1);
    EXPECT_EQ(err_line, 4);
    std::remove(path.c_str());
}

TEST_F(CppStores, DragRecordingReturnsToItsStartAndIsSaved) {
    const ky::Joints start = robot.get_joint_degree();
    robot.start_drag_teach(1);
    std::vector<std::vector<double>> path;
    for (int i = 1; i <= 10; ++i) {
        std::vector<double> p(start.begin(), start.end());
        p[0] += i;
        path.push_back(p);
    }
    ASSERT_TRUE(sim.drag_along(path, 10));
    for (int i = 0; i < 400 && sim.hand_moving(); ++i) std::this_thread::sleep_for(5ms);
    robot.stop_drag_teach();
    const auto recorded = sim.drag_recording();
    ASSERT_FALSE(recorded.empty());

    robot.drag_trajectory_origin(1);  // blocks until the arm is back at the recording's start
    EXPECT_NEAR(robot.get_joint_degree()[0], recorded.front()[0], 0.01);

    const std::string file = temp_path("wc_drag.txt");
    const int total = robot.save_trajectory(file);
    EXPECT_EQ(static_cast<std::size_t>(total), recorded.size());
    EXPECT_EQ(robot.countLinesInFile(file), total);
    std::remove(file.c_str());
}

}  // namespace
