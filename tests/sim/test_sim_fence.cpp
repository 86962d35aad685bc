// The simulator's fences, virtual wall, self-collision and run mode at the wire level: what is
// kept reads back exactly, what cannot be kept is refused, and an enabled fence refuses moves
// that leave it and ignores streamed set-points outside it.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;

namespace {

ky::sim::Options opts() {
    ky::sim::Options o;
    o.push_enable = false;
    o.speed_scale = 10;
    o.initial_joints = {0, -30, -60, 0, -60, 0};
    return o;
}

// The reply as printed, without its "command" member.
std::string body(Json j) {
    if (!j) return "<none>";
    cJSON_DeleteItemFromObjectCaseSensitive(j.get(), "command");
    char *s = cJSON_PrintUnformatted(j.get());
    std::string out = s;
    cJSON_free(s);
    return out;
}

constexpr const char *kCube = R"("x_max_limit":500,"x_min_limit":-500,"y_max_limit":400,"y_min_limit":-400,"z_max_limit":900,"z_min_limit":100)";
constexpr const char *kSphere = R"("radius":50,"x":100,"y":200,"z":300)";

std::string cmd(const std::string &name, const std::string &members = "") {
    return R"({"command":")" + name + "\"" + (members.empty() ? "" : ",") + members + "}";
}

// One scripted session: each request in order and the reply body it must get.
TEST(SimFence, SettingsAreKeptReadBackAndRefusedWhenUnusable) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const std::string cube = kCube, sphere = kSphere;
    struct Step {
        std::string name, members, reply;
    } steps[] = {
        {"add_electronic_fence_config", R"("form":1,"form_name":"box",)" + cube, R"({"add_config":true})"},
        {"add_electronic_fence_config", R"("form":3,"form_name":"ball",)" + sphere, R"({"add_config":true})"},
        {"add_electronic_fence_config", R"("form":3,"form_name":"box",)" + sphere, R"({"add_config":false})"},
        {"add_electronic_fence_config", R"("form":4,"form_name":"odd",)" + sphere, R"({"add_config":false})"},
        {"add_electronic_fence_config", R"("form":3,"form_name":"short","x":1)", R"({"add_config":false})"},
        {"update_electronic_fence_config", R"("form":3,"form_name":"none",)" + sphere, R"({"update_config":false})"},
        {"update_electronic_fence_config", R"("form":3,"form_name":"box",)" + sphere, R"({"update_config":true})"},
        {"get_electronic_fence_list_names", "", R"({"name_list":["box","ball"]})"},
        {"given_electronic_fence_config", R"("form_name":"box")",
         R"({"given_state":true,"form":3,)" + sphere + R"(,"form_name":"box"})"},
        {"delete_electronic_fence_config", R"("form_name":"box")", R"({"delete_config":true})"},
        {"delete_electronic_fence_config", R"("form_name":"box")", R"({"delete_config":false})"},
        {"given_electronic_fence_config", R"("form_name":"box")", R"({"given_state":false})"},
        {"get_electronic_fence_list_infos", "",
         R"({"info_list":[{"form_name":"ball","form":3,)" + sphere + "}]}"},
        {"get_electronic_fence_config", "", R"({"given_state":false})"},
        {"set_electronic_fence_config", R"("form":3,)" + sphere, R"({"set_config":false})"},
        {"set_electronic_fence_config", R"("form":1,)" + cube, R"({"set_config":true})"},
        {"get_electronic_fence_config", "", R"({"form":1,)" + cube + R"(,"given_state":true})"},
        {"set_virtual_wall_config", R"("form":2,"x1":0,"y1":0,"z1":0,"x2":1,"y2":0,"z2":0,"x3":0,"y3":1,"z3":0)",
         R"({"set_config":false})"},
        {"set_virtual_wall_config", R"("form":3,)" + sphere, R"({"set_config":true})"},
        {"get_virtual_wall_config", "", R"({"form":3,)" + sphere + R"(,"given_state":true})"},
        {"set_virtual_wall_enable", R"("set_enable":1,"in_out_side":0,"effective_region":0)", R"({"set_state":false})"},
        {"set_virtual_wall_enable", R"("set_enable":false,"in_out_side":1,"effective_region":4)", R"({"set_state":true})"},
        {"get_virtual_wall_enable", "", R"({"enable_state":false,"in_out_side":1,"effective_region":4})"},
        {"get_electronic_fence_enable", "", R"({"enable_state":false,"in_out_side":0,"effective_region":0})"},
        {"set_self_collision_enable", R"("set_enable":true)", R"({"set_state":true})"},
        {"get_self_collision_enable", "", R"({"enable_state":true})"},
        {"set_arm_run_mode", R"("mode":1)", R"({"mode":true})"},
        {"get_arm_run_mode", "", R"({"mode":1})"},
    };
    for (const auto &s : steps) {
        EXPECT_EQ(body(c.request(cmd(s.name, s.members), s.name)), s.reply) << s.name << " " << s.members;
    }
}

std::string pose_array(const ky::sim::Pose &p, double dx) {
    const long v[6] = {std::lround((p.x + dx) * 1e6), std::lround(p.y * 1e6), std::lround(p.z * 1e6),
                       std::lround(p.rx * 1e3), std::lround(p.ry * 1e3), std::lround(p.rz * 1e3)};
    std::string s = "[";
    for (int i = 0; i < 6; ++i) s.append(i ? "," : "").append(std::to_string(v[i]));
    return s + "]";
}

// A cube of +-0.04 m around the tool: with the fence enabled (tool inside) a movel leaving it
// is refused and one within it accepted; with the tool kept outside (in_out_side 1) the arm
// may not enter. A streamed set-point outside is ignored.
TEST(SimFence, EnabledFenceRefusesMovesAndIgnoresSetPointsOutside) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const ky::sim::Pose p = sim.tool_pose();
    auto mm = [](double v) { return std::to_string(std::lround(v * 1000)); };
    std::string box = R"("form":1)";
    const std::pair<const char *, double> bounds[] = {{"x_max_limit", p.x + 0.04}, {"x_min_limit", p.x - 0.04},
                                                      {"y_max_limit", p.y + 0.04}, {"y_min_limit", p.y - 0.04},
                                                      {"z_max_limit", p.z + 0.04}, {"z_min_limit", p.z - 0.04}};
    for (const auto &[key, v] : bounds) box.append(",\"").append(key).append("\":").append(mm(v));
    ASSERT_EQ(body(c.request(cmd("set_electronic_fence_config", box), "set_electronic_fence_config")),
              R"({"set_config":true})");
    auto movel = [&](double dx) {
        const std::string members = std::string(R"("v":50,"pose":)") + pose_array(p, dx) + R"(,"trajectory_connect":0)";
        return body(c.request(cmd("movel", members + R"(,"r":0)"), "movel"));
    };
    auto enable = [&](bool on, int side) {
        return body(c.request(cmd("set_electronic_fence_enable", std::string(R"("set_enable":)") +
                                                                    (on ? "true" : "false") + R"(,"in_out_side":)" +
                                                                    std::to_string(side) + R"(,"effective_region":0)"),
                              "set_electronic_fence_enable"));
    };
    ASSERT_EQ(enable(true, 0), R"({"set_state":true})");
    EXPECT_EQ(movel(-0.08), R"({"receive_state":false})");
    EXPECT_EQ(movel(0.02), R"({"receive_state":true})");
    ASSERT_TRUE(sim.wait_idle(5000));
    EXPECT_NEAR(sim.tool_pose().x, p.x + 0.02, 1e-3);

    // Streamed set-points: one outside is ignored while the fence is enabled and followed
    // once it is not.
    auto stream_to = [&](double dx) {
        for (int i = 0; i < 50; ++i) {
            c.send(cmd("movep_canfd", std::string(R"("pose":)") + pose_array(p, dx) + R"(,"follow":false)"));
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return sim.tool_pose().x - p.x;
    };
    EXPECT_NEAR(stream_to(0.05), 0.02, 1e-3);
    ASSERT_EQ(enable(false, 0), R"({"set_state":true})");
    EXPECT_NEAR(stream_to(0.05), 0.05, 1e-3);
    ASSERT_TRUE(sim.wait_idle(5000));

    // Kept outside the cube: nothing inside it may be reached; disabled, anything may.
    ASSERT_EQ(enable(true, 1), R"({"set_state":true})");
    EXPECT_EQ(movel(-0.08), R"({"receive_state":false})");  // its path crosses the cube
    EXPECT_EQ(movel(0.0), R"({"receive_state":false})");
    ASSERT_EQ(enable(false, 0), R"({"set_state":true})");
    EXPECT_EQ(movel(-0.08), R"({"receive_state":true})");  // the moves refused above are plannable
}

}  // namespace
