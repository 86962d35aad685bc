// Global waypoints: request bytes with their three scalings and the library's time stamp,
// the single read's bounded copies, and the list walk (cut to the record, stopped by the
// first malformed element).
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

ky_waypoint sample(int dof) {
    ky_waypoint p{};
    std::strcpy(p.point_name, "p1");
    for (int i = 0; i < dof; ++i) p.joint[i] = 10.5f * static_cast<float>(i + 1);
    p.pose = pose(0.25f, -0.1f, 0.0000015f, 3.1416f, -1.5708f, 0.0f);
    std::strcpy(p.work_frame, "World");
    std::strcpy(p.tool_frame, "Arm_Tip");
    std::strcpy(p.time, "caller's own text");
    return p;
}

// {"point_name":...,...} of one stored waypoint as the controller sends it.
std::string element(const std::string &name, const std::string &joint) {
    return R"({"point_name":")" + name + R"(","joint":)" + joint +
           R"(,"pose":[250000,-100000,1,3141,-1570,0],"work_frame":"World","tool_frame":"Arm_Tip","time":"2026-11-23 10:00:00"})";
}

// Add and update on six- and seven-axis arms: bytes (joints x 1000 via double, positions x 1e6,
// angles x 1000, all truncated), the time stamp written into the caller's record, state keys.
TEST(Waypoints, AddAndUpdateSendScaledValuesAndStampTheRecord) {
    struct Case {
        const char *product, *command, *state_key;
        int (*call)(ky_robot_handle *, ky_waypoint *);
        int dof;
        const char *joint;
    } cases[] = {
        {"KY6A-B", "add_global_waypoint", "add_state", ky_add_global_waypoint, 6, "[10500,21000,31500,42000,52500,63000]"},
        {"KY7A-B", "add_global_waypoint", "add_state", ky_add_global_waypoint, 7,
         "[10500,21000,31500,42000,52500,63000,73500]"},
        {"KY6A-B", "update_global_waypoint", "update_state", ky_update_global_waypoint, 6,
         "[10500,21000,31500,42000,52500,63000]"},
    };
    // "YYYY-MM-DD hh:mm:ss": digits everywhere except the separators.
    auto is_stamp = [](const char *t) {
        const std::string pattern = "dddd-dd-dd dd:dd:dd";
        if (std::strlen(t) != pattern.size()) return false;
        for (size_t i = 0; i < pattern.size(); ++i)
            if (pattern[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(t[i])) : t[i] != pattern[i]) return false;
        return true;
    };
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        for (const auto &[answer, expected] : {std::pair{"true", 0}, {"false", 1}, {"1", -3}}) {
            ky_waypoint p = sample(c.dof);
            arm.fake.clear_received();
            arm.fake.on(c.command, std::string(R"({"command":")") + c.command + R"(",")" + c.state_key + "\":" + answer + "}");
            EXPECT_EQ(c.call(arm.robot, &p), expected) << c.command << " " << answer;
            EXPECT_TRUE(is_stamp(p.time)) << p.time;
            EXPECT_EQ(arm.fake.received(),
                      wire(std::string(R"({"command":")") + c.command + R"(","point_name":"p1","joint":)" + c.joint +
                           R"(,"pose":[250000,-100000,1,3141,-1570,0],"work_frame":"World","tool_frame":"Arm_Tip","time":")" +
                           p.time + "\"}"))
                << c.product << " " << c.command;
        }
    }
}

// Names filling their fields without a terminator go out cut at the field's width; an arm
// whose dof is unknown sends nothing.
TEST(Waypoints, UnterminatedNamesAndUnknownArm) {
    Arm arm;
    ky_waypoint p = sample(6);
    std::memset(p.point_name, 'n', sizeof p.point_name);
    std::memset(p.work_frame, 'w', sizeof p.work_frame);
    arm.fake.on("add_global_waypoint", R"({"command":"add_global_waypoint","add_state":true})");
    ASSERT_EQ(ky_add_global_waypoint(arm.robot, &p), 0);
    const std::string sent = arm.fake.requests().at(0);
    EXPECT_NE(sent.find(R"("point_name":")" + std::string(20, 'n') + "\""), std::string::npos) << sent;
    EXPECT_NE(sent.find(R"("work_frame":")" + std::string(12, 'w') + "\""), std::string::npos) << sent;

    kytest::LogCapture log;
    ky_robot_handle bogus{};
    ky_waypoint_list list{};
    EXPECT_EQ(ky_update_global_waypoint(&bogus, &p), -1);
    EXPECT_EQ(ky_get_global_waypoints_list(&bogus, 1, 10, nullptr, &list), -1);
    EXPECT_TRUE(log.contains("[ky_update_global_waypoint] The robotic arm has been disconnected\n"));
    EXPECT_TRUE(log.contains("[ky_get_global_waypoints_list] The robotic arm has been disconnected\n"));
}

// Delete and single read: bytes, the bounded copies (16 / 10 / 28 bytes), the division back
// and the quaternion left alone; "given_state" false is 1, any other unreadable reply -3.
TEST(Waypoints, ReadOneAndDelete) {
    Arm arm;
    arm.fake.on("delete_global_waypoint", R"({"command":"delete_global_waypoint","delete_state":false})");
    EXPECT_EQ(ky_delete_global_waypoint(arm.robot, "p1"), 1);
    EXPECT_EQ(arm.fake.received(), wire(R"({"command":"delete_global_waypoint","point_name":"p1"})"));

    struct Case {
        const char *reply;
        int expected;
    } cases[] = {
        {R"({"command":"given_global_waypoint","point_name":"abcdefghijklmnopqrst","joint":[1000,-2500,3,0,0,90000],)"
         R"("pose":[250000,0,-1,3141,0,-1],"work_frame":"Frame_1234567","tool_frame":"Tool","time":"2026-11-23 10:00:00.123456789012345"})",
         0},
        {R"({"command":"given_global_waypoint","given_state":false})", 1},
        {R"({"command":"given_global_waypoint","given_state":true})", -3},
        {R"({"command":"given_global_waypoint","point_name":"a","joint":[1,2,3,4,5],"pose":[0,0,0,0,0,0],)"
         R"("work_frame":"W","tool_frame":"T","time":"t","given_state":false})", 1},
    };
    for (const auto &c : cases) {
        ky_waypoint p{};
        std::memset(&p, 0x7f, sizeof p);
        p.pose.quaternion = {0.5f, 0.5f, 0.5f, 0.5f};
        arm.fake.clear_received();
        arm.fake.on("given_global_waypoint", c.reply);
        ASSERT_EQ(ky_get_given_global_waypoint(arm.robot, "abc", &p), c.expected) << c.reply;
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"given_global_waypoint","point_name":"abc"})"));
        if (c.expected != 0) continue;
        EXPECT_STREQ(p.point_name, "abcdefghijklmnop");
        EXPECT_STREQ(p.work_frame, "Frame_1234");
        EXPECT_STREQ(p.tool_frame, "Tool");
        EXPECT_EQ(std::string(p.time), "2026-11-23 10:00:00.12345678");
        EXPECT_FLOAT_EQ(p.joint[0], 1.0f);
        EXPECT_FLOAT_EQ(p.joint[1], -2.5f);
        EXPECT_FLOAT_EQ(p.joint[2], 0.003f);
        EXPECT_FLOAT_EQ(p.joint[5], 90.0f);
        EXPECT_FLOAT_EQ(p.pose.position.x, 0.25f);
        EXPECT_FLOAT_EQ(p.pose.position.z, -0.000001f);
        EXPECT_FLOAT_EQ(p.pose.euler.rx, 3.141f);
        EXPECT_FLOAT_EQ(p.pose.euler.rz, -0.001f);
        EXPECT_FLOAT_EQ(p.pose.quaternion.w, 0.5f);
    }
}

// The list: bytes with and without a filter, more elements than the record holds (cut, the
// memory after the record untouched), the first malformed element stopping the walk, and the
// reply's own refusals.
TEST(Waypoints, ListIsCutToTheRecordAndStopsAtTheFirstBadElement) {
    struct Guarded {
        ky_waypoint_list list;
        char guard[64];
    };
    auto reply = [](const std::string &body) { return R"({"command":"get_global_waypoints_list",)" + body + "}"; };
    auto elements = [](int n, const std::string &joint) {
        std::string s = "[";
        for (int i = 0; i < n; ++i) s.append(i ? "," : "").append(element(std::string("w").append(std::to_string(i)), joint));
        return s + "]";
    };
    // Short elements, so that more than the record holds fit one 10 kB reply.
    auto short_elements = [](int n) {
        std::string s = "[";
        for (int i = 0; i < n; ++i)
            s.append(i ? "," : "")
                .append(R"({"point_name":"x","joint":[0,2000,0,0,0,0],"pose":[0,0,0,0,0,0],"work_frame":"","tool_frame":"","time":""})");
        return s + "]";
    };
    const std::string six = "[1000,2000,3000,4000,5000,6000]", seven = "[1000,2000,3000,4000,5000,6000,7000]";
    struct Case {
        const char *product;
        std::string reply;
        int expected, list_len, filled, total;
    } cases[] = {
        {"KY6A-B", reply(R"("get_state":true,"total_size":3,"list":)" + elements(3, six)), 0, 3, 3, 3},
        // More elements than the record holds: cut, nothing written beyond it.
        {"KY6A-B", reply(R"("total_size":130,"list":)" + short_elements(KY_WAYPOINT_LIST_MAX + 10)), 0,
         KY_WAYPOINT_LIST_MAX, KY_WAYPOINT_LIST_MAX, 130},
        {"KY7A-B", reply(R"("get_state":true,"total_size":2,"list":[)" + element("a", seven) + "," + element("b", six) + "]"), -3, 2, 1, 2},
        {"KY6A-B", reply(R"("get_state":false)"), 1, -7, 0, -7},
        {"KY6A-B", reply(R"("get_state":"yes","total_size":1,"list":[])"), -3, -7, 0, -7},
        {"KY6A-B", reply(R"("get_state":true,"list":[])"), -3, -7, 0, -7},
        {"KY6A-B", reply(R"("get_state":true,"total_size":1,"list":{})"), -3, -7, 0, -7},
    };
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        auto g = std::make_unique<Guarded>();
        std::memset(g.get(), 0, sizeof *g);
        g->list.list_len = g->list.total_size = -7;
        arm.fake.on("get_global_waypoints_list", c.reply);
        EXPECT_EQ(ky_get_global_waypoints_list(arm.robot, 2, 5, c.filled ? "w" : nullptr, &g->list), c.expected)
            << c.reply.substr(0, 120);
        EXPECT_EQ(g->list.list_len, c.list_len);
        EXPECT_EQ(g->list.total_size, c.total);
        EXPECT_EQ(arm.fake.received(),
                  wire(c.filled ? R"({"command":"get_global_waypoints_list","vague_search":"w","page_num":2,"page_size":5})"
                                : R"({"command":"get_global_waypoints_list","page_num":2,"page_size":5})"));
        for (int i = 0; i < KY_WAYPOINT_LIST_MAX; ++i) {
            const bool filled = i < c.filled;
            EXPECT_EQ(g->list.points[i].point_name[0] != 0, filled) << i;
            if (filled) {
                EXPECT_FLOAT_EQ(g->list.points[i].joint[1], 2.0f);
            }
        }
        for (char ch : g->guard) ASSERT_EQ(ch, 0);
    }
}

}  // namespace
