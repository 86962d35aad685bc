// The simulator's gripper, dexterous hand, lift and expansion axis at the wire level: reply
// names and members, refusals, the device code of every completion line, positions reached
// in real time and the live values of the realtime push.
#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;

namespace {

ky::sim::Options opts(int push_port = 0) {
    ky::sim::Options o;
    o.push_enable = push_port != 0;
    o.push_port = push_port ? push_port : 8089;
    o.push_cycle_ms = 2;
    o.push_lift_state = o.push_expand_state = true;
    o.speed_scale = 10;
    return o;
}

int num(const Json &j, const char *key) {
    const cJSON *i = j ? member(j, key) : nullptr;
    return cJSON_IsNumber(i) ? i->valueint : INT_MIN;
}

// "key:type" items separated by blanks; type int, true or false.
::testing::AssertionResult has_shape(const Json &j, const std::string &shape) {
    if (!j) return ::testing::AssertionFailure() << "no reply";
    std::stringstream ss(shape);
    std::string item;
    while (ss >> item) {
        const std::string key = item.substr(0, item.find(':')), type = item.substr(item.find(':') + 1);
        const cJSON *n = member(j, key.c_str());
        const bool ok = type == "int" ? cJSON_IsNumber(n) && n->valuedouble == n->valueint
                        : type == "true" ? cJSON_IsTrue(n)
                                         : cJSON_IsFalse(n);
        if (!ok) return ::testing::AssertionFailure() << key << " is not " << type;
    }
    return ::testing::AssertionSuccess();
}

// The next completion line of `device`; other completion lines are skipped.
Json completion(TcpClient &c, int device, int timeout_ms = 3000) {
    for (;;) {
        Json j = parse(c.expect("current_trajectory_state", timeout_ms));
        if (!j || num(j, "device") == device) return j;
    }
}

// Queries until `pred` holds for the reply; the last reply (or null) after `timeout_ms`.
template <class Pred>
Json query_until(TcpClient &c, const char *request, const char *reply, Pred pred, int timeout_ms = 3000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        Json j = c.request(request, reply);
        if (!j || pred(j) || std::chrono::steady_clock::now() > end) return j;
    }
}

Json gripper_state(TcpClient &c) { return c.request(R"({"command":"get_gripper_state"})", "get_gripper_state"); }

bool completion_pending(TcpClient &c) {
    for (const auto &l : c.backlog())
        if (command_of(l) == "current_trajectory_state") return true;
    return false;
}

struct Case {
    const char *request;
    const char *reply;
    const char *shape;
};

const Case kReplies[] = {
    {R"({"command":"set_gripper_route","min":0,"max":900})", "set_gripper_route", "state:true"},
    {R"({"command":"set_gripper_route","min":500,"max":100})", "set_gripper_route", "state:false"},
    {R"({"command":"set_gripper_route","min":0,"max":1001})", "set_gripper_route", "state:false"},
    {R"({"command":"set_gripper_release","speed":500,"block":false})", "set_gripper", "state:true"},
    {R"({"command":"set_gripper_pick","speed":500,"force":300,"block":false})", "set_gripper", "state:true"},
    {R"({"command":"set_gripper_pick_on","speed":500,"force":300,"block":false})", "set_gripper", "state:true"},
    {R"({"command":"set_gripper_position","position":500,"block":false})", "set_gripper", "state:true"},
    {R"({"command":"set_gripper_pick","speed":0,"force":300,"block":false})", "set_gripper", "state:false"},
    {R"({"command":"set_gripper_pick","speed":500,"force":2000,"block":false})", "set_gripper", "state:false"},
    {R"({"command":"set_gripper_pick","speed":500,"force":300,"block":1})", "set_gripper", "state:false"},
    {R"({"command":"set_gripper_release","speed":"fast","block":false})", "set_gripper", "state:false"},
    {R"({"command":"set_gripper_position","position":-1,"block":false})", "set_gripper", "state:false"},
    {R"({"command":"get_gripper_state"})", "get_gripper_state",
     "enable:int status:int error:int mode:int current_force:int temperature:int actpos:int"},
    {R"({"command":"set_hand_posture","posture_num":3,"block":false})", "set_hand_posture", "set_state:true"},
    {R"({"command":"set_hand_posture","posture_num":0,"block":false})", "set_hand_posture", "set_state:false"},
    {R"({"command":"set_hand_seq","seq_num":2,"block":false})", "set_hand_seq", "set_state:true"},
    {R"({"command":"set_hand_seq","seq_num":2})", "set_hand_seq", "set_state:false"},
    {R"({"command":"set_hand_angle","hand_angle":[0,100,200,300,400,1000]})", "set_hand_angle", "set_state:true"},
    {R"({"command":"set_hand_angle","hand_angle":[0,100,200,300,400]})", "set_hand_angle", "set_state:false"},
    {R"({"command":"set_hand_angle","hand_angle":[0,100,200,300,400,1001]})", "set_hand_angle", "set_state:false"},
    {R"({"command":"set_hand_speed","speed":300})", "set_hand_speed", "set_state:true"},
    {R"({"command":"set_hand_speed","speed":0})", "set_hand_speed", "set_state:false"},
    {R"({"command":"set_hand_force","hand_force":200})", "set_hand_force", "set_state:true"},
    {R"({"command":"set_hand_force","force":200})", "set_hand_force", "set_state:false"},
    {R"({"command":"set_lift_speed","speed":0})", "set_lift_speed", "set_state:true"},
    {R"({"command":"set_lift_speed","speed":101})", "set_lift_speed", "set_state:false"},
    {R"({"command":"get_lift_state"})", "lift_state", "height:int current:int err_flag:int mode:int"},
    {R"({"command":"expand_set_speed","speed":0})", "expand_set_speed", "set_speed_state:true"},
    {R"({"command":"expand_set_speed","speed":-101})", "expand_set_speed", "set_speed_state:false"},
    {R"({"command":"expand_get_state"})", "expand_state", "pos:int current:int err_flag:int mode:int"},
    {R"({"command":"expand_set_pos","speed":50,"pos":1000})", "expand_set_pos", "set_pos_state:true"},
    {R"({"command":"expand_set_pos","speed":50,"pos":999999})", "expand_set_pos", "set_pos_state:false"},
    {R"({"command":"expand_set_pos","speed":0,"pos":1000})", "expand_set_pos", "set_pos_state:false"},
};

}  // namespace

TEST(SimDevices, RepliesCarryTheirNamesMembersAndRefusals) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start()) << sim.error();
    TcpClient c(sim.port());
    for (const auto &k : kReplies) {
        c.send(k.request);
        EXPECT_TRUE(has_shape(parse(c.expect(k.reply, 1000)), k.shape)) << k.request;
    }
    // Streamed hand angles and lift heights are not acknowledged, refused or not: by the reply
    // to the query behind them, no line of their names has come.
    for (const char *silent : {R"({"command":"hand_follow_angle","hand_angle":[1,2,3,4,5,6]})",
                               R"({"command":"hand_follow_angle","hand_angle":[1]})",
                               R"({"command":"set_lift_height","speed":50,"height":5})",
                               R"({"command":"set_lift_height","speed":50,"height":-5})"}) {
        c.send(silent);
        ASSERT_FALSE(c.request(R"({"command":"get_lift_state"})", "lift_state") == nullptr);
    }
    for (const auto &l : c.backlog()) {
        EXPECT_NE(command_of(l), "hand_follow_angle");
        EXPECT_NE(command_of(l), "set_lift_height");
    }
}

// Every blocking action ends with the completion line of its own device.
TEST(SimDevices, CompletionLinesCarryTheDeviceCode) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const struct {
        const char *request;
        const char *ack;  // null: not acknowledged
        int device;
    } cases[] = {
        {R"({"command":"set_gripper_pick","speed":1000,"force":200,"block":true})", "set_gripper", 1},
        {R"({"command":"set_gripper_release","speed":1000,"block":true})", "set_gripper", 1},
        {R"({"command":"set_gripper_pick_on","speed":1000,"force":200,"block":true})", "set_gripper", 1},
        {R"({"command":"set_gripper_position","position":500,"block":true})", "set_gripper", 1},
        {R"({"command":"set_hand_posture","posture_num":1,"block":true})", "set_hand_posture", 2},
        {R"({"command":"set_hand_seq","seq_num":1,"block":true})", "set_hand_seq", 2},
        {R"({"command":"set_lift_height","speed":100,"height":100})", nullptr, 3},
        {R"({"command":"expand_set_pos","speed":100,"pos":30000})", "expand_set_pos", 4},
    };
    for (const auto &k : cases) {
        c.send(k.request);
        if (k.ack) {
            ASSERT_FALSE(c.expect(k.ack).empty()) << k.request;
        }
        Json done = parse(c.expect("current_trajectory_state", 3000));
        ASSERT_TRUE(done) << k.request;
        EXPECT_EQ(num(done, "device"), k.device) << k.request;
        EXPECT_TRUE(cJSON_IsTrue(member(done, "trajectory_state"))) << k.request;
        EXPECT_EQ(num(done, "trajectory_connect"), 0) << k.request;
    }
    // Without "block" the hand's action runs and reports nothing; a sequence cut short by new
    // angles reports false.
    Json r = c.request(R"({"command":"set_hand_posture","posture_num":2,"block":false})", "set_hand_posture");
    ASSERT_TRUE(cJSON_IsTrue(member(r, "set_state")));
    c.send(R"({"command":"set_hand_seq","seq_num":2,"block":true})");
    c.send(R"({"command":"set_hand_angle","hand_angle":[1,2,3,4,5,6]})");
    ASSERT_TRUE(cJSON_IsTrue(member(parse(c.expect("set_hand_seq")), "set_state")));
    ASSERT_TRUE(cJSON_IsTrue(member(parse(c.expect("set_hand_angle")), "set_state")));
    Json cut = completion(c, 2);
    ASSERT_TRUE(cut);
    EXPECT_TRUE(cJSON_IsFalse(member(cut, "trajectory_state")));
    EXPECT_TRUE(c.expect("current_trajectory_state", 300).empty());  // nothing from the unblocked posture
}

// The gripper moves inside its route at its speed, closes on a placed object and holds the
// pick's force; a continuous pick follows the object when it is taken away.
TEST(SimDevices, GripperClosesOnTheObjectAndHoldsTheForce) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    ASSERT_TRUE(cJSON_IsTrue(member(c.request(R"({"command":"set_gripper_route","min":100,"max":800})",
                                              "set_gripper_route"), "state")));
    const struct {
        int object;           // placed before the request; < 0 none
        const char *request;  // null: only the object changes
        bool block;
        int actpos, status, force;
    } steps[] = {
        {-1, R"({"command":"set_gripper_pick","speed":1000,"force":300,"block":true})", true, 100, 0, 0},
        {-1, R"({"command":"set_gripper_release","speed":1000,"block":true})", true, 800, 0, 0},
        {400, R"({"command":"set_gripper_pick","speed":800,"force":300,"block":true})", true, 400, 2, 300},
        {400, R"({"command":"set_gripper_position","position":950,"block":true})", true, 800, 0, 0},
        {400, R"({"command":"set_gripper_pick_on","speed":1000,"force":600,"block":true})", true, 400, 2, 600},
        {-1, nullptr, false, 100, 0, 0},
        {-1, R"({"command":"set_gripper_position","position":20,"block":false})", false, 100, 0, 0},
        {-1, R"({"command":"set_gripper_release","speed":1000,"block":false})", false, 800, 0, 0},
    };
    for (const auto &s : steps) {
        SCOPED_TRACE(s.request ? s.request : "object taken away");
        sim.set_gripper_object(s.object);
        if (s.request) {
            ASSERT_TRUE(cJSON_IsTrue(member(c.request(s.request, "set_gripper"), "state")));
        }
        if (s.block) {
            Json done = completion(c, 1);
            ASSERT_TRUE(done);
            EXPECT_TRUE(cJSON_IsTrue(member(done, "trajectory_state")));
        }
        Json st = query_until(c, R"({"command":"get_gripper_state"})", "get_gripper_state",
                              [&](const Json &j) { return num(j, "status") != 1 && num(j, "actpos") == s.actpos; });
        EXPECT_EQ(num(st, "actpos"), s.actpos);
        EXPECT_EQ(num(st, "status"), s.status);
        EXPECT_EQ(num(st, "current_force"), s.force);
        EXPECT_EQ(num(st, "enable"), 1);
        EXPECT_GT(num(st, "temperature"), 15);
        EXPECT_LT(num(st, "temperature"), 60);
        if (!s.block) {
            EXPECT_FALSE(completion_pending(c));
        }
    }
    EXPECT_TRUE(c.expect("current_trajectory_state", 200).empty());
}

// A position move of each axis shows "mode" non-zero while it runs and reports its device code
// at the target; the realtime push carries the live position. A jog moves without reporting.
TEST(SimDevices, AxesMoveInRealTimeAndReportAtTheTarget) {
    UdpReceiver udp;
    ky::sim::Simulator sim(opts(udp.port()));
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const struct {
        int device;
        const char *move, *ack, *query, *reply, *key, *jog, *stop, *jog_ack, *jog_key;
        int target;
        const char *block;
        double push_scale;  // push "pos" per unit of the state's position
    } axes[] = {
        {3, R"({"command":"set_lift_height","speed":100,"height":300})", nullptr, R"({"command":"get_lift_state"})",
         "lift_state", "height", R"({"command":"set_lift_speed","speed":-20})", R"({"command":"set_lift_speed","speed":0})",
         "set_lift_speed", "set_state", 300, "lift_state",
         1000.0},
        {4, R"({"command":"expand_set_pos","speed":100,"pos":-90000})", "expand_set_pos",
         R"({"command":"expand_get_state"})", "expand_state", "pos", R"({"command":"expand_set_speed","speed":20})",
         R"({"command":"expand_set_speed","speed":0})", "expand_set_speed", "set_speed_state", -90000, "expand_state", 1.0},
    };
    for (const auto &a : axes) {
        SCOPED_TRACE(a.move);
        c.send(a.move);
        if (a.ack) {
            ASSERT_TRUE(cJSON_IsTrue(member(parse(c.expect(a.ack)), "set_pos_state")));
        }
        Json moving = query_until(c, a.query, a.reply, [](const Json &j) { return num(j, "mode") != 0; });
        ASSERT_NE(num(moving, "mode"), 0);
        EXPECT_NE(num(moving, a.key), a.target);
        Json done = completion(c, a.device);
        ASSERT_TRUE(done);
        EXPECT_TRUE(cJSON_IsTrue(member(done, "trajectory_state")));
        Json st = c.request(a.query, a.reply);
        EXPECT_EQ(num(st, a.key), a.target);
        EXPECT_EQ(num(st, "mode"), 0);
        // The push soon carries the position reached ("pos" in thousandths of the state's unit).
        bool pushed = false;
        for (int i = 0; i < 200 && !pushed; ++i) {
            Json push = parse(udp.receive(100));
            const cJSON *pos = push ? cJSON_GetObjectItemCaseSensitive(member(push, a.block), "pos") : nullptr;
            pushed = cJSON_IsNumber(pos) && pos->valuedouble == a.target * a.push_scale;
        }
        EXPECT_TRUE(pushed);

        // A jog runs until stopped, without a completion line.
        ASSERT_TRUE(cJSON_IsTrue(member(c.request(a.jog, a.jog_ack), a.jog_key)));
        Json jogging = query_until(c, a.query, a.reply, [&](const Json &j) { return num(j, a.key) != a.target; });
        EXPECT_NE(num(jogging, "mode"), 0);
        ASSERT_TRUE(cJSON_IsTrue(member(c.request(a.stop, a.jog_ack), a.jog_key)));
        EXPECT_EQ(num(c.request(a.query, a.reply), "mode"), 0);
        EXPECT_TRUE(c.expect("current_trajectory_state", 200).empty());
    }
}

// With the arm powered off every device motion is refused (settings are kept); cutting the power
// under a moving axis ends its move with a failed report.
TEST(SimDevices, PoweredOffControllerRefusesDeviceMotion) {
    ky::sim::Simulator sim(opts());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    c.send(R"({"command":"set_lift_height","speed":10,"height":2000})");
    query_until(c, R"({"command":"get_lift_state"})", "lift_state", [](const Json &j) { return num(j, "mode") != 0; });
    ASSERT_TRUE(cJSON_IsTrue(member(c.request(R"({"command":"set_arm_power","arm_power":0})", "set_arm_power"),
                                    "arm_power")));
    Json cut = completion(c, 3);
    ASSERT_TRUE(cut);
    EXPECT_TRUE(cJSON_IsFalse(member(cut, "trajectory_state")));
    const Case refused[] = {
        {R"({"command":"set_gripper_release","speed":500,"block":true})", "set_gripper", "state:false"},
        {R"({"command":"set_gripper_pick","speed":500,"force":300,"block":true})", "set_gripper", "state:false"},
        {R"({"command":"set_gripper_pick_on","speed":500,"force":300,"block":true})", "set_gripper", "state:false"},
        {R"({"command":"set_gripper_position","position":300,"block":true})", "set_gripper", "state:false"},
        {R"({"command":"set_hand_posture","posture_num":3,"block":true})", "set_hand_posture", "set_state:false"},
        {R"({"command":"set_hand_seq","seq_num":3,"block":true})", "set_hand_seq", "set_state:false"},
        {R"({"command":"set_hand_angle","hand_angle":[0,0,0,0,0,0]})", "set_hand_angle", "set_state:false"},
        {R"({"command":"set_lift_speed","speed":20})", "set_lift_speed", "set_state:false"},
        {R"({"command":"expand_set_speed","speed":20})", "expand_set_speed", "set_speed_state:false"},
        {R"({"command":"expand_set_pos","speed":20,"pos":100})", "expand_set_pos", "set_pos_state:false"},
        {R"({"command":"set_gripper_route","min":10,"max":900})", "set_gripper_route", "state:true"},
        {R"({"command":"set_hand_speed","speed":300})", "set_hand_speed", "set_state:true"},
        {R"({"command":"set_lift_speed","speed":0})", "set_lift_speed", "set_state:true"},
    };
    for (const auto &k : refused) {
        c.send(k.request);
        EXPECT_TRUE(has_shape(parse(c.expect(k.reply, 1000)), k.shape)) << k.request;
    }
    const int height = num(c.request(R"({"command":"get_lift_state"})", "lift_state"), "height");
    c.send(R"({"command":"set_lift_height","speed":100,"height":2500})");
    Json st = c.request(R"({"command":"get_lift_state"})", "lift_state");
    EXPECT_EQ(num(st, "mode"), 0);
    EXPECT_EQ(num(st, "height"), height);
    EXPECT_EQ(num(gripper_state(c), "enable"), 0);
    EXPECT_TRUE(c.expect("current_trajectory_state", 200).empty());
}

TEST(SimDevices, DeviceOptions) {
    ky::sim::Options o;
    bool help = false, verbose = false;
    std::string error;
    const char *ok[] = {"ky-sim", "--gripper-object", "350", "--modbus-rtu1", "/dev/pts/7"};
    ASSERT_TRUE(ky::sim::parse_arguments(5, ok, o, help, verbose, error)) << error;
    EXPECT_EQ(o.gripper_object, 350);
    EXPECT_EQ(o.modbus.serial[0], "");
    EXPECT_EQ(o.modbus.serial[1], "/dev/pts/7");
    for (const char *bad : {"1001", "-1", "x"}) {
        const char *argv[] = {"ky-sim", "--gripper-object", bad};
        EXPECT_FALSE(ky::sim::parse_arguments(3, argv, o, help, verbose, error)) << bad;
    }
}
