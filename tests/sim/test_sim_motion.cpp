// Motion of the simulated arm as a client sees it: acceptance and refusal, real-time playback,
// completion lines, joined trajectories, pause/stop/deletion, Cartesian paths, steps, jogging
// and the joint limits in force.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;

namespace {

const char kDone[] = R"({"command":"current_trajectory_state","trajectory_state":true,"device":0,"trajectory_connect":0})";
const char kAborted[] = R"({"command":"current_trajectory_state","trajectory_state":false,"device":0,"trajectory_connect":0})";
const std::vector<double> kSixStart = {5, -30, -60, 10, -40, 10};
const std::vector<double> kSevenStart = {10, 20, 30, 40, 30, 20, 10};

ky::sim::Options opts(double scale, const std::string &product = "KY6A-B") {
    ky::sim::Options o;
    o.product_version = product;
    o.push_enable = false;
    o.speed_scale = scale;
    o.initial_joints = product.rfind("KY7A", 0) == 0 || product.rfind("NOV7B", 0) == 0 ? kSevenStart : kSixStart;
    return o;
}

std::string movej(const std::vector<double> &q, int v = 50, int connect = 0) {
    std::string s = R"({"command":"movej","v":)";
    s += std::to_string(v);
    s += R"(,"joint":[)";
    for (size_t i = 0; i < q.size(); ++i) {
        if (i) s += ',';
        s += std::to_string(static_cast<int>(std::lround(q[i] * 1000)));
    }
    return s + R"(],"trajectory_connect":)" + std::to_string(connect) + R"(,"r":0})";
}

std::string pose_array(const ky::sim::Pose &p) {
    const double v[6] = {p.x * 1e6, p.y * 1e6, p.z * 1e6, p.rx * 1e3, p.ry * 1e3, p.rz * 1e3};
    std::string s = "[";
    for (int i = 0; i < 6; ++i) {
        if (i) s += ',';
        s += std::to_string(static_cast<long>(std::lround(v[i])));
    }
    return s + "]";
}

std::string movel(const ky::sim::Pose &p, int v = 50, const char *cmd = "movel") {
    return std::string(R"({"command":")") + cmd + R"(","v":)" + std::to_string(v) + R"(,"pose":)" + pose_array(p) +
           R"(,"trajectory_connect":0,"r":0})";
}

bool accepted(const Json &reply) { return reply && cJSON_IsTrue(member(reply, "receive_state")); }

std::vector<double> shifted(std::vector<double> q, size_t joint, double by) {
    q[joint] += by;
    return q;
}

double distance_to_segment(const ky::sim::Pose &p, const ky::sim::Pose &a, const ky::sim::Pose &b) {
    const double ab[3] = {b.x - a.x, b.y - a.y, b.z - a.z}, ap[3] = {p.x - a.x, p.y - a.y, p.z - a.z};
    const double len2 = ab[0] * ab[0] + ab[1] * ab[1] + ab[2] * ab[2];
    double t = len2 > 0 ? (ap[0] * ab[0] + ap[1] * ab[1] + ap[2] * ab[2]) / len2 : 0;
    t = std::clamp(t, 0.0, 1.0);
    const double d[3] = {ap[0] - t * ab[0], ap[1] - t * ab[1], ap[2] - t * ab[2]};
    return std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
}

}  // namespace

TEST(SimMotion, MovejRunsInRealTimeAndReportsItsCompletion) {
    ky::sim::Simulator sim(opts(2));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto target = shifted(kSixStart, 0, 30);  // 30 deg at v 50: 1.5 * 30 / 90 s, halved by the scale
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_TRUE(accepted(c.request(movej(target), "movej")));
    Json traj = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    EXPECT_STREQ(member(traj, "type")->valuestring, "movej");
    std::this_thread::sleep_for(120ms);
    traj = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    const double mid = cJSON_GetArrayItem(member(traj, "data"), 0)->valuedouble / 1000.0;
    EXPECT_GT(mid, kSixStart[0]);  // under way, not there yet
    EXPECT_LT(mid, target[0]);
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone);
    EXPECT_GE(std::chrono::steady_clock::now() - t0, 225ms);
    traj = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    EXPECT_STREQ(member(traj, "type")->valuestring, "none");
    EXPECT_EQ(cJSON_GetArrayItem(member(traj, "data"), 0)->valueint, 35000);
    EXPECT_EQ(sim.joints(), target);
}

TEST(SimMotion, TargetsOutsideTheLimitsOrOutOfReachAreRefused) {
    ky::sim::Simulator sim(opts(20));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ky::sim::Pose far = sim.tool_pose();
    far.x += 3.0;
    const struct {
        std::string request;
        const char *reply;
    } cases[] = {
        {movej(shifted(kSixStart, 1, 200)), "movej"},
        {movej(shifted(kSixStart, 5, -400)), "movej"},
        {movej(kSixStart, 0), "movej"},
        {movej(kSixStart, 101), "movej"},
        {movel(far), "movel"},
        {movel(far, 50, "moves"), "moves"},
        {movel(far, 50, "movej_p"), "movej_p"},
        {R"({"command":"movec","pose":{"pose_via":[0,0,0,0,0,0],"pose_to":[0,0,0,0,0,0]},"v":20,"r":0,"loop":0,"trajectory_connect":0})",
         "movec"},
        {R"({"command":"set_joint_step","joint_step":[2,-300000],"v":20})", "set_joint_step"},
        {R"({"command":"set_joint_step","joint_step":[9,1000],"v":20})", "set_joint_step"},
        {R"({"command":"set_pos_step","v":20,"step":4000000,"step_type":"x_step"})", "set_pos_step"},
        {R"({"command":"set_pos_step","v":20,"step":1000})", "set_pos_step"},
    };
    for (const auto &k : cases) {
        Json r = c.request(k.request, k.reply);
        ASSERT_TRUE(r) << k.request;
        EXPECT_TRUE(cJSON_IsFalse(member(r, "receive_state"))) << k.request;
    }
    // A disabled joint refuses every move until it is enabled again.
    c.request(R"({"command":"set_joint_en_state","joint_en_state":[3,0]})", "set_joint_en_state");
    EXPECT_FALSE(accepted(c.request(movej(shifted(kSixStart, 0, 1)), "movej")));
    c.request(R"({"command":"set_joint_en_state","joint_en_state":[3,1]})", "set_joint_en_state");
    EXPECT_TRUE(accepted(c.request(movej(shifted(kSixStart, 0, 1)), "movej")));
    EXPECT_EQ(c.expect("current_trajectory_state"), kDone);
    EXPECT_TRUE(c.backlog().empty());  // no completion for a refused move
}

TEST(SimMotion, JoinedTrajectoriesWaitForOneWithoutConnect) {
    ky::sim::Simulator sim(opts(20));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto a = shifted(kSixStart, 0, 10), b = shifted(a, 1, 10), d = shifted(b, 2, 10);
    ASSERT_TRUE(accepted(c.request(movej(a, 50, 1), "movej")));
    ASSERT_TRUE(accepted(c.request(movej(b, 50, 1), "movej")));
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(sim.moving());
    EXPECT_EQ(sim.trajectory_type(), 0);
    EXPECT_EQ(sim.joints(), kSixStart);
    ASSERT_TRUE(accepted(c.request(movej(d, 50, 0), "movej")));
    const std::string connected = R"({"command":"current_trajectory_state","trajectory_state":true,"device":0,"trajectory_connect":1})";
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), connected);
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), connected);
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone);
    EXPECT_EQ(sim.joints(), d);
}

TEST(SimMotion, PauseHoldsTheArmAndContinueFinishesTheMove) {
    ky::sim::Simulator sim(opts(4));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const auto target = shifted(kSixStart, 0, 40);
    ASSERT_TRUE(accepted(c.request(movej(target), "movej")));
    std::this_thread::sleep_for(60ms);
    Json r = c.request(R"({"command":"set_arm_pause"})", "set_arm_pause");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "arm_pause")));
    const auto held = sim.joints();
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(sim.joints(), held);
    EXPECT_TRUE(sim.paused());
    EXPECT_EQ(sim.trajectory_type(), 1);  // still the running trajectory, only held
    EXPECT_GT(held[0], kSixStart[0]);
    EXPECT_LT(held[0], target[0]);
    r = c.request(R"({"command":"set_arm_continue"})", "set_arm_continue");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "arm_continue")));
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone);
    EXPECT_EQ(sim.joints(), target);
    // A pause with nothing moving holds nothing: the next move runs.
    c.request(R"({"command":"set_arm_pause"})", "set_arm_pause");
    ASSERT_TRUE(accepted(c.request(movej(kSixStart), "movej")));
    EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone);
    EXPECT_FALSE(sim.paused());
}

TEST(SimMotion, StoppingAndDeletingReportEveryUnfinishedTrajectory) {
    const struct {
        const char *command;
        const char *reply;
        std::vector<std::string> completions;  // in order
        int ends_at;                           // 0 cut short on the way, 1 the first target, 2 the second
    } cases[] = {
        {R"({"command":"set_arm_stop"})", "set_arm_stop", {kAborted, kAborted}, 0},
        {R"({"command":"set_arm_slow_stop"})", "set_arm_slow_stop", {kAborted, kAborted}, 0},
        {R"({"command":"set_delete_current_trajectory"})", "set_delete_current_trajectory", {kAborted, kDone}, 2},
        {R"({"command":"set_arm_delete_trajectory"})", "set_arm_delete_trajectory", {kAborted, kDone}, 1},
    };
    for (const auto &k : cases) {
        ky::sim::Simulator sim(opts(2));
        ASSERT_TRUE(sim.start());
        TcpClient c(sim.port());
        const auto first = shifted(kSixStart, 0, 60), second = shifted(first, 1, 20);
        ASSERT_TRUE(accepted(c.request(movej(first), "movej")));
        ASSERT_TRUE(accepted(c.request(movej(second), "movej")));
        // Stop once the arm is on its way (a loaded machine may start it late).
        for (int i = 0; i < 400 && sim.joints()[0] == kSixStart[0]; ++i) std::this_thread::sleep_for(5ms);
        std::this_thread::sleep_for(20ms);
        Json r = c.request(k.command, k.reply);
        ASSERT_TRUE(r) << k.command;
        for (const auto &expected : k.completions)
            EXPECT_EQ(c.expect("current_trajectory_state", 4000), expected) << k.command;
        EXPECT_TRUE(sim.wait_idle(4000)) << k.command;
        const auto q = sim.joints();
        if (k.ends_at == 1) {
            EXPECT_EQ(q, first) << k.command;
        } else if (k.ends_at == 2) {
            EXPECT_EQ(q, second) << k.command;  // the next one started from where the arm stood
        } else {
            EXPECT_LT(q[0], first[0]) << k.command;
            EXPECT_GT(q[0], kSixStart[0]) << k.command;
            EXPECT_EQ(q[1], kSixStart[1]) << k.command;
        }
    }
}

TEST(SimMotion, SlowStopDeceleratesBeforeHalting) {
    ky::sim::Simulator sim(opts(1));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ASSERT_TRUE(accepted(c.request(movej(shifted(kSixStart, 0, 90), 100), "movej")));
    std::this_thread::sleep_for(300ms);
    c.request(R"({"command":"set_arm_slow_stop"})", "set_arm_slow_stop");
    const auto at_command = sim.joints();
    std::this_thread::sleep_for(40ms);
    EXPECT_TRUE(sim.moving());  // still braking
    EXPECT_GT(sim.joints()[0], at_command[0]);
    EXPECT_EQ(c.expect("current_trajectory_state", 2000), kAborted);
    EXPECT_FALSE(sim.moving());
}

TEST(SimMotion, CartesianMovesFollowTheirPathsOnEveryModel) {
    for (const char *product : {"KY6A-B", "KY7A-6F", "KYL6C-ZF", "LUX6A-B", "LUX6B-B", "NOV7B-B", "LUX6C-6F"}) {
        ky::sim::Simulator sim(opts(4, product));
        ASSERT_TRUE(sim.start()) << sim.error();
        TcpClient c(sim.port());
        const ky::sim::Pose a = sim.tool_pose();
        ky::sim::Pose b = a;
        b.x += 0.03;
        b.z -= 0.02;
        ASSERT_TRUE(accepted(c.request(movel(b), "movel"))) << product;
        double worst = 0;
        bool saw_type = false;
        while (sim.moving()) {
            worst = std::max(worst, distance_to_segment(sim.tool_pose(), a, b));
            saw_type = saw_type || sim.trajectory_type() == 2;
            std::this_thread::sleep_for(3ms);
        }
        EXPECT_TRUE(saw_type) << product;
        EXPECT_LT(worst, 0.0005) << product;
        EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone) << product;
        const ky::sim::Pose end = sim.tool_pose();
        EXPECT_NEAR(end.x, b.x, 2e-6) << product;
        EXPECT_NEAR(end.y, b.y, 2e-6) << product;
        EXPECT_NEAR(end.z, b.z, 2e-6) << product;

        // Circle through a via point back near the start: every sample keeps its distance from the centre.
        ky::sim::Pose via = b, to = b;
        via.x -= 0.015;
        via.y += 0.015;
        to.x -= 0.03;
        const std::string arc = R"({"command":"movec","pose":{"pose_via":)" + pose_array(via) + R"(,"pose_to":)" +
                                pose_array(to) + R"(},"v":10,"r":0,"loop":0,"trajectory_connect":0})";  // slow enough to sample under load
        ASSERT_TRUE(accepted(c.request(arc, "movec"))) << product;
        double near_via = 1;
        while (sim.moving()) {
            const auto p = sim.tool_pose();
            near_via = std::min(near_via, std::hypot(p.x - via.x, p.y - via.y, p.z - via.z));
            const double r = std::hypot(p.x - (b.x - 0.015), p.y - b.y, p.z - b.z);
            EXPECT_NEAR(r, 0.015, 0.0005) << product;
            std::this_thread::sleep_for(3ms);
        }
        EXPECT_LT(near_via, 0.003) << product;
        EXPECT_EQ(c.expect("current_trajectory_state", 3000), kDone) << product;
    }
}

TEST(SimMotion, StepsMoveByTheirSizeAndJoggingRunsUntilStopped) {
    ky::sim::Simulator sim(opts(10));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ASSERT_TRUE(accepted(c.request(R"({"command":"set_joint_step","joint_step":[2,5000],"v":50})", "set_joint_step")));
    EXPECT_EQ(c.expect("current_trajectory_state", 2000), kDone);
    EXPECT_EQ(sim.joints(), shifted(kSixStart, 1, 5));

    const auto before = sim.tool_pose();
    ASSERT_TRUE(accepted(c.request(R"({"command":"set_pos_step","v":50,"step":20000,"step_type":"z_step"})", "set_pos_step")));
    EXPECT_EQ(c.expect("current_trajectory_state", 2000), kDone);
    EXPECT_NEAR(sim.tool_pose().z - before.z, 0.02, 2e-6);
    EXPECT_NEAR(sim.tool_pose().x, before.x, 2e-6);

    ASSERT_TRUE(accepted(c.request(R"({"command":"set_ort_step","v":50,"step":100,"step_type":"rz_step"})", "set_ort_step")));
    EXPECT_EQ(c.expect("current_trajectory_state", 2000), kDone);
    EXPECT_NEAR(sim.tool_pose().z - before.z, 0.02, 2e-6);

    // Jogging a joint: it moves while the jog runs and holds after set_stop_teach.
    const auto start = sim.joints();
    Json r = c.request(R"({"command":"set_joint_teach","teach_joint":1,"direction":"neg","v":20})", "set_joint_teach");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "joint_teach")));
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(sim.trajectory_type(), 1);
    EXPECT_FALSE(accepted(c.request(movej(start), "movej")));  // busy jogging
    r = c.request(R"({"command":"set_stop_teach"})", "set_stop_teach");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "stop_teach")));
    const auto stopped = sim.joints();
    EXPECT_LT(stopped[0], start[0]);
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(sim.joints(), stopped);

    // Cartesian jogging in the tool frame keeps the orientation.
    const auto p0 = sim.tool_pose();
    c.request(R"({"command":"set_teach_frame","frame_type":1})", "set_teach_frame");
    r = c.request(R"({"command":"set_pos_teach","teach_type":"z","direction":"pos","v":20})", "set_pos_teach");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "pos_teach")));
    std::this_thread::sleep_for(40ms);
    c.request(R"({"command":"set_stop_teach"})", "set_stop_teach");
    const auto p1 = sim.tool_pose();
    EXPECT_GT(std::hypot(p1.x - p0.x, p1.y - p0.y, p1.z - p0.z), 0.001);
    EXPECT_NEAR(p1.rx, p0.rx, 1e-4);
    EXPECT_NEAR(p1.rz, p0.rz, 1e-4);

    // Jogging into a limit stops at the limit.
    c.request(R"({"command":"set_joint_max_pos","joint_max_pos":[6,12000]})", "set_joint_max_pos");
    c.request(R"({"command":"set_joint_teach","teach_joint":6,"direction":"pos","v":100})", "set_joint_teach");
    for (int i = 0; i < 200 && sim.moving(); ++i) std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(sim.moving());
    EXPECT_DOUBLE_EQ(sim.joints()[5], 12.0);
}

TEST(SimMotion, JointSpeedStaysWithinTheLimitTimesTheRatio) {
    ky::sim::Simulator sim(opts(1));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    Json r = c.request(R"({"command":"set_joint_max_speed","joint_max_speed":[1,10000]})", "set_joint_max_speed");
    ASSERT_TRUE(cJSON_IsTrue(member(r, "joint_max_speed")));
    r = c.request(R"({"command":"get_joint_max_speed"})", "joint_max_speed");
    EXPECT_EQ(cJSON_GetArrayItem(member(r, "joint_speed"), 0)->valueint, 10000);  // 60 deg/s
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_TRUE(accepted(c.request(movej(shifted(kSixStart, 0, 6), 50), "movej")));
    double last = kSixStart[0], peak = 0;
    auto prev = t0;
    while (sim.moving()) {
        std::this_thread::sleep_for(50ms);
        const auto now = std::chrono::steady_clock::now();
        const double q = sim.joints()[0];
        peak = std::max(peak, (q - last) / std::chrono::duration<double>(now - prev).count());
        last = q;
        prev = now;
    }
    EXPECT_LE(peak, 30.0 * 1.2);  // 60 deg/s at v 50, with the sampling jitter of a loaded machine
    EXPECT_GE(std::chrono::steady_clock::now() - t0, 290ms);  // 1.5 * 6 / 30 s
}
