// Tool and work frames: request bytes, parsers and their result codes, the cached frames
// and transforms, and the connect-time frame synchronisation.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "support/test_util.h"

using namespace std::chrono_literals;
using kytest::FakeController;

namespace {

ky_frame tool(const char *name, float payload, float cx, float cy, float cz, ky_pose pose) {
    ky_frame f{};
    std::memcpy(f.frame_name, name, std::min(std::strlen(name), sizeof f.frame_name));
    f.payload = payload;
    f.x = cx;
    f.y = cy;
    f.z = cz;
    f.pose = pose;
    return f;
}

const ky_pose kPose = {{0.1f, -0.0000019f, 1.5f}, {}, {3.1415f, -1.5707f, 0.0009f}};
const char *kPoseWire = "[100000,-1,1500000,3141,-1570,0]";

void expect_matrix_eq(const ky_matrix &a, const ky_matrix &b) {
    EXPECT_EQ(a.rows, b.rows);
    EXPECT_EQ(a.cols, b.cols);
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) EXPECT_FLOAT_EQ(a.data[i][j], b.data[i][j]) << i << "," << j;
    }
}

class Frames : public kytest::ConnectedTest<1> {
protected:
    // Runs `call` against `reply` (scripted under `command`) and returns the one request sent.
    std::string request_of(const char *command, const std::string &reply, const std::function<int()> &call,
                           int expect) {
        fake.on(command, reply);
        fake.clear_received();
        EXPECT_EQ(call(), expect) << command;
        const auto req = fake.requests();
        return req.empty() ? std::string() : req[0];
    }
};

TEST_F(Frames, SetCommandsSendTheirMembersScaledAndReadTheirStateKey) {
    const ky_frame t = tool("gripper_tool", 1.2345f, 0.01f, 0.0f, 0.1234567f, kPose);  // name of 12: all sent
    struct Case {
        const char *command, *reply;
        std::function<int()> call;
        const char *request;
    } cases[] = {
        {"set_auto_tool_frame", R"({"command":"set_auto_tool_frame","auto_tool_frame":true})",
         [&] { return ky_set_auto_tool_frame(robot, 3); }, R"({"command":"set_auto_tool_frame","point_num":3})"},
        {"set_manual_tool_frame", R"({"command":"set_manual_tool_frame","manual_tool_frame":true})",
         [&] { return ky_set_manual_tool_frame(robot, &t); },
         R"({"command":"set_manual_tool_frame","tool_name":"gripper_tool","payload":1234,"position":[10000,0,123456],"tool_pose":[100000,-1,1500000,3141,-1570,0]})"},
        {"update_tool_frame", R"({"command":"update_tool_frame","update_state":true})",
         [&] { return ky_update_tool_frame(robot, &t); },
         R"({"command":"update_tool_frame","tool_name":"gripper_tool","payload":1234,"position":[10000,0,123456],"tool_pose":[100000,-1,1500000,3141,-1570,0]})"},
        {"set_auto_work_frame", R"({"command":"set_auto_work_frame","auto_work_frame":true})",
         [&] { return ky_set_auto_work_frame(robot, "table", 2); },
         R"({"command":"set_auto_work_frame","frame_name":"table","point_num":2})"},
        {"set_manual_work_frame", R"({"command":"set_manual_work_frame","manual_work_frame":true})",
         [&] { return ky_set_manual_work_frame(robot, "table", &kPose); },
         R"({"command":"set_manual_work_frame","frame_name":"table","frame_pose":[100000,-1,1500000,3141,-1570,0]})"},
        {"update_work_frame", R"({"command":"update_work_frame","update_state":true})",
         [&] { return ky_update_work_frame(robot, "table", &kPose); },
         R"({"command":"update_work_frame","frame_name":"table","frame_pose":[100000,-1,1500000,3141,-1570,0]})"},
        {"set_delete_tool_frame", R"({"command":"set_delete_tool_frame","delete_tool_frame":true})",
         [&] { return ky_delete_tool_frame(robot, "t1"); }, R"({"command":"set_delete_tool_frame","tool_name":"t1"})"},
        {"set_delete_work_frame", R"({"command":"set_delete_work_frame","delete_work_frame":true})",
         [&] { return ky_delete_work_frame(robot, "w1"); }, R"({"command":"set_delete_work_frame","frame_name":"w1"})"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(request_of(c.command, c.reply, c.call, 0), c.request);
        EXPECT_EQ(fake.received(), std::string(c.request) + "\r\n" + std::string(1, '\0'));
        // The state key false is a refusal, a missing one unreadable.
        std::string refused = c.reply;
        refused.replace(refused.find("true"), 4, "false");
        request_of(c.command, refused, c.call, 1);
        request_of(c.command, std::string(R"({"command":")") + c.command + R"(","other":true})", c.call, -3);
    }
    EXPECT_EQ(ky_set_manual_tool_frame(robot, nullptr), -1);
    EXPECT_EQ(ky_set_manual_work_frame(robot, "x", nullptr), -1);
}

TEST_F(Frames, ManualToolFrameRefusalIsLogged) {
    kytest::LogCapture log;
    const ky_frame t = tool("t", 0, 0, 0, 0, kPose);
    request_of("set_manual_tool_frame", R"({"command":"set_manual_tool_frame","manual_tool_frame":false})",
               [&] { return ky_set_manual_tool_frame(robot, &t); }, 1);
    EXPECT_TRUE(log.contains("[ky_set_manual_tool_frame] Failed to create the tool frame system, please check if "
                             "the name already exists"));
    log.clear();
    request_of("update_tool_frame", R"({"command":"update_tool_frame","update_state":false})",
               [&] { return ky_update_tool_frame(robot, &t); }, 1);
    EXPECT_FALSE(log.contains("Failed to create"));
}

TEST_F(Frames, GenerateAutoToolFrameWaitsForTheTeachingReplyName) {
    auto call = [&] { return ky_generate_auto_tool_frame(robot, "taught", 0.5f, 0.001f, -0.002f, 0.0f); };
    const std::string req =
        request_of("generate_auto_tool_frame", R"({"command":"generate_auto_tool_frame","auto_tool_frame":true})", call, -2);
    EXPECT_EQ(req, R"({"command":"generate_auto_tool_frame","tool_name":"taught","payload":500,"position":[1000,-2000,0]})");
    request_of("generate_auto_tool_frame", R"({"command":"set_auto_tool_frame","auto_tool_frame":true})", call, 0);
}

// ------------------------------------------------------------------ envelope

TEST_F(Frames, ToolEnvelopeIsSentIndentedWithoutTrailingNul) {
    ky_tool_envelope env{};
    std::strcpy(env.tool_name, "grip");
    env.count = 2;
    env.balls[0] = {"b1", 0.05f, 0.001f, -0.0025f, 0.1f};
    env.balls[1] = {"b2", 0.0f, 0.0f, 0.0f, 0.0f};
    fake.on("set_tool_envelope", R"({"command":"set_tool_envelope","set_state":true})");
    EXPECT_EQ(ky_set_tool_envelope(robot, &env), 0);
    EXPECT_EQ(fake.received(),
              "{\n\t\"command\":\t\"set_tool_envelope\",\n\t\"tool_name\":\t\"grip\",\n\t\"list\":\t[{"
              "\n\t\t\t\"name\":\t\"b1\",\n\t\t\t\"radius\":\t50,\n\t\t\t\"x\":\t1,\n\t\t\t\"y\":\t-2,\n\t\t\t\"z\":\t100"
              "\n\t\t}, {"
              "\n\t\t\t\"name\":\t\"b2\",\n\t\t\t\"radius\":\t0,\n\t\t\t\"x\":\t0,\n\t\t\t\"y\":\t0,\n\t\t\t\"z\":\t0"
              "\n\t\t}]\n}\r\n");
    struct Case {
        int count;
        size_t balls_sent;
    } counts[] = {{0, 0}, {-3, 0}, {9, 5}};
    for (const auto &c : counts) {
        env.count = c.count;
        fake.clear_received();
        EXPECT_EQ(ky_set_tool_envelope(robot, &env), 0);
        cJSON *sent = cJSON_Parse(fake.received().c_str());
        ASSERT_NE(sent, nullptr);
        EXPECT_EQ(static_cast<size_t>(cJSON_GetArraySize(cJSON_GetObjectItem(sent, "list"))), c.balls_sent);
        cJSON_Delete(sent);
    }
    kytest::LogCapture log;
    fake.on("set_tool_envelope", R"({"command":"set_tool_envelope","set_state":false})");
    EXPECT_EQ(ky_set_tool_envelope(robot, &env), 1);
    EXPECT_TRUE(log.contains("[ky_set_tool_envelope] Set tool envelope return false! You can check if the tool "
                             "frame exists.\n"));
    fake.off("set_tool_envelope");
    EXPECT_EQ(ky_set_tool_envelope(robot, &env), -2);
    EXPECT_EQ(ky_set_tool_envelope(robot, nullptr), -1);
}

TEST_F(Frames, ToolEnvelopeParser) {
    const std::string ok = R"({"command":"get_tool_envelope","tool_name":"grip","list":[)"
                           R"({"name":"b1","radius":50,"x":1,"y":-2,"z":100},{"name":"b2","radius":7,"x":0,"y":0,"z":0}]})";
    ky_tool_envelope env{};
    EXPECT_EQ(request_of("get_tool_envelope", ok, [&] { return ky_get_tool_envelope(robot, "grip", &env); }, 0),
              R"({"command":"get_tool_envelope","tool_name":"grip"})");
    EXPECT_STREQ(env.tool_name, "grip");
    EXPECT_EQ(env.count, 2);
    EXPECT_STREQ(env.balls[0].name, "b1");
    EXPECT_FLOAT_EQ(env.balls[0].radius, 0.05f);
    EXPECT_FLOAT_EQ(env.balls[0].y, -0.002f);
    EXPECT_FLOAT_EQ(env.balls[1].radius, 0.007f);
    struct Case {
        const char *reply;
        int result;
        int count;  // afterwards
    } cases[] = {
        {R"({"command":"get_tool_envelope","get_state":false})", 1, 2},
        {R"({"command":"get_tool_envelope","list":[]})", -3, 2},
        {R"({"command":"get_tool_envelope","tool_name":"g","list":{}})", -3, 2},
        {R"({"command":"get_tool_envelope","tool_name":"g","list":[{"name":"a","radius":1,"x":1,"y":1,"z":1},{"name":"a","radius":1,"x":1,"y":1,"z":1},{"name":"a","radius":1,"x":1,"y":1,"z":1},{"name":"a","radius":1,"x":1,"y":1,"z":1},{"name":"a","radius":1,"x":1,"y":1,"z":1},{"name":"a","radius":1,"x":1,"y":1,"z":1}]})",
         0, 5},
        {R"({"command":"get_tool_envelope","tool_name":"g","list":[{"name":"c","radius":1,"x":1,"y":1,"z":1},{"name":"d","radius":1,"x":1,"y":1}]})",
         -3, 2},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        request_of("get_tool_envelope", c.reply, [&] { return ky_get_tool_envelope(robot, "grip", &env); }, c.result);
        EXPECT_EQ(env.count, c.count) << c.reply;
        if (c.result == 1) {
            EXPECT_TRUE(log.contains("[ky_get_tool_envelope] Get tool envelope return false! You can check if the "
                                     "tool frame exists.\n"));
        }
    }
    EXPECT_STREQ(env.balls[0].name, "c");  // balls before a faulty one stay filled
}

// ------------------------------------------------------------------ listings

TEST_F(Frames, TotalFrameListings) {
    struct Case {
        const char *reply;
        int result;
        int count;
        const char *first;
    } cases[] = {
        {R"({"command":"total_tool_frame","tool_names":["t1","NULL","t2"]})", 0, 1, "t1"},
        {R"({"command":"total_tool_frame","frame_names":["abcdefghijklmnop","b"],"tool_names":["x"]})", 0, 2,
         "abcdefghijkl"},
        {R"({"command":"total_tool_frame","tool_names":["NULL","t2"]})", 0, -5, ""},
        {R"({"command":"total_tool_frame","tool_names":[]})", 0, -5, ""},
        {R"({"command":"total_tool_frame","names":["a"]})", -2, -5, ""},
        {R"({"command":"total_tool_frame","tool_names":"a"})", -2, -5, ""},
    };
    for (const auto &c : cases) {
        ky_frame_name names[4] = {};
        int count = -5;
        EXPECT_EQ(request_of("get_total_tool_frame", c.reply,
                             [&] { return ky_get_total_tool_frame(robot, names, &count); }, c.result),
                  R"({"command":"get_total_tool_frame"})");
        EXPECT_EQ(count, c.count) << c.reply;
        EXPECT_EQ(std::string(names[0].name, strnlen(names[0].name, KY_FRAME_NAME_LEN)), c.first) << c.reply;
    }
    fake.off("get_total_tool_frame");
    int count = 0;
    EXPECT_EQ(ky_get_total_tool_frame(robot, nullptr, &count), -2);
    ky_frame_name names[4] = {};
    EXPECT_EQ(request_of("get_total_work_frame", R"({"command":"total_work_frame","frame_names":["World","w2","NULL"]})",
                         [&] { return ky_get_total_work_frame(robot, names, &count); }, 0),
              R"({"command":"get_total_work_frame"})");
    EXPECT_EQ(count, 2);
    EXPECT_STREQ(names[1].name, "w2");
}

TEST(FramesListing, WorkListingWaitsTheLongerTimeOut) {
    kytest::Library lib(1, 100, 400);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    fake.on("get_total_work_frame", R"({"command":"total_work_frame","frame_names":["a"]})");
    fake.set_delay(250ms);  // past m_nOutTime, within m_nOutTime_max
    int count = 0;
    ky_frame_name names[2];
    EXPECT_EQ(ky_get_total_work_frame(robot, names, &count), 0);
    EXPECT_EQ(count, 1);
    fake.on("get_total_tool_frame", R"({"command":"total_tool_frame","tool_names":["a"]})");
    EXPECT_EQ(ky_get_total_tool_frame(robot, names, &count), -2);
}

// ------------------------------------------------------------------ given frames

TEST_F(Frames, GivenToolFrameReadsAndCutsTheName) {
    const std::string reply = R"({"command":"given_tool_frame","tool_name":"tool_012345","pose":)" + std::string(kPoseWire) +
                              R"(,"payload":1500,"position":[0,-20000,30000]})";
    ky_frame f;
    std::memset(&f, '#', sizeof f);
    EXPECT_EQ(request_of("get_tool_frame", reply, [&] { return ky_get_given_tool_frame(robot, "tool_012345", &f); }, 0),
              R"({"command":"get_tool_frame","tool_name":"tool_012345"})");
    EXPECT_EQ(std::string(f.frame_name, 12), std::string("tool_01234\0\0", 12));
    EXPECT_FLOAT_EQ(f.pose.position.x, 0.1f);
    EXPECT_FLOAT_EQ(f.pose.euler.ry, -1.57f);
    EXPECT_FLOAT_EQ(f.payload, 1.5f);
    EXPECT_FLOAT_EQ(f.y, -0.02f);  // a given frame may have a negative centre of mass
    EXPECT_FLOAT_EQ(f.z, 0.03f);
    ky_pose p{};
    EXPECT_EQ(request_of("get_work_frame",
                         R"({"command":"given_work_frame","frame_name":"table","pose":)" + std::string(kPoseWire) + "}",
                         [&] { return ky_get_given_work_frame(robot, "table", &p); }, 0),
              R"({"command":"get_work_frame","frame_name":"table"})");
    EXPECT_FLOAT_EQ(p.position.z, 1.5f);
    EXPECT_FLOAT_EQ(p.euler.rx, 3.141f);
}

TEST_F(Frames, GivenFrameResultCodes) {
    ky_frame f{};
    ky_pose p{};
    auto tool_call = [&] { return ky_get_given_tool_frame(robot, "x", &f); };
    auto work_call = [&] { return ky_get_given_work_frame(robot, "x", &p); };
    struct Case {
        const char *command;
        std::function<int()> call;
        std::string reply;
        int result;  // 99: a positive reply length
    } cases[] = {
        {"get_tool_frame", tool_call, R"({"command":"get_tool_frame","get_state":false})", 1},
        {"get_tool_frame", tool_call, R"({"command":"get_tool_frame","get_state":true})", 0},
        {"get_tool_frame", tool_call, R"({"command":"get_tool_frame"})", -3},
        {"get_tool_frame", tool_call, R"({"command":"given_tool_frame","tool_name":"x","pose":[1,2,3]})", 99},
        {"get_work_frame", work_call, R"({"command":"get_work_frame","get_state":false})", 1},
        {"get_work_frame", work_call, R"({"command":"get_work_frame"})", -3},
        {"get_work_frame", work_call, R"({"command":"given_work_frame","pose":[1,2,3,4,5,6]})", 99},
    };
    for (const auto &c : cases) {
        fake.on(c.command, c.reply);
        const int r = c.call();
        if (c.result == 99) {
            EXPECT_EQ(r, static_cast<int>(c.reply.size())) << c.reply;
        } else {
            EXPECT_EQ(r, c.result) << c.reply;
        }
    }
    fake.off("get_tool_frame");
    fake.off("get_work_frame");
    EXPECT_EQ(tool_call(), -2);
    EXPECT_EQ(work_call(), -2);
    ky_delete_robot_arm(robot);
    EXPECT_EQ(tool_call(), -1);
    EXPECT_EQ(work_call(), -1);  // falls back, and the fallback wait fails alike
}

TEST(FramesModeZero, GivenFrameFallbacksInSynchronousMode) {
    kytest::Library lib(0);
    FakeController fake;
    ky_robot_handle *robot = kytest::connect(fake);
    ASSERT_EQ(robot->id, 1);
    ky_frame f{};
    ky_pose p{};
    // Nothing answered: the work query reports a refusal, the tool query the time-out.
    EXPECT_EQ(ky_get_given_tool_frame(robot, "x", &f), -2);
    EXPECT_EQ(ky_get_given_work_frame(robot, "x", &p), 1);
    // An unreadable "get_tool_frame" answer reads as a refusal. It comes after the first
    // wait ended, so the fallback wait is the one that reads it.
    std::thread pusher([&] {
        std::this_thread::sleep_for(260ms);
        fake.push(R"({"command":"get_tool_frame","other":1})");
    });
    EXPECT_EQ(ky_get_given_tool_frame(robot, "x", &f), 1);
    pusher.join();
}

// ------------------------------------------------------------------ current frames and caches

TEST_F(Frames, CurrentToolFrameRefreshesRecordCacheAndMatrix) {
    const std::string reply = R"({"command":"current_tool_frame","tool_name":"gripper_v2x","pose":)" +
                              std::string(kPoseWire) + R"(,"payload":2500,"position":[1000,0,50000]})";
    ky_frame f{};
    EXPECT_EQ(request_of("get_current_tool_frame", reply, [&] { return ky_get_current_tool_frame(robot, &f); }, 0),
              R"({"command":"get_current_tool_frame"})");
    EXPECT_STREQ(f.frame_name, "gripper_v2");  // cut to 10
    EXPECT_FLOAT_EQ(f.pose.position.z, 1.5f);
    EXPECT_FLOAT_EQ(f.payload, 2.5f);
    EXPECT_FLOAT_EQ(f.z, 0.05f);
    EXPECT_EQ(std::memcmp(&robot->tool_frame, &f, sizeof f), 0);
    expect_matrix_eq(Tool_Matrix, ky_algo_pos2matrix(f.pose));
    EXPECT_FLOAT_EQ(Tool_Matrix.data[2][3], 1.5f);
}

TEST_F(Frames, CurrentToolFrameFaultsAreMinusOneAndKeepTheCache) {
    const ky_frame before = robot->tool_frame;
    const ky_matrix before_matrix = Tool_Matrix;
    struct Case {
        std::string reply;
        const char *log;
    } cases[] = {
        {R"({"command":"current_tool_frame","tool_name":"t","pose":[0,0,0,0,0,0],"payload":0,"position":[0,-1,0]})",
         "[get_current_tool_frame] Tool frame position parse err\n"},
        {R"({"command":"current_tool_frame","tool_name":"t","pose":[0,0,0,0,0,0],"payload":-1,"position":[0,0,0]})",
         "[get_current_tool_frame] Tool frame payload parse err\n"},
        {R"({"command":"current_tool_frame","tool_name":"t","pose":7,"payload":0,"position":[0,0,0]})",
         "[get_current_tool_frame] Tool frame pose parse err\n"},
        {R"({"command":"current_tool_frame","pose":[0,0,0,0,0,0],"payload":0,"position":[0,0,0]})",
         "[get_current_tool_frame] Current tool frame parse err\n"},
        {R"({"command":"current_tool_frame","tool_name":"t","pose":[0,0,0,0,0,0],"payload":0,"position":[0,0]})",
         "[get_current_tool_frame] Tool frame position parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        ky_frame f{};
        request_of("get_current_tool_frame", c.reply, [&] { return ky_get_current_tool_frame(robot, &f); }, -1);
        EXPECT_TRUE(log.contains(c.log)) << c.reply;
        EXPECT_EQ(std::memcmp(&robot->tool_frame, &before, sizeof before), 0) << c.reply;
    }
    EXPECT_EQ(std::memcmp(&Tool_Matrix, &before_matrix, sizeof before_matrix), 0);
    fake.off("get_current_tool_frame");
    EXPECT_EQ(ky_get_current_tool_frame(robot, nullptr), -2);
}

TEST_F(Frames, CurrentWorkFrameRefreshesRecordCacheAndMatrix) {
    const std::string reply =
        R"({"command":"current_work_frame","frame_name":"workbench_12x","pose":)" + std::string(kPoseWire) + "}";
    ky_frame f;
    std::memset(&f, '#', sizeof f);
    request_of("get_current_work_frame", reply, [&] { return ky_get_current_work_frame(robot, &f); }, 0);
    EXPECT_EQ(std::string(f.frame_name, 12), "workbench_12");  // up to 12, no terminator
    EXPECT_FLOAT_EQ(f.payload, 0.0f);
    EXPECT_FLOAT_EQ(f.pose.euler.rx, 3.141f);
    EXPECT_EQ(std::memcmp(&robot->work_frame, &f, sizeof f), 0);
    expect_matrix_eq(Frame_Matrix, ky_algo_pos2matrix(f.pose));
    struct Case {
        const char *reply;
        const char *log;
    } cases[] = {
        {R"({"command":"current_work_frame","pose":[0,0,0,0,0,0]})", "[get_current_work_frame] Work frame Name parse err\n"},
        {R"({"command":"current_work_frame","frame_name":"w","pose":{}})", "[get_current_work_frame] Work frame pose parse err\n"},
        {R"({"command":"current_work_frame","frame_name":"w","pose":[1]})", "[get_current_work_frame] Current Work frame parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        request_of("get_current_work_frame", c.reply, [&] { return ky_get_current_work_frame(robot, nullptr); }, -1);
        EXPECT_TRUE(log.contains(c.log)) << c.reply;
        EXPECT_EQ(std::memcmp(&robot->work_frame, &f, sizeof f), 0);
    }
}

TEST_F(Frames, SwitchesRefreshTheCacheOnlyWhenAccepted) {
    fake.on("get_current_tool_frame", R"({"command":"current_tool_frame","tool_name":"t2","pose":[0,0,200000,0,0,0],"payload":0,"position":[0,0,0]})");
    fake.on("get_current_work_frame", R"({"command":"current_work_frame","frame_name":"w2","pose":[300000,0,0,0,0,1571]})");
    struct Case {
        const char *command, *state_key, *query;
        std::function<int()> call;
        const char *request;
    } cases[] = {
        {"set_change_tool_frame", "change_tool_frame", "get_current_tool_frame",
         [&] { return ky_change_tool_frame(robot, "t2"); }, R"({"command":"set_change_tool_frame","tool_name":"t2"})"},
        {"set_change_work_frame", "change_work_frame", "get_current_work_frame",
         [&] { return ky_change_work_frame(robot, "w2"); }, R"({"command":"set_change_work_frame","frame_name":"w2"})"},
    };
    for (const auto &c : cases) {
        fake.on(c.command, std::string(R"({"command":")") + c.command + R"(",")" + c.state_key + "\":false}");
        fake.clear_received();
        EXPECT_EQ(c.call(), 1);
        EXPECT_EQ(fake.requests().size(), 1u);  // refused: no refresh
        fake.on(c.command, std::string(R"({"command":")") + c.command + R"(",")" + c.state_key + "\":true}");
        fake.clear_received();
        EXPECT_EQ(c.call(), 0);
        const auto req = fake.requests();
        ASSERT_EQ(req.size(), 2u);
        EXPECT_EQ(req[0], c.request);
        EXPECT_EQ(req[1], std::string(R"({"command":")") + c.query + "\"}");
    }
    EXPECT_STREQ(robot->tool_frame.frame_name, "t2");
    EXPECT_FLOAT_EQ(robot->tool_frame.pose.position.z, 0.2f);
    EXPECT_FLOAT_EQ(Tool_Matrix.data[2][3], 0.2f);
    EXPECT_STREQ(robot->work_frame.frame_name, "w2");
    EXPECT_FLOAT_EQ(Frame_Matrix.data[0][3], 0.3f);
    expect_matrix_eq(Frame_Matrix, ky_algo_pos2matrix(robot->work_frame.pose));
    // A switch whose read-back fails reports that failure.
    fake.on("get_current_tool_frame", R"({"command":"current_tool_frame","tool_name":"t3"})");
    EXPECT_EQ(ky_change_tool_frame(robot, "t3"), -1);
}

TEST(FramesSync, ConnectFillsFramesAndPushPort) {
    kytest::Library lib(1);
    FakeController fake;
    fake.answer_identity("KY7A-6F");
    fake.on("get_current_tool_frame", R"({"command":"current_tool_frame","tool_name":"flange_tool","pose":[0,0,100000,0,0,0],"payload":1000,"position":[0,0,20000]})");
    fake.on("get_current_work_frame", R"({"command":"current_work_frame","frame_name":"bench","pose":[500000,0,0,0,0,0]})");
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_EQ(robot->id, 1);
    EXPECT_EQ(robot->dof, 7);
    EXPECT_EQ(robot->force_type, 2);
    EXPECT_EQ(robot->push_port, 8089);
    EXPECT_STREQ(robot->tool_frame.frame_name, "flange_too");
    EXPECT_FLOAT_EQ(robot->tool_frame.pose.position.z, 0.1f);
    EXPECT_FLOAT_EQ(robot->tool_frame.payload, 1.0f);
    EXPECT_STREQ(robot->work_frame.frame_name, "bench");
    EXPECT_FLOAT_EQ(robot->work_frame.pose.position.x, 0.5f);
    EXPECT_FLOAT_EQ(Tool_Matrix.data[2][3], 0.1f);
    EXPECT_FLOAT_EQ(Frame_Matrix.data[0][3], 0.5f);
    // The queries run in order: software information, push configuration, work frame, tool frame.
    std::vector<std::string> order;
    for (const auto &r : fake.requests()) order.push_back(kytest::member_of(r, "command"));
    ASSERT_GE(order.size(), 5u);
    EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + 5),
              (std::vector<std::string>{"\"get_arm_software_info\"", "\"get_realtime_push\"", "\"get_current_work_frame\"",
                                        "\"get_current_tool_frame\"", "\"get_install_pose\""}));
}

TEST(FramesSync, RejectedToolFrameFailsCreation) {
    kytest::Library lib(1);
    FakeController fake;
    fake.answer_identity();
    fake.on("get_current_tool_frame", R"({"command":"current_tool_frame","tool_name":"t","pose":[0,0,0,0,0,0],"payload":0,"position":[0,-1,0]})");
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_NE(robot, nullptr);
    EXPECT_EQ(robot->id, -1);
}

}  // namespace
