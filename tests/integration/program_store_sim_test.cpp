// The program store through the library against the simulator running in-process: a project
// saved under an id, found in the paged and filtered list, started by id with a blocking
// wait for its own "program_run_finish", then deleted.
// Needs the project upload (include/kyarm/project.h) and the simulated program store.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "support/sim_fixture.h"

namespace {

using ProgramStoreSim = kytest::TcpSimTest;

// Saves a one-move project as program `id` (only saved, not run) from a file named `name`.txt.
int save_project(ky_robot_handle *robot, const std::string &name, int id, const float joints[6]) {
    std::string move = R"({"command":"movej","joint":[)";
    for (int i = 0; i < 6; ++i) move.append(i ? "," : "").append(std::to_string(static_cast<int>(joints[i] * 1000)));
    move.append(R"(],"v":50,"r":0,"trajectory_connect":0})");
    const std::string path = ::testing::TempDir() + name + ".txt";
    std::ofstream(path, std::ios::binary)
        << "{\"file\":6}\r\n{\"name\":\"Folder\",\"num\":1,\"type\":1,\"enabled\":true,\"parent_number\":0}\r\n"
        << move << "\r\n";
    ky_project_upload up{};
    std::snprintf(up.project_path, sizeof up.project_path, "%s", path.c_str());
    up.project_path_len = static_cast<int>(std::strlen(up.project_path));
    up.plan_speed = 100;
    up.only_save = 1;
    up.save_id = id;
    int err_line = 0;
    const int r = ky_send_project(robot, &up, &err_line);
    std::remove(path.c_str());
    return r;
}

TEST_F(ProgramStoreSim, StoredProgramListedRunByIdAndDeleted) {
    float start[7] = {};
    ASSERT_EQ(ky_get_joint_degree(robot, start), 0);
    float target[6];
    for (int i = 0; i < 6; ++i) target[i] = start[i] + (i == 0 ? 5.0f : 0.0f);
    ASSERT_EQ(save_project(robot, "store_job", 7, target), 0);
    ASSERT_EQ(save_project(robot, "other_job", 8, start), 0);

    auto list = std::make_unique<ky_program_list>();
    ASSERT_EQ(ky_get_program_trajectory_list(robot, 1, 10, "store", list.get()), 0);
    EXPECT_EQ(list->total_size, 1);
    EXPECT_STREQ(list->vague_search, "store");
    EXPECT_EQ(list->list[0].id, 7);
    EXPECT_STREQ(list->list[0].trajectory_name, "store_job");
    EXPECT_GT(list->list[0].size, 0);

    ky_program_run_state state{};
    ASSERT_EQ(ky_get_program_run_state(robot, &state), 0);
    EXPECT_EQ(state.run_state, 0);

    // Blocks until the controller reports program 7 finished: the arm then stands at the target.
    ASSERT_EQ(ky_set_program_id_run(robot, 7, 0, 1), 0);
    float now[7] = {};
    ASSERT_EQ(ky_get_joint_degree(robot, now), 0);
    EXPECT_NEAR(now[0], target[0], 0.01f);
    ASSERT_EQ(ky_get_program_run_state(robot, &state), 0);
    EXPECT_EQ(state.run_state, 0);

    ASSERT_EQ(ky_set_default_run_program(robot, 8), 0);
    int default_id = 0;
    ASSERT_EQ(ky_get_default_run_program(robot, &default_id), 0);
    EXPECT_EQ(default_id, 8);

    ASSERT_EQ(ky_delete_program_trajectory(robot, 7), 0);
    EXPECT_EQ(ky_delete_program_trajectory(robot, 7), 1);
    EXPECT_EQ(ky_set_program_id_run(robot, 7, 0, 1), 1);
    std::memset(list.get(), 0, sizeof *list);
    ASSERT_EQ(ky_get_program_trajectory_list(robot, 1, 10, nullptr, list.get()), 0);
    EXPECT_EQ(list->total_size, 1);
    EXPECT_EQ(list->list[0].id, 8);
}

}  // namespace
