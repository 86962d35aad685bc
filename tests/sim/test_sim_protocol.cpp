// The simulator at the wire level: reply names, members and JSON types the library parses,
// product versions, framing of requests, and input that must never stop the server.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "sim/commands.h"
#include "sim/framing.h"
#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;

namespace {

ky::sim::Options quiet(const std::string &product = "KY6A-B") {
    ky::sim::Options o;
    o.product_version = product;
    o.push_enable = false;
    o.speed_scale = 20;
    return o;
}

// "a.b:type" with type bool, true, false, int, str, obj or arrN (an integer array of N).
::testing::AssertionResult has_shape(const std::string &line, const std::string &shape) {
    Json j = parse(line);
    if (!j) return ::testing::AssertionFailure() << "not JSON: " << line;
    std::stringstream ss(shape);
    std::string item;
    while (ss >> item) {
        const size_t colon = item.find(':');
        std::string path = item.substr(0, colon), type = item.substr(colon + 1);
        const cJSON *node = j.get();
        std::stringstream ps(path);
        std::string key;
        while (std::getline(ps, key, '.')) node = cJSON_GetObjectItemCaseSensitive(node, key.c_str());
        bool ok = node != nullptr;
        if (ok && type == "bool") ok = cJSON_IsBool(node);
        else if (ok && type == "true") ok = cJSON_IsTrue(node);
        else if (ok && type == "false") ok = cJSON_IsFalse(node);
        else if (ok && type == "int") ok = cJSON_IsNumber(node) && node->valuedouble == static_cast<int>(node->valuedouble);
        else if (ok && type == "str") ok = cJSON_IsString(node);
        else if (ok && type == "obj") ok = cJSON_IsObject(node);
        else if (ok && type.rfind("arr", 0) == 0) {
            ok = cJSON_IsArray(node) && cJSON_GetArraySize(node) == std::stoi(type.substr(3));
            const cJSON *e = nullptr;
            cJSON_ArrayForEach(e, node) ok = ok && (cJSON_IsNumber(e) || cJSON_IsString(e));
        }
        if (!ok) return ::testing::AssertionFailure() << item << " does not hold in " << line;
    }
    return ::testing::AssertionSuccess();
}

struct Case {
    const char *request;
    const char *reply;
    const char *shape;
};

// Every command of the served families with the reply name and members the library reads.
const Case kSixAxisCases[] = {
    {R"({"command":"get_arm_software_info"})", "arm_software_info",
     "Product_version:str algorithm_info.version:str ctrl_info.version:str ctrl_info.build_time:str "
     "dynamic_info.model_version:str plan_info:obj"},
    {R"({"command":"set_init_pose","init_pose":[0,10000,20000,0,0,0]})", "set_init_pose", "init_pose:true"},
    {R"({"command":"get_init_pose"})", "arm_init_pose", "init_pose:arr6"},
    {R"({"command":"get_install_pose"})", "install_pose", "pose:arr3"},
    {R"({"command":"get_joint_software_version"})", "joint_software_version", "version:arr6"},
    {R"({"command":"get_tool_software_version"})", "tool_software_version", "version:int"},
    {R"({"command":"set_joint_max_speed","joint_max_speed":[1,20000]})", "set_joint_max_speed", "joint_max_speed:true"},
    {R"({"command":"set_joint_max_acc","joint_max_acc":[1,100000]})", "set_joint_max_acc", "joint_max_acc:true"},
    {R"({"command":"set_joint_min_pos","joint_min_pos":[2,-100000]})", "set_joint_min_pos", "joint_min_pos:true"},
    {R"({"command":"set_joint_max_pos","joint_max_pos":[2,100000]})", "set_joint_max_pos", "joint_max_pos:true"},
    {R"({"command":"set_joint_drive_max_speed","joint_max_speed":[1,30000]})", "set_joint_drive_max_speed", "joint_max_speed:true"},
    {R"({"command":"set_joint_drive_max_acc","joint_max_acc":[2,1500]})", "set_joint_drive_max_acc", "joint_max_acc:true"},
    {R"({"command":"set_joint_drive_min_pos","joint_min_pos":[1,-170000]})", "set_joint_drive_min_pos", "joint_min_pos:true"},
    {R"({"command":"set_joint_drive_max_pos","joint_max_pos":[1,170000]})", "set_joint_drive_max_pos", "joint_max_pos:true"},
    {R"({"command":"set_joint_en_state","joint_en_state":[1,1]})", "set_joint_en_state", "joint_en_state:true"},
    {R"({"command":"set_joint_zero_pos","joint_zero_pos":1})", "set_joint_zero_pos", "joint_zero_pos:true"},
    {R"({"command":"set_joint_clear_err","joint_clear_err":1})", "set_joint_clear_err", "joint_clear_err:true"},
    {R"({"command":"auto_set_joint_limit","limit_mode":1})", "auto_set_joint_limit ", "limit_mode:true"},
    {R"({"command":"get_joint_max_speed"})", "joint_max_speed", "joint_speed:arr6"},
    {R"({"command":"get_joint_max_acc"})", "joint_max_acc", "joint_acc:arr6"},
    {R"({"command":"get_joint_min_pos"})", "joint_min_pos", "min_pos:arr6"},
    {R"({"command":"get_joint_max_pos"})", "joint_max_pos", "max_pos:arr6"},
    {R"({"command":"get_joint_drive_max_speed"})", "get_joint_drive_max_speed", "joint_speed:arr6"},
    {R"({"command":"get_joint_drive_max_acc"})", "get_joint_drive_max_acc", "joint_acc:arr6"},
    {R"({"command":"get_joint_drive_min_pos"})", "get_joint_drive_min_pos", "min_pos:arr6"},
    {R"({"command":"get_joint_drive_max_pos"})", "get_joint_drive_max_pos", "max_pos:arr6"},
    {R"({"command":"get_joint_en_state"})", "joint_en_state", "en_state:arr6"},
    {R"({"command":"get_joint_err_flag"})", "joint_err_flag", "err_flag:arr6 brake_state:arr6"},
    {R"({"command":"set_arm_max_line_speed","arm_line_speed":250})", "set_arm_max_line_speed", "arm_line_speed:true"},
    {R"({"command":"get_arm_max_line_acc"})", "arm_max_line_acc", "arm_line_acc:int"},
    {R"({"command":"set_arm_init"})", "set_arm_init", "arm_init:true"},
    {R"({"command":"set_collision_stage","collision_stage":3})", "set_collision_state", "collision_state:true"},
    {R"({"command":"get_collision_stage"})", "get_collision_stage", "collision_stage:int"},
    {R"({"command":"set_teach_frame","frame_type":1})", "set_teach_frame", "set_state:true"},
    {R"({"command":"get_teach_frame"})", "get_teach_frame", "frame_type:int"},
    {R"({"command":"set_arm_pause"})", "set_arm_pause", "arm_pause:true"},
    {R"({"command":"set_arm_continue"})", "set_arm_continue", "arm_continue:true"},
    {R"({"command":"set_arm_stop"})", "set_arm_stop", "arm_stop:true"},
    {R"({"command":"set_arm_slow_stop"})", "set_arm_slow_stop", "arm_slow_stop:true"},
    {R"({"command":"set_delete_current_trajectory"})", "set_delete_current_trajectory", "delete_current_trajectory:true"},
    {R"({"command":"set_arm_delete_trajectory"})", "set_arm_delete_trajectory", "arm_delete_trajectory:true"},
    {R"({"command":"set_stop_teach"})", "set_stop_teach", "stop_teach:true"},
    {R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory", "type:str data:arr6"},
    {R"({"command":"get_current_arm_state"})", "current_arm_state",
     "arm_state.joint:arr6 arm_state.pose:arr6 arm_state.arm_err:int arm_state.sys_err:int"},
    {R"({"command":"get_joint_degree"})", "joint_degree", "joint:arr6"},
    {R"({"command":"get_arm_all_state"})", "arm_all_state",
     "all_state.temperature:arr6 all_state.current:arr6 all_state.voltage:arr6 all_state.err_flag:arr6 "
     "all_state.en_flag:arr6 all_state.sys_err:int"},
    {R"({"command":"get_current_joint_temperature"})", "current_joint_temperature", "joint_temperature:arr6"},
    {R"({"command":"get_current_joint_current"})", "current_joint_current", "joint_current:arr6"},
    {R"({"command":"get_current_joint_voltage"})", "current_joint_voltage", "joint_voltage:arr6"},
    {R"({"command":"get_realtime_push"})", "get_realtime_push",
     "cycle:int port:int ip:str enable:bool custom.joint_speed:bool custom.lift_state:bool "
     "custom.expand_state:bool custom.arm_current_status:bool"},
    {R"({"command":"set_realtime_push","enable":false,"cycle":10,"port":9000,"ip":"127.0.0.1","custom":{}})",
     "set_realtime_push", "state:true"},
    {R"({"command":"get_total_tool_frame"})", "total_tool_frame", "tool_names:arr1"},
    {R"({"command":"get_total_work_frame"})", "total_work_frame", "frame_names:arr1"},
    {R"({"command":"get_current_tool_frame"})", "current_tool_frame", "tool_name:str pose:arr6 payload:int position:arr3"},
    {R"({"command":"get_current_work_frame"})", "current_work_frame", "frame_name:str pose:arr6"},
    {R"({"command":"get_tool_frame","tool_name":"Arm_Tip"})", "given_tool_frame", "tool_name:str pose:arr6 payload:int position:arr3"},
    {R"({"command":"get_work_frame","frame_name":"World"})", "given_work_frame", "frame_name:str pose:arr6"},
    {R"({"command":"get_tool_frame","tool_name":"nope"})", "get_tool_frame", "get_state:false"},
    {R"({"command":"get_work_frame","frame_name":"nope"})", "get_work_frame", "get_state:false"},
    {R"({"command":"get_tool_envelope","tool_name":"Arm_Tip"})", "get_tool_envelope", "tool_name:str list:arr0"},
    {R"({"command":"generate_auto_tool_frame","tool_name":"t","payload":0,"position":[0,0,0]})", "set_auto_tool_frame",
     "auto_tool_frame:false"},
    {R"({"command":"set_delete_tool_frame","tool_name":"Arm_Tip"})", "set_delete_tool_frame", "delete_tool_frame:false"},
    {R"({"command":"set_delete_work_frame","frame_name":"World"})", "set_delete_work_frame", "delete_work_frame:false"},
    {R"({"command":"movej","v":20,"joint":[0,0,200000,0,0,0],"trajectory_connect":0,"r":0})", "movej", "receive_state:false"},
    {R"({"command":"movel","v":20,"pose":[5000000,0,0,0,0,0],"trajectory_connect":0,"r":0})", "movel", "receive_state:false"},
    {R"({"command":"movej","v":20,"joint":[0,0,0,0,0],"trajectory_connect":0,"r":0})", "movej", "receive_state:false"},
    {R"({"command":"set_not_simulated","speed":500})", "set_not_simulated", "set_state:false receive_state:false"},
};

}  // namespace

TEST(SimProtocol, RepliesCarryTheNamesAndMembersTheLibraryReads) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start()) << sim.error();
    TcpClient c(sim.port());
    ASSERT_TRUE(c.connected());
    for (const auto &k : kSixAxisCases) {
        c.send(k.request);
        const std::string line = c.expect(k.reply, 1000);
        ASSERT_FALSE(line.empty()) << "no reply \"" << k.reply << "\" to " << k.request;
        EXPECT_TRUE(has_shape(line, k.shape)) << k.request;
    }
}

// The dispatch table is the families' rows together: a name in two families would leave one row
// never served.
TEST(SimProtocol, EachCommandHasOneRowInTheFamilies) {
    const auto names = ky::sim::served_commands();
    std::set<std::string> seen;
    for (const auto &n : names) EXPECT_TRUE(seen.insert(n).second) << n << " has two rows";
}

TEST(SimProtocol, SevenAxisArmSendsSevenJointValues) {
    ky::sim::Simulator sim(quiet("KY7A-6F"));
    ASSERT_TRUE(sim.start()) << sim.error();
    TcpClient c(sim.port());
    const Case cases[] = {
        {R"({"command":"get_joint_degree"})", "joint_degree", "joint:arr7"},
        {R"({"command":"get_joint_max_pos"})", "joint_max_pos", "max_pos:arr7"},
        {R"({"command":"get_joint_err_flag"})", "joint_err_flag", "err_flag:arr7 brake_state:arr7"},
        {R"({"command":"get_arm_current_trajectory"})", "arm_current_trajectory", "type:str data:arr7"},
        {R"({"command":"get_realtime_push"})", "get_realtime_push", "force_coordinate:int"},
        {R"({"command":"set_realtime_push","enable":false,"force_cordinate":1,"custom":{}})", "set_realtime_push", "state:true"},
    };
    for (const auto &k : cases) {
        c.send(k.request);
        EXPECT_TRUE(has_shape(c.expect(k.reply, 1000), k.shape)) << k.request;
    }
}

TEST(SimProtocol, ReplyBytesEndInCrLf) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    c.send(R"({"command":"get_joint_degree"})");
    EXPECT_EQ(c.line(), R"({"command":"joint_degree","joint":[0,0,0,0,0,0]})");
}

TEST(SimProtocol, EveryModelAndSensorSuffixStarts) {
    const struct {
        const char *model;
        int dof;
    } models[] = {{"KY6A", 6}, {"KY7A", 7}, {"KYL6C", 6}, {"LUX6A", 6}, {"LUX6B", 6}, {"NOV7B", 7}, {"LUX6C", 6}};
    for (const auto &m : models) {
        for (const char *suffix : {"-B", "-ZF", "-6F"}) {
            const std::string product = std::string(m.model) + suffix;
            ky::sim::Simulator sim(quiet(product));
            ASSERT_TRUE(sim.start()) << product << ": " << sim.error();
            EXPECT_EQ(sim.dof(), m.dof) << product;
            TcpClient c(sim.port());
            Json info = c.request(R"({"command":"get_arm_software_info"})", "arm_software_info");
            ASSERT_TRUE(info) << product;
            EXPECT_STREQ(member(info, "Product_version")->valuestring, product.c_str());
        }
    }
    for (const char *bad : {"ABC-B", "KY6A", "KY6A-X", ""}) {
        ky::sim::Simulator sim(quiet(bad));
        EXPECT_FALSE(sim.start()) << bad;
        EXPECT_FALSE(sim.error().empty());
    }
}

TEST(SimProtocol, FramingAcceptsSplitJoinedFormattedAndBareLfCommands) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    // One byte at a time.
    const std::string cmd = std::string(R"({"command":"get_joint_degree"})") + std::string("\r\n\0", 3);
    for (char ch : cmd) c.send_raw(std::string(1, ch));
    EXPECT_FALSE(c.expect("joint_degree").empty());
    // Two commands in one write.
    c.send_raw(cmd + std::string(R"({"command":"get_install_pose"})") + std::string("\r\n\0", 3));
    EXPECT_FALSE(c.expect("joint_degree").empty());
    EXPECT_FALSE(c.expect("install_pose").empty());
    // Formatted, indented, multi-line JSON ended by CR LF without NUL.
    c.send_raw("{\n\t\"command\":\t\"get_tool_envelope\",\n\t\"tool_name\":\t\"Arm_Tip\",\n\t\"list\":\t[]\n}\r\n");
    EXPECT_FALSE(c.expect("get_tool_envelope").empty());
    // A stray text line before a command does not swallow it.
    c.send_raw(std::string("garbage line\n") + cmd);
    EXPECT_FALSE(c.expect("joint_degree").empty());
    // A bare LF after a complete object.
    c.send_raw("{\"command\":\"get_teach_frame\"}\n");
    EXPECT_FALSE(c.expect("get_teach_frame").empty());
    EXPECT_EQ(sim.commands_received(), 6u);
}

// The framer alone: the commands cut from a stream, whether it comes in the pieces given, all at
// once or byte by byte, and each byte looked at about once however often a piece ends.
TEST(SimFraming, CommandsDoNotDependOnHowTheStreamIsSplit) {
    const std::string nul("\0", 1);
    const struct {
        const char *name;
        std::vector<std::string> pieces;
        std::vector<std::string> commands;
    } cases[] = {
        {"library framing", {"{\"command\":\"a\"}\r\n" + nul + "{\"comm", "and\":\"b\"}\r", "\n" + nul},
         {"{\"command\":\"a\"}", "{\"command\":\"b\"}"}},
        {"formatted, ended by CR LF", {"{\n\t\"command\":\t\"a\",\n\t\"p\":\t{\n\t\t\"x\":\t1\n\t}\n}", "\r\n"},
         {"{\n\t\"command\":\t\"a\",\n\t\"p\":\t{\n\t\t\"x\":\t1\n\t}\n}"}},
        {"formatted, ended by a bare LF", {"{\n\t\"command\":\t\"a\",\n\t\"p\":\t{\n\t\t\"x\":\t1\n\t}\n}", " \n"},
         {"{\n\t\"command\":\t\"a\",\n\t\"p\":\t{\n\t\t\"x\":\t1\n\t}\n}"}},
        {"braces and quotes inside strings", {R"({"command":"a","s":"}\"{"})" "\n", R"({"s":"\\"})" "\n"},
         {R"({"command":"a","s":"}\"{"})", R"({"s":"\\"})"}},
        {"blanks only", {nul + "\r\n\n  \n\t\r\n", nul}, {}},
        {"stray lines are dropped at a bare LF", {"garbage\n}{\"a\":1}\n[1]\n{\"command\":\"a\"}\n"}, {"{\"command\":\"a\"}"}},
        {"a broken object waits for its CR LF", {"{\"a\":1,}\n", std::string(500, '\n'), "\r\n"}, {"{\"a\":1,}"}},
        {"text after an object waits for its CR LF", {"{\"a\":1} x\n", "{\"b\":2}\n\r\n"}, {"{\"a\":1} x\n{\"b\":2}"}},
        {"an unterminated prefix with object-like lines", {"{\"command\":\"a\",\"p\":[{}", std::string(2000, '\n') + ",{}\n", "]}\r\n"},
         {"{\"command\":\"a\",\"p\":[{}" + std::string(2000, '\n') + ",{}\n]}"}},
    };
    for (const auto &k : cases) {
        SCOPED_TRACE(k.name);
        std::string stream;
        for (const auto &p : k.pieces) stream += p;
        std::vector<std::vector<std::string>> splits = {k.pieces, {stream}, {}};
        for (char ch : stream) splits.back().emplace_back(1, ch);
        for (const auto &pieces : splits) {
            ky::sim::Framer f;
            std::vector<std::string> got;
            for (const auto &p : pieces) EXPECT_EQ(f.feed(p, got), 0u);
            EXPECT_EQ(got, k.commands) << pieces.size() << " pieces";
            EXPECT_LE(f.examined(), 2 * stream.size()) << pieces.size() << " pieces";
        }
    }
    // Text past the pending bound is discarded; the next command is cut as usual.
    ky::sim::Framer f(64);
    std::vector<std::string> got;
    EXPECT_EQ(f.feed("{\"command\":\"a\",\"pad\":\"" + std::string(40, 'x'), got), 0u);
    EXPECT_EQ(f.feed(std::string(40, 'x'), got), 102u);
    EXPECT_EQ(f.pending(), 0u);
    f.feed("\"}\r\n{\"command\":\"b\"}\r\n", got);
    EXPECT_EQ(got, (std::vector<std::string>{"\"}", "{\"command\":\"b\"}"}));
}

TEST(SimProtocol, BadInputIsIgnoredAndTheServerKeepsAnswering) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    const std::string junk[] = {
        "hello\r\n",
        std::string("\0\0\0\r\n", 5),
        "{\"command\":\r\n",
        "{\"no_command\":1}\r\n",
        "{\"command\":42}\r\n",
        "[1,2,3]\r\n",
        "{\"command\":\"movej\",\"joint\":\"x\",\"v\":\"fast\"}\r\n",
        "{\"command\":\"movej\",\"joint\":[1e300,0,0,0,0,0],\"v\":20}\r\n",
        "{\"command\":\"set_realtime_push\",\"cycle\":-5,\"ip\":\"300.1.1.1\"}\r\n",
        "{\"command\":\"set_tool_envelope\",\"tool_name\":\"Arm_Tip\",\"list\":[{\"name\":5}]}\r\n",
        std::string(300000, '{') + "\r\n",
        std::string(200000, '\n'),
        [] {
            std::string s;
            for (int i = 0; i < 20000; ++i) s += "}{\"a\":1}\n";
            return s;
        }(),
        std::string(100000, 'x'),
    };
    for (const auto &j : junk) c.send_raw(j);
    c.send_raw("\r\n");
    c.send(R"({"command":"get_joint_degree"})");
    EXPECT_FALSE(c.expect("joint_degree", 3000).empty());
    // The malformed-but-named commands were refused, never acted on.
    for (const auto &l : c.backlog()) {
        Json j = parse(l);
        ASSERT_TRUE(j) << l;
    }
    EXPECT_EQ(sim.joints(), std::vector<double>(6, 0.0));
}

// Every served command with members of random names, types and sizes: each gets exactly one
// well-formed reply and the server survives (run under the sanitizers).
TEST(SimProtocol, RandomRequestsAreAnsweredAndNeverStopTheServer) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    TcpClient c(sim.port());
    std::mt19937 rng(1234);
    const char *keys[] = {"joint", "pose", "v", "r", "trajectory_connect", "loop", "joint_step", "step", "step_type",
                          "teach_joint", "teach_type", "direction", "joint_max_pos", "joint_min_pos", "joint_max_speed",
                          "joint_max_acc", "joint_en_state", "joint_zero_pos", "joint_clear_err", "limit_mode",
                          "init_pose", "frame_type", "tool_name", "frame_name", "payload", "position", "tool_pose",
                          "frame_pose", "point_num", "list", "enable", "cycle", "port", "ip", "custom",
                          "force_cordinate", "collision_stage", "arm_line_speed"};
    auto value = [&](int depth) -> cJSON * {
        switch (rng() % (depth > 1 ? 6 : 8)) {
        case 0: return cJSON_CreateNumber(static_cast<int>(rng() % 400001) - 200000);
        case 1: return cJSON_CreateNumber((rng() % 2 ? 1 : -1) * 1e12);
        case 2: return cJSON_CreateString(rng() % 2 ? "pos" : "127.0.0.1");
        case 3: return cJSON_CreateBool(rng() % 2);
        case 4: return cJSON_CreateNull();
        case 5: return cJSON_CreateString("x_step");
        default: {
            cJSON *a = cJSON_CreateArray();
            const int n = static_cast<int>(rng() % 9);
            for (int i = 0; i < n; ++i) cJSON_AddItemToArray(a, cJSON_CreateNumber(static_cast<int>(rng() % 200001) - 100000));
            if (rng() % 4 == 0) cJSON_AddItemToArray(a, cJSON_CreateObject());
            return a;
        }
        }
    };
    int sent = 0;
    const std::set<std::string> unacknowledged = {"hand_follow_angle", "set_lift_height", "manual_set_force_pose1",
                                                  "manual_set_force_pose2", "manual_set_force_pose3"};
    for (const auto &name : ky::sim::served_commands()) {
        for (int round = 0; round < 12; ++round) {
            cJSON *o = cJSON_CreateObject();
            cJSON_AddStringToObject(o, "command", name.c_str());
            const int members = static_cast<int>(rng() % 6);
            for (int m = 0; m < members; ++m) {
                cJSON *v = value(0);
                if (rng() % 5 == 0) {  // nested object, as "custom" and "pose" of movec
                    cJSON *inner = cJSON_CreateObject();
                    cJSON_AddItemToObject(inner, rng() % 2 ? "pose_via" : "joint_speed", value(2));
                    cJSON_AddItemToObject(inner, "pose_to", value(2));
                    cJSON_Delete(v);
                    v = inner;
                }
                cJSON_AddItemToObject(o, keys[rng() % std::size(keys)], v);
            }
            char *text = cJSON_PrintUnformatted(o);
            c.send(text);
            cJSON_free(text);
            cJSON_Delete(o);
            if (unacknowledged.count(name) == 0) ++sent;
        }
    }
    // One reply per request, each a JSON object with a string "command"; completions may join in.
    int replies = 0;
    for (std::string l = c.line(1000); !l.empty(); l = c.line(300)) {
        ASSERT_FALSE(command_of(l).empty()) << l;
        if (command_of(l) != "current_trajectory_state") ++replies;
    }
    EXPECT_EQ(replies, sent);
    EXPECT_FALSE(c.request(R"({"command":"get_joint_degree"})", "joint_degree") == nullptr);
}

TEST(SimProtocol, ServesSeveralClientsAtOnce) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    constexpr int kClients = 4, kRequests = 50;
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    for (int t = 0; t < kClients; ++t) {
        threads.emplace_back([&] {
            TcpClient c(sim.port());
            for (int i = 0; i < kRequests; ++i) {
                c.send(R"({"command":"get_current_arm_state"})");
                if (!c.expect("current_arm_state").empty()) ++answered;
            }
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(answered.load(), kClients * kRequests);
}

TEST(SimProtocol, StopsAndRestartsOnAFreshPort) {
    ky::sim::Simulator sim(quiet());
    ASSERT_TRUE(sim.start());
    const int first = sim.port();
    TcpClient c(sim.port());
    ASSERT_TRUE(c.connected());
    sim.stop();
    EXPECT_TRUE(c.peer_closed(1000));
    sim.stop();  // idempotent
    ASSERT_TRUE(sim.start());
    TcpClient d(sim.port());
    EXPECT_FALSE(d.request(R"({"command":"get_joint_degree"})", "joint_degree").get() == nullptr);
    (void)first;
}

TEST(SimOptions, ArgumentsFillOptionsAndBadOnesAreReported) {
    const char *argv[] = {"ky-sim", "--port", "0", "--product", "KY7A-6F", "--push-cycle", "2", "--push-blocks",
                          "joint_speed,lift_state", "--latency", "15", "--drop", "0.25", "--close-after", "3",
                          "--refuse-all", "--seed", "7", "--joints", "0,10,20,0,30,0,0", "--speed-scale", "4"};
    ky::sim::Options o;
    bool help = false, verbose = false;
    std::string error;
    ASSERT_TRUE(ky::sim::parse_arguments(std::size(argv), argv, o, help, verbose, error)) << error;
    EXPECT_EQ(o.port, 0);
    EXPECT_EQ(o.product_version, "KY7A-6F");
    EXPECT_EQ(o.push_cycle_ms, 2);
    EXPECT_TRUE(o.push_joint_speed && o.push_lift_state);
    EXPECT_FALSE(o.push_expand_state || o.push_arm_current_status);
    EXPECT_EQ(o.faults.reply_latency_ms, 15);
    EXPECT_DOUBLE_EQ(o.faults.drop_share, 0.25);
    EXPECT_EQ(o.faults.close_after, 3);
    EXPECT_TRUE(o.faults.refuse_all);
    EXPECT_EQ(o.seed, 7u);
    EXPECT_EQ(o.initial_joints.size(), 7u);
    EXPECT_DOUBLE_EQ(o.speed_scale, 4);

    const std::vector<std::vector<const char *>> bad = {
        {"ky-sim", "--port"}, {"ky-sim", "--port", "70000"}, {"ky-sim", "--drop", "2"},
        {"ky-sim", "--push-blocks", "nonsense"}, {"ky-sim", "--frobnicate"}, {"ky-sim", "--push-cycle", "0"}};
    for (const auto &args : bad) {
        ky::sim::Options d;
        error.clear();
        EXPECT_FALSE(ky::sim::parse_arguments(static_cast<int>(args.size()), args.data(), d, help, verbose, error))
            << args.back();
        EXPECT_FALSE(error.empty());
    }
    const char *h[] = {"ky-sim", "--help"};
    ASSERT_TRUE(ky::sim::parse_arguments(2, h, o, help, verbose, error));
    EXPECT_TRUE(help);
    // The usage text documents every option the parser knows.
    for (const char *opt : {"--port", "--bind", "--product", "--kyl6c-revision", "--joints", "--speed-scale",
                            "--tick-ms", "--push-ip", "--push-port", "--push-cycle", "--no-push", "--push-blocks",
                            "--latency", "--drop", "--malformed", "--close-after", "--refuse-all", "--seed",
                            "--verbose", "--help"})
        EXPECT_NE(ky::sim::usage_text().find(opt), std::string::npos) << opt;
}
