// Reply parsing: items of every type, nested state objects, and the failure messages.
#include <gtest/gtest.h>

#include <cjson/cJSON.h>

#include <cmath>
#include <cstring>

#include "core/exchange.h"
#include "core/units.h"
#include "support/test_util.h"

namespace {

struct ParseCase {
    const char *name;
    const char *text;
    json_parse_item item;
    int expected;
    const char *log;  // expected log fragment, or null
};

class CommonJsonParse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(CommonJsonParse, ResultAndMessage) {
    kytest::LogCapture log;
    ParseCase c = GetParam();
    EXPECT_EQ(common_json_parse("tag", c.text, &c.item, 1), c.expected);
    if (c.log) {
        EXPECT_TRUE(log.contains(c.log)) << c.log;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Failures, CommonJsonParse,
    ::testing::Values(
        ParseCase{"not_json", "{oops", ky::parse_int("a"), -3, "Error parsing JSON\n"},
        ParseCase{"missing", R"({"b":1})", ky::parse_int("a"), -3, "[tag] a parsing error\n"},
        ParseCase{"not_string", R"({"a":1})", ky::parse_str("a"), -3, "[tag] a is not a string\n"},
        ParseCase{"not_array", R"({"a":1})", ky::parse_ints("a", 2), -3, "[tag] a is not an array\n"},
        ParseCase{"one_too_many", R"({"a":[1,2,3]})", ky::parse_ints("a", 2), -3,
                  "[tag] Array size mismatch for key a\n"},
        ParseCase{"one_too_few", R"({"a":[1]})", ky::parse_ints("a", 2), -3, "[tag] Array size mismatch for key a\n"},
        ParseCase{"over_room", R"({"a":[1]})", ky::parse_ints("a", 25), -3, "Array size mismatch"},
        ParseCase{"bad_type", R"({"a":1})", json_parse_item{7, "a", 0, {}}, -3,
                  "[tag] Unsupported JSON value type for key a\n"},
        ParseCase{"json_in_state", R"({"arm_state":{"a":{}}})", ky::parse_json("a"), -3, "Unsupported JSON value type"},
        ParseCase{"non_number_is_zero", R"({"a":"x"})", ky::parse_int("a"), 0, nullptr},
        ParseCase{"bool_keeps_non_bool", R"({"a":3})", ky::parse_flag("a"), 0, nullptr}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(CommonJsonParseValues, EveryTypeAndNestedScopes) {
    json_parse_item items[5] = {ky::parse_str("s"), ky::parse_int("n"), ky::parse_ints("a", 3), ky::parse_flag("b"),
                                ky::parse_json("o")};
    ASSERT_EQ(common_json_parse("t", R"({"s":"name","n":-4,"a":[7,8,-9],"b":true,"o":{"k":[1]}})", items, 5), 0);
    EXPECT_STREQ(items[0].value.str, "name");
    EXPECT_EQ(items[1].value.num, -4);
    EXPECT_EQ(items[2].value.array[0], 7);
    EXPECT_EQ(items[2].value.array[2], -9);
    EXPECT_EQ(items[3].value.flag, 1);
    auto *dup = static_cast<cJSON *>(items[4].value.item);
    ASSERT_NE(dup, nullptr);
    EXPECT_TRUE(cJSON_IsArray(cJSON_GetObjectItem(dup, "k")));
    cJSON_Delete(dup);

    // Keys are looked up inside "arm_state", else "all_state", else at the top.
    json_parse_item n = ky::parse_int("n");
    ASSERT_EQ(common_json_parse("t", R"({"n":1,"arm_state":{"n":2},"all_state":{"n":3}})", &n, 1), 0);
    EXPECT_EQ(n.value.num, 2);
    ASSERT_EQ(common_json_parse("t", R"({"n":1,"all_state":{"n":3}})", &n, 1), 0);
    EXPECT_EQ(n.value.num, 3);

    // A long string is bounded by the value area.
    std::string long_text = "{\"s\":\"" + std::string(200, 'z') + "\"}";
    json_parse_item s = ky::parse_str("s");
    ASSERT_EQ(common_json_parse("t", long_text.c_str(), &s, 1), 0);
    EXPECT_EQ(strnlen(s.value.str, sizeof s.value.str), sizeof s.value.str - 1);

    // Items before a failure keep their values.
    json_parse_item two[2] = {ky::parse_int("n"), ky::parse_int("missing")};
    EXPECT_EQ(common_json_parse("t", R"({"n":5})", two, 2), -3);
    EXPECT_EQ(two[0].value.num, 5);
    EXPECT_EQ(common_json_parse("t", R"({"n":5})", two, 0), 0);
}

TEST(ParseSetCommand, StatesAndTheirLogLines) {
    struct Case {
        const char *text;
        const char *key;
        int expected;
        const char *log;
    } cases[] = {
        {R"({"command":"x","set_state":true})", "set_state", 0, "[t] set_state: true\n"},
        {R"({"command":"x","set_state":false})", "set_state", 1, "[t] set_state: false\n"},
        {R"({"command":"x"})", "set_state", -3, "[t] set_state command parse err\n"},
        {R"({"command":"x","set_state":1})", "set_state", -3, "[t] set_state command parse err\n"},
        {"not json", "set_state", -3, "[t] not json parse err\n"},
    };
    for (const auto &c : cases) {
        kytest::LogCapture log;
        EXPECT_EQ(parse_ky_set_command("t", c.text, c.key), c.expected) << c.text;
        EXPECT_TRUE(log.contains(c.log)) << c.log;
    }
    // "given_state" may legitimately be absent: no error lines for it.
    kytest::LogCapture log(KY_LOG_ERROR);
    EXPECT_EQ(parse_ky_set_command("t", R"({"command":"x"})", "given_state"), -3);
    EXPECT_EQ(parse_ky_set_command("t", "given_state", "k"), -3);
    EXPECT_TRUE(log.lines().empty());
}

TEST(WireUnits, ConversionsTruncateTowardZeroAndSaturate) {
    EXPECT_EQ(ky::deg_to_wire(12.3456f), 12345);
    EXPECT_EQ(ky::deg_to_wire(-0.0009f), 0);
    EXPECT_EQ(ky::micro_to_wire(0.1234567f), 123456);
    EXPECT_EQ(ky::milli_to_wire(0.25f), 250);
    EXPECT_EQ(ky::milli_to_wire(0.0019f), 1);
    EXPECT_EQ(ky::speed_to_wire(180.0f), 30000);
    EXPECT_EQ(ky::milli_to_wire(1.5f), 1500);
    EXPECT_FLOAT_EQ(ky::speed_from_wire(1500), 9.0f);
    EXPECT_FLOAT_EQ(ky::milli_from_wire(1500), 1.5f);
    EXPECT_EQ(ky::micro_to_wire(1e9f), INT32_MAX);
    EXPECT_EQ(ky::deg_to_wire(-1e12f), INT32_MIN);
    EXPECT_EQ(ky::trunc_i32(std::nan("")), 0);
}

}  // namespace
