// Drag teaching, replay and saving recorded paths against the fake controller.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/drag_state.h"
#include "tests/commands/motion_support.h"

namespace ky {
std::string trajectory_name(const char *path);  // commands/drag.cpp
}

using namespace kymotion;

namespace {

const std::string kEnd("\r\n\0", 3);  // every request ends in CR LF NUL

std::string temp_path(const std::string &name) {
    return (std::filesystem::temp_directory_path() / (std::to_string(::getpid()) + "-" + name)).string();
}
std::string slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    std::filesystem::remove(path);
    return s.str();
}
std::string point(const std::string &tag, int i) {
    std::string line = R"({"point":[)";
    line.append(std::to_string(i)).append(R"(000,0,90000,0,90000,0],"tag":")").append(tag).append("\"}");
    return line;
}
std::string save_reply(int total, const char *state = "true") {
    std::string line = R"({"command":"save_trajectory","save_state":)";
    line.append(state).append(R"(,"total_num":)").append(std::to_string(total)).append("}");
    return line;
}
// Answers save_trajectory with its reply and then `points` point lines in the same write,
// tagged with the requested name; `before` runs first.
void stream_points(kytest::FakeController &fake, int points, std::function<void()> before = [] {}) {
    fake.on("save_trajectory", [=](const std::string &request) {
        before();
        std::vector<std::string> lines{save_reply(2)};
        const std::string name = kytest::member_of(request, "trajectory_name");
        for (int i = 1; i <= points; ++i) lines.push_back(point(name.substr(1, name.size() - 2), i));
        return lines;
    });
}

TEST(Drag, CommandsAndTheirStateKeys) {
    const struct {
        std::function<int(ky_robot_handle *)> call;
        const char *command, *request, *state_key;
    } cases[] = {
        {[](auto *r) { return ky_start_drag_teach(r, 1); }, "start_drag_teach", R"("trajectory_record":1)",
         "drag_teach"},
        {ky_stop_drag_teach, "stop_drag_teach", "", "drag_teach"},
        {[](auto *r) { return ky_start_multi_drag_teach(r, 2, 1); }, "start_multi_drag_teach",
         R"("mode":2,"singular_wall":1)", "set_state"},
        {[](auto *r) { return ky_set_drag_teach_sensitivity(r, 80); }, "set_drag_teach_sensitivity", R"("grade":80)",
         "set_state"},
        {ky_pause_drag_trajectory, "pause_drag_trajectory", "", "pause_state"},
        {ky_continue_drag_trajectory, "continue_drag_trajectory", "", "continue_state"},
        {ky_stop_drag_trajectory, "stop_drag_trajectory", "", "stop_state"},
        {[](auto *r) { return ky_run_drag_trajectory(r, 1); }, "run_drag_trajectory", "", "run_state"},  // mode 0
    };
    Arm arm(0, "KY6A-B", 30);
    for (const auto &c : cases) {
        const std::string head = R"({"command":")" + std::string(c.command) + "\"";
        const std::string request = head + (*c.request ? "," : "") + c.request + "}" + kEnd;
        for (auto [state, expected] : {std::pair{"true", 0}, std::pair{"false", 1}, std::pair{"0", -3}}) {
            arm.fake.clear_received();
            arm.fake.on(c.command, head + ",\"" + c.state_key + "\":" + state + "}");
            EXPECT_EQ(c.call(arm.robot), expected) << c.command << " " << state;
            EXPECT_EQ(arm.fake.received(), request) << c.command;
        }
        arm.fake.off(c.command);
        EXPECT_EQ(c.call(arm.robot), -2) << c.command;
    }
    arm.fake.on("get_drag_teach_sensitivity", R"({"command":"get_drag_teach_sensitivity","grade":60})");
    int grade = -1;
    EXPECT_EQ(ky_get_drag_teach_sensitivity(arm.robot, &grade), 0);
    EXPECT_EQ(grade, 60);
}

// The six-axis force sensor version takes the free axes; the others only the frame.
TEST(Drag, MultiDragTeachDependsOnTheSensor) {
    const char *warning = "Non-six-dimensional force version, The configuration for singular_wall and the values in "
                          "free_axes array are invalid.\n";
    for (const char *product : {"KY6A-6F", "KY6A-ZF", "KY7A-B"}) {
        const bool six_axis = std::string(product).ends_with("-6F");
        Arm arm(1, product);
        kytest::LogCapture log;
        arm.fake.on("start_multi_drag_teach", R"({"command":"start_multi_drag_teach","set_state":true})");
        EXPECT_EQ(ky_start_multi_drag_teach_new(arm.robot, {{1, 1, 0, 0, 0, 1}, 1, 2}), 0) << product;
        EXPECT_EQ(arm.fake.received(), std::string(R"({"command":"start_multi_drag_teach","frame":1)") +
                                           (six_axis ? R"(,"singular_wall":2,"free_axes":[1,1,0,0,0,1])" : "") +
                                           "}" + kEnd)
            << product;
        EXPECT_EQ(log.contains(warning), !six_axis) << product;
    }
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_start_multi_drag_teach_new(&bogus, {}), -1);
}

TEST(Drag, OriginWaitsForTheArmsCompletion) {
    const struct {
        std::string line;
        int expected;
    } cases[] = {{completion(true, 0, 0), 0}, {completion(true, 3, 0), -4}, {completion(false, 0, 0), 1}};
    Arm arm;  // the command itself is never answered
    for (const auto &c : cases) {
        kytest::LogCapture log;
        // Running for two queries (polled back to back), then idle with the completion line.
        QueryScript query(arm.fake, [&c](int n) {
            if (n <= 2) return std::vector<std::string>{trajectory("movej")};
            return std::vector<std::string>{trajectory("none"), c.line};
        });
        EXPECT_EQ(ky_drag_trajectory_origin(arm.robot, 1), c.expected) << c.line;
        EXPECT_EQ(query.count(), 3) << c.line;
        EXPECT_EQ(log.contains("[ky_drag_trajectory_origin] current device is: 3 \n"), c.expected == -4);
    }
    arm.fake.clear_received();
    EXPECT_EQ(ky_drag_trajectory_origin(arm.robot, 0), 0);
    EXPECT_EQ(arm.fake.received(), R"({"command":"drag_trajectory_origin"})" + kEnd);
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_drag_trajectory_origin(&bogus, 1), -1);
}

TEST(Drag, OriginInModeZeroWaitsForTheCompletionLine) {
    Arm arm0(0);
    auto f = start([&] { return ky_drag_trajectory_origin(arm0.robot, 2); });
    ASSERT_TRUE(seen(arm0.fake, "drag_trajectory_origin", 50ms));
    arm0.fake.push(completion());
    EXPECT_EQ(f.get(), 0);
}

// Modes 1 and 2: pause the time-out, follow the replay, then read the answer. Time-out 0
// sends and returns at once.
TEST(Drag, RunFollowsTheReplay) {
    Arm arm;
    for (const char *reply : {R"({"command":"run_drag_trajectory","run_state":true})", ""}) {
        if (*reply) {
            arm.fake.on("run_drag_trajectory", reply);
        } else {
            arm.fake.off("run_drag_trajectory");
        }
        QueryScript query(arm.fake, [](int n) {
            return std::vector<std::string>{trajectory(n <= 2 ? "re_trajectory" : "none")};
        });
        const auto t0 = Clock::now();
        EXPECT_EQ(ky_run_drag_trajectory(arm.robot, 1), *reply ? 0 : -2);
        EXPECT_GE(Clock::now() - t0, 1s);
        EXPECT_EQ(query.count(), 3);

        arm.fake.off("run_drag_trajectory");  // a late answer would reach the next call
        arm.fake.clear_received();
        const auto t1 = Clock::now();
        EXPECT_EQ(ky_run_drag_trajectory(arm.robot, 0), 0);
        EXPECT_LT(Clock::now() - t1, 1s);  // a time-out of one second would pause that long
        ASSERT_TRUE(arm.fake.wait_for_requests(1, 1s));
        EXPECT_EQ(arm.fake.received(), R"({"command":"run_drag_trajectory"})" + kEnd);
        EXPECT_EQ(query.count(), 3);  // no replay followed
    }
}

TEST(DragSave, TrajectoryNameFromThePath) {
    const std::string dir(300, 'd');
    const std::pair<std::string, std::string> cases[] = {
        {"/data/run.1.txt", "run.1"}, {"C:\\rec\\drag.csv", "drag"}, {"plain", "plain"}, {"plain.txt", "plain"},
        {"/data.d/file", "file"},     {"rec\\a.b/c.d", "c"},  // a slash wins over backslashes
        {"/data/", ""},               {dir + "/x.txt", dir.substr(0, 298)},  // 298 characters looked at
    };
    for (const auto &[path, name] : cases) EXPECT_EQ(ky::trajectory_name(path.c_str()), name) << path;
}

TEST(DragSave, ReplyParsing) {
    const struct {
        const char *reply;
        int expected, total;
        const char *log;
    } cases[] = {
        {R"({"save_state":true,"total_num":12})", 0, 12, "[t] Trajectory total num: 12\n"},
        {R"({"save_state":true})", 0, 0, "[t] Trajectory total num: 0\n"},
        {R"({"save_state":false,"total_num":12})", 1, -1, "[t] Save state: false\n"},
        {R"({"save_state":true,"total_num":-1})", -3, -1, "[t] Trajectory total num parse err\n"},
        {R"({"save_state":1})", -3, -1, "[t] Save trajectory err\n"},
        {R"({"save_sta)", -3, -1, "[t] Save trajectory parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        int total = -1;
        EXPECT_EQ(parse_ky_save_trajectory("t", c.reply, &total), c.expected) << c.reply;
        EXPECT_EQ(total, c.total) << c.reply;
        EXPECT_TRUE(log.contains(c.log)) << c.reply;
    }
}

// Modes 1 and 2: the receive thread writes each point line and CR LF. Two saves started at
// once run one after the other, each with its own points and its own completion: the last
// point of each comes after its two-second pause, which a completion left over from the
// first save would cut short.
TEST(DragSave, ReceiveThreadWritesThePoints) {
    for (int mode : {1, 2}) {
        Arm arm(mode);
        stream_points(arm.fake, 1);
        auto late_points = start([&] {
            for (size_t k = 1; k <= 2; ++k) {
                for (int i = 0; i < 2000 && arm.fake.requests_for("save_trajectory").size() < k; ++i) {
                    std::this_thread::sleep_for(5ms);
                }
                std::this_thread::sleep_for(2100ms);
                const auto request = arm.fake.requests_for("save_trajectory").back();
                const std::string name = kytest::member_of(request, "trajectory_name");
                arm.fake.push(point(name.substr(1, name.size() - 2), 2));
            }
            return 0;
        });
        const std::string paths[] = {temp_path("rec.1.txt"), temp_path("second.txt")};
        int totals[2] = {-1, -1};
        auto fa = start([&] { return ky_save_trajectory(arm.robot, paths[0].c_str(), &totals[0]); });
        auto fb = start([&] { return ky_save_trajectory(arm.robot, paths[1].c_str(), &totals[1]); });
        EXPECT_EQ(fa.get(), 0);
        EXPECT_EQ(fb.get(), 0);
        late_points.get();
        EXPECT_FALSE(ky::drag_file_is_open());
        const auto requests = arm.fake.requests_for("save_trajectory");
        ASSERT_EQ(requests.size(), 2u);
        for (const auto &path : paths) {
            const std::string name = std::filesystem::path(path).stem().string();
            EXPECT_EQ(std::count(requests.begin(), requests.end(),
                                 R"({"command":"save_trajectory","trajectory_name":")" + name + "\"}"), 1);
            EXPECT_EQ(slurp(path), point(name, 1) + "\r\n" + point(name, 2) + "\r\n") << mode;
        }
        EXPECT_EQ(totals[0], 2);
        EXPECT_EQ(totals[1], 2);
    }
}

TEST(DragSave, FailuresBeforeAndDuringTheStream) {
    Arm arm;
    const std::string path = temp_path("fail.txt");
    int total = -1;
    kytest::LogCapture log;
    EXPECT_EQ(ky_save_trajectory(arm.robot, "/nonexistent-kyarm-dir/run.txt", &total), -4);
    EXPECT_TRUE(log.contains("[ky_save_trajectory] File open error!"));
    EXPECT_EQ(arm.fake.received(), "");

    stream_points(arm.fake, 0);  // no point comes
    EXPECT_EQ(ky_save_trajectory(arm.robot, path.c_str(), &total), -6);
    EXPECT_EQ(total, 2);
    stream_points(arm.fake, 2, [] { ky::drag_close_file(); });  // points come with no file open
    EXPECT_EQ(ky_save_trajectory(arm.robot, path.c_str(), &total), -6);
    arm.fake.on("save_trajectory", save_reply(2, "false"));
    EXPECT_EQ(ky_save_trajectory(arm.robot, path.c_str(), &total), 1);
    ky::drag_close_file();  // a failed save leaves its file open
    std::filesystem::remove(path);
}

// Mode 0: the caller's own read writes the points; each one overwrites the final LF of the
// one before, and about two seconds of silence end the stream.
TEST(DragSave, ModeZeroReadsThePointsItself) {
    Arm arm(0, "KY6A-B", 500);
    arm.fake.on("save_trajectory", save_reply(3));
    const std::string path = temp_path("own.txt");
    int total = -1;
    auto f = start([&] { return ky_save_trajectory(arm.robot, path.c_str(), &total); });
    ASSERT_TRUE(seen(arm.fake, "save_trajectory", 150ms));  // the reply is read by then
    std::string expected;
    for (int i = 1; i <= 3; ++i) {
        arm.fake.push(point("z", i));
        if (!expected.empty()) expected.pop_back();
        expected += point("z", i) + "\r\n\r\n";
    }
    const auto last_point = Clock::now();
    EXPECT_EQ(f.get(), 0);
    EXPECT_GE(Clock::now() - last_point, 1500ms);  // a thousand empty 2 ms reads
    EXPECT_EQ(total, 3);
    EXPECT_FALSE(ky::drag_file_is_open());
    EXPECT_EQ(slurp(path), expected);

    // No point at all: the first wait's time-out, the file left open for late points.
    EXPECT_EQ(ky_save_trajectory(arm.robot, path.c_str(), &total), -2);
    EXPECT_TRUE(ky::drag_file_is_open());
    ky::drag_close_file();
    std::filesystem::remove(path);
}

}  // namespace
