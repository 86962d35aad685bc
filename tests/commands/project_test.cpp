// Project upload: the announcement's bytes, the raw chunks that follow it (boundaries, NUL
// bytes, size), the header writer, the derived project name, the verdict and its time-out.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

const std::string kNul("\0", 1);

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string announce(const std::string &name, int size, int plan_speed = 10, int step = 0, int only_save = 1,
                     int save_id = 3) {
    std::ostringstream s;
    s << R"({"command":"run_project","project_name":")" << name << R"(","file_size":)" << size
      << R"(,"plan_speed":)" << plan_speed << R"(,"step_flag":)" << step << R"(,"only_save":)" << only_save
      << R"(,"save_id":)" << save_id << "}";
    return s.str();
}

std::string verdict(const std::string &members) { return R"({"command":"download_project",)" + members + "}"; }
const std::string kAccepted = R"({"command":"run_project","project_state":true})";

// A scratch directory of its own for each test, removed with it.
struct Dir {
    std::string path;
    Dir() {
        std::string tmpl = ::testing::TempDir() + "kyproj.XXXXXX";
        path = mkdtemp(tmpl.data());
    }
    ~Dir() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
    std::string write(const std::string &name, const std::string &bytes) const {
        const std::string p = path + "/" + name;
        std::ofstream(p, std::ios::binary) << bytes;
        return p;
    }
};

std::string slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ky_project_upload record(const std::string &path, int add_header = 0) {
    ky_project_upload p{};
    std::snprintf(p.project_path, sizeof p.project_path, "%s", path.c_str());
    p.project_path_len = static_cast<int32_t>(path.size());
    p.plan_speed = 10;
    p.only_save = 1;
    p.save_id = 3;
    p.add_header = add_header;
    return p;
}

// Waits until the fake has received at least `n` bytes; what it has then.
std::string received_at_least(kytest::FakeController &fake, size_t n) {
    for (int i = 0; i < 1000 && fake.received().size() < n; ++i) std::this_thread::sleep_for(5ms);
    return fake.received();
}

// `text` against `pattern`, where '#' stands for one decimal digit.
bool matches(const std::string &text, const std::string &pattern) {
    if (text.size() != pattern.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (pattern[i] == '#' ? !std::isdigit(static_cast<unsigned char>(text[i])) : text[i] != pattern[i]) return false;
    }
    return true;
}

std::string text_of(size_t n) {
    std::string s(n, 'x');
    for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>('a' + i % 26);
    return s;
}

// The payload follows the announcement in chunks of 100 bytes; a chunk stops at a NUL byte,
// so the bytes after a NUL up to the next chunk boundary never go out.
TEST(Project, FileUploadSendsAnnouncementThenChunks) {
    std::string nul_at_130 = text_of(250);
    nul_at_130[130] = '\0';
    std::string nul_at_0 = text_of(250);
    nul_at_0[0] = '\0';
    const struct Case {
        const char *what;
        std::string file, payload;
    } cases[] = {
        {"250 bytes: 100, 100, 50", text_of(250), text_of(250)},
        {"empty file: nothing follows", "", ""},
        {"exactly one chunk", text_of(100), text_of(100)},
        {"NUL at 130 cuts the second chunk", nul_at_130, nul_at_130.substr(0, 130) + nul_at_130.substr(200)},
        {"NUL at 0 empties the first chunk", nul_at_0, nul_at_0.substr(100)},
    };
    Dir dir;
    for (const auto &c : cases) {
        // A fresh connection per case: the fake splits what it receives into lines, and
        // the raw file text leaves an unfinished one behind.
        Arm arm;
        arm.fake.on("run_project", [](const std::string &) {
            return std::vector<std::string>{kAccepted, verdict(R"("project_state":true)")};
        });
        auto p = record(dir.write("job.txt", c.file));
        int err_line = 99;
        EXPECT_EQ(ky_send_project(arm.robot, &p, &err_line), 0) << c.what;
        EXPECT_EQ(err_line, -1) << c.what;
        const std::string expected = wire(announce("job", static_cast<int>(c.file.size()))) + c.payload;
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(received_at_least(arm.fake, expected.size()), expected) << c.what;
        EXPECT_STREQ(p.project_path, "job") << c.what;
        EXPECT_EQ(p.project_path_len, 3) << c.what;
    }
}

// The announced name is the base name without its last extension, taken from the first
// project_path_len bytes; the record then holds it.
TEST(Project, NameDerivation) {
    Dir dir;
    ASSERT_EQ(chdir(dir.path.c_str()), 0);
    mkdir("dir", 0755);
    const struct Case {
        std::string path;
        int len;  // -1: the whole path
        const char *name;
    } cases[] = {
        {"dir/a.b.txt", -1, "a.b"},   {"p\\job.txt", -1, "job"},         {"job", -1, "job"},
        {"dir/noext", -1, "noext"},   {"dir/job.txt.more", 11, "job"},  {"dir/.hidden", -1, ""},
    };
    for (const auto &c : cases) {
        Arm arm;
        arm.fake.on("run_project", [](const std::string &) {
            return std::vector<std::string>{kAccepted, verdict(R"("project_state":true)")};
        });
        dir.write(c.path, "x");
        auto p = record(c.path);
        if (c.len >= 0) p.project_path_len = c.len;
        if (c.len >= 0) dir.write(c.path.substr(0, static_cast<size_t>(c.len)), "x");
        EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), 0) << c.path;
        ASSERT_EQ(arm.fake.requests_for("run_project").size(), 1u) << c.path;
        EXPECT_EQ(arm.fake.requests_for("run_project")[0], announce(c.name, 1)) << c.path;
        EXPECT_STREQ(p.project_path, c.name) << c.path;
    }
    ASSERT_EQ(chdir("/"), 0);
}

// With add_header the headed copy lands at dir//<name><date> <time>.txt, is uploaded under
// that name and stays on disk; the first header line carries the arm's dof.
TEST(Project, HeadedCopyIsWrittenAndUploaded) {
    const struct Case {
        const char *product;
        int dof;
    } cases[] = {{"KY6A-B", 6}, {"KY7A-6F", 7}};
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        Dir dir;
        arm.fake.on("run_project", [](const std::string &) {
            return std::vector<std::string>{kAccepted, verdict(R"("project_state":true)")};
        });
        const std::string body = "{\"command\":\"movej\"}\r\n{\"command\":\"movel\"}\r\nlast";
        auto p = record(dir.write("job.txt", body), 1);
        ASSERT_EQ(ky_send_project(arm.robot, &p, nullptr), 0);
        const std::string name = p.project_path;
        EXPECT_TRUE(matches(name, "job####-##-## ##_##_##.txt")) << name;
        EXPECT_EQ(p.project_path_len, static_cast<int>(name.size()));
        std::ostringstream headed;
        headed << "{\"file\":" << c.dof << "}\r\n"
               << R"({"name":"Folder","num":1,"type":3,"enabled":true,"parent_number":0})" << "\r\n"
               << body;
        EXPECT_EQ(slurp(dir.path + "//" + name), headed.str());
        const std::string expected = wire(announce(name, static_cast<int>(headed.str().size()))) + headed.str();
        EXPECT_EQ(received_at_least(arm.fake, expected.size()).substr(0, expected.size()), expected);
    }
}

// Lines are counted as reads of a 1024-byte buffer.
TEST(Project, CountLinesInFile) {
    Dir dir;
    const std::pair<std::string, int> cases[] = {
        {"", 0}, {"a", 1}, {"a\n", 1}, {"a\nb", 2}, {"\n\n\n", 3}, {std::string(1500, 'x') + "\n", 2},
        {std::string(1023, 'x') + "\n", 2}, {std::string(1022, 'x') + "\n", 1},
    };
    for (const auto &[text, lines] : cases) EXPECT_EQ(countLinesInFile(dir.write("f.txt", text).c_str()), lines);
}

TEST(ProjectDeathTest, CountLinesOfAMissingFileEndsTheProcess) {
    EXPECT_EXIT(countLinesInFile("/nonexistent/kyarm/project.txt"), ::testing::ExitedWithCode(1),
                "打开文件失败");
}

// Failures before anything is announced, and the verdicts after the chunks.
TEST(Project, Results) {
    Dir dir;
    const std::string file = dir.write("job.txt", "abc");
    kytest::LogCapture log;
    {
        Arm arm;
        {  // no '/' with add_header: -4, nothing sent (the backslash counts for the name only)
            auto p = record("p\\job.txt", 1);
            EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), -4);
            EXPECT_TRUE(log.contains("File name check error!\n"));
        }
        {  // unreadable file: -5, nothing sent, the record keeps its path
            auto p = record(dir.path + "/missing.txt");
            EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), -5);
            EXPECT_TRUE(log.contains("File open failed\n"));
            EXPECT_EQ(std::string(p.project_path), dir.path + "/missing.txt");
        }
        EXPECT_EQ(arm.fake.received(), "");
        auto p = record(file);
        EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), -2) << "no answer to the announcement";
    }

    const struct Case {
        const char *what;
        std::vector<std::string> replies;
        int result, err_line;
        bool payload_sent;
    } cases[] = {
        {"accepted", {kAccepted, verdict(R"("project_state":true)")}, 0, -1, true},
        {"rejected at line 1", {kAccepted, verdict(R"("project_state":false,"err_line":1)")}, 1, 1, true},
        {"rejected at line 42", {kAccepted, verdict(R"("project_state":false,"err_line":42)")}, 1, 42, true},
        {"rejected without a line", {kAccepted, verdict(R"("project_state":false)")}, 1, 77, true},
        {"unreadable verdict", {kAccepted, verdict(R"("project_state":1,"err_line":5)")}, -3, 5, true},
        {"announcement refused", {R"({"command":"run_project","project_state":false})"}, 1, 77, false},
        {"announcement unreadable", {R"({"command":"run_project"})"}, -3, 77, false},
    };
    for (const auto &c : cases) {
        Arm fresh;  // the file text leaves the fake an unfinished line
        fresh.fake.on("run_project", [&c](const std::string &) { return c.replies; });
        log.clear();
        auto p = record(file);
        int err_line = 77;
        EXPECT_EQ(ky_send_project(fresh.robot, &p, &err_line), c.result) << c.what;
        EXPECT_EQ(err_line, c.err_line) << c.what;
        EXPECT_EQ(log.contains("[ky_run_project] failed\n"), !c.payload_sent) << c.what;
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(fresh.fake.received(), wire(announce("job", 3)) + (c.payload_sent ? "abc" : "")) << c.what;
    }
}

// A controller that never sends its verdict: -2 once the 2000 ms wait is over.
TEST(Project, MissingVerdictTimesOut) {
    Arm arm;
    Dir dir;
    arm.fake.on("run_project", kAccepted);
    auto p = record(dir.write("job.txt", text_of(10)));
    const auto t0 = Clock::now();
    EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), -2);
    EXPECT_GE(Clock::now() - t0, 1900ms);
}

// The streaming holds the registry's read lock: a delete issued mid-stream waits until the
// last chunk went out, and the verdict wait then finds the robot gone.
TEST(Project, DeleteWaitsForTheStreaming) {
    Arm arm;
    Dir dir;
    arm.fake.on("run_project", kAccepted);
    const std::string body = text_of(30000);  // 300 paced chunks
    auto p = record(dir.write("job.txt", body));
    auto upload = start([&] { return ky_send_project(arm.robot, &p, nullptr); });
    const std::string announced = wire(announce("job", 30000));
    ASSERT_GT(received_at_least(arm.fake, announced.size() + 1000).size(), announced.size());
    EXPECT_EQ(ky_delete_robot_arm(arm.robot), 0);
    const std::string got = received_at_least(arm.fake, announced.size() + body.size());
    EXPECT_EQ(got.size(), announced.size() + body.size()) << "the delete cut the stream short";
    const int r = upload.get();
    EXPECT_TRUE(r == -1 || r == -2) << r;
}

// A project of 1 MiB arrives whole (about 10500 paced chunks).
TEST(Project, LargeProjectArrivesWhole) {
    Arm arm;
    Dir dir;
    std::string big;
    for (int i = 0; big.size() < (1u << 20); ++i) big.append("{\"line\":").append(std::to_string(i)).append("}\r\n");
    big.resize(1u << 20);
    arm.fake.on("run_project", [](const std::string &) {
        return std::vector<std::string>{kAccepted, verdict(R"("project_state":true)")};
    });
    auto p = record(dir.write("big.txt", big));
    EXPECT_EQ(ky_send_project(arm.robot, &p, nullptr), 0);
    const std::string expected = wire(announce("big", 1 << 20)) + big;
    EXPECT_EQ(received_at_least(arm.fake, expected.size()) == expected, true);
}

// The in-memory upload: 10-byte chunks taken from the caller's text, the last one running
// on to the text's NUL; it announces nothing itself.
TEST(Project, InMemoryUploadAndPlanSpeed) {
    const std::string text = text_of(30);
    const struct Case {
        int length;
        std::string payload;
    } cases[] = {{30, text}, {25, text}, {20, text.substr(0, 20)}, {0, ""}, {1, text.substr(0, 10)}};
    for (const auto &c : cases) {
        Arm arm;  // the text leaves the fake an unfinished line
        int err_line = 0;
        auto call = start([&] { return ky_send_project_lock(arm.robot, text.c_str(), c.length, &err_line); });
        received_at_least(arm.fake, c.payload.size());
        std::this_thread::sleep_for(30ms);
        arm.fake.push(verdict(R"("project_state":false,"err_line":2)"));
        EXPECT_EQ(call.get(), 1) << c.length;
        EXPECT_EQ(err_line, 2);
        EXPECT_EQ(arm.fake.received(), c.payload) << c.length;
    }

    Arm arm;
    const std::pair<std::string, int> replies[] = {
        {R"({"command":"plan_speed","plan_state":true})", 0},
        {R"({"command":"plan_speed","plan_state":false})", 1},
        {R"({"command":"plan_speed","set_state":true})", -3},
    };
    for (const auto &[reply, expected] : replies) {
        arm.fake.clear_received();
        arm.fake.on("plan_speed", reply);
        EXPECT_EQ(ky_set_plan_speed(arm.robot, 55), expected) << reply;
        EXPECT_EQ(arm.fake.received(), wire(R"({"command":"plan_speed","speed":55})"));
    }
}

}  // namespace
