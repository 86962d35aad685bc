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

// A file path in the temporary directory, removed at the end of the test.
class TempFile {
public:
    explicit TempFile(const std::string &name)
        : path_((std::filesystem::temp_directory_path() / (std::to_string(::getpid()) + "-" + name)).string()) {}
    ~TempFile() { std::filesystem::remove(path_); }
    const char *path() const { return path_.c_str(); }
    std::string content() const {
        std::ifstream in(path_, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

private:
    std::string path_;
};

std::string point(const std::string &tag, int i) {
    return R"({"point":[)" + std::to_string(i * 1000) + R"(,0,90000,0,90000,0],"tag":")" + tag + "\"}";
}

std::string save_reply(int total, const char *state = "true") {
    return R"({"command":"save_trajectory","save_state":)" + std::string(state) + R"(,"total_num":)" +
           std::to_string(total) + "}";
}

// Answers save_trajectory with its reply and `points` point lines in the same write, the
// points tagged with the requested trajectory name.
void stream_points(kytest::FakeController &fake, int total, int points) {
    fake.on("save_trajectory", [total, points](const std::string &request) {
        std::vector<std::string> lines{save_reply(total)};
        const std::string tag = kytest::member_of(request, "trajectory_name");
        for (int i = 1; i <= points; ++i) lines.push_back(point(tag.substr(1, tag.size() - 2), i));
        return lines;
    });
}

// ------------------------------------------------------------- one-exchange commands
TEST(Drag, CommandsAndTheirStateKeys) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *request;
        const char *state_key;
    } cases[] = {
        {"start", [](auto *r) { return ky_start_drag_teach(r, 1); },
         R"({"command":"start_drag_teach","trajectory_record":1})", "drag_teach"},
        {"stop", ky_stop_drag_teach, R"({"command":"stop_drag_teach"})", "drag_teach"},
        {"multi", [](auto *r) { return ky_start_multi_drag_teach(r, 2, 1); },
         R"({"command":"start_multi_drag_teach","mode":2,"singular_wall":1})", "set_state"},
        {"sensitivity", [](auto *r) { return ky_set_drag_teach_sensitivity(r, 80); },
         R"({"command":"set_drag_teach_sensitivity","grade":80})", "set_state"},
        {"pause", ky_pause_drag_trajectory, R"({"command":"pause_drag_trajectory"})", "pause_state"},
        {"continue", ky_continue_drag_trajectory, R"({"command":"continue_drag_trajectory"})", "continue_state"},
        {"stop_replay", ky_stop_drag_trajectory, R"({"command":"stop_drag_trajectory"})", "stop_state"},
    };
    Arm arm(1, "KY6A-B", 30);
    for (const auto &c : cases) {
        const std::string command = kytest::member_of(c.request, "command");
        const std::string name = command.substr(1, command.size() - 2);
        const std::string head = R"({"command":")" + name + R"(",")" + c.state_key + "\":";
        for (auto [reply, expected] : {std::pair{head + "true}", 0}, std::pair{head + "false}", 1},
                                       std::pair{head + "0}", -3}}) {
            arm.fake.clear_received();
            arm.fake.on(name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), c.request + kEnd) << c.name;
        }
        arm.fake.off(name);
        EXPECT_EQ(c.call(arm.robot), -2) << c.name;
    }
}

TEST(Drag, SensitivityIsRead) {
    Arm arm;
    arm.fake.on("get_drag_teach_sensitivity", R"({"command":"get_drag_teach_sensitivity","grade":60})");
    int grade = -1;
    EXPECT_EQ(ky_get_drag_teach_sensitivity(arm.robot, &grade), 0);
    EXPECT_EQ(grade, 60);
    EXPECT_EQ(arm.fake.received(), R"({"command":"get_drag_teach_sensitivity"})" + kEnd);
    arm.fake.on("get_drag_teach_sensitivity", R"({"command":"get_drag_teach_sensitivity"})");
    EXPECT_EQ(ky_get_drag_teach_sensitivity(arm.robot, &grade), -3);
    EXPECT_EQ(grade, 60);
}

// The six-axis force sensor version takes the free axes; the others only the frame.
TEST(Drag, MultiDragTeachDependsOnTheSensor) {
    const char *warning = "Non-six-dimensional force version, The configuration for singular_wall and the values in "
                          "free_axes array are invalid.\n";
    struct Case {
        const char *product;
        const char *request;
        bool warns;
    } cases[] = {
        {"KY6A-6F",
         R"({"command":"start_multi_drag_teach","frame":1,"singular_wall":2,"free_axes":[1,1,0,0,0,1]})", false},
        {"KY6A-ZF", R"({"command":"start_multi_drag_teach","frame":1})", true},
        {"KY7A-B", R"({"command":"start_multi_drag_teach","frame":1})", true},
    };
    const ky_multi_drag_teach_param param{{1, 1, 0, 0, 0, 1}, 1, 2};
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        kytest::LogCapture log;
        arm.fake.on("start_multi_drag_teach", R"({"command":"start_multi_drag_teach","set_state":true})");
        EXPECT_EQ(ky_start_multi_drag_teach_new(arm.robot, param), 0) << c.product;
        EXPECT_EQ(arm.fake.received(), c.request + kEnd) << c.product;
        EXPECT_EQ(log.contains(warning), c.warns) << c.product;
        ky_robot_handle bogus{};
        EXPECT_EQ(ky_start_multi_drag_teach_new(&bogus, param), -1);
    }
}

// ------------------------------------------------------------- return to the origin
TEST(Drag, OriginIsFireAndForgetWithoutBlock) {
    Arm arm;  // nothing answers
    EXPECT_EQ(ky_drag_trajectory_origin(arm.robot, 0), 0);
    EXPECT_EQ(arm.fake.received(), R"({"command":"drag_trajectory_origin"})" + kEnd);
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_drag_trajectory_origin(&bogus, 1), -1);
}

TEST(Drag, OriginWaitsForTheArmsCompletion) {
    struct Case {
        std::string line;
        int expected;
        const char *log;
    } cases[] = {
        {completion(true, 0, 0), 0, nullptr},
        {completion(true, 3, 0), -4, "[ky_drag_trajectory_origin] current device is: 3 \n"},
        {completion(false, 0, 0), 1, nullptr},
    };
    Arm arm;
    for (const auto &c : cases) {
        kytest::LogCapture log;
        // Running for two queries (polled back to back), then idle with the completion line.
        QueryScript query(arm.fake, [&c](int n) {
            if (n <= 2) return std::vector<std::string>{trajectory("movej")};
            return std::vector<std::string>{trajectory("none"), c.line};
        });
        EXPECT_EQ(ky_drag_trajectory_origin(arm.robot, 1), c.expected) << c.line;
        EXPECT_EQ(query.count(), 3) << c.line;
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.line;
        }
    }
}

TEST(Drag, OriginInModeZeroWaitsForTheCompletionLine) {
    Arm arm(0);
    auto f = start([&] { return ky_drag_trajectory_origin(arm.robot, 2); });
    ASSERT_TRUE(seen(arm.fake, "drag_trajectory_origin", 50ms));
    arm.fake.push(completion());
    EXPECT_EQ(f.get(), 0);
}

// ------------------------------------------------------------- replay
TEST(Drag, RunWithoutTimeOutReturnsAtOnce) {
    Arm arm;  // nothing answers
    QueryScript query(arm.fake, [](int) { return std::vector<std::string>{trajectory("re_trajectory")}; });
    const auto t0 = Clock::now();
    EXPECT_EQ(ky_run_drag_trajectory(arm.robot, 0), 0);
    EXPECT_LT(Clock::now() - t0, 1s);  // a time-out of one second would pause that long
    ASSERT_TRUE(arm.fake.wait_for_requests(1, 1s));
    EXPECT_EQ(arm.fake.received(), R"({"command":"run_drag_trajectory"})" + kEnd);
    EXPECT_EQ(query.count(), 0);
}

// Modes 1 and 2: pause the time-out, follow the replay, then read the answer.
TEST(Drag, RunFollowsTheReplayThenReadsTheAnswer) {
    struct Case {
        const char *reply;  // null: no answer
        int expected;
    } cases[] = {
        {R"({"command":"run_drag_trajectory","run_state":true})", 0},
        {nullptr, -2},
    };
    Arm arm;
    for (const auto &c : cases) {
        if (c.reply) {
            arm.fake.on("run_drag_trajectory", c.reply);
        } else {
            arm.fake.off("run_drag_trajectory");
        }
        QueryScript query(arm.fake, [](int n) {
            return std::vector<std::string>{trajectory(n <= 2 ? "re_trajectory" : "none")};
        });
        const auto t0 = Clock::now();
        EXPECT_EQ(ky_run_drag_trajectory(arm.robot, 1), c.expected);
        EXPECT_GE(Clock::now() - t0, 1s);
        EXPECT_EQ(query.count(), 3);
    }
}

TEST(Drag, RunInModeZeroIsOneExchange) {
    Arm arm(0);
    arm.fake.on("run_drag_trajectory", R"({"command":"run_drag_trajectory","run_state":false})");
    EXPECT_EQ(ky_run_drag_trajectory(arm.robot, 1), 1);
    EXPECT_EQ(arm.fake.received(), R"({"command":"run_drag_trajectory"})" + kEnd);
}

// ------------------------------------------------------------- saving
TEST(DragSave, TrajectoryNameFromThePath) {
    const std::string long_dir(300, 'd');
    const struct {
        std::string path, name;
    } cases[] = {
        {"/data/run.1.txt", "run.1"},
        {"C:\\rec\\drag.csv", "drag"},
        {"plain", "plain"},
        {"plain.txt", "plain"},
        {"/data.d/file", "file"},
        {"rec\\a.b/c.d", "c"},        // a slash wins over backslashes
        {"/data/", ""},
        {long_dir + "/x.txt", long_dir.substr(0, 298)},  // only 298 characters are looked at
    };
    for (const auto &c : cases) EXPECT_EQ(ky::trajectory_name(c.path.c_str()), c.name) << c.path;
}

TEST(DragSave, ReplyParsing) {
    struct Case {
        const char *reply;
        int expected, total;
        const char *log;
    } cases[] = {
        {R"({"command":"save_trajectory","save_state":true,"total_num":12})", 0, 12,
         "[t] Trajectory total num: 12\n"},
        {R"({"command":"save_trajectory","save_state":true})", 0, 0, "[t] Trajectory total num: 0\n"},
        {R"({"command":"save_trajectory","save_state":false,"total_num":12})", 1, -1, "[t] Save state: false\n"},
        {R"({"command":"save_trajectory","save_state":true,"total_num":-1})", -3, -1,
         "[t] Trajectory total num parse err\n"},
        {R"({"command":"save_trajectory","save_state":1})", -3, -1, "[t] Save trajectory err\n"},
        {R"({"command":"save_traj)", -3, -1, "[t] Save trajectory parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        int total = -1;
        EXPECT_EQ(parse_ky_save_trajectory("t", c.reply, &total), c.expected) << c.reply;
        EXPECT_EQ(total, c.total) << c.reply;
        EXPECT_TRUE(log.contains(c.log)) << c.reply;
    }
}

TEST(DragSave, UnwritablePathSendsNothing) {
    Arm arm;
    kytest::LogCapture log;
    int total = -1;
    EXPECT_EQ(ky_save_trajectory(arm.robot, "/nonexistent-kyarm-dir/run.txt", &total), -4);
    EXPECT_TRUE(log.contains("[ky_save_trajectory] File open error!"));
    EXPECT_EQ(arm.fake.received(), "");
    EXPECT_EQ(total, -1);
}

// Modes 1 and 2: the receive thread writes each point line followed by CR LF.
TEST(DragSave, ReceiveThreadWritesThePoints) {
    for (int mode : {1, 2}) {
        Arm arm(mode);
        TempFile file("rec.1.txt");
        stream_points(arm.fake, 3, 3);
        int total = -1;
        EXPECT_EQ(ky_save_trajectory(arm.robot, file.path(), &total), 0) << mode;
        EXPECT_EQ(total, 3);
        EXPECT_FALSE(ky::drag_file_is_open());
        const std::string tag = std::to_string(::getpid()) + "-rec.1";
        EXPECT_EQ(arm.fake.received(), R"({"command":"save_trajectory","trajectory_name":")" + tag + "\"}" + kEnd);
        EXPECT_EQ(file.content(), point(tag, 1) + "\r\n" + point(tag, 2) + "\r\n" + point(tag, 3) + "\r\n") << mode;
    }
}

// Saves share one state: a second save waits for the first, and both complete with their
// own points (the second one starts with its completion cleared).
TEST(DragSave, ConcurrentSavesRunOneAfterTheOther) {
    Arm arm;
    TempFile a("first.txt"), b("second.txt");
    stream_points(arm.fake, 2, 2);
    int total_a = -1, total_b = -1;
    auto fa = start([&] { return ky_save_trajectory(arm.robot, a.path(), &total_a); });
    auto fb = start([&] { return ky_save_trajectory(arm.robot, b.path(), &total_b); });
    EXPECT_EQ(fa.get(), 0);
    EXPECT_EQ(fb.get(), 0);
    EXPECT_EQ(total_a, 2);
    EXPECT_EQ(total_b, 2);
    EXPECT_EQ(arm.fake.requests_for("save_trajectory").size(), 2u);
    for (const auto *f : {&a, &b}) {
        const std::string tag = std::filesystem::path(f->path()).stem().string();
        EXPECT_EQ(f->content(), point(tag, 1) + "\r\n" + point(tag, 2) + "\r\n");
    }
}

TEST(DragSave, StreamFailuresAreMinusSix) {
    struct Case {
        const char *name;
        bool close_file;  // the save file is gone when the points arrive
        int points;
    } cases[] = {
        {"no_point", false, 0},
        {"points_without_file", true, 2},
    };
    Arm arm;
    for (const auto &c : cases) {
        TempFile file("fail.txt");
        arm.fake.on("save_trajectory", [&c](const std::string &) {
            if (c.close_file) ky::drag_close_file();
            std::vector<std::string> lines{save_reply(2)};
            for (int i = 1; i <= c.points; ++i) lines.push_back(point("x", i));
            return lines;
        });
        int total = -1;
        EXPECT_EQ(ky_save_trajectory(arm.robot, file.path(), &total), -6) << c.name;
        EXPECT_EQ(total, 2) << c.name;
    }
    arm.fake.on("save_trajectory", save_reply(2, "false"));
    TempFile file("refused.txt");
    int total = -1;
    EXPECT_EQ(ky_save_trajectory(arm.robot, file.path(), &total), 1);
    ky_robot_handle bogus{};
    EXPECT_EQ(ky_save_trajectory(&bogus, file.path(), &total), -1);
    ky::drag_close_file();  // a failed save leaves its file open
}

// Mode 0: the caller's own read writes the points; each one overwrites the final LF of the
// one before, and about two seconds of silence end the stream.
TEST(DragSave, ModeZeroReadsThePointsItself) {
    Arm arm(0, "KY6A-B", 500);
    arm.fake.on("save_trajectory", save_reply(3));
    TempFile file("own.txt");
    int total = -1;
    auto f = start([&] { return ky_save_trajectory(arm.robot, file.path(), &total); });
    ASSERT_TRUE(seen(arm.fake, "save_trajectory", 30ms));
    for (int i = 1; i <= 3; ++i) {
        arm.fake.push(point("z", i));
        std::this_thread::sleep_for(10ms);
    }
    const auto last_point = Clock::now();
    EXPECT_EQ(f.get(), 0);
    EXPECT_GE(Clock::now() - last_point, 1500ms);  // a thousand empty 2 ms reads
    EXPECT_EQ(total, 3);
    EXPECT_FALSE(ky::drag_file_is_open());
    std::string expected;
    for (int i = 1; i <= 3; ++i) {
        if (!expected.empty()) expected.pop_back();  // the next line starts on the final LF
        expected += point("z", i) + "\r\n\r\n";
    }
    EXPECT_EQ(file.content(), expected);

    // No point at all: the first wait's time-out, the file left open for late points.
    TempFile empty("empty.txt");
    EXPECT_EQ(ky_save_trajectory(arm.robot, empty.path(), &total), -2);
    EXPECT_TRUE(ky::drag_file_is_open());
    ky::drag_close_file();
}

}  // namespace
