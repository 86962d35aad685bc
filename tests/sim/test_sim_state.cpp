// The simulator's realtime pushes, push configuration, frames and state queries, read at the
// wire level and checked against the live state of the in-process API.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;

namespace {

const std::vector<double> kStart = {5, -30, -60, 10, -40, 10};

ky::sim::Options opts(int push_port = 0, const std::string &product = "KY6A-B") {
    ky::sim::Options o;
    o.product_version = product;
    o.push_enable = push_port != 0;
    o.push_port = push_port ? push_port : 8089;
    o.push_cycle_ms = 2;
    o.speed_scale = 10;
    if (product.rfind("KY6A", 0) == 0) o.initial_joints = kStart;
    return o;
}

int item(const cJSON *arr, int i) { return cJSON_GetArrayItem(arr, i)->valueint; }

const cJSON *path(const Json &j, const char *a, const char *b) {
    return cJSON_GetObjectItemCaseSensitive(cJSON_GetObjectItemCaseSensitive(j.get(), a), b);
}

// The next datagram that satisfies `pred`, within `timeout_ms`.
template <class Pred>
Json datagram_where(UdpReceiver &udp, Pred pred, int timeout_ms = 2000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (std::chrono::steady_clock::now() < end) {
        Json j = parse(udp.receive(100));
        if (j && pred(j)) return j;
    }
    return Json(nullptr, cJSON_Delete);
}

bool state_true(const Json &r, const char *key) { return r && cJSON_IsTrue(member(r, key)); }

}  // namespace

TEST(SimPush, DatagramsCarryTheLiveStateInTheirBlocks) {
    UdpReceiver udp;
    ky::sim::Simulator sim(opts(udp.port()));
    ASSERT_TRUE(sim.start());
    const std::string text = udp.receive(1000);
    ASSERT_FALSE(text.empty());
    EXPECT_LT(text.size(), 1024u);
    Json j = parse(text);
    ASSERT_TRUE(j) << text;
    for (const char *key : {"joint_position", "joint_current", "joint_en_flag", "joint_err_code", "joint_temperature",
                            "joint_voltage"})
        EXPECT_EQ(cJSON_GetArraySize(path(j, "joint_status", key)), 6) << key;
    EXPECT_EQ(path(j, "joint_status", "joint_speed"), nullptr);  // not selected
    EXPECT_EQ(cJSON_GetArraySize(path(j, "waypoint", "position")), 3);
    EXPECT_EQ(cJSON_GetArraySize(path(j, "waypoint", "quat")), 4);
    EXPECT_EQ(cJSON_GetArraySize(path(j, "waypoint", "euler")), 3);
    EXPECT_TRUE(cJSON_IsNumber(member(j, "arm_err")));
    EXPECT_TRUE(cJSON_IsNumber(member(j, "sys_err")));
    EXPECT_STREQ(member(j, "arm_current_status")->valuestring, "idle");
    EXPECT_EQ(member(j, "lift_state"), nullptr);
    EXPECT_EQ(member(j, "six_force_sensor"), nullptr);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(item(path(j, "joint_status", "joint_position"), i), std::lround(kStart[i] * 1000));
    const auto p = sim.tool_pose();
    EXPECT_EQ(item(path(j, "waypoint", "position"), 0), std::lround(p.x * 1e6));
    EXPECT_EQ(item(path(j, "waypoint", "position"), 2), std::lround(p.z * 1e6));
    EXPECT_EQ(item(path(j, "waypoint", "euler"), 2), std::lround(p.rz * 1e3));
    const cJSON *q = path(j, "waypoint", "quat");
    double norm = 0;
    for (int i = 0; i < 4; ++i) norm += std::pow(item(q, i) / 1e6, 2);
    EXPECT_NEAR(norm, 1.0, 1e-4);

    // Selecting the optional blocks adds them; a move shows its status and joint speeds.
    TcpClient c(sim.port());
    Json r = c.request(R"({"command":"set_realtime_push","enable":true,"custom":{"joint_speed":true,"lift_state":true,"expand_state":true,"arm_current_status":true}})",
                       "set_realtime_push");
    ASSERT_TRUE(state_true(r, "state"));
    r = c.request(R"({"command":"movej","v":20,"joint":[45000,-30000,-60000,10000,-40000,10000],"trajectory_connect":0,"r":0})",
                  "movej");
    ASSERT_TRUE(state_true(r, "receive_state"));
    // Joint 1 turns positive at up to 0.2 * 180 deg/s, that is up to 6000 on the wire.
    Json moving = datagram_where(udp, [](const Json &d) {
        const cJSON *s = member(d, "arm_current_status");
        const cJSON *v = path(d, "joint_status", "joint_speed");
        return cJSON_IsString(s) && std::string(s->valuestring) == "move_J" && cJSON_GetArraySize(v) == 6 &&
               item(v, 0) > 0;
    });
    ASSERT_TRUE(moving);
    EXPECT_LE(item(path(moving, "joint_status", "joint_speed"), 0), 6000 * 10 * 1.1);  // speed scale 10
    for (const char *key : {"pos", "height", "current", "err_flag", "en_flag"})
        EXPECT_TRUE(cJSON_IsNumber(path(moving, "lift_state", key))) << key;
    for (const char *key : {"joint_id", "mode", "pos", "current", "err_flag", "en_flag"})
        EXPECT_TRUE(cJSON_IsNumber(path(moving, "expand_state", key))) << key;
    EXPECT_EQ(c.expect("current_trajectory_state", 3000).empty(), false);
}

TEST(SimPush, ConfigurationRedirectsChangesAndStopsThePush) {
    UdpReceiver first, second;
    ky::sim::Simulator sim(opts(first.port()));
    ASSERT_TRUE(sim.start());
    ASSERT_FALSE(first.receive(1000).empty());
    TcpClient c(sim.port());
    const std::string set = R"({"command":"set_realtime_push","enable":true,"cycle":3,"port":)" +
                            std::to_string(second.port()) + R"(,"ip":"127.0.0.1","custom":{"arm_current_status":false}})";
    ASSERT_TRUE(state_true(c.request(set, "set_realtime_push"), "state"));
    Json j = parse(second.receive(1000));
    ASSERT_TRUE(j);
    EXPECT_EQ(member(j, "arm_current_status"), nullptr);
    Json cfg = c.request(R"({"command":"get_realtime_push"})", "get_realtime_push");
    EXPECT_EQ(member(cfg, "cycle")->valueint, 3);
    EXPECT_EQ(member(cfg, "port")->valueint, second.port());
    EXPECT_STREQ(member(cfg, "ip")->valuestring, "127.0.0.1");
    EXPECT_TRUE(cJSON_IsFalse(path(cfg, "custom", "arm_current_status")));
    EXPECT_EQ(member(cfg, "force_coordinate"), nullptr);  // no force sensor on a -B arm

    ASSERT_TRUE(state_true(c.request(R"({"command":"set_realtime_push","enable":false,"custom":{}})", "set_realtime_push"), "state"));
    std::this_thread::sleep_for(30ms);
    second.drain();
    first.drain();
    const uint64_t sent = sim.datagrams_sent();
    EXPECT_TRUE(second.receive(150).empty());
    EXPECT_EQ(sim.datagrams_sent(), sent);

    // Invalid settings are refused as a whole and change nothing.
    for (const char *bad : {R"({"command":"set_realtime_push","enable":true,"cycle":0})",
                            R"({"command":"set_realtime_push","enable":true,"port":70000})",
                            R"({"command":"set_realtime_push","enable":true,"ip":"localhost"})",
                            R"({"command":"set_realtime_push","enable":true,"force_cordinate":1})",
                            R"({"command":"set_realtime_push","enable":"yes"})"}) {
        Json r = c.request(bad, "set_realtime_push");
        EXPECT_TRUE(r && cJSON_IsFalse(member(r, "state"))) << bad;
    }
    EXPECT_TRUE(cJSON_IsFalse(member(c.request(R"({"command":"get_realtime_push"})", "get_realtime_push"), "enable")));
}

TEST(SimPush, TheLargestDatagramsFitTheLibrarysBuffer) {
    for (const char *product : {"KY7A-6F", "NOV7B-B", "KYL6C-ZF"}) {
        UdpReceiver udp;
        auto o = opts(udp.port(), product);
        o.push_joint_speed = o.push_lift_state = o.push_expand_state = o.push_arm_current_status = true;
        ky::sim::Simulator sim(o);
        ASSERT_TRUE(sim.start());
        TcpClient c(sim.port());
        // Large negative values make the longest numbers.
        std::vector<double> q = sim.joints();
        Json lim = c.request(R"({"command":"get_joint_min_pos"})", "joint_min_pos");
        for (size_t i = 0; i < q.size(); ++i) q[i] = item(member(lim, "min_pos"), static_cast<int>(i)) / 1000.0 + 0.123;
        ASSERT_TRUE(sim.set_joints(q));
        udp.drain();
        for (int i = 0; i < 20; ++i) {
            const std::string d = udp.receive(500);
            ASSERT_FALSE(d.empty()) << product;
            EXPECT_LT(d.size(), 1024u) << product << ": " << d;
            Json j = parse(d);
            ASSERT_TRUE(j) << product;
            const bool force = std::string(product).find("-B") == std::string::npos;
            EXPECT_EQ(member(j, "six_force_sensor") != nullptr || member(j, "one_force_sensor") != nullptr, force);
        }
    }
}

TEST(SimFrames, ManualToolFrameRoundTripsAndMovesTheToolPoint) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto tip = sim.tool_pose();
    const std::string grip =
        R"("tool_name":"grip","payload":1500,"position":[0,10000,50000],"tool_pose":[0,0,100000,0,0,1571])";
    EXPECT_TRUE(state_true(c.request(R"({"command":"set_manual_tool_frame",)" + grip + "}", "set_manual_tool_frame"), "manual_tool_frame"));
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_manual_tool_frame",)" + grip + "}", "set_manual_tool_frame"), "manual_tool_frame"));
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_manual_tool_frame","tool_name":"much_too_long_name","payload":0,"position":[0,0,0],"tool_pose":[0,0,0,0,0,0]})",
                                      "set_manual_tool_frame"),
                            "manual_tool_frame"));
    Json list = c.request(R"({"command":"get_total_tool_frame"})", "total_tool_frame");
    ASSERT_EQ(cJSON_GetArraySize(member(list, "tool_names")), 2);
    EXPECT_STREQ(cJSON_GetArrayItem(member(list, "tool_names"), 1)->valuestring, "grip");
    Json given = c.request(R"({"command":"get_tool_frame","tool_name":"grip"})", "given_tool_frame");
    EXPECT_EQ(item(member(given, "pose"), 2), 100000);
    EXPECT_EQ(item(member(given, "pose"), 5), 1571);
    EXPECT_EQ(member(given, "payload")->valueint, 1500);
    EXPECT_EQ(item(member(given, "position"), 1), 10000);

    EXPECT_TRUE(state_true(c.request(R"({"command":"set_change_tool_frame","tool_name":"grip"})", "set_change_tool_frame"), "change_tool_frame"));
    EXPECT_EQ(sim.tool_frame_name(), "grip");
    Json cur = c.request(R"({"command":"get_current_tool_frame"})", "current_tool_frame");
    EXPECT_STREQ(member(cur, "tool_name")->valuestring, "grip");
    const auto p = sim.tool_pose();
    EXPECT_NEAR(std::hypot(p.x - tip.x, p.y - tip.y, p.z - tip.z), 0.1, 1e-6);
    Json state = c.request(R"({"command":"get_current_arm_state"})", "current_arm_state");
    EXPECT_EQ(item(path(state, "arm_state", "pose"), 0), std::lround(p.x * 1e6));

    EXPECT_FALSE(state_true(c.request(R"({"command":"set_delete_tool_frame","tool_name":"grip"})", "set_delete_tool_frame"), "delete_tool_frame"));
    EXPECT_TRUE(state_true(c.request(R"({"command":"set_change_tool_frame","tool_name":"Arm_Tip"})", "set_change_tool_frame"), "change_tool_frame"));
    EXPECT_TRUE(state_true(c.request(R"({"command":"set_delete_tool_frame","tool_name":"grip"})", "set_delete_tool_frame"), "delete_tool_frame"));
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_change_tool_frame","tool_name":"grip"})", "set_change_tool_frame"), "change_tool_frame"));
    Json gone = c.request(R"({"command":"get_tool_frame","tool_name":"grip"})", "get_tool_frame");
    EXPECT_TRUE(gone && cJSON_IsFalse(member(gone, "get_state")));
    EXPECT_NEAR(sim.tool_pose().z, tip.z, 1e-9);
}

TEST(SimFrames, WorkFrameExpressesPosesAndMoveTargets) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto world = sim.tool_pose();
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_manual_work_frame","frame_name":"table","frame_pose":[100000,200000,0,0,0,1571]})",
                                     "set_manual_work_frame"),
                           "manual_work_frame"));
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_change_work_frame","frame_name":"table"})", "set_change_work_frame"), "change_work_frame"));
    EXPECT_EQ(sim.work_frame_name(), "table");
    // The frame is turned by 90 degrees about z at (0.1, 0.2): x' = y - 0.2, y' = -(x - 0.1).
    const auto in_table = sim.tool_pose();
    EXPECT_NEAR(in_table.x, world.y - 0.2, 2e-4);
    EXPECT_NEAR(in_table.y, -(world.x - 0.1), 2e-4);
    EXPECT_NEAR(in_table.z, world.z, 1e-9);
    Json cur = c.request(R"({"command":"get_current_work_frame"})", "current_work_frame");
    EXPECT_STREQ(member(cur, "frame_name")->valuestring, "table");
    EXPECT_EQ(item(member(cur, "pose"), 5), 1571);

    // A movel target is read in the active work frame.
    ky::sim::Pose target = in_table;
    target.x += 0.02;
    const double wire[6] = {target.x * 1e6, target.y * 1e6, target.z * 1e6, target.rx * 1e3, target.ry * 1e3, target.rz * 1e3};
    std::string pose = "[";
    for (int i = 0; i < 6; ++i) {
        if (i) pose += ',';
        pose += std::to_string(std::lround(wire[i]));
    }
    pose += ']';
    ASSERT_TRUE(state_true(c.request(R"({"command":"movel","v":50,"pose":)" + pose + R"(,"trajectory_connect":0,"r":0})", "movel"),
                           "receive_state"));
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_change_work_frame","frame_name":"World"})", "set_change_work_frame"),
                            "change_work_frame"));  // not while moving
    EXPECT_FALSE(c.expect("current_trajectory_state", 3000).empty());
    EXPECT_NEAR(sim.tool_pose().x, target.x, 2e-6);
    EXPECT_NEAR(sim.tool_pose().y, target.y, 2e-6);

    EXPECT_FALSE(state_true(c.request(R"({"command":"set_delete_work_frame","frame_name":"table"})", "set_delete_work_frame"), "delete_work_frame"));
    Json upd = c.request(R"({"command":"update_work_frame","frame_name":"table","frame_pose":[0,0,0,0,0,0]})", "update_work_frame");
    EXPECT_TRUE(state_true(upd, "update_state"));
    const auto after = sim.tool_pose();
    EXPECT_NEAR(std::hypot(after.x, after.y), std::hypot(sim.tool_pose().x, sim.tool_pose().y), 1e-9);
    Json names = c.request(R"({"command":"get_total_work_frame"})", "total_work_frame");
    EXPECT_EQ(cJSON_GetArraySize(member(names, "frame_names")), 2);
}

TEST(SimFrames, TaughtToolAndWorkFramesComeFromTheRecordedPoints) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    // A probe 0.1 m along the flange z axis touches one point from four orientations.
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_manual_tool_frame","tool_name":"probe","payload":0,"position":[0,0,0],"tool_pose":[0,0,100000,0,0,0]})",
                                     "set_manual_tool_frame"),
                           "manual_tool_frame"));
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_change_tool_frame","tool_name":"probe"})", "set_change_tool_frame"), "change_tool_frame"));
    const auto tip = sim.tool_pose();
    const double tilts[4][2] = {{0, 0}, {0.25, 0}, {0, 0.25}, {-0.2, -0.15}};
    for (int i = 0; i < 4; ++i) {
        if (i > 0) {
            char req[256];
            std::snprintf(req, sizeof req,
                          R"({"command":"movel","v":80,"pose":[%ld,%ld,%ld,%ld,%ld,%ld],"trajectory_connect":0,"r":0})",
                          std::lround(tip.x * 1e6), std::lround(tip.y * 1e6), std::lround(tip.z * 1e6),
                          std::lround((tip.rx + tilts[i][0]) * 1e3), std::lround((tip.ry + tilts[i][1]) * 1e3),
                          std::lround(tip.rz * 1e3));
            ASSERT_TRUE(state_true(c.request(req, "movel"), "receive_state")) << i;
            ASSERT_FALSE(c.expect("current_trajectory_state", 3000).empty());
        }
        const std::string point = R"({"command":"set_auto_tool_frame","point_num":)" + std::to_string(i + 1) + "}";
        ASSERT_TRUE(state_true(c.request(point, "set_auto_tool_frame"), "auto_tool_frame")) << i;
    }
    // generate_auto_tool_frame is answered under "set_auto_tool_frame".
    Json gen = c.request(R"({"command":"generate_auto_tool_frame","tool_name":"taught","payload":500,"position":[0,0,20000]})",
                         "set_auto_tool_frame");
    ASSERT_TRUE(state_true(gen, "auto_tool_frame"));
    Json taught = c.request(R"({"command":"get_tool_frame","tool_name":"taught"})", "given_tool_frame");
    EXPECT_NEAR(item(member(taught, "pose"), 0), 0, 5);  // within the wire resolution of the taught poses
    EXPECT_NEAR(item(member(taught, "pose"), 1), 0, 5);
    EXPECT_NEAR(item(member(taught, "pose"), 2), 100000, 5);
    EXPECT_EQ(member(taught, "payload")->valueint, 500);

    // Work frame from three points: origin, +X and the XY plane (base-aligned steps).
    c.request(R"({"command":"set_change_tool_frame","tool_name":"Arm_Tip"})", "set_change_tool_frame");
    const auto origin = sim.tool_pose();
    auto step = [&](const char *axis, int um) {
        const std::string s = std::string(R"({"command":"set_pos_step","v":50,"step":)") + std::to_string(um) +
                              R"(,"step_type":")" + axis + R"("})";
        ASSERT_TRUE(state_true(c.request(s, "set_pos_step"), "receive_state"));
        ASSERT_FALSE(c.expect("current_trajectory_state", 3000).empty());
    };
    auto record = [&](int n, const char *name = "bench") {
        const std::string s = std::string(R"({"command":"set_auto_work_frame","frame_name":")") + name +
                              R"(","point_num":)" + std::to_string(n) + "}";
        return state_true(c.request(s, "set_auto_work_frame"), "auto_work_frame");
    };
    EXPECT_FALSE(record(4));  // no points yet
    EXPECT_TRUE(record(1));
    step("x_step", 40000);
    EXPECT_TRUE(record(2));
    step("y_step", 30000);
    EXPECT_TRUE(record(3));
    EXPECT_TRUE(record(4));
    Json bench = c.request(R"({"command":"get_work_frame","frame_name":"bench"})", "given_work_frame");
    ASSERT_TRUE(bench);
    EXPECT_NEAR(item(member(bench, "pose"), 0), std::lround(origin.x * 1e6), 3);
    EXPECT_NEAR(item(member(bench, "pose"), 1), std::lround(origin.y * 1e6), 3);
    for (int i = 3; i < 6; ++i) EXPECT_NEAR(item(member(bench, "pose"), i), 0, 1) << i;
}

TEST(SimFrames, ToolEnvelopesAreKeptPerTool) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const std::string two = R"({"command":"set_tool_envelope","tool_name":"Arm_Tip","list":[{"name":"b1","radius":50,"x":0,"y":0,"z":10},{"name":"b2","radius":30,"x":1,"y":-2,"z":80}]})";
    EXPECT_TRUE(state_true(c.request(two, "set_tool_envelope"), "set_state"));
    Json env = c.request(R"({"command":"get_tool_envelope","tool_name":"Arm_Tip"})", "get_tool_envelope");
    ASSERT_EQ(cJSON_GetArraySize(member(env, "list")), 2);
    const cJSON *b2 = cJSON_GetArrayItem(member(env, "list"), 1);
    EXPECT_STREQ(cJSON_GetObjectItem(b2, "name")->valuestring, "b2");
    EXPECT_EQ(cJSON_GetObjectItem(b2, "radius")->valueint, 30);
    EXPECT_EQ(cJSON_GetObjectItem(b2, "y")->valueint, -2);
    std::string six = R"({"command":"set_tool_envelope","tool_name":"Arm_Tip","list":[)";
    for (int i = 0; i < 6; ++i) six += std::string(i ? "," : "") + R"({"name":"b","radius":1,"x":0,"y":0,"z":0})";
    EXPECT_FALSE(state_true(c.request(six + "]}", "set_tool_envelope"), "set_state"));
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_tool_envelope","tool_name":"none","list":[]})", "set_tool_envelope"), "set_state"));
    Json missing = c.request(R"({"command":"get_tool_envelope","tool_name":"none"})", "get_tool_envelope");
    EXPECT_TRUE(missing && cJSON_IsFalse(member(missing, "get_state")));
}

TEST(SimState, QueriesAndSettingsReadTheLiveArm) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    Json all = c.request(R"({"command":"get_arm_all_state"})", "arm_all_state");
    for (int i = 0; i < 6; ++i) {
        EXPECT_GT(item(path(all, "all_state", "temperature"), i), 20000);
        EXPECT_LT(item(path(all, "all_state", "temperature"), i), 80000);
        EXPECT_NEAR(item(path(all, "all_state", "voltage"), i), 48000, 1000);
        EXPECT_GE(item(path(all, "all_state", "current"), i), 0);
        EXPECT_EQ(item(path(all, "all_state", "en_flag"), i), 1);
    }
    // Settings change what the matching query returns.
    const struct {
        const char *set, *state_key, *get, *reply, *member;
        int index, expected;
    } cases[] = {
        {R"({"command":"set_joint_max_pos","joint_max_pos":[2,100000]})", "joint_max_pos", R"({"command":"get_joint_max_pos"})", "joint_max_pos", "max_pos", 1, 100000},
        {R"({"command":"set_joint_min_pos","joint_min_pos":[3,-100000]})", "joint_min_pos", R"({"command":"get_joint_min_pos"})", "joint_min_pos", "min_pos", 2, -100000},
        {R"({"command":"set_joint_max_acc","joint_max_acc":[1,100000]})", "joint_max_acc", R"({"command":"get_joint_max_acc"})", "joint_max_acc", "joint_acc", 0, 100000},
        {R"({"command":"set_joint_drive_max_acc","joint_max_acc":[2,1500]})", "joint_max_acc", R"({"command":"get_joint_drive_max_acc"})", "get_joint_drive_max_acc", "joint_acc", 1, 1500},
        {R"({"command":"set_joint_drive_max_pos","joint_max_pos":[1,170000]})", "joint_max_pos", R"({"command":"get_joint_drive_max_pos"})", "get_joint_drive_max_pos", "max_pos", 0, 170000},
        {R"({"command":"set_joint_en_state","joint_en_state":[4,0]})", "joint_en_state", R"({"command":"get_joint_en_state"})", "joint_en_state", "en_state", 3, 0},
        {R"({"command":"set_joint_en_state","joint_en_state":[4,0]})", "joint_en_state", R"({"command":"get_joint_err_flag"})", "joint_err_flag", "brake_state", 3, 1},
        {R"({"command":"set_init_pose","init_pose":[1000,2000,3000,4000,5000,6000]})", "init_pose", R"({"command":"get_init_pose"})", "arm_init_pose", "init_pose", 5, 6000},
        {R"({"command":"set_install_pose","pose":[0,30,0]})", "set_state", R"({"command":"get_install_pose"})", "install_pose", "pose", 1, 30},
    };
    for (const auto &k : cases) {
        EXPECT_TRUE(state_true(c.request(k.set, command_of(k.set)), k.state_key)) << k.set;
        Json r = c.request(k.get, k.reply);
        ASSERT_TRUE(r) << k.get;
        EXPECT_EQ(item(member(r, k.member), k.index), k.expected) << k.set;
    }
    // Settings outside the drives' range or of an unknown joint are refused.
    for (const char *bad : {R"({"command":"set_joint_max_pos","joint_max_pos":[2,400000]})",
                            R"({"command":"set_joint_max_pos","joint_max_pos":[0,10000]})",
                            R"({"command":"set_joint_max_pos","joint_max_pos":[7,10000]})",
                            R"({"command":"set_joint_max_pos","joint_max_pos":[2,-200000]})"})
        EXPECT_FALSE(state_true(c.request(bad, "set_joint_max_pos"), "joint_max_pos")) << bad;
    // auto_set_joint_limit restores the model's position limits; its reply name ends in a blank.
    Json r = c.request(R"({"command":"auto_set_joint_limit","limit_mode":1})", "auto_set_joint_limit ");
    EXPECT_TRUE(state_true(r, "limit_mode"));
    r = c.request(R"({"command":"get_joint_max_pos"})", "joint_max_pos");
    EXPECT_EQ(item(member(r, "max_pos"), 1), 130000);
}

TEST(SimState, InstallationAnglesTurnTheReportedPose) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto upright = sim.tool_pose();
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_install_pose","pose":[0,0,90]})", "set_install_pose"), "set_state"));
    const auto turned = sim.tool_pose();
    // Turned by 90 degrees about the base z axis: (x, y) -> (-y, x).
    EXPECT_NEAR(turned.x, -upright.y, 1e-5);
    EXPECT_NEAR(turned.y, upright.x, 1e-5);
    EXPECT_NEAR(turned.z, upright.z, 1e-5);
    ASSERT_TRUE(state_true(c.request(R"({"command":"set_install_pose","pose":[0,0,0]})", "set_install_pose"), "set_state"));
    EXPECT_NEAR(sim.tool_pose().x, upright.x, 1e-7);
    EXPECT_FALSE(state_true(c.request(R"({"command":"set_install_pose","pose":[0,0,500]})", "set_install_pose"), "set_state"));
}
