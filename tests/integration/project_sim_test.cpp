// Project upload against the simulator running in-process: a project of three joint moves is
// uploaded with its header and run, and the program-finished event reaches the event
// callback only after the simulated arm has arrived at the last target.
#include <gtest/gtest.h>

#include <atomic>
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

// What the event callback saw, and where the simulated arm was at that moment.
struct Seen {
    std::mutex mutex;
    int finished = 0;
    int program_id = -1;
    std::vector<double> joints_at_event;
    ky::sim::Simulator *sim = nullptr;
};
Seen g_seen;

void on_event(ky_event_data data) {
    if (data.event_type != 2) return;
    std::lock_guard<std::mutex> lock(g_seen.mutex);
    ++g_seen.finished;
    g_seen.program_id = data.program_id;
    if (g_seen.sim != nullptr) g_seen.joints_at_event = g_seen.sim->joints();
}

class ProjectSim : public kytest::TcpSimTest {};

TEST_F(ProjectSim, UploadedProjectRunsAndItsCompletionRaisesTheEvent) {
    g_seen.sim = &sim;
    ky_get_arm_event_call_back(on_event);

    const std::vector<std::vector<int>> targets = {
        {10000, -20000, -50000, 0, -30000, 0},
        {-10000, -25000, -60000, 5000, -40000, 10000},
        {5000, -30000, -55000, 0, -35000, 5000},
    };
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "kyarm-project-sim";
    std::filesystem::create_directories(dir);
    const std::string source = (dir / "three_moves.txt").string();
    {
        std::ofstream f(source, std::ios::binary);
        for (const auto &t : targets) {
            f << R"({"command":"movej","joint":[)";
            for (size_t i = 0; i < t.size(); ++i) f << (i ? "," : "") << t[i];
            f << R"(],"v":50,"r":0,"trajectory_connect":0})" << "\r\n";
        }
    }

    ky_project_upload p{};
    std::snprintf(p.project_path, sizeof p.project_path, "%s", source.c_str());
    p.project_path_len = static_cast<int32_t>(source.size());
    p.plan_speed = 50;
    p.only_save = 0;
    p.save_id = 1;
    p.add_header = 1;
    int err_line = 0;
    ASSERT_EQ(ky_send_project(robot, &p, &err_line), 0);
    EXPECT_EQ(err_line, -1);

    for (int i = 0; i < 600; ++i) {  // up to 30 s
        {
            std::lock_guard<std::mutex> lock(g_seen.mutex);
            if (g_seen.finished > 0) break;
        }
        std::this_thread::sleep_for(50ms);
    }
    std::lock_guard<std::mutex> lock(g_seen.mutex);
    ASSERT_EQ(g_seen.finished, 1);
    ASSERT_EQ(g_seen.joints_at_event.size(), targets.back().size());
    for (size_t j = 0; j < targets.back().size(); ++j)
        EXPECT_NEAR(g_seen.joints_at_event[j], targets.back()[j] / 1000.0, 0.01) << "joint " << j;
    g_seen.sim = nullptr;
    std::filesystem::remove_all(dir);
}

}  // namespace
