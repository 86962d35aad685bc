// Fault injection of the simulator and its behaviour under concurrent load: late, lost,
// malformed and refused replies, connections closed by the controller, and commands, motion,
// pushes and the in-process accessors all running at once.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;

namespace {

ky::sim::Options opts(const ky::sim::Faults &f = {}) {
    ky::sim::Options o;
    o.push_enable = false;
    o.speed_scale = 20;
    o.initial_joints = {5, -30, -60, 10, -40, 10};
    o.faults = f;
    o.seed = 42;
    return o;
}

const char kMove[] = R"({"command":"movej","v":50,"joint":[15000,-30000,-60000,10000,-40000,10000],"trajectory_connect":0,"r":0})";

}  // namespace

TEST(SimFaults, LatencyDelaysEveryReply) {
    ky::sim::Faults f;
    f.reply_latency_ms = 120;
    ky::sim::Simulator sim(opts(f));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    for (int i = 0; i < 3; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        c.send(R"({"command":"get_joint_degree"})");
        EXPECT_TRUE(c.line(50).empty());  // not yet
        EXPECT_FALSE(c.expect("joint_degree", 2000).empty());
        EXPECT_GE(std::chrono::steady_clock::now() - t0, 120ms);
    }
}

TEST(SimFaults, DroppedRepliesStillAct) {
    ky::sim::Faults f;
    f.drop_share = 1.0;
    ky::sim::Simulator sim(opts(f));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    c.send(R"({"command":"set_teach_frame","frame_type":1})");
    c.send(kMove);
    EXPECT_TRUE(c.expect("movej", 300).empty());
    // The completion line is no reply: it still comes.
    EXPECT_FALSE(c.expect("current_trajectory_state", 2000).empty());
    EXPECT_DOUBLE_EQ(sim.joints()[0], 15.0);
    sim.set_faults({});
    Json r = c.request(R"({"command":"get_teach_frame"})", "get_teach_frame");
    ASSERT_TRUE(r);
    EXPECT_EQ(member(r, "frame_type")->valueint, 1);
}

TEST(SimFaults, ShareOfDroppedRepliesFollowsTheSeed) {
    ky::sim::Faults f;
    f.drop_share = 0.5;
    int answered[2] = {0, 0};
    for (int run = 0; run < 2; ++run) {
        ky::sim::Simulator sim(opts(f));
        ASSERT_TRUE(sim.start());
        TcpClient c(sim.port());
        for (int i = 0; i < 200; ++i) c.send(R"({"command":"get_teach_frame"})");
        for (int i = 0; i < 400 && sim.commands_received() < 200; ++i) std::this_thread::sleep_for(5ms);
        while (!c.expect("get_teach_frame", 200).empty()) ++answered[run];
    }
    EXPECT_EQ(answered[0], answered[1]);  // same seed, same draws
    EXPECT_GT(answered[0], 60);
    EXPECT_LT(answered[0], 140);
}

TEST(SimFaults, MalformedRepliesKeepOnlyTheirName) {
    ky::sim::Faults f;
    f.malformed_share = 1.0;
    ky::sim::Simulator sim(opts(f));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ASSERT_TRUE(c.request(R"({"command":"set_arm_pause"})", "set_arm_pause"));  // still JSON, still named
    c.send(R"({"command":"get_joint_degree"})");
    EXPECT_EQ(c.expect("joint_degree"), R"({"command":"joint_degree","joint":"?"})");
    c.send(R"({"command":"set_arm_continue"})");
    EXPECT_EQ(c.expect("set_arm_continue"), R"({"command":"set_arm_continue","arm_continue":"?"})");
}

TEST(SimFaults, ConnectionClosesAfterTheNthReply) {
    ky::sim::Faults f;
    f.close_after = 2;
    ky::sim::Simulator sim(opts(f));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    c.send(R"({"command":"get_joint_degree"})");
    c.send(R"({"command":"get_install_pose"})");
    c.send(R"({"command":"get_teach_frame"})");
    EXPECT_FALSE(c.expect("joint_degree").empty());
    EXPECT_FALSE(c.expect("install_pose").empty());
    EXPECT_TRUE(c.peer_closed(2000));
    EXPECT_TRUE(c.expect("get_teach_frame", 100).empty());
    // The server keeps listening; a new connection gets its own count.
    TcpClient d(sim.port());
    EXPECT_FALSE(d.request(R"({"command":"get_joint_degree"})", "joint_degree") == nullptr);
}

TEST(SimFaults, DisconnectingClientsEndsTheirConnections) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient a(sim.port()), b(sim.port());
    a.request(R"({"command":"get_joint_degree"})", "joint_degree");
    b.request(R"({"command":"get_joint_degree"})", "joint_degree");
    EXPECT_EQ(sim.client_count(), 2);
    sim.disconnect_clients();
    EXPECT_TRUE(a.peer_closed(2000));
    EXPECT_TRUE(b.peer_closed(2000));
    for (int i = 0; i < 100 && sim.client_count() != 0; ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(sim.client_count(), 0);
}

TEST(SimFaults, RefuseAllAnswersFalseAndChangesNothing) {
    ky::sim::Faults f;
    f.refuse_all = true;
    ky::sim::Simulator sim(opts(f));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const struct {
        const char *request, *reply, *key;
    } cases[] = {
        {kMove, "movej", "receive_state"},
        {R"({"command":"set_joint_max_speed","joint_max_speed":[1,1000]})", "set_joint_max_speed", "joint_max_speed"},
        {R"({"command":"set_collision_stage","collision_stage":1})", "set_collision_state", "collision_state"},
        {R"({"command":"auto_set_joint_limit","limit_mode":1})", "auto_set_joint_limit ", "limit_mode"},
        {R"({"command":"generate_auto_tool_frame","tool_name":"t","payload":0,"position":[0,0,0]})", "set_auto_tool_frame", "auto_tool_frame"},
        {R"({"command":"get_joint_degree"})", "get_joint_degree", "get_state"},
        {R"({"command":"get_tool_frame","tool_name":"Arm_Tip"})", "get_tool_frame", "get_state"},
    };
    for (const auto &k : cases) {
        Json r = c.request(k.request, k.reply);
        ASSERT_TRUE(r) << k.request;
        EXPECT_TRUE(cJSON_IsFalse(member(r, k.key))) << k.request;
    }
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(sim.moving());
    EXPECT_DOUBLE_EQ(sim.joints()[0], 5.0);
    sim.set_faults({});
    Json r = c.request(R"({"command":"get_joint_max_speed"})", "joint_max_speed");
    EXPECT_EQ(cJSON_GetArrayItem(member(r, "joint_speed"), 0)->valueint, 30000);
}

// Commands from several clients, motion, completion broadcasts, pushes and the accessors all at
// once (the point of this test is a clean run under ThreadSanitizer).
TEST(SimConcurrency, CommandsMotionPushAndAccessorsRunTogether) {
    simtest::UdpReceiver udp;
    auto o = opts();
    o.push_enable = true;
    o.push_port = udp.port();
    o.push_cycle_ms = 1;
    ky::sim::Simulator sim(o);
    ASSERT_TRUE(sim.start());
    std::atomic<bool> done{false};
    std::atomic<int> replies{0}, completions{0};
    std::thread reader([&] {
        while (!done) {
            (void)sim.joints();
            (void)sim.tool_pose();
            (void)sim.trajectory_type();
            (void)sim.tool_frame_name();
            (void)udp.receive(1);
        }
    });
    std::vector<std::thread> clients;
    for (int t = 0; t < 3; ++t) {
        clients.emplace_back([&, t] {
            TcpClient c(sim.port());
            for (int i = 0; i < 20; ++i) {
                if (t == 0) {
                    const int deg = 5 + (i % 2) * 10;
                    const std::string m = R"({"command":"movej","v":80,"joint":[)" + std::to_string(deg * 1000) +
                                          R"(,-30000,-60000,10000,-40000,10000],"trajectory_connect":0,"r":0})";
                    if (!c.request(m, "movej")) continue;
                    ++replies;
                    if (!c.expect("current_trajectory_state", 2000).empty()) ++completions;
                } else if (t == 1) {
                    if (c.request(R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory")) ++replies;
                    if (c.request(R"({"command":"set_realtime_push","enable":true,"cycle":1,"custom":{"joint_speed":true}})",
                                  "set_realtime_push"))
                        ++replies;
                } else {
                    if (c.request(R"({"command":"get_current_arm_state"})", "current_arm_state")) ++replies;
                    if (c.request(R"({"command":"set_arm_pause"})", "set_arm_pause")) ++replies;
                    if (c.request(R"({"command":"set_arm_continue"})", "set_arm_continue")) ++replies;
                }
            }
        });
    }
    for (auto &t : clients) t.join();
    done = true;
    reader.join();
    EXPECT_EQ(replies.load(), 20 + 40 + 60);
    EXPECT_EQ(completions.load(), 20);
    EXPECT_GT(sim.datagrams_sent(), 0u);
    sim.stop();
}

namespace {

// Sends `request` and reads until its reply, dropping every other line (broadcasts).
bool round_trip(TcpClient &c, const std::string &request, const std::string &reply) {
    c.send(request);
    for (std::string l = c.line(); !l.empty(); l = c.line()) {
        if (command_of(l) == reply) return true;
    }
    return false;
}

struct Misbehaviour {
    const char *name;
    int receive_buffer;                                       // of the misbehaving client; 0 default
    void (*round)(TcpClient &bad, ky::sim::Simulator &sim, int i);
    const char *finish;                                       // its last bytes, when it stays connected
    bool dropped;                                             // the server disconnects it
};

const Misbehaviour kMisbehaviours[] = {
    // A formatted object that never ends: every piece brings lines ending in "}" that look
    // like the end of a command.
    {"unterminated formatted object", 0,
     [](TcpClient &bad, ky::sim::Simulator &, int i) {
         std::string piece = i == 0 ? R"({"command":"get_joint_degree","pad":[{})" : "";
         for (int k = 0; k < 100; ++k) piece += "\n,{}";
         bad.send_raw(piece);
     },
     "]}\r\n", false},
    // More than the pending bound without a line end: the text is discarded, the client stays.
    {"pending text past its bound", 0,
     [](TcpClient &bad, ky::sim::Simulator &, int i) {
         bad.send_raw((i == 0 ? std::string(R"({"command":"get_joint_degree","pad":")") : "") + std::string(32 << 10, 'a'));
     },
     "\"}\r\n{\"command\":\"get_joint_degree\"}\r\n", false},
    // Requests and broadcasts pile up for a client that never reads: it is disconnected.
    {"client that never reads", 4096,
     [](TcpClient &bad, ky::sim::Simulator &sim, int) {
         bad.send(R"({"command":"get_arm_all_state"})");
         const std::string line = R"({"command":"current_trajectory_state","pad":")" + std::string(1000, 'b') + "\"}";
         for (int k = 0; k < 128; ++k) sim.broadcast(line);
     },
     nullptr, true},
};

}  // namespace

// One client misbehaves while another keeps asking: the other's replies keep coming, each byte
// of input is looked at about once, and only the misbehaving client may be dropped.
TEST(SimLoad, MisbehavingClientNeverHoldsUpTheOthers) {
    for (const auto &m : kMisbehaviours) {
        SCOPED_TRACE(m.name);
        auto o = opts();
        o.max_output_bytes = 256 << 10;
        ky::sim::Simulator sim(o);
        ASSERT_TRUE(sim.start());
        TcpClient good(sim.port());
        TcpClient bad(sim.port(), m.receive_buffer);
        ASSERT_TRUE(good.connected() && bad.connected());
        constexpr int kRounds = 50;
        int answered = 0;
        for (int i = 0; i < kRounds; ++i) {
            m.round(bad, sim, i);
            if (round_trip(good, R"({"command":"get_current_arm_state"})", "current_arm_state")) ++answered;
        }
        EXPECT_EQ(answered, kRounds);
        if (m.dropped) {
            EXPECT_TRUE(bad.peer_closed(3000));
            EXPECT_EQ(sim.client_count(), 1);
        } else {
            bad.send_raw(m.finish);
            EXPECT_FALSE(bad.expect("joint_degree").empty());
        }
        EXPECT_TRUE(round_trip(good, R"({"command":"get_joint_degree"})", "joint_degree"));
        EXPECT_LE(sim.input_bytes_examined(), 2 * (good.bytes_sent() + bad.bytes_sent()));
    }
}
