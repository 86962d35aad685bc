// Streamed set-points (pass-through and force-position) and the force-position mode
// commands: exact bytes, the pose form chosen by the quaternion's norm, the dof check, the
// two force scalings, and lines that stay whole when several threads stream at once.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <cmath>
#include <limits>
#include <set>
#include <thread>

#include "core/units.h"
#include "tests/commands/motion_support.h"

using namespace kymotion;

namespace {

const std::string kEnd("\r\n\0", 3);

// Sends with `call`, which must return 0 without a reply, and returns the bytes received.
std::string streamed(Arm &arm, const std::function<int(ky_robot_handle *)> &call) {
    arm.fake.clear_received();
    EXPECT_EQ(call(arm.robot), 0);
    EXPECT_TRUE(arm.fake.wait_for_requests(1, 2s));
    return arm.fake.received();
}

ky_pose quat_pose(float w, float x, float y, float z) {
    ky_pose p = pose(0.1f, -0.2f, 0.3f, 3.1416f, -0.5f, 0.0019f);
    p.quaternion = {w, x, y, z};
    return p;
}

// A quaternion (w, x, 0, 0) whose squared norm, w*w + x*x in single precision, equals
// `target` exactly (w is moved from `w0` until an x hits the target).
ky_quaternion with_norm(float w0, float target) {
    for (float w = w0; w < w0 + 0.01f; w = std::nextafter(w, 2.0f)) {
        float x = std::sqrt(target - w * w);
        for (int i = 0; i < 8; ++i) {
            const float norm = w * w + x * x;
            if (norm == target) return {w, x, 0, 0};
            x = std::nextafter(x, norm < target ? 2.0f : 0.0f);
        }
    }
    return {0, 0, 0, 0};
}

// `q` with x moved toward `to` until the squared norm leaves its current value.
ky_quaternion nudged(ky_quaternion q, float to) {
    const float norm = q.w * q.w + q.x * q.x;
    while (q.w * q.w + q.x * q.x == norm) q.x = std::nextafter(q.x, to);
    return q;
}

const float kJoints[7] = {1.5f, -2.25f, 0.0f, 90.0f, -180.0f, 0.0005f, 33.0f};
const char *kSixJoints = "[1500,-2250,0,90000,-180000,0]";
const std::string kQuat = "\"pose_quat\":[100000,-200000,300000,1000000,0,0,0]";
const std::string kEuler = "\"pose\":[100000,-200000,300000,3141,-500,1]";

TEST(Passthrough, StreamedLinesCarryTheDocumentedBytes) {
    ky_force_position_move_params general{};
    general.target_type = KY_FORCE_TARGET_JOINT;
    std::copy(kJoints, kJoints + 7, general.joint);
    general.pose = quat_pose(0, 0, 0, 0);
    general.sensor = 1;
    general.mode = 2;
    for (int i = 0; i < 6; ++i) {
        general.control_mode[i] = i % 2;
        general.desired_force[i] = 2.7f * static_cast<float>(i);
        general.limit_vel[i] = 0.25f;
    }
    general.follow = true;
    ky_force_position_move_params general_pose = general;
    general_pose.target_type = KY_FORCE_TARGET_POSE;
    const std::string force_tail =
        R"("sensor":1,"mode":2,"control_mode":[0,1,0,1,0,1],"desired_force":[0,27,54,81,108,135],)"
        R"("limit_vel":[250,250,250,250,250,250],"follow":true})";

    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        std::string line;
    } cases[] = {
        {"movej_canfd (six of seven values)", [](auto *r) { return ky_movej_canfd(r, kJoints, true, 0.25f); },
         std::string(R"({"command":"movej_canfd","joint":)") + kSixJoints + R"(,"follow":true,"expand":250})"},
        {"movej_canfd expand truncated", [](auto *r) { return ky_movej_canfd(r, kJoints, false, -0.0019f); },
         std::string(R"({"command":"movej_canfd","joint":)") + kSixJoints + R"(,"follow":false,"expand":-1})"},
        {"movej_follow", [](auto *r) { return ky_movej_follow(r, kJoints); },
         std::string(R"({"command":"movej_follow","joint":)") + kSixJoints + "}"},
        {"movep_canfd unit quaternion", [](auto *r) { return ky_movep_canfd(r, quat_pose(1, 0, 0, 0), false); },
         R"({"command":"movep_canfd","follow":false,)" + kQuat + "}"},
        {"movep_canfd zero quaternion", [](auto *r) { return ky_movep_canfd(r, quat_pose(0, 0, 0, 0), true); },
         R"({"command":"movep_canfd","follow":true,)" + kEuler + "}"},
        {"movep_follow", [](auto *r) { return ky_movep_follow(r, quat_pose(1, 0, 0, 0)); },
         R"({"command":"movep_follow",)" + kQuat + "}"},
        {"force joint (2.7 N -> 20)",
         [](auto *r) { return ky_force_position_move_joint(r, kJoints, 1, 2, 3, true, 2.7f); },
         std::string(R"({"command":"Force_Position_Move","joint":)") + kSixJoints +
             R"(,"follow":true,"sensor":1,"mode":2,"dir":3,"force":20})"},
        {"force pose (-5.9 N -> -50)",
         [](auto *r) { return ky_force_position_move_pose(r, quat_pose(1, 0, 0, 0), 0, 1, 5, false, -5.9f); },
         R"({"command":"Force_Position_Move","follow":false,"sensor":0,"mode":1,"dir":5,"force":-50,)" + kQuat + "}"},
        {"force pose zero quaternion",
         [](auto *r) { return ky_force_position_move_pose(r, quat_pose(0, 0, 0, 0), 0, 1, 5, false, 0.9f); },
         R"({"command":"Force_Position_Move","follow":false,"sensor":0,"mode":1,"dir":5,"force":0,)" + kEuler + "}"},
        {"force general joint", [&](auto *r) { return ky_force_position_move(r, &general); },
         std::string(R"({"command":"Force_Position_Move","joint":)") + kSixJoints + "," + force_tail},
        {"force general pose", [&](auto *r) { return ky_force_position_move(r, &general_pose); },
         R"({"command":"Force_Position_Move",)" + kEuler + "," + force_tail},
    };
    Arm arm;
    for (const auto &c : cases) EXPECT_EQ(streamed(arm, c.call), c.line + kEnd) << c.name;
}

// The quaternion form needs a squared norm strictly inside (0.99, 1.1).
TEST(Passthrough, QuaternionNormChoosesThePoseForm) {
    const ky_quaternion low = with_norm(0.6f, 0.99f), high = with_norm(1.0f, 1.1f);
    ASSERT_EQ(low.w * low.w + low.x * low.x, 0.99f);
    ASSERT_EQ(high.w * high.w + high.x * high.x, 1.1f);
    const ky_quaternion inside_low = nudged(low, 1.0f), inside_high = nudged(high, 0.0f);
    ASSERT_GT(inside_low.w * inside_low.w + inside_low.x * inside_low.x, 0.99f);
    ASSERT_LT(inside_high.w * inside_high.w + inside_high.x * inside_high.x, 1.1f);
    struct Case {
        ky_quaternion q;
        bool quat_form;
    } cases[] = {
        {low, false},          {high, false},         {inside_low, true},
        {inside_high, true},   {{0, 0, 0, 0}, false}, {{0.5f, 0.5f, 0.5f, 0.5f}, true},
        {{0, 0, 0, -1}, true},           {{2, 0, 0, 0}, false},      {{NAN, 0, 0, 0}, false},
    };
    Arm arm;
    for (const auto &c : cases) {
        ky_pose p = quat_pose(c.q.w, c.q.x, c.q.y, c.q.z);
        const std::string line = streamed(arm, [&](auto *r) { return ky_movep_follow(r, p); });
        const std::string member = kytest::member_of(line.substr(0, line.size() - 3), c.quat_form ? "pose_quat" : "pose");
        EXPECT_FALSE(member.empty()) << c.q.w << " " << c.q.x << " " << line;
        if (c.quat_form) {
            EXPECT_EQ(member, "[100000,-200000,300000," + std::to_string(ky::micro_to_wire(c.q.w)) + "," +
                                  std::to_string(ky::micro_to_wire(c.q.x)) + "," +
                                  std::to_string(ky::micro_to_wire(c.q.y)) + "," +
                                  std::to_string(ky::micro_to_wire(c.q.z)) + "]");
        }
    }
}

// The line is built without cJSON: it must equal cJSON's unformatted print of the same
// members, also for extreme and saturated values.
TEST(Passthrough, LinesEqualTheJsonPrintersOutput) {
    const float sets[][7] = {
        {-0.0f, 1e-4f, -1e-4f, 2147483.0f, -2147484.0f, 1e30f, -1e30f},
        {359.999f, -359.999f, 0.001f, -0.001f, 12.3456f, -98.7654f, 7.0f},
    };
    Arm arm(1, "KY7A-B");
    for (const auto &joints : sets) {
        cJSON *o = cJSON_CreateObject();
        cJSON_AddStringToObject(o, "command", "movej_canfd");
        cJSON *a = cJSON_AddArrayToObject(o, "joint");
        for (float j : joints) cJSON_AddItemToArray(a, cJSON_CreateNumber(ky::deg_to_wire(j)));
        cJSON_AddBoolToObject(o, "follow", true);
        cJSON_AddNumberToObject(o, "expand", ky::milli_to_wire(joints[5]));
        char *printed = cJSON_PrintUnformatted(o);
        const std::string expected = std::string(printed) + kEnd;
        cJSON_free(printed);
        cJSON_Delete(o);
        EXPECT_EQ(streamed(arm, [&](auto *r) { return ky_movej_canfd(r, joints, true, joints[5]); }), expected);
    }
}

// Joint forms need a dof of 6 or 7: otherwise -1, logged, and nothing goes out. Pose forms
// do not look at the dof. An unregistered handle gives -1 everywhere.
TEST(Passthrough, JointFormsRefuseAnArmWithoutDof) {
    ky_force_position_move_params joint_params{};
    joint_params.target_type = KY_FORCE_TARGET_JOINT;
    ky_force_position_move_params pose_params{};
    pose_params.target_type = KY_FORCE_TARGET_POSE;
    struct Case {
        const char *tag;
        std::function<int(ky_robot_handle *)> call;
        bool needs_dof;
    } cases[] = {
        {"ky_movej_canfd", [](auto *r) { return ky_movej_canfd(r, kJoints, false, 0); }, true},
        {"ky_movej_follow", [](auto *r) { return ky_movej_follow(r, kJoints); }, true},
        {"ky_force_position_move_joint",
         [](auto *r) { return ky_force_position_move_joint(r, kJoints, 0, 0, 0, false, 1); }, true},
        {"ky_force_position_move", [&](auto *r) { return ky_force_position_move(r, &joint_params); }, true},
        {"ky_movep_canfd", [](auto *r) { return ky_movep_canfd(r, quat_pose(1, 0, 0, 0), false); }, false},
        {"ky_movep_follow", [](auto *r) { return ky_movep_follow(r, quat_pose(1, 0, 0, 0)); }, false},
        {"ky_force_position_move_pose",
         [](auto *r) { return ky_force_position_move_pose(r, quat_pose(1, 0, 0, 0), 0, 0, 0, false, 1); }, false},
        {"ky_force_position_move (pose)", [&](auto *r) { return ky_force_position_move(r, &pose_params); }, false},
    };
    Arm arm;
    ky_robot_handle stranger{};
    stranger.dof = 6;
    for (const auto &c : cases) {
        const std::string disconnected = std::string("[") + c.tag + "] The robotic arm has been disconnected\n";
        kytest::LogCapture log;
        arm.fake.clear_received();
        ky::store_field(arm.robot->dof, 0);
        EXPECT_EQ(c.call(arm.robot), c.needs_dof ? -1 : 0) << c.tag;
        EXPECT_EQ(log.contains(disconnected), c.needs_dof) << c.tag;
        ky::store_field(arm.robot->dof, 6);
        EXPECT_EQ(c.call(&stranger), -1) << c.tag;
        // A marker line: whatever the calls above sent arrives before it.
        ASSERT_EQ(ky_movej_follow(arm.robot, kJoints), 0);
        const size_t expected = c.needs_dof ? 1 : 2;
        ASSERT_TRUE(arm.fake.wait_for_requests(expected, 2s)) << c.tag;
        const auto requests = arm.fake.requests();
        EXPECT_EQ(requests.size(), expected) << c.tag;
        EXPECT_EQ(kytest::member_of(requests.back(), "command"), "\"movej_follow\"") << c.tag;
    }
    kytest::LogCapture log;
    joint_params.target_type = 7;
    EXPECT_EQ(ky_force_position_move(arm.robot, &joint_params), -1);
    EXPECT_EQ(ky_force_position_move(arm.robot, nullptr), -1);
    EXPECT_EQ(ky_movej_canfd(arm.robot, nullptr, false, 0), -1);
    EXPECT_TRUE(log.contains("[ky_force_position_move] unknown target type 7\n"));
}

TEST(Passthrough, SevenAxisArmSendsSevenJoints) {
    Arm arm(1, "KY7A-B");
    EXPECT_EQ(streamed(arm, [](auto *r) { return ky_movej_follow(r, kJoints); }),
              R"({"command":"movej_follow","joint":[1500,-2250,0,90000,-180000,0,33000]})" + kEnd);
}

// A connection the controller closed: the send fails, -1 and the send error line.
TEST(Passthrough, SendFailureIsReported) {
    Arm arm;
    arm.fake.close_client();
    for (int i = 0; i < 200 && ky_get_connection_state(arm.robot) != KY_CONNECTION_CLOSED; ++i) {
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_EQ(ky_get_connection_state(arm.robot), KY_CONNECTION_CLOSED);
    kytest::LogCapture log;
    EXPECT_EQ(ky_movep_canfd(arm.robot, quat_pose(1, 0, 0, 0), false), -1);
    EXPECT_TRUE(log.contains("[ky_movep_canfd] movep_canfd send error\n"));
}

// Each thread builds its lines in its own buffer: lines from concurrent streams never mix.
TEST(Passthrough, ConcurrentStreamsKeepLinesWhole) {
    Arm arm;
    constexpr int kThreads = 4, kCalls = 250;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) {
                float q[7];
                for (float &v : q) v = static_cast<float>(t * 1000 + i);
                EXPECT_EQ(ky_movej_canfd(arm.robot, q, false, 0), 0);
            }
        });
    }
    for (auto &th : threads) th.join();
    ASSERT_TRUE(arm.fake.wait_for_requests(kThreads * kCalls, 5s));
    std::set<std::string> seen;
    for (const std::string &line : arm.fake.requests()) seen.insert(line);
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kCalls; ++i) {
            const std::string v = std::to_string((t * 1000 + i) * 1000);
            std::string joints = v;
            for (int k = 1; k < 6; ++k) joints += "," + v;
            EXPECT_EQ(seen.count(R"({"command":"movej_canfd","joint":[)" + joints + R"(],"follow":false,"expand":0})"),
                      1u);
        }
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kCalls));
}

// Mode commands: request bytes, then the state key decides 0 / 1 / -3.
TEST(ForcePosition, ModeCommandsSendAndReadTheirStateKey) {
    ky_force_position_params params{};
    params.sensor = 1;
    params.mode = 0;
    for (int i = 0; i < 6; ++i) {
        params.control_mode[i] = i == 2 ? 1 : 0;
        params.desired_force[i] = i == 2 ? 2.7f : -0.05f * static_cast<float>(i);
        params.limit_vel[i] = 0.0019f * static_cast<float>(i);
    }
    struct Case {
        const char *name;
        std::function<int(ky_robot_handle *)> call;
        const char *request, *reply_key, *state_key;
    } cases[] = {
        {"set_force_position", [](auto *r) { return ky_set_force_position(r, 1, 0, 2, 2.7f); },
         R"({"command":"set_force_position","sensor":1,"mode":0,"direction":2,"force":20})", "set_force_position",
         "set_state"},
        {"set_force_position_new", [&](auto *r) { return ky_set_force_position_new(r, &params); },
         R"({"command":"set_force_position","mode":0,"sensor":1,"desired_force":[0,0,27,-1,-2,-2],)"
         R"("control_mode":[0,0,1,0,0,0],"limit_vel":[0,1,3,5,7,9]})",
         "set_force_position", "set_state"},
        {"stop_force_position", [](auto *r) { return ky_stop_force_position(r); },
         R"({"command":"stop_force_position"})", "stop_force_position", "stop_state"},
        {"start_move", [](auto *r) { return ky_start_force_position_move(r); },
         R"({"command":"Start_Force_Position_Move"})", "Start_Force_Position_Move", "set_state"},
        {"stop_move", [](auto *r) { return ky_stop_force_position_move(r); },
         R"({"command":"Stop_Force_Position_Move"})", "Stop_Force_Position_Move", "set_state"},
    };
    Arm arm;
    for (const auto &c : cases) {
        const std::string head = R"({"command":")" + std::string(c.reply_key) + R"(",")" + c.state_key + "\":";
        for (auto [reply, expected] : {std::pair{head + "true}", 0}, std::pair{head + "false}", 1},
                                       std::pair{R"({"command":")" + std::string(c.reply_key) + R"(","x":true})", -3}}) {
            arm.fake.clear_received();
            arm.fake.on(c.reply_key, reply);
            EXPECT_EQ(c.call(arm.robot), expected) << c.name << " " << reply;
            EXPECT_EQ(arm.fake.received(), c.request + kEnd) << c.name;
        }
        arm.fake.off(c.reply_key);
        EXPECT_EQ(c.call(arm.robot), -2) << c.name;
    }
    EXPECT_EQ(ky_set_force_position_new(arm.robot, nullptr), -1);
}

}  // namespace
