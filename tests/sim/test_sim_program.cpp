// Project upload, the program store and the program runner as a raw client sees them: the
// announced bytes after "run_project", the verdict with its error line, running to the finish
// push, and the store's listing, paging, filter, update, delete and start by id.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "sim/simulator.h"
#include "sim_client.h"

using namespace simtest;
using namespace std::chrono_literals;

namespace {

const std::vector<double> kStart = {5, -30, -60, 10, -40, 10};

ky::sim::Options opts() {
    ky::sim::Options o;
    o.push_enable = false;
    o.speed_scale = 10;
    o.initial_joints = kStart;
    return o;
}

std::string movej(const std::vector<double> &q, int v = 50) {
    std::string s = R"({"command":"movej","v":)";
    s += std::to_string(v);
    s += R"(,"joint":[)";
    for (size_t i = 0; i < q.size(); ++i) {
        if (i) s += ',';
        s += std::to_string(static_cast<int>(std::lround(q[i] * 1000)));
    }
    return s + R"(],"trajectory_connect":0,"r":0})";
}

// The two header lines and the program lines, as the library's headed copy has them.
std::string project(const std::vector<std::string> &lines, int dof = 6, int count = -1) {
    std::string s = R"({"file":)";
    s += std::to_string(dof);
    s += "}\r\n";
    s += R"({"name":"Folder","num":1,"type":)";
    s += std::to_string(count < 0 ? static_cast<int>(lines.size()) : count);
    s += R"(,"enabled":true,"parent_number":0})";
    s += "\r\n";
    for (const auto &l : lines) {
        s += l;
        s += "\r\n";
    }
    return s;
}

std::string announce(const std::string &name, size_t size, int only_save, int save_id, int speed = 100) {
    std::string s = R"({"command":"run_project","project_name":")";
    s += name;
    s += R"(","file_size":)";
    s += std::to_string(size);
    s += R"(,"plan_speed":)";
    s += std::to_string(speed);
    s += R"(,"step_flag":0,"only_save":)";
    s += std::to_string(only_save);
    s += R"(,"save_id":)";
    s += std::to_string(save_id);
    return s + "}";
}

bool state(const Json &j, const char *key) { return j && cJSON_IsTrue(member(j, key)); }
int num(const Json &j, const char *key) {
    const cJSON *i = j ? member(j, key) : nullptr;
    return cJSON_IsNumber(i) ? i->valueint : -999;
}

// Announces and streams `text` in chunks of `chunk` bytes (0: in the announcement's own write);
// returns the "download_project" verdict.
Json upload(TcpClient &c, const std::string &name, const std::string &text, int only_save, int save_id,
            size_t chunk = 10) {
    const std::string line = announce(name, text.size(), only_save, save_id) + std::string("\r\n\0", 3);
    if (chunk == 0) {
        c.send_raw(line + text);
        EXPECT_TRUE(state(parse(c.expect("run_project")), "project_state"));
    } else {
        c.send_raw(line);
        EXPECT_TRUE(state(parse(c.expect("run_project")), "project_state"));
        for (size_t off = 0; off < text.size(); off += chunk) c.send_raw(text.substr(off, chunk));
    }
    return parse(c.expect("download_project", 3000));
}

class SimProgram : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sim.start()) << sim.error(); }
    ky::sim::Simulator sim{opts()};
};

TEST_F(SimProgram, UploadVerdictNamesTheFirstLineItCannotRun) {
    const std::string ok = movej({0, -20, -50, 0, -40, 0});
    const std::string io = R"({"command":"set_DO_state","IO_Num":1,"state":1})";
    struct Case {
        const char *what;
        std::string text;
        size_t chunk;
        int err_line;  // 0: accepted
    } cases[] = {
        {"accepted, 10-byte chunks", project({ok, io}), 10, 0},
        {"accepted, sent with the announcement", project({ok, "", io}), 0, 0},
        {"empty project", "", 10, 1},
        {"degree of freedom of another arm", project({ok}, 7), 10, 1},
        {"line count too high", project({ok}, 6, 2), 10, 2},
        {"no header at all", ok + "\r\n", 10, 1},
        {"not JSON", project({ok, "movej 1 2 3"}), 100, 4},
        {"unknown command", project({ok, io, R"({"command":"fly_away"})"}), 100, 5},
        {"a program starting programs", project({R"({"command":"set_program_id_start","id":1})"}), 100, 3},
        {"a NUL byte", project({ok, std::string("{\"command\"\0:1}", 14)}), 100, 4},
    };
    for (const auto &k : cases) {
        SCOPED_TRACE(k.what);
        TcpClient c(sim.port());
        const Json v = upload(c, "job", k.text, 1, 0, k.chunk);
        ASSERT_TRUE(v);
        EXPECT_EQ(state(v, "project_state"), k.err_line == 0);
        EXPECT_EQ(cJSON_GetObjectItemCaseSensitive(v.get(), "err_line") != nullptr, k.err_line != 0);
        if (k.err_line != 0) {
            EXPECT_EQ(num(v, "err_line"), k.err_line);
        }
        // The connection is back to commands.
        EXPECT_TRUE(c.request(R"({"command":"get_default_run_program"})", "get_default_run_program"));
    }
}

TEST_F(SimProgram, RefusedAnnouncementsReadNoProjectText) {
    struct Case {
        const char *what;
        std::string line;
    } cases[] = {
        {"a 1 MiB project", announce("big", 1 << 20, 1, 0)},
        {"negative size", R"({"command":"run_project","project_name":"n","file_size":-5,"plan_speed":0,"step_flag":0,"only_save":1,"save_id":0})"},
        {"slot beyond the store", announce("slot", 10, 1, 101)},
        {"speed above 100", announce("fast", 10, 1, 0, 101)},
        {"no file size", R"({"command":"run_project","project_name":"x","plan_speed":0,"step_flag":0,"only_save":1,"save_id":0})"},
    };
    for (const auto &k : cases) {
        SCOPED_TRACE(k.what);
        TcpClient c(sim.port());
        const Json r = c.request(k.line, "run_project");
        ASSERT_TRUE(r);
        EXPECT_FALSE(state(r, "project_state"));
        const Json d = c.request(R"({"command":"get_default_run_program"})", "get_default_run_program");
        EXPECT_EQ(num(d, "id"), 0);
    }
}

TEST_F(SimProgram, ShortUploadTimesOutWithoutHoldingUpOtherClients) {
    TcpClient c(sim.port()), other(sim.port());
    c.send(announce("short", 200, 1, 0));
    ASSERT_TRUE(state(parse(c.expect("run_project")), "project_state"));
    c.send_raw(project({}).substr(0, 30));  // the first line and a part of the second
    EXPECT_TRUE(other.request(R"({"command":"get_program_run_state"})", "get_program_run_state", 500));
    const Json v = parse(c.expect("download_project", 3000));
    ASSERT_TRUE(v);
    EXPECT_FALSE(state(v, "project_state"));
    EXPECT_EQ(num(v, "err_line"), 2);
    const Json list = c.request(R"({"command":"get_program_trajectory_list","page_num":1,"page_size":10})",
                                "get_program_trajectory_list");
    EXPECT_EQ(num(list, "total_size"), 0);
}

TEST_F(SimProgram, RunMovesInOrderAndPushesTheFinishAtTheLastTarget) {
    const std::vector<double> a = {0, -20, -50, 0, -40, 0}, b = {20, -10, -40, 10, -30, 20};
    TcpClient c(sim.port()), watcher(sim.port());
    const Json v = upload(c, "two_moves", project({movej(a), R"({"command":"set_DO_state","IO_Num":2,"state":1})",
                                                   movej(b)}),
                          0, 7);
    ASSERT_TRUE(state(v, "project_state"));
    const Json rs = c.request(R"({"command":"get_program_run_state"})", "get_program_run_state");
    EXPECT_EQ(num(rs, "run_state"), 1);
    EXPECT_EQ(num(rs, "id"), 7);
    EXPECT_EQ(cJSON_GetArraySize(member(rs, "loop_num")), 1);
    EXPECT_EQ(cJSON_GetArraySize(member(rs, "loop_cont")), 1);
    // A second project cannot start while this one runs.
    EXPECT_FALSE(state(c.request(announce("x", 10, 0, 0), "run_project"), "project_state"));

    const Json fin = parse(watcher.expect("program_run_finish", 10000));
    ASSERT_TRUE(fin);
    EXPECT_EQ(num(fin, "finish_id"), 7);
    const auto q = sim.joints();
    for (size_t i = 0; i < b.size(); ++i) EXPECT_NEAR(q[i], b[i], 1e-3);
    // The program's own moves report no completion lines of their own.
    for (const auto &l : watcher.backlog()) EXPECT_NE(command_of(l), "current_trajectory_state") << l;
    const Json out = c.request(R"({"command":"get_IO_output"})", "IO_output_state");
    EXPECT_EQ(cJSON_GetArrayItem(member(out, "DO"), 1)->valueint, 1);
    EXPECT_EQ(num(c.request(R"({"command":"get_program_run_state"})", "get_program_run_state"), "run_state"), 0);
}

TEST_F(SimProgram, StoreListsPagesFiltersUpdatesDeletesAndStartsById) {
    TcpClient c(sim.port());
    for (const char *name : {"alpha", "Beta", "alphabet"})
        ASSERT_TRUE(state(upload(c, name, project({movej(kStart)}), 1, 0), "project_state"));
    EXPECT_FALSE(sim.moving());

    struct Page {
        const char *request;
        int total;
        std::vector<int> ids;
    } pages[] = {
        {R"({"command":"get_program_trajectory_list","page_num":1,"page_size":2})", 3, {1, 2}},
        {R"({"command":"get_program_trajectory_list","page_num":2,"page_size":2})", 3, {3}},
        {R"({"command":"get_program_trajectory_list","page_num":3,"page_size":2})", 3, {}},
        {R"({"command":"get_program_trajectory_list","vague_search":"ALPHA","page_num":1,"page_size":10})", 2, {1, 3}},
        {R"({"command":"get_program_trajectory_list","vague_search":"zzz","page_num":1,"page_size":10})", 0, {}},
    };
    for (const auto &p : pages) {
        SCOPED_TRACE(p.request);
        const Json r = c.request(p.request, "get_program_trajectory_list");
        ASSERT_TRUE(r);
        EXPECT_EQ(num(r, "total_size"), p.total);
        const cJSON *list = member(r, "list");
        ASSERT_TRUE(cJSON_IsArray(list));
        std::vector<int> ids;
        const cJSON *e = nullptr;
        cJSON_ArrayForEach(e, list) ids.push_back(cJSON_GetObjectItem(e, "id")->valueint);
        EXPECT_EQ(ids, p.ids);
    }
    const Json first = c.request(R"({"command":"get_program_trajectory_list","page_num":1,"page_size":1})",
                                 "get_program_trajectory_list");
    const cJSON *e = cJSON_GetArrayItem(member(first, "list"), 0);
    EXPECT_STREQ(cJSON_GetObjectItem(e, "trajectory_name")->valuestring, "alpha");
    EXPECT_EQ(cJSON_GetObjectItem(e, "size")->valueint, static_cast<int>(project({movej(kStart)}).size()));

    struct Step {
        const char *request, *reply, *key;
        bool ok;
    } steps[] = {
        {R"({"command":"update_program_trajectory","id":2,"plan_speed":40,"project_name":"gamma"})",
         "update_program_trajectory", "update_state", true},
        {R"({"command":"update_program_trajectory","id":9,"plan_speed":40,"project_name":"gamma"})",
         "update_program_trajectory", "update_state", false},
        {R"({"command":"update_program_trajectory","id":2,"plan_speed":0,"project_name":"gamma"})",
         "update_program_trajectory", "update_state", false},
        {R"({"command":"set_default_run_program","id":3})", "set_default_run_program", "set_state", true},
        {R"({"command":"set_default_run_program","id":4})", "set_default_run_program", "set_state", false},
        {R"({"command":"delete_program_trajectory","id":1})", "delete_program_trajectory", "delete_state", true},
        {R"({"command":"delete_program_trajectory","id":1})", "delete_program_trajectory", "delete_state", false},
        {R"({"command":"set_program_id_start","id":1})", "set_program_id_start", "start_state", false},
        {R"({"command":"set_program_id_start","id":2,"speed":101})", "set_program_id_start", "start_state", false},
        {R"({"command":"plan_speed","speed":0})", "plan_speed", "plan_state", false},
    };
    for (const auto &s : steps) {
        SCOPED_TRACE(s.request);
        EXPECT_EQ(state(c.request(s.request, s.reply), s.key), s.ok);
    }
    EXPECT_EQ(num(c.request(R"({"command":"get_default_run_program"})", "get_default_run_program"), "id"), 3);
    const Json g = c.request(R"({"command":"get_program_trajectory_list","vague_search":"gam","page_num":1,"page_size":5})",
                             "get_program_trajectory_list");
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetArrayItem(member(g, "list"), 0), "speed")->valueint, 40);

    ASSERT_TRUE(state(c.request(R"({"command":"set_program_id_start","id":2,"speed":50})", "set_program_id_start"),
                      "start_state"));
    const Json fin = parse(c.expect("program_run_finish", 5000));
    EXPECT_EQ(num(fin, "finish_id"), 2);
}

}  // namespace
