// Drag teaching as a client sees it: the arm moved by hand while drag teaching records, the
// recording saved as streamed {"point":[...]} lines, the move to its start, its replay (type
// "re_trajectory") with pause, continue and stop, and what is refused without a recording.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;

namespace {

const std::vector<double> kStart = {5, -30, -60, 10, -40, 10};

ky::sim::Options opts(const std::string &product = "KY6A-B", int push_port = 0) {
    ky::sim::Options o;
    o.product_version = product;
    o.initial_joints = kStart;
    o.push_enable = push_port != 0;
    o.push_port = push_port;
    return o;
}

double max_diff(const std::vector<double> &a, const std::vector<double> &b) {
    double d = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) d = std::max(d, std::fabs(a[i] - b[i]));
    return d;
}

bool state_of(const Json &reply, const char *key) { return reply && cJSON_IsTrue(member(reply, key)); }

// A hand path: joints 1 and 3 swept away from the start and partly back.
std::vector<std::vector<double>> hand_path() {
    std::vector<std::vector<double>> path;
    for (int k = 1; k <= 20; ++k) {
        std::vector<double> q = kStart;
        q[0] += 1.5 * k;
        q[2] += 8.0 * std::sin(k / 6.0);
        path.push_back(q);
    }
    return path;
}

// Drags the arm along hand_path() (800 ms) with recording on; the arm then rests at the path's end.
void record(ky::sim::Simulator &sim, TcpClient &c) {
    ASSERT_TRUE(state_of(c.request(R"({"command":"start_drag_teach","trajectory_record":1})", "start_drag_teach"),
                         "drag_teach"));
    ASSERT_TRUE(sim.drag_along(hand_path(), 40));
    for (int i = 0; i < 400 && sim.hand_moving(); ++i) std::this_thread::sleep_for(5ms);
    ASSERT_FALSE(sim.hand_moving());
    ASSERT_TRUE(state_of(c.request(R"({"command":"stop_drag_teach"})", "stop_drag_teach"), "drag_teach"));
}

std::string status_of(const std::string &datagram) {
    Json j = parse(datagram);
    const cJSON *s = member(j, "arm_current_status");
    return cJSON_IsString(s) ? s->valuestring : "";
}

}  // namespace

// While drag teaching the arm follows the hand, planned moves are refused and the push reports
// the drag kind; the recording starts where the arm stood and ends where the hand left it.
TEST(SimDrag, HandMovesTheArmWhileDragTeachingRecords) {
    for (const auto &[product, status] : {std::pair{"KY6A-B", "current_drag"}, std::pair{"KY6A-6F", "sensor_drag"}}) {
        UdpReceiver udp;
        ky::sim::Simulator sim(opts(product, udp.port()));
        ASSERT_TRUE(sim.start());
        TcpClient c(sim.port());
        EXPECT_FALSE(sim.drag_along(hand_path(), 20)) << "no hand before drag teaching";
        ASSERT_TRUE(state_of(c.request(R"({"command":"start_drag_teach","trajectory_record":1})", "start_drag_teach"),
                             "drag_teach"));
        udp.drain();
        EXPECT_EQ(status_of(udp.receive()), status) << product;
        Json refused = c.request(R"({"command":"movej","v":20,"joint":[0,0,0,0,0,0],"trajectory_connect":0,"r":0})", "movej");
        EXPECT_FALSE(state_of(refused, "receive_state"));
        ASSERT_TRUE(sim.drag_along(hand_path(), 20));
        for (int i = 0; i < 200 && sim.hand_moving(); ++i) std::this_thread::sleep_for(5ms);
        EXPECT_LT(max_diff(sim.joints(), hand_path().back()), 1e-9);
        ASSERT_TRUE(state_of(c.request(R"({"command":"stop_drag_teach"})", "stop_drag_teach"), "drag_teach"));
        udp.drain();
        EXPECT_EQ(status_of(udp.receive()), "idle");
        const auto rec = sim.drag_recording();
        ASSERT_GE(rec.size(), 40u);  // 400 ms of hand motion, a sample every 10 ms
        EXPECT_LT(max_diff(rec.front(), kStart), 1e-9);
        EXPECT_LT(max_diff(rec.back(), hand_path().back()), 1e-9);
        for (size_t k = 1; k < rec.size(); ++k) EXPECT_GE(rec[k][0], rec[k - 1][0]) << "joint 1 only ever rises";
    }
}

// save_trajectory announces N points and then streams exactly the N recorded samples, in
// thousandths of a degree, to the client that asked.
TEST(SimDrag, SaveStreamsTheRecordingAsPointLines) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port()), other(sim.port());
    record(sim, c);
    const auto rec = sim.drag_recording();
    Json r = c.request(R"({"command":"save_trajectory","trajectory_name":"run.1"})", "save_trajectory");
    ASSERT_TRUE(state_of(r, "save_state"));
    ASSERT_EQ(member(r, "total_num")->valueint, static_cast<int>(rec.size()));
    for (size_t k = 0; k < rec.size(); ++k) {
        const std::string line = c.line(2000);
        Json p = parse(line);
        ASSERT_TRUE(p) << line;
        EXPECT_EQ(cJSON_GetArraySize(p.get()), 1) << line;
        const cJSON *point = member(p, "point");
        ASSERT_EQ(cJSON_GetArraySize(point), 6) << line;
        for (int j = 0; j < 6; ++j) {
            const cJSON *v = cJSON_GetArrayItem(point, j);
            ASSERT_TRUE(cJSON_IsNumber(v) && v->valuedouble == std::floor(v->valuedouble)) << line;
            EXPECT_EQ(v->valueint, static_cast<int>(std::lround(rec[k][j] * 1000))) << "point " << k;
        }
    }
    EXPECT_EQ(c.line(200), "") << "more points than announced";
    EXPECT_EQ(other.line(100), "") << "points went to a client that did not ask";
}

// drag_trajectory_origin moves to the first sample and reports its completion; the replay runs
// as "re_trajectory" through the recording, pauses and continues, and reports its completion.
TEST(SimDrag, OriginThenReplayWithPauseAndContinue) {
    UdpReceiver udp;
    ky::sim::Simulator sim(opts("KY6A-B", udp.port()));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    record(sim, c);
    const auto rec = sim.drag_recording();
    EXPECT_FALSE(state_of(c.request(R"({"command":"run_drag_trajectory"})", "run_drag_trajectory"), "run_state"))
        << "the arm is not at the recording's start";
    EXPECT_TRUE(state_of(c.request(R"({"command":"drag_trajectory_origin"})", "drag_trajectory_origin"), "receive_state"));
    Json done = parse(c.expect("current_trajectory_state", 5000));
    ASSERT_TRUE(done);
    EXPECT_TRUE(cJSON_IsTrue(member(done, "trajectory_state")));
    EXPECT_EQ(member(done, "device")->valueint, 0);
    EXPECT_LT(max_diff(sim.joints(), rec.front()), 1e-6);

    ASSERT_TRUE(state_of(c.request(R"({"command":"run_drag_trajectory"})", "run_drag_trajectory"), "run_state"));
    udp.drain();
    EXPECT_EQ(status_of(udp.receive()), "tech_demonstration");
    Json t = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    EXPECT_STREQ(cJSON_GetStringValue(member(t, "type")), "re_trajectory");
    EXPECT_EQ(cJSON_GetArraySize(member(t, "data")), 6);
    ASSERT_TRUE(state_of(c.request(R"({"command":"pause_drag_trajectory"})", "pause_drag_trajectory"), "pause_state"));
    const auto held = sim.joints();
    std::this_thread::sleep_for(100ms);  // an 800 ms replay would have gone on meanwhile
    EXPECT_LT(max_diff(sim.joints(), held), 1e-9);
    udp.drain();
    EXPECT_EQ(status_of(udp.receive()), "pause");
    ASSERT_TRUE(state_of(c.request(R"({"command":"continue_drag_trajectory"})", "continue_drag_trajectory"),
                         "continue_state"));
    done = parse(c.expect("current_trajectory_state", 5000));
    ASSERT_TRUE(done);
    EXPECT_TRUE(cJSON_IsTrue(member(done, "trajectory_state")));
    EXPECT_LT(max_diff(sim.joints(), rec.back()), 1e-6);
    t = c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory");
    EXPECT_STREQ(cJSON_GetStringValue(member(t, "type")), "none");
}

// A stopped replay ends where the arm stands and reports its trajectory as unfinished.
TEST(SimDrag, StopEndsTheReplay) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    record(sim, c);
    const auto rec = sim.drag_recording();
    c.request(R"({"command":"drag_trajectory_origin"})", "drag_trajectory_origin");
    ASSERT_FALSE(c.expect("current_trajectory_state", 5000).empty());
    ASSERT_TRUE(state_of(c.request(R"({"command":"run_drag_trajectory"})", "run_drag_trajectory"), "run_state"));
    std::this_thread::sleep_for(50ms);
    ASSERT_TRUE(state_of(c.request(R"({"command":"stop_drag_trajectory"})", "stop_drag_trajectory"), "stop_state"));
    Json done = parse(c.expect("current_trajectory_state", 1000));
    ASSERT_TRUE(done);
    EXPECT_TRUE(cJSON_IsFalse(member(done, "trajectory_state")));
    EXPECT_FALSE(sim.moving());
    EXPECT_GT(max_diff(sim.joints(), rec.back()), 0.1);
    EXPECT_FALSE(state_of(c.request(R"({"command":"stop_drag_trajectory"})", "stop_drag_trajectory"), "stop_state"));
}

// Without a recording nothing can be saved, approached or replayed; the sensitivity and the
// multi-mode drag teaching (both request shapes) answer with their state keys.
TEST(SimDrag, CommandsAnswerTheirStateKeys) {
    ky::sim::Simulator sim(opts("KY6A-6F"));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const struct {
        const char *request, *reply, *key;
        bool ok;
    } cases[] = {
        {R"({"command":"save_trajectory","trajectory_name":"t"})", "save_trajectory", "save_state", false},
        {R"({"command":"drag_trajectory_origin"})", "drag_trajectory_origin", "receive_state", false},
        {R"({"command":"run_drag_trajectory"})", "run_drag_trajectory", "run_state", false},
        {R"({"command":"pause_drag_trajectory"})", "pause_drag_trajectory", "pause_state", false},
        {R"({"command":"continue_drag_trajectory"})", "continue_drag_trajectory", "continue_state", false},
        {R"({"command":"set_drag_teach_sensitivity","grade":80})", "set_drag_teach_sensitivity", "set_state", true},
        {R"({"command":"set_drag_teach_sensitivity","grade":0})", "set_drag_teach_sensitivity", "set_state", false},
        {R"({"command":"start_drag_teach","trajectory_record":2})", "start_drag_teach", "drag_teach", false},
        {R"({"command":"start_multi_drag_teach","mode":1,"singular_wall":1})", "start_multi_drag_teach", "set_state", true},
        {R"({"command":"stop_drag_teach"})", "stop_drag_teach", "drag_teach", true},
        {R"({"command":"start_multi_drag_teach","frame":0,"singular_wall":1,"free_axes":[1,1,1,0,0,0]})",
         "start_multi_drag_teach", "set_state", true},
        {R"({"command":"stop_drag_teach"})", "stop_drag_teach", "drag_teach", true},
        {R"({"command":"start_multi_drag_teach","frame":0,"free_axes":[1,2,1,0,0,0]})", "start_multi_drag_teach",
         "set_state", false},
        {R"({"command":"start_multi_drag_teach","frame":1})", "start_multi_drag_teach", "set_state", true},
        {R"({"command":"stop_drag_teach"})", "stop_drag_teach", "drag_teach", true},
        {R"({"command":"save_trajectory","trajectory_name":"t"})", "save_trajectory", "save_state", false},
    };
    for (const auto &k : cases) {
        Json r = c.request(k.request, k.reply);
        ASSERT_TRUE(r) << k.request;
        EXPECT_EQ(state_of(r, k.key), k.ok) << k.request;
        EXPECT_EQ(member(r, "total_num"), nullptr) << k.request;
    }
    Json g = c.request(R"({"command":"get_drag_teach_sensitivity"})", "get_drag_teach_sensitivity");
    ASSERT_TRUE(cJSON_IsNumber(member(g, "grade")));
    EXPECT_EQ(member(g, "grade")->valueint, 80);
    EXPECT_EQ(c.line(100), "") << "no point lines without a recording";
}
