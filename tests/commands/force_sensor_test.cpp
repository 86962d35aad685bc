// Force sensors: request bytes, the reply names and state keys, the scaling of what the getters
// write, the calibrations that wait for "set_force_sensor" and those that send and return.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

std::string state_line(const std::string &name, const std::string &key, const std::string &value) {
    std::string s = R"({"command":")";
    s.append(name).append(R"(",")").append(key).append("\":").append(value).append("}");
    return s;
}

float joints[7] = {12.3456f, -0.0009f, 90.0f, -45.5f, 0.001f, -180.0f, 7.0f};
constexpr const char *kJoints6 = "[12345,0,90000,-45500,1,-180000]";

// The clearing and stopping commands: their bytes, then the state key that decides 0 / 1,
// while another key or a non-boolean is unreadable (-3).
TEST(ForceSensor, SettersReadTheirStateKey) {
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *state_key;
    } cases[] = {
        {"clear_force_data", [](auto *r) { return ky_clear_force_data(r); }, "clear_state"},
        {"stop_set_force_sensor", [](auto *r) { return ky_stop_set_force_sensor(r); }, "stop_state"},
        {"clear_Fz", [](auto *r) { return ky_clear_Fz(r); }, "set_state"},
    };
    Arm arm(1, "KY6A-6F");
    for (const auto &c : cases) {
        const std::pair<std::string, int> replies[] = {
            {state_line(c.name, c.state_key, "true"), 0},
            {state_line(c.name, c.state_key, "false"), 1},
            {state_line(c.name, "state", "true"), -3},
            {state_line(c.name, c.state_key, "1"), -3},
        };
        for (const auto &[reply, expected] : replies) {
            arm.fake.clear_received();
            arm.fake.on(c.name, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << reply;
            EXPECT_EQ(arm.fake.received(), wire(std::string(R"({"command":")") + c.name + "\"}")) << c.name;
        }
    }
}

// Every blocking calibration waits for "set_force_sensor", never for a line under its own
// request name (sent first here, with the opposite verdict), and returns its "set_state".
TEST(ForceSensor, BlockingCalibrationsWaitForTheSetForceSensorReport) {
    struct Case {
        const char *request_name;
        std::function<int(ky_robot_handle *)> call;
        std::string request;
    } cases[] = {
        {"set_force_sensor", [](auto *r) { return ky_set_force_sensor(r, true); }, R"({"command":"set_force_sensor"})"},
        {"auto_set_Fz", [](auto *r) { return ky_auto_set_Fz(r, true); }, R"({"command":"auto_set_Fz"})"},
        {"manual_set_Fz", [](auto *r) { return ky_manual_set_Fz(r, joints, joints + 1, true); },
         std::string(R"({"command":"manual_set_Fz","pose1":)") + kJoints6 +
             R"(,"pose2":[0,90000,-45500,1,-180000,7000]})"},
        {"manual_set_force_pose4", [](auto *r) { return ky_manual_set_force(r, 4, joints, true); },
         std::string(R"({"command":"manual_set_force_pose4","joint":)") + kJoints6 + "}"},
    };
    Arm arm(1, "KY6A-6F");
    for (const auto &c : cases) {
        for (const bool ok : {true, false}) {
            arm.fake.clear_received();
            const std::string own = state_line(c.request_name, "set_state", ok ? "false" : "true");
            const std::string report = state_line("set_force_sensor", "set_state", ok ? "true" : "false");
            const bool same_name = std::string(c.request_name) == "set_force_sensor";
            arm.fake.on(c.request_name, [own, report, same_name](const std::string &) {
                return same_name ? std::vector<std::string>{report} : std::vector<std::string>{own, report};
            });
            EXPECT_EQ(c.call(arm.robot), ok ? 0 : 1) << c.request_name;
            EXPECT_EQ(arm.fake.received(), wire(c.request)) << c.request_name;
        }
        arm.fake.on(c.request_name, state_line("set_force_sensor", "clear_state", "true"));
        EXPECT_EQ(c.call(arm.robot), -3) << c.request_name;
    }
}

// The forms that send and return: 0 from a controller that never answers, with the request on
// the wire. Manual poses 1 to 3 are never awaited, whatever `block` says; a 7-axis arm sends
// seven angles.
TEST(ForceSensor, NonBlockingFormsSendAndReturnWithoutAReply) {
    struct Case {
        const char *product;
        std::function<int(ky_robot_handle *)> call;
        std::string request;
    } cases[] = {
        {"KY6A-6F", [](auto *r) { return ky_set_force_sensor(r, false); }, R"({"command":"set_force_sensor"})"},
        {"KY6A-6F", [](auto *r) { return ky_auto_set_Fz(r, false); }, R"({"command":"auto_set_Fz"})"},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 1, joints, true); },
         std::string(R"({"command":"manual_set_force_pose1","joint":)") + kJoints6 + "}"},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 2, joints, true); },
         std::string(R"({"command":"manual_set_force_pose2","joint":)") + kJoints6 + "}"},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 3, joints, false); },
         std::string(R"({"command":"manual_set_force_pose3","joint":)") + kJoints6 + "}"},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 4, joints, false); },
         std::string(R"({"command":"manual_set_force_pose4","joint":)") + kJoints6 + "}"},
        {"KY7A-6F", [](auto *r) { return ky_manual_set_force(r, 1, joints, false); },
         R"({"command":"manual_set_force_pose1","joint":[12345,0,90000,-45500,1,-180000,7000]})"},
        {"KY7A-ZF", [](auto *r) { return ky_manual_set_Fz(r, joints, joints, false); },
         R"({"command":"manual_set_Fz","pose1":[12345,0,90000,-45500,1,-180000,7000],)"
         R"("pose2":[12345,0,90000,-45500,1,-180000,7000]})"},
    };
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        arm.fake.set_silent(true);
        EXPECT_EQ(c.call(arm.robot), 0) << c.request;
        ASSERT_TRUE(arm.fake.wait_for_requests(1, 2s));
        EXPECT_EQ(arm.fake.received(), wire(c.request));
    }
}

// Refused before anything is sent: an unknown joint count (-1, logged), a pose type outside
// 1..4 or a missing array (-1), and ky_get_Fz on an arm whose sensor type is not 2 (-2, the
// code of a time-out).
TEST(ForceSensor, RefusalsSendNothing) {
    struct Case {
        const char *product;
        std::function<int(ky_robot_handle *)> call;
        int expected;
        const char *log;
    } cases[] = {
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 0, joints, true); }, -1, nullptr},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 5, joints, false); }, -1, nullptr},
        {"KY6A-6F", [](auto *r) { return ky_manual_set_force(r, 1, nullptr, false); }, -1, nullptr},
        {"KY6A-ZF", [](auto *r) { return ky_manual_set_Fz(r, joints, nullptr, true); }, -1, nullptr},
        {"KY6A-6F", [](auto *r) { return ky_get_force_data(r, nullptr); }, -1, nullptr},
        {"KY6A-ZF", [](auto *r) { float f[4]; return ky_get_Fz(r, f); }, -2, "arm force type check err!"},
        {"KY6A-B", [](auto *r) { float f[4]; return ky_get_Fz(r, f); }, -2, "arm force type check err!"},
        {"KY6A-6F", [](auto *) { ky_robot_handle stray{}; float f[4]; return ky_get_Fz(&stray, f); }, -2,
         "arm force type check err!"},
        {"KY6A-6F", [](auto *) { ky_robot_handle stray{}; return ky_manual_set_force(&stray, 1, joints, false); },
         -1, "[ky_manual_set_force] The robotic arm has been disconnected\n"},
        {"KY6A-6F", [](auto *) { ky_robot_handle stray{}; return ky_manual_set_Fz(&stray, joints, joints, true); },
         -1, "[ky_manual_set_Fz] The robotic arm has been disconnected\n"},
    };
    for (const auto &c : cases) {
        Arm arm(1, c.product);
        arm.fake.on("get_Fz", R"({"command":"get_Fz","Fz":1,"zero_Fz":2,"work_zero_Fz":3,"tool_zero_Fz":4})");
        kytest::LogCapture log;
        EXPECT_EQ(c.call(arm.robot), c.expected) << c.product;
        EXPECT_EQ(arm.fake.received(), "") << c.product;
        if (c.log != nullptr) {
            EXPECT_TRUE(log.contains(c.log)) << c.log;
        }
    }
}

// The getters divide every integer by 1000 in single precision and write nothing unless the
// whole reply was read.
TEST(ForceSensor, GettersScaleAndWriteOnlyWholeReplies) {
    Arm arm(1, "KY6A-6F");
    const std::string arrays =
        R"("force_data":[1000,-2500,12345,-1,0,2147483647],"zero_force_data":[1,2,3,4,5,6],)"
        R"("work_zero_force_data":[-7,-8,-9,10,11,12],"tool_zero_force_data":[100,200,300,400,500,600])";
    arm.fake.on("get_force_data", R"({"command":"get_force_data",)" + arrays + "}");
    ky_force_data d{};
    ASSERT_EQ(ky_get_force_data(arm.robot, &d), 0);
    EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_force_data"})"));
    const float expect_force[6] = {1.0f, -2.5f, 12.345f, -0.001f, 0.0f, 2147483647 / 1000.0f};
    for (int i = 0; i < 6; ++i) {
        EXPECT_FLOAT_EQ(d.force_data[i], expect_force[i]) << i;
        EXPECT_FLOAT_EQ(d.zero_force_data[i], static_cast<float>(i + 1) / 1000.0f) << i;
        EXPECT_FLOAT_EQ(d.tool_zero_force_data[i], static_cast<float>(100 * (i + 1)) / 1000.0f) << i;
    }
    EXPECT_FLOAT_EQ(d.work_zero_force_data[0], -0.007f);
    EXPECT_FLOAT_EQ(d.work_zero_force_data[5], 0.012f);

    arm.fake.on("get_Fz", R"({"command":"get_Fz","Fz":-9810,"zero_Fz":1,"work_zero_Fz":-2,"tool_zero_Fz":3500})");
    arm.fake.clear_received();
    float fz[5] = {0, 0, 0, 0, -7};
    ASSERT_EQ(ky_get_Fz(arm.robot, fz), 0);
    EXPECT_EQ(arm.fake.received(), wire(R"({"command":"get_Fz"})"));
    EXPECT_FLOAT_EQ(fz[0], -9.81f);
    EXPECT_FLOAT_EQ(fz[1], 0.001f);
    EXPECT_FLOAT_EQ(fz[2], -0.002f);
    EXPECT_FLOAT_EQ(fz[3], 3.5f);
    EXPECT_EQ(fz[4], -7.0f);
    // The record is laid out as the array ky_get_Fz writes.
    static_assert(sizeof(ky_Fz_data) == 4 * sizeof(float));

    struct Bad {
        const char *command;
        std::string reply;
        const char *log;
    } bad[] = {
        {"get_force_data", R"({"command":"get_force_data","force_data":[1,2,3,4,5],)" + arrays.substr(arrays.find("\"zero")) + "}",
         "[ky_get_force_data] Array size mismatch for key force_data\n"},
        {"get_force_data", R"({"command":"get_force_data",)" + arrays.substr(0, arrays.find(",\"tool")) + "}",
         "[ky_get_force_data] tool_zero_force_data parsing error\n"},
        {"get_force_data", R"({"command":"get_force_data","force_data":7,)" + arrays.substr(arrays.find("\"zero")) + "}",
         "[ky_get_force_data] force_data is not an array\n"},
        {"get_Fz", R"({"command":"get_Fz","Fz":1,"zero_Fz":2,"work_zero_Fz":3})",
         "[ky_get_Fz] tool_zero_Fz parsing error\n"},
    };
    for (const auto &b : bad) {
        kytest::LogCapture log;
        arm.fake.on(b.command, b.reply);
        ky_force_data untouched{};
        untouched.force_data[0] = -7;
        float fz_untouched[4] = {-7, -7, -7, -7};
        const int r = std::string(b.command) == "get_Fz" ? ky_get_Fz(arm.robot, fz_untouched)
                                                         : ky_get_force_data(arm.robot, &untouched);
        EXPECT_EQ(r, -3) << b.reply;
        EXPECT_EQ(untouched.force_data[0], -7.0f);
        EXPECT_EQ(untouched.zero_force_data[0], 0.0f);
        EXPECT_EQ(fz_untouched[0], -7.0f);
        EXPECT_TRUE(log.contains(b.log)) << b.log;
    }

    // Answered under another name: not taken.
    arm.fake.on("get_Fz", R"({"command":"Fz","Fz":1,"zero_Fz":2,"work_zero_Fz":3,"tool_zero_Fz":4})");
    EXPECT_EQ(ky_get_Fz(arm.robot, fz), -2);
}

}  // namespace
