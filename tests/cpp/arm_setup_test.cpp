// The C++ members of the joint configuration, Cartesian limits, jogging, frames, pass-through
// and force-position families against the in-process simulator: values set come back in the
// same units and slots, short or oversized inputs are refused before anything is sent, and
// family-specific codes reach the caller with their family's meaning.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <thread>

#include "kyarm.hpp"
#include "realtime/realtime_util.h"
#include "sim/simulator.h"

// Every member of these families in the non-throwing form, so that a value/refusal type
// mismatch in any of them fails to compile (the Python module instantiates the throwing form).
template class ky::joint_config_ops<ky::NothrowRef, ky::nothrow>;
template class ky::arm_limits_ops<ky::NothrowRef, ky::nothrow>;
template class ky::jogging_ops<ky::NothrowRef, ky::nothrow>;
template class ky::frames_ops<ky::NothrowRef, ky::nothrow>;
template class ky::passthrough_ops<ky::NothrowRef, ky::nothrow>;
template class ky::force_position_ops<ky::NothrowRef, ky::nothrow>;

namespace {

using namespace std::chrono_literals;

class CppArmSetup : public ::testing::Test {
protected:
    static ky::sim::Options options() {
        ky::sim::Options o;
        o.speed_scale = 4.0;
        o.push_port = rttest::free_udp_port();
        return o;
    }
    ky::sim::Simulator sim{options()};
    std::unique_ptr<ky::Library> lib;
    std::unique_ptr<ky::Robot> robot;

    void SetUp() override {
        ASSERT_TRUE(sim.start()) << sim.error();
        lib = std::make_unique<ky::Library>(1);
        robot = std::make_unique<ky::Robot>("127.0.0.1", sim.port());
    }
    void TearDown() override {
        robot.reset();
        lib.reset();
    }
    // Streamed set-points have no reply: wait for the simulator's arm to get there.
    bool arm_reaches(const std::vector<double> &target) {
        for (int i = 0; i < 200; ++i) {
            std::vector<double> q = sim.joints();
            bool there = q.size() == target.size();
            for (std::size_t k = 0; there && k < q.size(); ++k) there = std::fabs(q[k] - target[k]) < 0.01;
            if (there) return true;
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }
};

TEST_F(CppArmSetup, SetThenGetRoundTripsKeepUnitsAndSlots) {
    ky::Robot &r = *robot;
    struct Row {
        const char *what;
        std::function<void()> set;
        std::function<float()> get;
        float expected;
    };
    const Row rows[] = {
        // joint n is slot n - 1 of every per-joint array
        {"joint max speed j2", [&] { r.set_joint_max_speed(2, 90); }, [&] { return r.get_joint_max_speed()[1]; }, 90},
        {"joint max acc j4", [&] { r.set_joint_max_acc(4, 240); }, [&] { return r.get_joint_max_acc()[3]; }, 240},
        {"joint min pos j3", [&] { r.set_joint_min_pos(3, -100); }, [&] { return r.get_joint_min_pos()[2]; }, -100},
        {"joint max pos j1", [&] { r.set_joint_max_pos(1, 150); }, [&] { return r.get_joint_max_pos()[0]; }, 150},
        {"record follows the motion limit", [&] { r.set_joint_max_speed(6, 60); },
         [&] { return r.record().joint_max_speed[5]; }, 60},
        {"drive max speed j5", [&] { r.set_joint_drive_max_speed(5, 150); },
         [&] { return r.get_joint_drive_max_speed()[4]; }, 150},
        // the drive acceleration goes out x 1000 but is read back x 6 / 1000
        {"drive max acc j2", [&] { r.set_joint_drive_max_acc(2, 50); }, [&] { return r.get_joint_drive_max_acc()[1]; },
         300},
        {"drive min pos j6", [&] { r.set_joint_drive_min_pos(6, -170); },
         [&] { return r.get_joint_drive_min_pos()[5]; }, -170},
        {"drive max pos j6", [&] { r.set_joint_drive_max_pos(6, 171); },
         [&] { return r.get_joint_drive_max_pos()[5]; }, 171},
        {"line speed", [&] { r.set_arm_max_line_speed(0.25f); }, [&] { return r.get_arm_max_line_speed(); }, 0.25f},
        {"line acc", [&] { r.set_arm_max_line_acc(1.5f); }, [&] { return r.get_arm_max_line_acc(); }, 1.5f},
        {"angular speed", [&] { r.set_arm_max_angular_speed(0.75f); },
         [&] { return r.get_arm_max_angular_speed(); }, 0.75f},
        {"angular acc", [&] { r.set_arm_max_angular_acc(2.5f); }, [&] { return r.get_arm_max_angular_acc(); }, 2.5f},
        {"collision stage", [&] { r.set_collision_state(4); }, [&] { return float(r.get_collision_stage()); }, 4},
        {"teach frame", [&] { r.set_teach_frame(1); }, [&] { return float(r.get_teach_frame()); }, 1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_NO_THROW(row.set());
        EXPECT_NEAR(row.get(), row.expected, 1e-3);
    }
    EXPECT_EQ(r.get_joint_max_speed().size(), 6u);

    r.set_joint_en_state(3, 0);
    auto en = r.get_joint_en_state();
    EXPECT_EQ(en[2], 0);
    EXPECT_EQ(en[0], 1);
    r.set_joint_en_state(3, 1);
    EXPECT_EQ(r.get_joint_en_state()[2], 1);
}

TEST_F(CppArmSetup, FramesRoundTripAndUnknownNamesFailWithTheFamilysMeaning) {
    ky::Robot &r = *robot;
    const ky_pose at = ky::make_pose(0.1f, -0.2f, 0.05f, 0.0f, 0.0f, 0.5f);
    r.set_manual_work_frame("wa_w", at);
    auto works = r.get_total_work_frame();
    EXPECT_NE(std::find(works.begin(), works.end(), "wa_w"), works.end());
    const ky_pose got = r.get_given_work_frame("wa_w");
    EXPECT_NEAR(got.position.x, 0.1f, 1e-5);
    EXPECT_NEAR(got.position.y, -0.2f, 1e-5);
    EXPECT_NEAR(got.euler.rz, 0.5f, 1e-3);
    r.change_work_frame("wa_w");
    EXPECT_EQ(ky::text(r.get_current_work_frame().frame_name), "wa_w");
    EXPECT_EQ(sim.work_frame_name(), "wa_w");
    EXPECT_FLOAT_EQ(ky::Robot::frame_matrix().data[0][3], 0.1f);

    ky_frame tool{};
    ky::copy_text(tool.frame_name, "wa_t");
    tool.pose = ky::make_pose(0, 0, 0.12f, 0, 0, 0);
    tool.payload = 1.5f;
    tool.x = 0.01f;
    tool.z = 0.03f;
    r.set_manual_tool_frame(tool);
    const ky_frame t = r.get_given_tool_frame("wa_t");
    EXPECT_EQ(ky::text(t.frame_name), "wa_t");
    EXPECT_NEAR(t.pose.position.z, 0.12f, 1e-5);
    EXPECT_NEAR(t.payload, 1.5f, 1e-3);
    EXPECT_NEAR(t.x, 0.01f, 1e-5);
    EXPECT_NEAR(t.z, 0.03f, 1e-5);
    auto tools = r.get_total_tool_frame();
    EXPECT_NE(std::find(tools.begin(), tools.end(), "wa_t"), tools.end());

    ky_tool_envelope env{};
    ky::copy_text(env.tool_name, "wa_t");
    env.count = 2;
    ky::copy_text(env.balls[0].name, "b0");
    env.balls[0].radius = 0.05f;
    ky::copy_text(env.balls[1].name, "b1");
    env.balls[1].radius = 0.02f;
    env.balls[1].z = 0.1f;
    r.set_tool_envelope(env);
    const ky_tool_envelope back = r.get_tool_envelope("wa_t");
    ASSERT_EQ(back.count, 2);
    EXPECT_EQ(ky::text(back.balls[1].name), "b1");
    EXPECT_NEAR(back.balls[1].radius, 0.02f, 1e-5);
    EXPECT_NEAR(back.balls[1].z, 0.1f, 1e-5);

    r.delete_tool_frame("wa_t");
    auto missing = r.nothrow().get_given_tool_frame("wa_t");
    ASSERT_EQ(missing.code(), 1);
    EXPECT_STREQ(missing.error().category().name(), "kyarm.frames");
    EXPECT_NE(missing.error().message().find("no frame or tool of that name"), std::string::npos)
        << missing.error().message();
    EXPECT_TRUE(missing.error() == ky::errc::refused);
    EXPECT_STREQ(missing.function(), "ky_get_given_tool_frame");
}

TEST_F(CppArmSetup, ShortOrOversizedInputsAreRefusedBeforeSending) {
    ky::NothrowRef r = robot->nothrow();
    const float three[] = {1, 2, 3};
    const std::string name13(13, 'n');
    struct Row {
        const char *function;
        std::function<int()> call;
    };
    const Row rows[] = {
        {"ky_movej_canfd", [&] { return r.movej_canfd(three, false).code(); }},
        {"ky_movej_follow", [&] { return r.movej_follow(three).code(); }},
        {"ky_force_position_move_joint", [&] { return r.force_position_move_joint(three, 0, 0, 2, false, 5).code(); }},
        {"ky_change_tool_frame", [&] { return r.change_tool_frame(name13).code(); }},
        {"ky_get_given_work_frame", [&] { return r.get_given_work_frame(name13).code(); }},
        {"ky_set_manual_work_frame", [&] { return r.set_manual_work_frame(name13, ky_pose{}).code(); }},
        {"ky_generate_auto_tool_frame", [&] { return r.generate_auto_tool_frame(name13, 1, 0, 0, 0).code(); }},
    };
    const uint64_t before = sim.commands_received();
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.call(), -1);
    }
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(sim.commands_received(), before);
    auto e = r.delete_work_frame(name13);
    EXPECT_EQ(e.error().category(), ky::category<ky::family::wrapper>());
    EXPECT_STREQ(e.function(), "ky_delete_work_frame");
    // A 12-character name fills the field exactly and is sent (the controller refuses it).
    EXPECT_EQ(r.delete_work_frame(std::string(12, 'n')).code(), 1);
    EXPECT_GT(sim.commands_received(), before);
}

TEST_F(CppArmSetup, StreamedSetPointsMoveTheArmWithoutReplies) {
    ky::Robot &r = *robot;
    r.movej_canfd(ky::Joints{1, 2, 3, 4, 5, 6}, false);
    EXPECT_TRUE(arm_reaches({1, 2, 3, 4, 5, 6}));
    r.movej_follow(ky::Joints{2, 3, 4, 5, 6, 7});
    EXPECT_TRUE(arm_reaches({2, 3, 4, 5, 6, 7}));

    r.start_force_position_move();
    ky_force_position_move_params p{};
    p.target_type = KY_FORCE_TARGET_JOINT;
    const float target[] = {3, 4, 5, 6, 7, 8};
    std::copy(std::begin(target), std::end(target), p.joint);
    p.desired_force[2] = 5;
    r.force_position_move(p);
    EXPECT_TRUE(arm_reaches({3, 4, 5, 6, 7, 8}));
    r.force_position_move_joint(ky::Joints{4, 5, 6, 7, 8, 9}, 0, 0, 2, false, 5);
    EXPECT_TRUE(arm_reaches({4, 5, 6, 7, 8, 9}));
    r.stop_force_position_move();

    p.target_type = 7;  // neither target: the C call sends nothing
    auto bad = robot->nothrow().force_position_move(p);
    EXPECT_EQ(bad.code(), -1);
    EXPECT_STREQ(bad.error().category().name(), "kyarm.force_position");
}

TEST_F(CppArmSetup, StepsBlockUntilDoneAndTheTrajectoryQueryReportsItsShape) {
    ky::Robot &r = *robot;
    r.set_joint_step_block(1, 5.0f, 50);  // returns once the step is over
    EXPECT_NEAR(sim.joints()[0], 5.0, 0.01);
    r.set_joint_step(2, 50, 1, -4.0f);  // dispatcher: block before step
    EXPECT_NEAR(sim.joints()[1], -4.0, 0.01);

    auto idle = r.get_arm_current_trajectory();
    EXPECT_EQ(idle.type, 0);
    EXPECT_EQ(idle.data.size(), 6u);

    r.movej(ky::Joints{40, 20, 30, 10, 30, 40}, 10, 0, 0, 0);
    auto joint_move = r.get_arm_current_trajectory();
    EXPECT_EQ(joint_move.type, 1);
    EXPECT_EQ(joint_move.data.size(), 6u);
    r.set_arm_stop();
    ASSERT_TRUE(sim.wait_idle(2000));
    const ky_pose here = r.get_current_arm_state().pose;
    ky_pose there = here;
    there.position.z -= 0.05f;
    r.movel(there, 5, 0, 0, 0);
    auto line = r.get_arm_current_trajectory();
    EXPECT_EQ(line.type, 2);
    ASSERT_EQ(line.data.size(), 6u);
    EXPECT_NEAR(line.data[0], here.position.x, 0.02);
    r.set_arm_stop();
}

TEST(WaCodes, FamilyMessagesDifferWhereTheFamiliesDo) {
    struct Row {
        std::error_code ec;
        ky::errc condition;
        const char *part;
    };
    const Row rows[] = {
        {ky::make_error_code<ky::family::jogging>(-5), ky::errc::family_specific, "no completion"},
        {ky::make_error_code<ky::family::jogging>(-1), ky::errc::failed, "teach jogging"},
        {ky::make_error_code<ky::family::joint_config>(-3), ky::errc::parse, "wrong length"},
        {ky::make_error_code<ky::family::passthrough>(-1), ky::errc::failed, "nothing sent"},
        {ky::make_error_code<ky::family::arm_limits>(-3), ky::errc::parse, "state key missing"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.ec.category().name());
        EXPECT_TRUE(r.ec == r.condition);
        EXPECT_NE(r.ec.message().find(r.part), std::string::npos) << r.ec.message();
    }
}

}  // namespace
