// Arm identity from the software information, poses and versions.
#include <gtest/gtest.h>

#include <cstring>

#include "support/test_util.h"

using kytest::FakeController;

namespace {

std::string software_info(const std::string &product, const std::string &ctrl = R"({"version":"1.2.3","build_time":"2026-11-01 10:00:00"})",
                          bool plan = true) {
    return R"({"command":"arm_software_info","Product_version":")" + product +
           R"(","algorithm_info":{"version":"1.4.7"},"ctrl_info":)" + ctrl + R"(,"dynamic_info":{"model_version":"dyn-12345"})" +
           (plan ? R"(,"plan_info":{"version":"9"})" : "") + "}";
}

using IdentityTest = kytest::ConnectedTest<1>;

TEST_F(IdentityTest, ProductVersionSetsModelDofAndForceType) {
    struct Case {
        const char *product;
        int result, dof, model, force;
        const char *log;
    } cases[] = {
        {"KY6A-6F", 0, 6, 0, 2, nullptr},
        {"KY7A-ZF", 0, 7, 1, 1, nullptr},
        {"KYL6C-B", 0, 6, 3, 0, nullptr},
        {"LUX6C-B", 0, 6, 3, 0, nullptr},  // "6C" is tested before "LUX6C"
        {"LUX6A-B", 0, 6, 5, 0, nullptr},
        {"LUX6B-B", 0, 6, 6, 0, nullptr},
        {"NOV7B-B", 0, 7, 7, 0, nullptr},
        {"KY7A-X", -1, 7, 1, 0, "Unknown force type: KY7A-X\n"},
        {"ABC-B", -1, 7, 1, 0, "Unknown arm model: ABC-B\n"},  // left as the previous case set them
        {"KY6A-000000-6F", -1, 6, 0, 0, "Unknown force type: KY6A-00000\n"},  // cut to 10
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        fake.on("get_arm_software_info", software_info(c.product));
        ky_arm_software_info info{};
        EXPECT_EQ(ky_get_arm_software_info(robot, &info), c.result) << c.product;
        EXPECT_EQ(robot->dof, c.dof) << c.product;
        EXPECT_EQ(robot->model, c.model) << c.product;
        EXPECT_EQ(robot->force_type, c.force) << c.product;
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
}

TEST_F(IdentityTest, SoftwareInfoFieldsAreCutToTheirSizes) {
    fake.on("get_arm_software_info",
            software_info("KY6A-B", R"({"version":"123456789012","build_time":"2026-11-01 10:00:00.123456"})"));
    ky_arm_software_info info;
    std::memset(&info, '#', sizeof info);
    ASSERT_EQ(ky_get_arm_software_info(robot, &info), 0);
    EXPECT_EQ(std::string(info.ctrl_version, 10), std::string("12345678\0\0", 10));
    EXPECT_EQ(std::string(info.ctrl_build_time, 20), "2026-11-01 10:00:00.");
    EXPECT_EQ(std::string(info.plan_version, 10), std::string("12345678\0\0", 10));  // from ctrl_info
    EXPECT_EQ(std::string(info.plan_build_time, 20), std::string("2026-11-01 10:00:0\0\0", 20));
    EXPECT_EQ(std::string(info.dynamic_info, 5), "dyn-1");
    EXPECT_EQ(std::string(info.product_version, 7), std::string("KY6A-B\0", 7));
}

TEST_F(IdentityTest, SoftwareInfoParseFailuresAreMinusOne) {
    struct Case {
        std::string reply;
        const char *log;
    } cases[] = {
        {R"({"command":"arm_software_info"})", "[ky_get_arm_software_info] Product version parse err\n"},
        {software_info("KY6A-B", R"({"version":"1"})"), "[ky_get_arm_software_info] Ctrl build Time parse err\n"},
        {R"({"command":"arm_software_info","Product_version":"KY6A-B","ctrl_info":{}})",
         "[ky_get_arm_software_info] Algorithm version parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        fake.on("get_arm_software_info", c.reply);
        ky_arm_software_info info{};
        EXPECT_EQ(ky_get_arm_software_info(robot, &info), -1) << c.reply;
        EXPECT_TRUE(log.contains(c.log)) << c.log;
    }
}

TEST_F(IdentityTest, InitPoseWireAndReadBack) {
    fake.on("set_init_pose", R"({"command":"set_init_pose","init_pose":true})");
    fake.on("get_init_pose", R"({"command":"arm_init_pose","init_pose":[1000,-2500,0,0,90000,12345]})");
    const float joints[7] = {12.3456f, -0.0009f, 90.0f, 0, 0, -180.0f, 99.0f};
    fake.clear_received();
    EXPECT_EQ(ky_set_init_pose(robot, joints), 0);
    ASSERT_EQ(fake.requests().size(), 1u);
    EXPECT_EQ(fake.requests()[0], R"({"command":"set_init_pose","init_pose":[12345,0,90000,0,0,-180000]})");
    float out[7] = {};
    EXPECT_EQ(ky_get_init_pose(robot, out), 0);
    EXPECT_FLOAT_EQ(out[0], 1.0f);
    EXPECT_FLOAT_EQ(out[1], -2.5f);
    EXPECT_FLOAT_EQ(out[5], 12.345f);
    fake.on("get_init_pose", R"({"command":"arm_init_pose","init_pose":[1,2,3,4,5,6,7]})");
    EXPECT_EQ(ky_get_init_pose(robot, out), -3);
}

TEST_F(IdentityTest, InstallPoseSetIsFollowedByReadBack) {
    fake.on("set_install_pose", R"({"command":"set_install_pose","set_state":true})");
    fake.on("get_install_pose", R"({"command":"install_pose","pose":[90,0,-45]})");
    fake.clear_received();
    EXPECT_EQ(ky_set_install_pose(robot, 90.9f, -0.5f, -45.2f), 0);
    auto req = fake.requests();
    ASSERT_EQ(req.size(), 2u);
    EXPECT_EQ(req[0], R"({"command":"set_install_pose","pose":[90,0,-45]})");
    EXPECT_EQ(req[1], R"({"command":"get_install_pose"})");
    EXPECT_FLOAT_EQ(robot->install_x, 90.0f);
    EXPECT_FLOAT_EQ(robot->install_z, -45.0f);
    fake.on("set_install_pose", R"({"command":"set_install_pose","set_state":false})");
    EXPECT_EQ(ky_set_install_pose(robot, 1, 2, 3), 1);
}

TEST_F(IdentityTest, SoftwareVersions) {
    fake.on("get_joint_software_version", R"({"command":"joint_software_version","version":[1,2,3,4,5,6]})");
    fake.on("get_tool_software_version", R"({"command":"tool_software_version","version":77})");
    int v[7] = {};
    EXPECT_EQ(ky_get_joint_software_version(robot, v), 0);
    EXPECT_EQ(v[5], 6);
    int t = 0;
    EXPECT_EQ(ky_get_tool_software_version(robot, &t), 0);
    EXPECT_EQ(t, 77);
    fake.on("get_joint_software_version", R"({"command":"joint_software_version","version":[1,2]})");
    EXPECT_EQ(ky_get_joint_software_version(robot, v), -3);
}

TEST(IdentityDisconnected, DofZeroRefusesJointArrayCommands) {
    kytest::Library lib(1);
    kytest::LogCapture log;
    FakeController fake;
    fake.answer_identity("XYZ-B");  // unknown model: creation fails, dof stays 0
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    ASSERT_EQ(robot->id, -1);
    float j[7] = {};
    EXPECT_EQ(ky_set_init_pose(robot, j), -1);
    EXPECT_TRUE(log.contains("[ky_set_init_pose] The robotic arm has been disconnected\n"));
    ky_robot_info info;
    EXPECT_EQ(ky_get_robot_info(robot, &info), -2);
}

}  // namespace
