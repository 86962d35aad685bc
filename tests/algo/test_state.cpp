// Algorithm state: model defaults, validating setters and the stored unit conversions.
#include <gtest/gtest.h>

#include <cmath>

#include "algo/kinematics.h"
#include "algo/state.h"
#include "ky_api.h"

using namespace ky::algo;

namespace {

struct SelectCase {
    uint32_t type, sensor;
    int rc;
    int dof;
    float last_d;  // last DH offset d, m (0 to skip)
    float first_d;
};

TEST(ModelDefaults, SelectionResultsAndLinkLengths) {
    const SelectCase cases[] = {
        {0, 0, 0, 6, 0.144f, 0.2405f},   {0, 1, 0, 6, 0.152f, 0.2405f},
        {0, 2, 0, 6, 0.1725f, 0.2405f},  {1, 0, 0, 7, 0.144f, 0.2405f},
        {1, 2, 0, 7, 0.1725f, 0.2405f},  {3, 2, 0, 6, 0.1435f, 0.172f},
        {4, 0, 0, 6, 0.115f, 0.162f},    {4, 1, 0, 6, 0.123f, 0.172f},  // rev. 3 base grows with a sensor
        {5, 2, 0, 6, 0.108f, 0.1625f},   {6, 0, 0, 6, 0.0707f, 0.136f},
        {6, 1, -1, 0, 0, 0},             {7, 0, 0, 7, 0.0905f, 0.218f},
        {7, 1, -1, 0, 0, 0},             {8, 1, 0, 6, 0.0875f, 0.1625f},
        {9, 0, 0, 7, 0.0f, 0.0f},        {2, 0, -1, 0, 0, 0},
        {10, 0, -1, 0, 0, 0},            {0, 3, -1, 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " sensor " << c.sensor);
        EXPECT_EQ(libalgo_set_robot_and_sensor_type(c.type, c.sensor), c.rc);
        EXPECT_EQ(libalgo_get_rbt_dof(), c.dof);
        EXPECT_EQ(libalgo_get_robot_type(), c.type);
        ky_dh_table dh;
        libalgo_get_dh_value(&dh);
        if (c.dof > 0) {
            EXPECT_FLOAT_EQ(dh.d[c.dof - 1], c.last_d);
            EXPECT_FLOAT_EQ(dh.d[0], c.first_d);
            EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);
        } else {
            // A refused selection leaves a cleared state with identity frames.
            ky_matrix tool;
            libalgo_get_tool_cs_matrix(&tool);
            EXPECT_EQ(tool.rows, 4);
            EXPECT_FLOAT_EQ(tool.data[0][0], 1.0f);
            EXPECT_FLOAT_EQ(dh.d[0], 0.0f);
        }
    }
}

TEST(ModelDefaults, LimitsStoredInRadiansWithModelAsymmetries) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(7, 0), 0);  // NOV7B
    float mx[8], mn[8], vel[8], acc[8];
    libalgo_get_jointlim_max(mx);
    libalgo_get_jointlim_min(mn);
    libalgo_get_joint_vel_maxlim(vel);
    libalgo_get_joint_acc_maxlim(acc);
    EXPECT_FLOAT_EQ(mx[0], 172 * 0.017453292f);
    EXPECT_FLOAT_EQ(mn[3], -170 * 0.017453292f);  // joint 4 is asymmetric
    EXPECT_FLOAT_EQ(mx[3], 55 * 0.017453292f);
    EXPECT_FLOAT_EQ(mn[5], -90 * 0.017453292f);
    EXPECT_FLOAT_EQ(acc[6], 17.453292f);
    EXPECT_FLOAT_EQ(mx[7], 0.0f);  // past the joint count
    // The modelling limits add the theta offsets (NOV7B joint 6: 90 degrees).
    float mmx[8], mmn[8];
    libalgo_get_modeling_jointlim_max(mmx);
    libalgo_get_modeling_jointlim_min(mmn);
    EXPECT_NEAR(mmx[5], mx[5] + 1.5707964f, 1e-6);
    EXPECT_NEAR(mmn[5], mn[5] + 1.5707964f, 1e-6);

    ASSERT_EQ(libalgo_set_robot_and_sensor_type(0, 0), 0);
    libalgo_get_jointlim_max(mx);
    EXPECT_NEAR(mx[0], 3.106686f, 1e-6);
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(6, 0), 0);  // LUX6B's own velocity order
    libalgo_get_joint_vel_maxlim(vel);
    EXPECT_FLOAT_EQ(vel[0], 225 * 0.017453292f);
    EXPECT_FLOAT_EQ(vel[5], 180 * 0.017453292f);
}

TEST(ModelDefaults, DirectionsAndNeutralDynamics) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(5, 0), 0);
    float dir[8];
    libalgo_get_joint_direction(dir);
    const float lux[6] = {1, -1, 1, -1, 1, 1};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(dir[i], lux[i]);
    // Zero keeps the stored sign; any positive or negative value stores +1 or -1.
    const float upd[8] = {0, 0.3f, -7, 0, 0, 0, 0, 0};
    libalgo_set_joint_direction(upd);
    libalgo_get_joint_direction(dir);
    EXPECT_EQ(dir[0], 1);
    EXPECT_EQ(dir[1], 1);
    EXPECT_EQ(dir[2], -1);
    EXPECT_EQ(dir[3], -1);

    float dyn[152];
    libalgo_get_dynamics_params(dyn);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(dyn[i], 1.0f);
    for (int i = 72; i < 152; ++i) EXPECT_EQ(dyn[i], 0.0f);
    float drag[16] = {0.0005f, -0.0009f, 0.5f, 0.001f, 0, 2, 0, 0};
    libalgo_set_drag_regulation_factor(drag);
    libalgo_get_dynamics_params(dyn);
    EXPECT_EQ(dyn[0], 1.0f);
    EXPECT_EQ(dyn[1], 1.0f);
    EXPECT_EQ(dyn[2], 0.5f);
    EXPECT_EQ(dyn[3], 0.001f);
    EXPECT_EQ(dyn[4], 1.0f);
    EXPECT_EQ(dyn[6], 0.0f);  // joint 7 of a 6-joint arm is not repaired
    float tcp[4];
    libalgo_get_tcp_config(tcp);
    EXPECT_FLOAT_EQ(tcp[1], 1.6f);
}

TEST(StateSetters, ValidationAndStoredValues) {
    ASSERT_EQ(libalgo_init(), 0);
    EXPECT_EQ(libalgo_get_robot_type(), 0u);
    EXPECT_EQ(libalgo_set_safety_level(8), 0);
    EXPECT_EQ(libalgo_set_safety_level(9), -1);
    EXPECT_EQ(libalgo_get_safety_level(), 8);
    EXPECT_EQ(libalgo_set_system_all_dof(5), -1);
    EXPECT_EQ(libalgo_get_system_all_dof(), 6);
    EXPECT_EQ(libalgo_set_system_all_dof(8), 0);
    EXPECT_EQ(libalgo_get_system_all_dof(), 8);
    EXPECT_EQ(libalgo_set_dynamics_model_type(2), 2);
    EXPECT_EQ(libalgo_set_dynamics_model_type(7), 1);
    EXPECT_EQ(libalgo_set_dynamics_model_type(0), 1);
    EXPECT_EQ(libalgo_get_dynamics_model_type(), 1);
    EXPECT_FLOAT_EQ(libalgo_get_control_loop_period(), 0.002f);
    float g[3];
    libalgo_get_robot_gravity_acc(g);
    EXPECT_FLOAT_EQ(g[2], -9.81f);

    // A DH change of 1e-6 on a used joint is no longer the default; restoring is.
    ky_dh_table dh;
    libalgo_get_dh_value(&dh);
    dh.a[2] += 1e-6f;
    libalgo_set_dh_params(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 0);
    libalgo_set_dh_params_default();
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);

    // Feedback joint vectors are stored with the theta offsets (KY6A: 90 deg on 2 and 3).
    float fb[71] = {};
    fb[1] = 0.1f;
    fb[8 + 2] = 0.2f;
    fb[40] = 5.0f;
    libalgo_update_feedback_data(fb);
    float back[71];
    libalgo_get_robot_feedback_data(back);
    EXPECT_NEAR(back[1], 0.1f + 1.5707964f, 1e-6);
    EXPECT_NEAR(back[8 + 2], 0.2f + 1.5707964f, 1e-6);
    EXPECT_EQ(back[40], 5.0f);

    // Installation angles rebuild rotation and gravity.
    libalgo_set_robot_install_angle(0.0f, 1.5707964f, 0.0f);
    libalgo_get_robot_gravity_acc(g);
    EXPECT_NEAR(g[0], 9.81f, 1e-5);
    EXPECT_NEAR(g[2], 0.0f, 1e-5);
    ky_matrix inst;
    libalgo_get_robot_install_angle_matrix(&inst);
    EXPECT_NEAR(inst.data[2][0], -1.0f, 1e-6);

    // The work frame is stored as its inverse.
    const float wf[6] = {0.5f, 0, 0, 0, 0, 1.5707964f};
    libalgo_set_work_cs_params(wf);
    ky_matrix w;
    libalgo_get_work_cs_to_base_matrix(&w);
    EXPECT_NEAR(w.data[0][3], 0.0f, 1e-6);
    EXPECT_NEAR(w.data[1][3], 0.5f, 1e-6);

    // A new model selection discards every earlier setting.
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(0, 0), 0);
    libalgo_get_work_cs_to_base_matrix(&w);
    EXPECT_FLOAT_EQ(w.data[1][3], 0.0f);
    EXPECT_EQ(libalgo_get_safety_level(), 0);

    // Null records are ignored, not dereferenced.
    libalgo_set_payload_params(nullptr);
    libalgo_get_payload_params(nullptr);
    libalgo_set_dh_params(nullptr);
    libalgo_set_joint_config(9, nullptr);
    libalgo_clear();
    EXPECT_EQ(libalgo_get_rbt_dof(), 0);
}

}  // namespace
