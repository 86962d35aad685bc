// Global waypoints as a client sees the simulator: exact reply shapes of add, update, delete,
// the single read and the paged, filtered list; refusals of malformed or conflicting requests.
#include <gtest/gtest.h>

#include <string>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;

namespace {

std::string add(const std::string &name, const std::string &joint = "[1000,2000,3000,4000,5000,6000]",
                const std::string &time = "2026-11-23 10:00:00") {
    return R"({"command":"add_global_waypoint","point_name":")" + name + R"(","joint":)" + joint +
           R"(,"pose":[250000,0,-1,3141,0,0],"work_frame":"World","tool_frame":"Arm_Tip","time":")" + time + "\"}";
}

struct Sim {
    ky::sim::Simulator sim{[] {
        ky::sim::Options o;
        o.push_enable = false;
        return o;
    }()};
    std::unique_ptr<TcpClient> c;
    Sim() {
        EXPECT_TRUE(sim.start());
        c = std::make_unique<TcpClient>(sim.port());
    }
    std::string ask(const std::string &json, const std::string &reply) {
        c->send(json);
        return c->expect(reply);
    }
};

TEST(SimWaypoints, AddUpdateDeleteAndReadReplyShapes) {
    Sim s;
    struct Step {
        std::string request, reply_name, reply;
    } steps[] = {
        {add("home"), "add_global_waypoint", R"({"command":"add_global_waypoint","add_state":true})"},
        // A name in use, a joint array not of the arm's dof, a missing member: refused.
        {add("home"), "add_global_waypoint", R"({"command":"add_global_waypoint","add_state":false})"},
        {add("bad", "[1,2,3]"), "add_global_waypoint", R"({"command":"add_global_waypoint","add_state":false})"},
        {R"({"command":"add_global_waypoint","point_name":"x"})", "add_global_waypoint",
         R"({"command":"add_global_waypoint","add_state":false})"},
        {R"({"command":"given_global_waypoint","point_name":"home"})", "given_global_waypoint",
         R"({"command":"given_global_waypoint","point_name":"home","joint":[1000,2000,3000,4000,5000,6000],)"
         R"("pose":[250000,0,-1,3141,0,0],"work_frame":"World","tool_frame":"Arm_Tip","time":"2026-11-23 10:00:00","given_state":true})"},
        // Update keeps the time stamp the client sent.
        {R"({"command":"update_global_waypoint","point_name":"home","joint":[0,0,0,0,0,1],"pose":[1,2,3,4,5,6],)"
         R"("work_frame":"W2","tool_frame":"T2","time":"2026-11-23 11:11:11"})",
         "update_global_waypoint", R"({"command":"update_global_waypoint","update_state":true})"},
        {R"({"command":"given_global_waypoint","point_name":"home"})", "given_global_waypoint",
         R"({"command":"given_global_waypoint","point_name":"home","joint":[0,0,0,0,0,1],)"
         R"("pose":[1,2,3,4,5,6],"work_frame":"W2","tool_frame":"T2","time":"2026-11-23 11:11:11","given_state":true})"},
        {R"({"command":"update_global_waypoint","point_name":"none","joint":[0,0,0,0,0,1],"pose":[1,2,3,4,5,6],)"
         R"("work_frame":"W2","tool_frame":"T2","time":"t"})",
         "update_global_waypoint", R"({"command":"update_global_waypoint","update_state":false})"},
        {R"({"command":"delete_global_waypoint","point_name":"home"})", "delete_global_waypoint",
         R"({"command":"delete_global_waypoint","delete_state":true})"},
        {R"({"command":"delete_global_waypoint","point_name":"home"})", "delete_global_waypoint",
         R"({"command":"delete_global_waypoint","delete_state":false})"},
        {R"({"command":"given_global_waypoint","point_name":"home"})", "given_global_waypoint",
         R"({"command":"given_global_waypoint","given_state":false})"},
    };
    for (const auto &st : steps) EXPECT_EQ(s.ask(st.request, st.reply_name), st.reply) << st.request;
}

// Paging counts from 1; total_size counts every match of the filter; pages past the end are
// empty; a page size outside 1..50 is refused.
TEST(SimWaypoints, ListPagesThroughTheMatches) {
    Sim s;
    for (const char *name : {"pick_1", "place_1", "pick_2", "pick_3", "home"})
        ASSERT_EQ(s.ask(add(name), "add_global_waypoint"), R"({"command":"add_global_waypoint","add_state":true})");
    struct Case {
        std::string request;
        bool state;
        int total;
        std::vector<std::string> names;
    } cases[] = {
        {R"("page_num":1,"page_size":2)", true, 5, {"pick_1", "place_1"}},
        {R"("page_num":3,"page_size":2)", true, 5, {"home"}},
        {R"("page_num":4,"page_size":2)", true, 5, {}},
        {R"("vague_search":"pick","page_num":1,"page_size":10)", true, 3, {"pick_1", "pick_2", "pick_3"}},
        {R"("vague_search":"pick","page_num":2,"page_size":2)", true, 3, {"pick_3"}},
        {R"("vague_search":"zzz","page_num":1,"page_size":10)", true, 0, {}},
        {R"("page_num":0,"page_size":2)", false, 0, {}},
        {R"("page_num":1,"page_size":51)", false, 0, {}},
    };
    for (const auto &c : cases) {
        Json r = parse(s.ask(R"({"command":"get_global_waypoints_list",)" + c.request + "}", "get_global_waypoints_list"));
        ASSERT_TRUE(r) << c.request;
        EXPECT_EQ(cJSON_IsTrue(member(r, "get_state")), c.state) << c.request;
        if (!c.state) {
            EXPECT_EQ(member(r, "list"), nullptr);
            continue;
        }
        EXPECT_EQ(member(r, "total_size")->valueint, c.total) << c.request;
        std::vector<std::string> names;
        const cJSON *e = nullptr;
        cJSON_ArrayForEach(e, member(r, "list")) {
            names.emplace_back(cJSON_GetObjectItem(e, "point_name")->valuestring);
            EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(e, "joint")), 6);
            EXPECT_EQ(cJSON_GetObjectItem(e, "pose")->child->valueint, 250000);
        }
        EXPECT_EQ(names, c.names) << c.request;
    }
}

}  // namespace
