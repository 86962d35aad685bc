// Electronic fences, virtual wall, self-collision and run mode: the request bytes of every
// writer (thousandths truncated toward zero, the cube's "z_min_limit" carrying x_min_limit),
// the forms each writer refuses, and what the readers write (names cut at 10 bytes, lists).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "support/test_util.h"

namespace {

using Fixture = kytest::ConnectedTest<1>;
class Fence : public Fixture {};

std::string wire(const std::string &request) { return request + std::string("\r\n\0", 3); }

ky_fence_config cube() {
    ky_fence_config c{};
    c.form = KY_FENCE_CUBE;
    std::memcpy(c.form_name, "box", 3);
    c.x_min_limit = -0.5f, c.x_max_limit = 0.5f, c.y_min_limit = -0.4f, c.y_max_limit = 0.4f;
    c.z_min_limit = 0.1f, c.z_max_limit = 0.9f;
    return c;
}
ky_fence_config plane() {
    ky_fence_config c{};
    c.form = KY_FENCE_PLANE;
    std::memcpy(c.form_name, "twelve_bytes", 12);  // fills the field, no terminator
    c.x1 = 0.0015f, c.y1 = -0.0015f, c.z1 = 1, c.x2 = 2, c.y2 = 3, c.z2 = 4, c.x3 = -1, c.y3 = -2, c.z3 = 0.25f;
    return c;
}
ky_fence_config sphere() {
    ky_fence_config c{};
    c.form = KY_FENCE_SPHERE;
    std::memcpy(c.form_name, "ball", 4);
    c.x = 0.1f, c.y = 0.2f, c.z = 0.3f, c.radius = 0.05f;
    return c;
}
ky_fence_config form(int f) {
    ky_fence_config c = cube();
    c.form = f;
    return c;
}

const char *kCubeKeys = R"("x_max_limit":500,"x_min_limit":-500,"y_max_limit":400,"y_min_limit":-400,"z_max_limit":900,"z_min_limit":-500)";
const char *kPlaneKeys = R"("x1":1,"y1":-1,"z1":1000,"x2":2000,"y2":3000,"z2":4000,"x3":-1000,"y3":-2000,"z3":250)";
const char *kSphereKeys = R"("radius":50,"x":100,"y":200,"z":300)";

// Every writer: its exact bytes, then its state key decides 0 / 1.
TEST_F(Fence, WritersSendScaledShapesAndReadTheirStateKey) {
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *)> call;
        std::string request;
        const char *state_key;
    } cases[] = {
        {"add_electronic_fence_config", [](auto *r) { auto c = cube(); return ky_add_electronic_fence_config(r, &c); },
         std::string(R"({"command":"add_electronic_fence_config","form":1,"form_name":"box",)") + kCubeKeys + "}",
         "add_config"},
        {"add_electronic_fence_config", [](auto *r) { auto c = plane(); return ky_add_electronic_fence_config(r, &c); },
         std::string(R"({"command":"add_electronic_fence_config","form":2,"form_name":"twelve_bytes",)") + kPlaneKeys +
             "}",
         "add_config"},
        {"update_electronic_fence_config",
         [](auto *r) { auto c = sphere(); return ky_update_electronic_fence_config(r, &c); },
         std::string(R"({"command":"update_electronic_fence_config","form":3,"form_name":"ball",)") + kSphereKeys + "}",
         "update_config"},
        {"delete_electronic_fence_config", [](auto *r) { return ky_delete_electronic_fence_config(r, "box"); },
         R"({"command":"delete_electronic_fence_config","form_name":"box"})", "delete_config"},
        {"set_electronic_fence_config", [](auto *r) { auto c = cube(); return ky_set_electronic_fence_config(r, &c); },
         std::string(R"({"command":"set_electronic_fence_config","form":1,)") + kCubeKeys + "}", "set_config"},
        {"set_electronic_fence_config", [](auto *r) { auto c = plane(); return ky_set_electronic_fence_config(r, &c); },
         std::string(R"({"command":"set_electronic_fence_config","form":2,)") + kPlaneKeys + "}", "set_config"},
        {"set_virtual_wall_config", [](auto *r) { auto c = cube(); return ky_set_virtual_wall_config(r, &c); },
         std::string(R"({"command":"set_virtual_wall_config","form":1,)") + kCubeKeys + "}", "set_config"},
        {"set_virtual_wall_config", [](auto *r) { auto c = sphere(); return ky_set_virtual_wall_config(r, &c); },
         std::string(R"({"command":"set_virtual_wall_config","form":3,)") + kSphereKeys + "}", "set_config"},
        {"set_electronic_fence_enable",
         [](auto *r) { return ky_set_electronic_fence_enable(r, ky_fence_enable{true, 1, 7}); },
         R"({"command":"set_electronic_fence_enable","set_enable":true,"in_out_side":1,"effective_region":7})",
         "set_state"},
        {"set_virtual_wall_enable", [](auto *r) { return ky_set_virtual_wall_enable(r, ky_fence_enable{false, 0, -2}); },
         R"({"command":"set_virtual_wall_enable","set_enable":false,"in_out_side":0,"effective_region":-2})",
         "set_state"},
        {"set_self_collision_enable", [](auto *r) { return ky_set_self_collision_enable(r, true); },
         R"({"command":"set_self_collision_enable","set_enable":true})", "set_state"},
        {"set_arm_run_mode", [](auto *r) { return ky_set_arm_run_mode(r, 2); },
         R"({"command":"set_arm_run_mode","mode":1})", "mode"},
        {"set_arm_run_mode", [](auto *r) { return ky_set_arm_run_mode(r, 0); },
         R"({"command":"set_arm_run_mode","mode":0})", "mode"},
    };
    for (const auto &c : cases) {
        for (const auto &[value, expected] : {std::pair{"true", 0}, std::pair{"false", 1}, std::pair{"1", -3}}) {
            fake.clear_received();
            fake.on(c.command, std::string(R"({"command":")") + c.command + R"(",")" + c.state_key + "\":" + value + "}");
            EXPECT_EQ(c.call(robot), expected) << c.request << " " << value;
            EXPECT_EQ(fake.received(), wire(c.request));
        }
    }
}

// Forms a writer cannot send: nothing goes out; the result and the log line are the writer's own.
TEST_F(Fence, UnusableFormsAreRefusedUnsent) {
    struct Case {
        std::function<int(ky_robot_handle *)> call;
        int expected;
        const char *log;
    } cases[] = {
        {[](auto *r) { auto c = form(4); return ky_add_electronic_fence_config(r, &c); }, -4,
         "Configuration error for the form of the newly added electronic fence! Wrong form: 4\n"},
        {[](auto *r) { auto c = form(0); return ky_add_electronic_fence_config(r, &c); }, -4, "Wrong form: 0\n"},
        {[](auto *r) { auto c = form(4); return ky_update_electronic_fence_config(r, &c); }, -1,
         "[ky_update_electronic_fence_config]  send error\n"},
        {[](auto *r) { auto c = sphere(); return ky_set_electronic_fence_config(r, &c); }, -1,
         "electronic fence form check err!!"},
        {[](auto *r) { auto c = form(4); return ky_set_electronic_fence_config(r, &c); }, -1,
         "[ky_set_electronic_fence_config]  send error\n"},
        {[](auto *r) { auto c = plane(); return ky_set_virtual_wall_config(r, &c); }, -1,
         "virtual wall form check err!\n"},
        {[](auto *r) { auto c = form(4); return ky_set_virtual_wall_config(r, &c); }, -1,
         "[ky_set_virtual_wall_config]  send error\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log(KY_LOG_ERROR);
        EXPECT_EQ(c.call(robot), c.expected) << c.log;
        EXPECT_TRUE(log.contains(c.log)) << c.log;
        EXPECT_EQ(fake.received(), "");
    }
}

std::string reply(const std::string &command, const std::string &members) {
    return R"({"command":")" + command + R"(",)" + members + "}";
}

// The shape readers: what they write (divided by 1000, names cut at 10 bytes, z_min_limit
// read into z_min_limit) and when they leave the record alone.
TEST_F(Fence, ShapeReadersWriteTheRecord) {
    const std::string cube_reply = R"("form":1,"x_min_limit":-500,"x_max_limit":500,"y_min_limit":-400,)"
                                   R"("y_max_limit":400,"z_min_limit":100,"z_max_limit":900)";
    struct Case {
        const char *command;
        std::function<int(ky_robot_handle *, ky_fence_config *)> call;
        std::string members;
        int expected;
        std::function<void(const ky_fence_config &)> check;
    } cases[] = {
        {"given_electronic_fence_config",
         [](auto *r, auto *c) { return ky_get_given_electronic_fence_config(r, "twelve_bytes", c); },
         R"("given_state":true,"form_name":"twelve_bytes",)" + cube_reply, 0,
         [](const ky_fence_config &c) {
             EXPECT_EQ(std::string(c.form_name, 12), std::string("twelve_byt\0\0", 12));
             EXPECT_EQ(c.form, 1);
             EXPECT_FLOAT_EQ(c.x_min_limit, -0.5f);
             EXPECT_FLOAT_EQ(c.z_min_limit, 0.1f);
             EXPECT_FLOAT_EQ(c.z_max_limit, 0.9f);
         }},
        // A missing "given_state" is no error.
        {"given_electronic_fence_config", [](auto *r, auto *c) { return ky_get_given_electronic_fence_config(r, "b", c); },
         R"("form_name":"b","form":3,"radius":50,"x":-1,"y":2,"z":1999)", 0,
         [](const ky_fence_config &c) {
             EXPECT_FLOAT_EQ(c.radius, 0.05f);
             EXPECT_FLOAT_EQ(c.x, -0.001f);
             EXPECT_FLOAT_EQ(c.z, 1.999f);
         }},
        {"given_electronic_fence_config", [](auto *r, auto *c) { return ky_get_given_electronic_fence_config(r, "b", c); },
         R"("given_state":false)", 1, [](const ky_fence_config &c) { EXPECT_EQ(c.form, 99); }},
        {"given_electronic_fence_config", [](auto *r, auto *c) { return ky_get_given_electronic_fence_config(r, "b", c); },
         R"("given_state":true,"form_name":"b","form":2,"x1":1)", -3, nullptr},
        {"get_electronic_fence_config", [](auto *r, auto *c) { return ky_get_electronic_fence_config(r, c); },
         R"("form":2,"x1":1,"y1":2,"z1":3,"x2":4,"y2":5,"z2":6,"x3":7,"y3":8,"z3":-9,"given_state":true)", 0,
         [](const ky_fence_config &c) {
             EXPECT_EQ(c.form, 2);
             EXPECT_FLOAT_EQ(c.z3, -0.009f);
             EXPECT_EQ(c.form_name[0], 'x');  // no name on this reply
         }},
        // The fence in force reads no sphere: form stored, shape fields untouched.
        {"get_electronic_fence_config", [](auto *r, auto *c) { return ky_get_electronic_fence_config(r, c); },
         R"("form":3,"radius":50,"x":1,"y":1,"z":1,"given_state":true)", 0,
         [](const ky_fence_config &c) {
             EXPECT_EQ(c.form, 3);
             EXPECT_FLOAT_EQ(c.radius, 42.0f);
         }},
        {"get_electronic_fence_config", [](auto *r, auto *c) { return ky_get_electronic_fence_config(r, c); },
         R"("given_state":false)", 1, nullptr},
        {"get_electronic_fence_config", [](auto *r, auto *c) { return ky_get_electronic_fence_config(r, c); },
         R"("given_state":true)", -3, nullptr},
        {"get_virtual_wall_config", [](auto *r, auto *c) { return ky_get_virtual_wall_config(r, c); },
         R"("form":3,"radius":50,"x":1,"y":2,"z":3,"given_state":true)", 0,
         [](const ky_fence_config &c) { EXPECT_FLOAT_EQ(c.radius, 0.05f); }},
        {"get_virtual_wall_config", [](auto *r, auto *c) { return ky_get_virtual_wall_config(r, c); }, cube_reply, 0,
         [](const ky_fence_config &c) { EXPECT_FLOAT_EQ(c.y_min_limit, -0.4f); }},
        {"get_virtual_wall_config", [](auto *r, auto *c) { return ky_get_virtual_wall_config(r, c); },
         R"("form":2,"x1":1,"given_state":true)", 0, [](const ky_fence_config &c) { EXPECT_FLOAT_EQ(c.x1, 42.0f); }},
    };
    for (const auto &c : cases) {
        ky_fence_config out{};
        out.form = 99;
        std::memset(out.form_name, 'x', sizeof out.form_name);
        out.radius = out.x1 = 42.0f;
        fake.on(c.command, reply(c.command, c.members));
        EXPECT_EQ(c.call(robot, &out), c.expected) << c.members;
        if (c.check) c.check(out);
    }
    EXPECT_NE(fake.received().find(R"({"command":"given_electronic_fence_config","form_name":"twelve_bytes"})"),
              std::string::npos);
}

TEST_F(Fence, NameListCutsNamesAtTwelveBytes) {
    struct Case {
        std::string members;
        int expected, count;
    } cases[] = {
        {R"("name_list":["a","thirteen_byte","twelve_bytes"])", 0, 3},
        {R"("name_list":[])", 0, 0},
        {R"("name_list":"a")", -3, -1},
        {R"("names":[])", -3, -1},
    };
    for (const auto &c : cases) {
        ky_fence_name names[KY_FENCE_LIST_MAX];
        std::memset(names, '#', sizeof names);
        int count = -1;
        fake.on("get_electronic_fence_list_names", reply("get_electronic_fence_list_names", c.members));
        kytest::LogCapture log(KY_LOG_ERROR);
        EXPECT_EQ(ky_get_electronic_fence_list_names(robot, names, &count), c.expected) << c.members;
        EXPECT_EQ(count, c.count);
        if (c.expected == -3) {
            EXPECT_TRUE(log.contains("Get fence list names parse err\n"));
        }
        if (c.count == 3) {
            EXPECT_STREQ(names[0].name, "a");
            EXPECT_EQ(std::string(names[1].name, 12), "thirteen_byt");
            EXPECT_EQ(std::string(names[2].name, 12), "twelve_bytes");
            EXPECT_EQ(names[3].name[0], '#');
        }
    }
}

TEST_F(Fence, RecordListStopsAtTheFirstBadElement) {
    const std::string first = R"({"form_name":"box","form":1,"x_min_limit":-500,"x_max_limit":500,"y_min_limit":-400,)"
                              R"("y_max_limit":400,"z_min_limit":100,"z_max_limit":900})";
    struct Case {
        std::string members;
        int expected, count;
        bool first_filled, second_filled;
    } cases[] = {
        {R"("info_list":[)" + first + R"(,{"form_name":"b","form":3,"x":1,"y":2,"z":3}])", -3, 2, true, false},
        {R"("info_list":[)" + first + R"(,{"form_name":"b","form":3,"x":1,"y":2,"z":3,"radius":"5"}])", -3, 2, true,
         false},
        {R"("info_list":[)" + first + R"(,{"form_name":"b","form":3,"x":1,"y":2,"z":3,"radius":5}])", 0, 2, true, true},
        {R"("info_list":[{"form_name":7,"form":1}])", -3, 1, false, false},
        {R"("info_list":[])", 0, 0, false, false},
        {R"("info_list":{})", -3, -1, false, false},
    };
    for (const auto &c : cases) {
        ky_fence_config out[KY_FENCE_LIST_MAX] = {};
        int count = -1;
        fake.on("get_electronic_fence_list_infos", reply("get_electronic_fence_list_infos", c.members));
        EXPECT_EQ(ky_get_electronic_fence_list_infos(robot, out, &count), c.expected) << c.members;
        EXPECT_EQ(count, c.count) << c.members;
        EXPECT_EQ(out[0].form == 1 && out[0].z_min_limit == 0.1f && std::string(out[0].form_name) == "box",
                  c.first_filled);
        EXPECT_EQ(out[1].form == 3 && out[1].radius == 0.005f && out[1].z == 0.003f, c.second_filled);
    }
}

// The enable getters, self-collision and run mode: values written only from a whole reply.
TEST_F(Fence, EnableAndModeGetters) {
    ky_fence_enable e{false, -1, -1};
    fake.on("get_electronic_fence_enable",
            reply("get_electronic_fence_enable", R"("enable_state":true,"in_out_side":1,"effective_region":3)"));
    EXPECT_EQ(ky_get_electronic_fence_enable(robot, &e), 0);
    EXPECT_TRUE(e.enable_state);
    EXPECT_EQ(e.in_out_side, 1);
    EXPECT_EQ(e.effective_region, 3);
    fake.on("get_virtual_wall_enable", reply("get_virtual_wall_enable", R"("enable_state":false,"in_out_side":0)"));
    EXPECT_EQ(ky_get_virtual_wall_enable(robot, &e), -3);
    EXPECT_TRUE(e.enable_state);

    bool on = false;
    fake.on("get_self_collision_enable", reply("get_self_collision_enable", R"("enable_state":true)"));
    EXPECT_EQ(ky_get_self_collision_enable(robot, &on), 0);
    EXPECT_TRUE(on);
    int mode = 0;
    fake.on("get_arm_run_mode", reply("get_arm_run_mode", R"("mode":5)"));
    EXPECT_EQ(ky_get_arm_run_mode(robot, &mode), 0);
    EXPECT_EQ(mode, 5);
    EXPECT_EQ(fake.received(), wire(R"({"command":"get_electronic_fence_enable"})") +
                                   wire(R"({"command":"get_virtual_wall_enable"})") +
                                   wire(R"({"command":"get_self_collision_enable"})") +
                                   wire(R"({"command":"get_arm_run_mode"})"));
}

}  // namespace
