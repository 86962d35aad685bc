// Program trajectory store: request bytes, the list and run-state parses (cut to the record,
// never beyond it), and the blocking start by id in both waiting styles.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string run_state(int state, const std::string &extra = "") {
    std::string s = R"({"command":"get_program_run_state","run_state":)";
    return s.append(std::to_string(state)).append(extra).append("}");
}
std::string finished(int id) {
    std::string s = R"({"command":"program_run_finish","finish_id":)";
    return s.append(std::to_string(id)).append("}");
}
const char *kStarted = R"({"command":"set_program_id_start","start_state":true})";

// Every command's bytes and the reply it is judged by.
TEST(ProgramStore, RequestsAndStateKeys) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *reply;
        int expected;
    } cases[] = {
        {"delete_program_trajectory", [](auto *r) { return ky_delete_program_trajectory(r, 7); },
         R"({"command":"delete_program_trajectory","id":7})",
         R"({"command":"delete_program_trajectory","delete_state":false})", 1},
        {"update_program_trajectory", [](auto *r) { return ky_update_program_trajectory(r, 3, 50, "job_a"); },
         R"({"command":"update_program_trajectory","id":3,"plan_speed":50,"project_name":"job_a"})",
         R"({"command":"update_program_trajectory","update_state":true})", 0},
        {"set_default_run_program", [](auto *r) { return ky_set_default_run_program(r, 9); },
         R"({"command":"set_default_run_program","id":9})",
         R"({"command":"set_default_run_program","set_state":true})", 0},
        {"set_default_run_program", [](auto *r) { return ky_set_default_run_program(r, 9); },
         R"({"command":"set_default_run_program","id":9})",
         R"({"command":"set_default_run_program","delete_state":true})", -3},
        // Speed 0 is left out; the start alone (block 0) returns the start state.
        {"set_program_id_start", [](auto *r) { return ky_set_program_id_run(r, 4, 0, 0); },
         R"({"command":"set_program_id_start","id":4})", kStarted, 0},
        {"set_program_id_start", [](auto *r) { return ky_set_program_id_run(r, 4, 30, 1); },
         R"({"command":"set_program_id_start","id":4,"speed":30})",
         R"({"command":"set_program_id_start","start_state":false})", 1},
        {"get_program_trajectory_list",
         [](auto *r) {
             auto l = std::make_unique<ky_program_list>();
             return ky_get_program_trajectory_list(r, 1, 10, nullptr, l.get());
         },
         R"({"command":"get_program_trajectory_list","page_num":1,"page_size":10})",
         R"({"command":"get_program_trajectory_list","page_num":1,"page_size":10,"total_size":0,"list":[]})", 0},
    };
    Arm arm;
    for (const auto &c : cases) {
        arm.fake.clear_received();
        arm.fake.on(c.command, c.reply);
        EXPECT_EQ(c.call(arm.robot), c.expected) << c.request;
        EXPECT_EQ(arm.fake.received(), wire(c.request));
    }
    int id = -1;
    arm.fake.clear_received();
    arm.fake.on("get_default_run_program", R"({"command":"get_default_run_program","id":12})");
    EXPECT_EQ(ky_get_default_run_program(arm.robot, &id), 0);
    EXPECT_EQ(id, 12);
    EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_default_run_program"})"));
}

// The list: paging members, the filter's echo (28 bytes), entries in order with missing fields
// left alone, more entries than the record holds, and the unreadable replies.
TEST(ProgramStore, ListFillsEntriesWithinTheRecord) {
    struct Guarded {
        ky_program_list list;
        char guard[64];
    };
    std::string many = "[";
    for (int i = 0; i < KY_PROGRAM_LIST_MAX + 30; ++i)
        many.append(i ? "," : "").append(R"({"id":)").append(std::to_string(i + 1)).append(R"(,"trajectory_name":"t"})");
    many.append("]");
    const std::string name32(40, 'n');
    struct Case {
        const char *filter;
        std::string reply;
        int expected, filled;
    } cases[] = {
        {"abc", R"({"command":"get_program_trajectory_list","page_num":2,"page_size":3,"total_size":5,)"
                R"("vague_search":"abcdefghijklmnopqrstuvwxyz0123456789","list":[{"id":4,"size":100,"speed":20,)"
                R"("trajectory_name":"job_4"},{"id":5,"trajectory_name":")" + name32 + R"("}]})",
         0, 2},
        {nullptr, R"({"command":"get_program_trajectory_list","page_num":1,"page_size":200,"total_size":130,"list":)" + many + "}",
         0, KY_PROGRAM_LIST_MAX},
        {"abc", R"({"command":"get_program_trajectory_list","page_num":1,"page_size":3,"total_size":0,"list":[]})", -3, 0},
        {nullptr, R"({"command":"get_program_trajectory_list","page_num":1,"page_size":3,"total_size":0,"list":{}})", -3, 0},
        {nullptr, R"({"command":"get_program_trajectory_list","page_num":1,"page_size":3,"list":[]})", -3, 0},
    };
    Arm arm;
    kytest::LogCapture log;
    for (const auto &c : cases) {
        auto g = std::make_unique<Guarded>();
        std::memset(g.get(), 0, sizeof *g);
        g->list.list[1].size = -7;
        arm.fake.on("get_program_trajectory_list", c.reply);
        EXPECT_EQ(ky_get_program_trajectory_list(arm.robot, 2, 3, c.filter, &g->list), c.expected) << c.reply.substr(0, 80);
        for (char ch : g->guard) ASSERT_EQ(ch, 0);
        for (int i = 0; i < KY_PROGRAM_LIST_MAX; ++i) EXPECT_EQ(g->list.list[i].id != 0, i < c.filled) << i;
        if (c.filled == 2) {
            EXPECT_EQ(g->list.total_size, 5);
            EXPECT_EQ(std::string(g->list.vague_search), "abcdefghijklmnopqrstuvwxyz01");
            EXPECT_EQ(g->list.list[0].size, 100);
            EXPECT_STREQ(g->list.list[0].trajectory_name, "job_4");
            EXPECT_EQ(g->list.list[1].size, -7);  // missing: left alone
            EXPECT_EQ(std::string(g->list.list[1].trajectory_name, 32), name32.substr(0, 32));
        }
    }
    EXPECT_TRUE(log.contains("[ky_get_program_trajectory_list] vague_search parsing error\n"));
    EXPECT_TRUE(log.contains("[ky_get_program_trajectory_list] get program trajectory list parser error!\n"));
}

// The run state: scalars, loop arrays cut to the record with total_loop as sent, and the
// replies that are refused.
TEST(ProgramStore, RunStateParse) {
    std::string loops = "[";
    for (int i = 0; i < KY_PROGRAM_LOOP_MAX + 20; ++i) loops.append(i ? "," : "").append(std::to_string(i + 1));
    loops.append("]");
    struct Guarded {
        ky_program_run_state s;
        int32_t guard[32];
    };
    struct Case {
        std::string reply;
        int expected, total_loop, last_cont;
    } cases[] = {
        {run_state(1, R"(,"id":3,"edit_id":4,"plan_num":5,"step_mode":1,"plan_speed":60,"loop_num":[2,3],"loop_cont":[1,0])"), 0, 2, -7},
        {run_state(0, R"(,"loop_num":)" + loops + R"(,"loop_cont":)" + loops), 0, KY_PROGRAM_LOOP_MAX + 20,
         KY_PROGRAM_LOOP_MAX},
        {run_state(0, R"(,"loop_num":[1])"), 0, 1, -7},
        {run_state(0, R"(,"loop_num":5)"), -3, -7, -7},
        {run_state(0, R"(,"loop_cont":"x")"), -3, -7, -7},
        {R"({"command":"get_program_run_state","id":1})", -3, -7, -7},
    };
    Arm arm;
    kytest::LogCapture log;
    for (const auto &c : cases) {
        Guarded g{};
        g.s.total_loop = -7;
        g.s.loop_cont[KY_PROGRAM_LOOP_MAX - 1] = -7;
        arm.fake.on("get_program_run_state", c.reply);
        EXPECT_EQ(ky_get_program_run_state(arm.robot, &g.s), c.expected) << c.reply.substr(0, 80);
        EXPECT_EQ(g.s.total_loop, c.total_loop);
        EXPECT_EQ(g.s.loop_cont[KY_PROGRAM_LOOP_MAX - 1], c.last_cont);
        for (int32_t v : g.guard) ASSERT_EQ(v, 0);
        if (c.total_loop == 2) {
            EXPECT_EQ(g.s.run_state, 1);
            EXPECT_EQ(g.s.plan_speed, 60);
            EXPECT_EQ(g.s.loop_num[1], 3);
        }
    }
    EXPECT_TRUE(log.contains("[ky_get_program_run_state] get program run state parser error!\n"));
}

// Blocking start with a receive thread: the run-state script (one entry per query, the last
// repeated) decides how many queries are made and the result.
TEST(ProgramStore, BlockingStartFollowsTheRunStateUntilItsOwnReport) {
    using Lines = std::vector<std::string>;
    struct Case {
        const char *name;
        std::vector<Lines> script;
        int expected, queries;
    } cases[] = {
        {"runs then finishes", {{run_state(1)}, {run_state(0), finished(4)}}, 0, 2},
        {"another program first", {{run_state(1)}, {run_state(0), finished(9)}, {run_state(0), finished(4)}}, 0, 3},
        {"never seen running: ten idle answers", {{run_state(0)}, {run_state(0)}, {run_state(0)}, {run_state(0)},
                                                   {run_state(0)}, {run_state(0)}, {run_state(0)}, {run_state(0)},
                                                   {run_state(0)}, {run_state(0), finished(4)}}, 0, 10},
        {"paused, then done", {{run_state(3)}, {run_state(1)}, {run_state(0), finished(4)}}, 0, 3},
        {"no report", {{run_state(1)}, {run_state(0)}}, -4, 2},
        {"report without finish_id", {{run_state(1)}, {run_state(0), R"({"command":"program_run_finish"})"}}, -4, 2},
        {"state unreadable six times", {{R"({"command":"get_program_run_state"})"}}, -3, 6},
    };
    for (const auto &c : cases) {
        Arm arm(1, "KY6A-B", 150);
        auto count = std::make_shared<std::atomic<int>>(0);
        const auto script = c.script;
        arm.fake.on("set_program_id_start", kStarted);
        arm.fake.on("get_program_run_state", [count, script](const std::string &) {
            const size_t n = static_cast<size_t>(++*count);
            return script[std::min(n, script.size()) - 1];
        });
        EXPECT_EQ(ky_set_program_id_run(arm.robot, 4, 0, 1), c.expected) << c.name;
        EXPECT_EQ(count->load(), c.queries) << c.name;
    }
}

// Mode 0: `block` is the report's time-out in seconds; only this program's report is 0.
TEST(ProgramStore, BlockingStartWithoutReceiveThread) {
    struct Case {
        const char *name;
        int finish_id;  // 0: no report
        int expected;
    } cases[] = {
        {"own report", 4, 0},
        {"other program", 5, -4},
        {"no report", 0, -4},
    };
    for (const auto &c : cases) {
        Arm arm(0, "KY6A-B", 150);
        arm.fake.on("set_program_id_start", kStarted);
        const auto t0 = Clock::now();
        auto call = start([&] { return ky_set_program_id_run(arm.robot, 4, 0, 1); });
        ASSERT_TRUE(seen(arm.fake, "set_program_id_start", 100ms)) << c.name;
        if (c.finish_id != 0) arm.fake.push(finished(c.finish_id));
        EXPECT_EQ(call.get(), c.expected) << c.name;
        if (c.finish_id == 0) {
            EXPECT_GE(Clock::now() - t0, 950ms) << c.name;
        }
        EXPECT_TRUE(arm.fake.requests_for("get_program_run_state").empty()) << c.name;
    }
}

}  // namespace
