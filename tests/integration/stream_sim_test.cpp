// Pass-through streaming and drag teaching against the simulator running in-process: a 1 kHz
// joint stream is followed and reported by the realtime pushes, and a path taught by hand is
// saved to a file line by line and replayed with a blocking wait.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::vector<double> kStart = {5, -30, -60, 10, -40, 10};

double max_diff(const std::vector<double> &a, const std::vector<double> &b) {
    double d = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) d = std::max(d, std::fabs(a[i] - b[i]));
    return d;
}

// Pushes with the time they arrived, for matching them with the set-points sent before.
struct Push {
    Clock::time_point at;
    std::vector<double> joints;
    int status;
};
std::mutex g_push_lock;
std::vector<Push> g_pushes;

void on_push(ky_realtime_arm_joint_state s) {
    Push p{Clock::now(), std::vector<double>(s.joint_position, s.joint_position + 6), s.arm_current_status};
    std::lock_guard<std::mutex> lock(g_push_lock);
    g_pushes.push_back(std::move(p));
}

class StreamSim : public kytest::SimTest {
protected:
    StreamSim() { options.initial_joints = kStart; }
    void SetUp() override {
        kytest::SimTest::SetUp();
        ky_realtime_arm_state_call_back(on_push);
    }
};

TEST_F(StreamSim, JointStreamAt1kHzIsFollowedAndReportedWithinACycle) {
    struct SetPoint {
        Clock::time_point at;
        std::vector<double> joints;
    };
    std::vector<SetPoint> sent;
    sent.reserve(2100);
    {
        std::lock_guard<std::mutex> lock(g_push_lock);
        g_pushes.clear();
    }
    // Joint 1 out by 10 degrees and back, joint 2 a sine of 5 degrees, over two seconds.
    const auto t0 = Clock::now();
    int failed = 0;
    for (int k = 0; k <= 2000; ++k) {
        std::this_thread::sleep_until(t0 + std::chrono::milliseconds(k));
        const double t = k / 1000.0;
        std::vector<double> q = kStart;
        q[0] += 5.0 * (1 - std::cos(M_PI * t));
        q[1] += 5.0 * std::sin(M_PI * t);
        float f[6];
        for (int i = 0; i < 6; ++i) f[i] = static_cast<float>(q[i]);
        failed += ky_movej_canfd(robot, f, false, 0.0f) != 0;
        sent.push_back({Clock::now(), q});
    }
    EXPECT_EQ(failed, 0);
    std::this_thread::sleep_for(200ms);
    EXPECT_LT(max_diff(sim->joints(), sent.back().joints), 0.002);

    std::vector<Push> pushes;
    {
        std::lock_guard<std::mutex> lock(g_push_lock);
        pushes = g_pushes;
    }
    // Each push of the stream stands on a set-point sent shortly before it arrived: one push
    // cycle (10 ms), the motion tick and the delivery on a loaded machine.
    int streaming = 0, matched = 0;
    for (const Push &p : pushes) {
        if (p.status != KY_ARM_MOVE_THROUGH_JOINT) continue;
        ++streaming;
        for (const SetPoint &s : sent) {
            if (s.at > p.at || p.at - s.at > 60ms) continue;
            if (max_diff(p.joints, s.joints) < 0.0015) {
                ++matched;
                break;
            }
        }
    }
    EXPECT_GT(streaming, 100) << "pushes reporting the stream";
    EXPECT_GE(matched, streaming * 9 / 10) << matched << " of " << streaming;
    EXPECT_EQ(pushes.back().status, KY_ARM_IDLE) << "the stream has ended";
}

// Drags the arm along a path by hand with recording on; returns the recording.
std::vector<std::vector<double>> teach(ky::sim::Simulator &sim, ky_robot_handle *robot) {
    std::vector<std::vector<double>> path;
    for (int k = 1; k <= 20; ++k) {
        std::vector<double> q = kStart;
        q[0] += 1.5 * k;
        q[2] += 8.0 * std::sin(k / 6.0);
        path.push_back(q);
    }
    EXPECT_EQ(ky_start_drag_teach(robot, 1), 0);
    EXPECT_TRUE(sim.drag_along(path, 20));
    for (int i = 0; i < 400 && sim.hand_moving(); ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(ky_stop_drag_teach(robot), 0);
    return sim.drag_recording();
}

TEST_F(StreamSim, DragTaughtPathIsSavedLineByLineAndReplayed) {
    const auto recording = teach(*sim, robot);
    ASSERT_GT(recording.size(), 10u);

    const std::string path = (std::filesystem::temp_directory_path() / "kyarm_drag_taught.txt").string();
    int total = -1;
    ASSERT_EQ(ky_save_trajectory(robot, path.c_str(), &total), 0);
    EXPECT_EQ(total, static_cast<int>(recording.size()));

    // The file holds one {"point":[...]} line per recorded sample, in thousandths of a degree.
    std::ifstream in(path);
    std::string line;
    size_t n = 0;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        ASSERT_LT(n, recording.size()) << line;
        std::string expected = "{\"point\":[";
        for (size_t i = 0; i < recording[n].size(); ++i) {
            if (i) expected += ',';
            expected += std::to_string(std::lround(recording[n][i] * 1000));
        }
        expected += "]}";
        EXPECT_EQ(line, expected) << "sample " << n;
        ++n;
    }
    EXPECT_EQ(n, recording.size());
    std::remove(path.c_str());

    // Away from the path, back to its start with a blocking wait, then the blocking replay.
    float away[6];
    for (int i = 0; i < 6; ++i) away[i] = static_cast<float>(kStart[i] - 10);
    ASSERT_EQ(ky_movej(robot, away, 50, 0, 0, 1), 0);
    ASSERT_EQ(ky_drag_trajectory_origin(robot, 1), 0);
    EXPECT_LT(max_diff(sim->joints(), recording.front()), 0.01);
    ASSERT_EQ(ky_run_drag_trajectory(robot, 1), 0);
    EXPECT_LT(max_diff(sim->joints(), recording.back()), 0.01);
}

}  // namespace
