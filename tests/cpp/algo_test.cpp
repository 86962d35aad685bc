// ky::algo against the C kinematics it wraps: the same bits out for a table of models and
// joint vectors, the state arrays reaching the right C fields, the result codes of failed
// solves with the kinematics' own meaning, and the robot forms against the raw handle.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kyarm.hpp"
#include "realtime/realtime_util.h"
#include "sim/simulator.h"

namespace {

namespace alg = ky::algo;

template <class T>
bool same_bits(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

const uint32_t model_types[] = {0, 1, 3, 4, 5, 6, 7, 8};
const alg::joint7 joint_table[] = {
    {0, 0, 0, 0, 0, 0, 0},
    {10, -20, 30, -40, 50, -60, 15},
    {-35, 40, 60, 25, -70, 110, -30},
};

ky_frame frame_of(float x, float y, float z, float rx, float ry, float rz) {
    ky_frame f{};
    f.pose = ky::make_pose(x, y, z, rx, ry, rz);
    return f;
}

TEST(CppAlgo, ResultsEqualTheCFunctionsBitForBit) {
    int solved = 0;
    for (uint32_t type : model_types) {
        SCOPED_TRACE("robot type " + std::to_string(type));
        alg::init_sys_data(type);
        alg::set_toolframe(frame_of(0.01f, -0.02f, 0.1f, 0.1f, -0.2f, 0.3f));
        for (const alg::joint7 &q : joint_table) {
            SCOPED_TRACE(q[1]);
            const ky_pose p = alg::forward_kinematics(q);
            EXPECT_TRUE(same_bits(p, ky_algo_forward_kinematics(nullptr, q.data())));
            EXPECT_TRUE(same_bits(alg::cartesian_tool(q, 0.01f, -0.02f, 0.03f),
                                  ky_algo_cartesian_tool(nullptr, q.data(), 0.01f, -0.02f, 0.03f)));
            EXPECT_EQ(alg::judgment_overpos(q), ky_algo_judgment_overpos(q.data()) != 0);

            // Solve for the pose from a start one degree away; both forms against the C call.
            ky_inverse_kinematics_params ik{};
            for (int i = 0; i < 7; ++i) ik.current_joints[i] = q[i] + 1.0f;
            ik.target_pose = p;
            ik.flag = 1;
            float c_q[7] = {};
            const int c_rc = ky_algo_inverse_kinematics(nullptr, &ik, c_q);
            const auto r = alg::try_inverse_kinematics(ik);
            EXPECT_EQ(r.code(), c_rc);
            if (c_rc == 0) {
                ++solved;
                EXPECT_EQ(std::memcmp(r->data(), c_q, sizeof c_q), 0);
                EXPECT_TRUE(same_bits(alg::inverse_kinematics(ik), *r));
            }

            const ky_frame w = frame_of(0.2f, 0.1f, -0.05f, 0.3f, 0.0f, -1.2f);
            const ky_frame t = frame_of(0.0f, 0.0f, 0.12f, 0.0f, 0.5f, 0.0f);
            const ky_pose ref = ky::make_pose(0.1f, 0.2f, 0.3f, 0.4f, -0.5f, 0.6f);
            const float off[6] = {0.01f, 0.02f, -0.03f, 0.1f, 0.2f, -0.3f};
            EXPECT_TRUE(same_bits(alg::euler2quaternion(p.euler), ky_algo_euler2quaternion(p.euler)));
            EXPECT_TRUE(same_bits(alg::quaternion2euler(p.quaternion), ky_algo_quaternion2euler(p.quaternion)));
            EXPECT_TRUE(same_bits(alg::euler2matrix(p.euler), ky_algo_euler2matrix(p.euler)));
            EXPECT_TRUE(same_bits(alg::pos2matrix(p), ky_algo_pos2matrix(p)));
            EXPECT_TRUE(same_bits(alg::matrix2pos(alg::pos2matrix(p)), ky_algo_matrix2pos(ky_algo_pos2matrix(p))));
            EXPECT_TRUE(same_bits(alg::base2workframe(w, p), ky_algo_base2workframe(&w, p)));
            EXPECT_TRUE(same_bits(alg::workframe2base(w, p), ky_algo_workframe2base(&w, p)));
            EXPECT_TRUE(same_bits(alg::end2tool(t, p), ky_algo_end2tool(&t, p)));
            EXPECT_TRUE(same_bits(alg::tool2end(t, p), ky_algo_tool2end(&t, p)));
            EXPECT_TRUE(same_bits(alg::rotate_move(p, 2, 0.3f, ref), ky_algo_rotate_move(p, 2, 0.3f, ref)));
            for (int frame : {0, 1})
                EXPECT_TRUE(same_bits(alg::pose_move(p, {off[0], off[1], off[2], off[3], off[4], off[5]}, frame),
                                      ky_algo_pose_move(p, off, frame)));
            // A zero frame is the identity, as a null one is in C.
            EXPECT_TRUE(same_bits(alg::base2workframe(ky_frame{}, p), ky_algo_base2workframe(nullptr, p)));
        }
    }
    EXPECT_GE(solved, 8);  // the comparison of solutions ran for most rows
}

// Each setter writes the C field its getter (and the C getter) reads: distinct values per
// slot catch a setter mapped onto the wrong C function or a short copy.
template <std::size_t N>
void expect_reaches_c(const char *name, void (*set)(const std::array<float, N> &) noexcept,
                      std::array<float, N> (*get)() noexcept, void (*c_get)(float *)) {
    SCOPED_TRACE(name);
    std::array<float, N> v{};
    for (std::size_t i = 0; i < N; ++i) v[i] = 0.125f * static_cast<float>(i + 1) + static_cast<float>(N);
    set(v);
    float c[N] = {};
    c_get(c);
    EXPECT_EQ(std::memcmp(c, v.data(), sizeof c), 0);
    EXPECT_EQ(get(), v);
}

TEST(CppAlgo, StateArraysReachTheirCFields) {
    alg::init_sys_data(0);
    expect_reaches_c<6>("tool_cs", &alg::set_tool_cs_params, &alg::get_tool_cs_params, &libalgo_get_tool_cs_params);
    expect_reaches_c<6>("work_cs", &alg::set_work_cs_params, &alg::get_work_cs_params, &libalgo_get_work_cs_params);
    expect_reaches_c<11>("payload", &alg::set_payload_params, &alg::get_payload_params, &libalgo_get_payload_params);
    expect_reaches_c<8>("jointlim_max", &alg::set_jointlim_max, &alg::get_jointlim_max, &libalgo_get_jointlim_max);
    expect_reaches_c<8>("jointlim_min", &alg::set_jointlim_min, &alg::get_jointlim_min, &libalgo_get_jointlim_min);
    expect_reaches_c<8>("vel", &alg::set_joint_vel_maxlim, &alg::get_joint_vel_maxlim, &libalgo_get_joint_vel_maxlim);
    expect_reaches_c<8>("acc", &alg::set_joint_acc_maxlim, &alg::get_joint_acc_maxlim, &libalgo_get_joint_acc_maxlim);
    expect_reaches_c<4>("tcp", &alg::set_tcp_config, &alg::get_tcp_config, &libalgo_get_tcp_config);
    expect_reaches_c<21>("collision", &alg::set_user_collision_threshold, &alg::get_user_collision_threshold,
                         &libalgo_get_user_collision_threshold);
    expect_reaches_c<8>("trajectory", &alg::set_trajectory_planning_joint_cmd,
                        &alg::get_trajectory_planning_joint_cmd, &libalgo_get_trajectory_planning_joint_cmd);
    alg::init_sys_data(0);
}

TEST(CppAlgo, FailedSolvesCarryTheKinematicsMeaning) {
    alg::init_sys_data(0);
    ky_inverse_kinematics_params far{};
    far.target_pose = ky::make_pose(5.0f, 0.0f, 0.3f, 3.14f, 0.0f, 0.0f);
    far.flag = 1;
    ky_inverse_kinematics_params bad_quaternion{};
    bad_quaternion.target_pose = ky::make_pose(0.3f, 0.0f, 0.3f, 0.0f, 0.0f, 0.0f);
    bad_quaternion.target_pose.quaternion = {0.5f, 0.0f, 0.0f, 0.0f};
    bad_quaternion.flag = 0;
    ky_inverse_kinematics_params outside{};
    outside.current_joints[0] = 1000.0f;
    outside.target_pose = far.target_pose;
    outside.flag = 1;

    struct Row {
        const ky_inverse_kinematics_params *params;
        int code;
        ky::errc condition;
        const char *message_part;
    };
    const Row rows[] = {
        {&far, 1, ky::errc::refused, "no acceptable inverse kinematics solution"},
        {&bad_quaternion, -2, ky::errc::family_specific, "quaternion"},
        {&outside, -1, ky::errc::failed, "outside the joint limits"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.code);
        const auto r = alg::try_inverse_kinematics(*row.params);
        EXPECT_EQ(r.code(), row.code);
        EXPECT_STREQ(r.error().category().name(), "kyarm.algo");
        EXPECT_TRUE(r.error() == row.condition);
        EXPECT_NE(r.error().message().find(row.message_part), std::string::npos) << r.error().message();
        try {
            (void)alg::inverse_kinematics(*row.params);
            ADD_FAILURE() << "no exception";
        } catch (const ky::Error &e) {
            EXPECT_EQ(e.result(), row.code);
            EXPECT_STREQ(e.function(), "ky_algo_inverse_kinematics");
            EXPECT_EQ(e.code().category(), ky::category<ky::family::algo>());
        }
    }
    // -2 here is a refused quaternion, never a time-out.
    EXPECT_FALSE(alg::try_inverse_kinematics(bad_quaternion).error() == ky::errc::timeout);

    // Refused model selections and settings.
    EXPECT_EQ(alg::try_init_sys_data(2).code(), -1);
    EXPECT_THROW(alg::set_robot_and_sensor_type(6, 1), ky::Error);
    EXPECT_EQ(alg::try_set_safety_level(9).code(), -1);
    EXPECT_TRUE(alg::try_set_safety_level(3));
    alg::init_sys_data(0);
}

TEST(CppAlgo, RobotFormsEqualTheRawHandleAndRefuseAClosedRobot) {
    for (const char *model : {"KY6A-B", "KY7A-B"}) {
        SCOPED_TRACE(model);
        ky::sim::Options o;
        o.product_version = model;
        o.push_port = rttest::free_udp_port();
        ky::sim::Simulator sim(o);
        ASSERT_TRUE(sim.start()) << sim.error();
        ky::Library lib(1);
        ky::Robot robot("127.0.0.1", sim.port());
        alg::init_sys_data(5);  // another model offline: the robot forms must load the arm's
        for (const alg::joint7 &q : joint_table) {
            const ky_pose p = alg::forward_kinematics(robot, q);
            EXPECT_TRUE(same_bits(p, ky_algo_forward_kinematics(robot.handle(), q.data())));
            EXPECT_TRUE(same_bits(alg::cartesian_tool(robot, q, 0.0f, 0.0f, 0.05f),
                                  ky_algo_cartesian_tool(robot.handle(), q.data(), 0.0f, 0.0f, 0.05f)));
            ky_inverse_kinematics_params ik{};
            std::copy(q.begin(), q.end(), ik.current_joints);
            ik.target_pose = p;
            ik.flag = 1;
            float c_q[7] = {};
            const int c_rc = ky_algo_inverse_kinematics(robot.handle(), &ik, c_q);
            alg::init_sys_data(5);
            const auto r = alg::try_inverse_kinematics(robot, ik);
            EXPECT_EQ(r.code(), c_rc);
            if (c_rc == 0) {
                EXPECT_EQ(std::memcmp(r->data(), c_q, sizeof c_q), 0);
            }
        }
        EXPECT_EQ(static_cast<int>(alg::get_rbt_dof()), robot.dof());

        robot.close();
        const auto refused = alg::try_inverse_kinematics(robot, ky_inverse_kinematics_params{});
        EXPECT_EQ(refused.code(), -1);
        EXPECT_EQ(refused.error().category(), ky::category<ky::family::wrapper>());
        EXPECT_THROW((void)alg::forward_kinematics(robot, joint_table[1]), ky::Error);
        EXPECT_THROW(alg::arm_state_set(robot), ky::Error);
    }
    alg::init_sys_data(0);
}

}  // namespace
