// Pass-through streaming and force-position set-points as a client sees them: a 1 kHz joint
// stream followed along its path, the joint speed limit on set-points beyond it, ignored
// set-points (malformed, out of reach, outside the force-position move mode), the realtime
// status while a stream is live, and the hand-over between streams and planned moves. Also the
// Cartesian limits and the force-position mode commands read back.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>

#include "sim/arm_kinematics.h"
#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

const std::vector<double> kStart = {5, -30, -60, 10, -40, 10};

ky::sim::Options opts(int push_port) {
    ky::sim::Options o;
    o.initial_joints = kStart;
    o.push_enable = push_port != 0;
    o.push_port = push_port;
    o.push_cycle_ms = 5;
    return o;
}

std::string ints(const std::vector<double> &v, double scale) {
    std::string s = "[";
    for (size_t i = 0; i < v.size(); ++i) {
        if (i) s += ',';
        s += std::to_string(static_cast<long>(std::lround(v[i] * scale)));
    }
    return s + "]";
}

std::string joint_setpoint(const std::vector<double> &q, const char *cmd = "movej_canfd") {
    std::string s = R"({"command":")";
    s += cmd;
    s += R"(","joint":)";
    s += ints(q, 1000);
    if (std::string(cmd) == "movej_canfd") s += R"(,"follow":false,"expand":0)";
    return s + "}";
}

// [x, y, z] in micrometres and the orientation as a quaternion w, x, y, z in millionths.
std::string pose_quat(const ky::sim::Pose &p) {
    const double e[6] = {p.x, p.y, p.z, p.rx, p.ry, p.rz};
    const Eigen::Quaterniond q(ky::sim::pose_to_transform(e).linear());
    return ints({p.x, p.y, p.z, q.w(), q.x(), q.y(), q.z()}, 1e6);
}

// [x, y, z] in micrometres, [rx, ry, rz] in milliradians.
std::string pose_euler(const ky::sim::Pose &p) { return ints({p.x, p.y, p.z, p.rx / 1e3, p.ry / 1e3, p.rz / 1e3}, 1e6); }

std::string pose_setpoint(const ky::sim::Pose &p, const char *cmd = "movep_canfd") {
    std::string s = R"({"command":")";
    s += cmd;
    s += R"(","follow":false,"pose":)";
    return s + pose_euler(p) + "}";
}

double max_diff(const std::vector<double> &a, const std::vector<double> &b) {
    double d = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) d = std::max(d, std::fabs(a[i] - b[i]));
    return d;
}

struct Push {
    std::string status;
    std::vector<double> joints;
};

// Collects the realtime pushes on a thread of its own while a test streams.
class PushLog {
public:
    PushLog() : thread_([this] { run(); }) {}
    ~PushLog() {
        stop_ = true;
        thread_.join();
    }
    int port() const { return udp_.port(); }
    std::vector<Push> take() {
        std::lock_guard<std::mutex> lk(m_);
        return std::exchange(pushes_, {});
    }
    // Waits for a push with `status`; false after `timeout_ms`.
    bool wait_status(const std::string &status, int timeout_ms) {
        const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
        while (Clock::now() < end) {
            for (const auto &p : take())
                if (p.status == status) return true;
            std::this_thread::sleep_for(2ms);
        }
        return false;
    }

private:
    void run() {
        while (!stop_) {
            const std::string d = udp_.receive(20);
            if (d.empty()) continue;
            Json j = parse(d);
            Push p;
            const cJSON *s = member(j, "arm_current_status");
            if (cJSON_IsString(s)) p.status = s->valuestring;
            const cJSON *pos = cJSON_GetObjectItem(member(j, "joint_status"), "joint_position");
            const cJSON *e = nullptr;
            cJSON_ArrayForEach(e, pos) p.joints.push_back(e->valuedouble / 1000.0);
            std::lock_guard<std::mutex> lk(m_);
            pushes_.push_back(std::move(p));
        }
    }
    UdpReceiver udp_;
    std::mutex m_;
    std::vector<Push> pushes_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

// A set-point far beyond one tick's reach is approached at the joint's speed limit, never faster.
TEST(SimStream, SetPointsBeyondTheSpeedLimitAreClampedToIt) {
    ky::sim::Simulator sim(opts(0));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    Json r = c.request(R"({"command":"set_joint_max_speed","joint_max_speed":[1,5000]})", "set_joint_max_speed");
    ASSERT_TRUE(cJSON_IsTrue(member(r, "joint_max_speed")));  // 30 deg/s
    const std::vector<double> far = {kStart[0] + 40, kStart[1], kStart[2], kStart[3], kStart[4], kStart[5]};
    const auto t0 = Clock::now();
    double moved = 0;
    while (Clock::now() - t0 < 400ms) {
        c.send(joint_setpoint(far, "movej_follow"));
        std::this_thread::sleep_for(5ms);
        const auto q = sim.joints();
        const double elapsed = std::chrono::duration<double>(Clock::now() - t0).count();
        moved = q[0] - kStart[0];
        ASSERT_LE(moved, 30.0 * (elapsed + 0.002) + 1e-6);  // the stream's first step spans at most 2 ms
        ASSERT_LT(max_diff({q.begin() + 1, q.end()}, {kStart.begin() + 1, kStart.end()}), 1e-9);
    }
    EXPECT_GT(moved, 30.0 * 0.2);
}

// Set-points the arm cannot or must not take are ignored: it holds where it stands.
TEST(SimStream, IgnoredSetPointsLeaveTheArmWhereItStands) {
    ky::sim::Simulator sim(opts(0));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const ky::sim::Pose here = sim.tool_pose();
    ky::sim::Pose away = here;
    away.x += 5.0;
    std::vector<double> near = kStart;
    near[0] += 1;
    const std::string cases[] = {
        pose_setpoint(away),                                                      // out of reach
        pose_setpoint(away, "movep_follow"),                                      // out of reach
        joint_setpoint({kStart[0] + 400, kStart[1], kStart[2], kStart[3], kStart[4], kStart[5]}),  // beyond a limit
        R"({"command":"movej_canfd","joint":[1000,2000,3000],"follow":false})",    // too few joints
        R"({"command":"movej_follow","joint":[6000,-30000,-60000,10000,-40000,"x"]})",
        R"({"command":"movej_canfd","joint":[6000,-30000,-60000,10000,-40000,10000],"follow":"yes"})",
        R"({"command":"movep_canfd","follow":false,"pose":[1,2,3,4,5]})",
        R"({"command":"movep_follow","pose_quat":[300000,0,300000,0,0,0,0]})",  // no rotation
        R"({"command":"movep_follow"})",
        joint_setpoint(near, "Force_Position_Move"),                              // move mode off
    };
    for (const auto &req : cases) {
        c.send(req);
        std::this_thread::sleep_for(20ms);
        EXPECT_LT(max_diff(sim.joints(), kStart), 1e-9) << req;
    }
    // Nothing was answered; the next query gets its own reply first.
    c.send(R"({"command":"get_joint_degree"})");
    EXPECT_EQ(command_of(c.line(1000)), "joint_degree");
}

// The realtime status names the kind of stream while it is live and "idle" after 100 ms of
// silence; force-position set-points are followed only between Start_ and Stop_Force_Position_Move.
TEST(SimStream, RealtimeStatusNamesTheLiveStream) {
    PushLog pushes;
    ky::sim::Simulator sim(opts(pushes.port()));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ky::sim::Pose p = sim.tool_pose();
    p.z += 0.002;
    std::vector<double> q = kStart;
    q[5] += 2;
    struct Case {
        std::string setpoint;
        const char *status;
    } cases[] = {
        {joint_setpoint(q), "move_through_joint"},
        {joint_setpoint(kStart, "movej_follow"), "move_through_joint"},
        {pose_setpoint(p), "move_through_pose"},
        {R"({"command":"movep_follow","pose_quat":)" + pose_quat(sim.tool_pose()) + "}", "move_through_pose"},
        {joint_setpoint(q, "Force_Position_Move"), "move_through_force_pose"},
        {R"({"command":"Force_Position_Move","follow":true,"sensor":1,"mode":0,"dir":2,"force":50,"pose":)" +
             pose_euler(p) + "}",
         "move_through_force_pose"},
    };
    c.request(R"({"command":"Start_Force_Position_Move"})", "Start_Force_Position_Move");
    for (const auto &k : cases) {
        pushes.take();
        bool seen = false;
        for (int i = 0; i < 100 && !seen; ++i) {
            c.send(k.setpoint);
            std::this_thread::sleep_for(5ms);
            for (const auto &push : pushes.take()) seen = seen || push.status == k.status;
        }
        EXPECT_TRUE(seen) << k.status << " for " << k.setpoint;
        EXPECT_TRUE(pushes.wait_status("idle", 1000)) << "no idle after " << k.setpoint;
    }
    // Stopping the move mode ends a force stream at once, and later force set-points are ignored.
    c.send(cases[4].setpoint);
    ASSERT_TRUE(pushes.wait_status("move_through_force_pose", 1000));
    Json r = c.request(R"({"command":"Stop_Force_Position_Move"})", "Stop_Force_Position_Move");
    EXPECT_TRUE(cJSON_IsTrue(member(r, "set_state")));
    const auto held = sim.joints();
    c.send(joint_setpoint(kStart, "Force_Position_Move"));
    std::this_thread::sleep_for(30ms);
    EXPECT_LT(max_diff(sim.joints(), held), 1e-9);
}

// A planned move ends a stream and runs undisturbed: set-points that arrive meanwhile are
// ignored. While a stream is live the trajectory query reports no trajectory, with the joints.
TEST(SimStream, PlannedMoveTakesOverFromAStream) {
    ky::sim::Simulator sim(opts(0));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    std::vector<double> q = kStart;
    q[0] += 1;
    c.send(joint_setpoint(q));
    std::this_thread::sleep_for(10ms);
    Json t = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    ASSERT_TRUE(t);
    EXPECT_STREQ(cJSON_GetStringValue(member(t, "type")), "none");
    EXPECT_EQ(cJSON_GetArrayItem(member(t, "data"), 0)->valueint, static_cast<int>(std::lround(q[0] * 1000)));
    std::vector<double> target = kStart;
    target[1] += 10;
    Json r = c.request(R"({"command":"movej","v":50,"joint":)" + ints(target, 1000) + R"(,"trajectory_connect":0,"r":0})",
                       "movej");
    ASSERT_TRUE(cJSON_IsTrue(member(r, "receive_state")));
    for (int i = 0; i < 20; ++i) {
        c.send(joint_setpoint(kStart));
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_FALSE(c.expect("current_trajectory_state", 3000).empty());
    EXPECT_LT(max_diff(sim.joints(), target), 1e-6);
}

// Force-position control and its move mode, in both request shapes; the Cartesian limits read
// back what was set and set_arm_init restores them.
TEST(SimStream, ForcePositionModesAndCartesianLimitsAnswerAndReadBack) {
    ky::sim::Simulator sim(opts(0));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    struct Case {
        const char *request, *reply, *key;
        bool ok;
    } cases[] = {
        {R"({"command":"set_force_position","sensor":1,"mode":0,"direction":2,"force":20})", "set_force_position", "set_state", true},
        {R"({"command":"set_force_position","mode":0,"sensor":1,"desired_force":[0,0,27,0,0,0],"control_mode":[0,0,1,0,0,0],"limit_vel":[0,0,100,0,0,0]})",
         "set_force_position", "set_state", true},
        {R"({"command":"set_force_position","mode":0,"sensor":1,"desired_force":[0,0,27],"control_mode":[0,0,1,0,0,0],"limit_vel":[0,0,100,0,0,0]})",
         "set_force_position", "set_state", false},
        {R"({"command":"set_force_position","sensor":1,"mode":0,"direction":9,"force":20})", "set_force_position", "set_state", false},
        {R"({"command":"stop_force_position"})", "stop_force_position", "stop_state", true},
        {R"({"command":"Start_Force_Position_Move"})", "Start_Force_Position_Move", "set_state", true},
        {R"({"command":"Stop_Force_Position_Move"})", "Stop_Force_Position_Move", "set_state", true},
        {R"({"command":"set_arm_max_line_speed","arm_line_speed":120})", "set_arm_max_line_speed", "arm_line_speed", true},
        {R"({"command":"set_arm_max_line_acc","arm_line_acc":900})", "set_arm_max_line_acc", "arm_line_acc", true},
        {R"({"command":"set_arm_max_angular_speed","arm_angular_speed":450})", "set_arm_max_angular_speed", "arm_angular_speed", true},
        {R"({"command":"set_arm_max_angular_acc","arm_angular_acc":2500})", "set_arm_max_angular_acc", "arm_angular_acc", true},
        {R"({"command":"set_arm_max_line_acc","arm_line_acc":0})", "set_arm_max_line_acc", "arm_line_acc", false},
        {R"({"command":"set_collision_stage","collision_stage":4})", "set_collision_state", "collision_state", true},
    };
    for (const auto &k : cases) {
        Json r = c.request(k.request, k.reply);
        ASSERT_TRUE(r) << k.request;
        EXPECT_EQ(cJSON_IsTrue(member(r, k.key)), k.ok) << k.request;
    }
    const struct {
        const char *request, *reply, *key;
        int value, initial;
    } reads[] = {
        {R"({"command":"get_arm_max_line_speed"})", "arm_max_line_speed", "arm_line_speed", 120, 250},
        {R"({"command":"get_arm_max_line_acc"})", "arm_max_line_acc", "arm_line_acc", 900, 1600},
        {R"({"command":"get_arm_max_angular_speed"})", "arm_max_angular_speed", "arm_angular_speed", 450, 600},
        {R"({"command":"get_arm_max_angular_acc"})", "arm_max_angular_acc", "arm_angular_acc", 2500, 4000},
        {R"({"command":"get_collision_stage"})", "get_collision_stage", "collision_stage", 4, 4},
    };
    for (const auto &k : reads) {
        Json r = c.request(k.request, k.reply);
        ASSERT_TRUE(cJSON_IsNumber(member(r, k.key))) << k.request;
        EXPECT_EQ(member(r, k.key)->valueint, k.value) << k.request;
    }
    Json init = c.request(R"({"command":"set_arm_init"})", "set_arm_init");
    EXPECT_TRUE(cJSON_IsTrue(member(init, "arm_init")));
    for (const auto &k : reads) EXPECT_EQ(member(c.request(k.request, k.reply), k.key)->valueint, k.initial) << k.request;
}
