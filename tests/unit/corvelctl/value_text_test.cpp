// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/value_text.hpp"

#include "dev_hub/base64_text.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace arvenhold::corvel::hub::ctl {
namespace {

using namespace std::chrono_literals;

using std::chrono::nanoseconds;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();

timestamp at(std::int64_t count) {
    return timestamp{nanoseconds{count}};
}

struct parsed_case {
    char const* name;
    char const* text;
    variable_value expected;
};

class parsing : public testing::TestWithParam<parsed_case> {};

TEST_P(parsing, returns_the_value) {
    auto const parsed = parse_value(GetParam().text, GetParam().expected);

    EXPECT_EQ(parsed.value, GetParam().expected);
    EXPECT_THAT(parsed.warning, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    every_type,
    parsing,
    testing::Values(
        parsed_case{"yes", "true", true},
        parsed_case{"on", "on", true},
        parsed_case{"one", "1", true},
        parsed_case{"no", "false", false},
        parsed_case{"off", "off", false},
        parsed_case{"number", "21.5", 21.5},
        parsed_case{"whole_number", "-3", -3.0},
        parsed_case{"plus", "+3e4", 3e4},
        parsed_case{"infinity", "inf", infinity},
        parsed_case{"minus_infinity", "-inf", -infinity},
        parsed_case{"integer", "-42", std::int64_t{-42}},
        parsed_case{"lowest", "-9223372036854775808", lowest},
        parsed_case{"highest", "9223372036854775807", highest},
        parsed_case{"hexadecimal", "0x2A", std::int64_t{42}},
        parsed_case{"bit_pattern", "0xffffffffffffffff", std::int64_t{-1}},
        parsed_case{"text", "a,b", std::string{"a,b"}},
        parsed_case{"no_text", "", std::string{}},
        parsed_case{"utc", "1970-01-01T00:00:01Z", at(1'000'000'000)},
        parsed_case{"space_and_offset", "1970-01-01 01:00:00.5+01:00", at(500'000'000)},
        parsed_case{"west", "1969-12-31T23:00:00.000000001-01:00", at(1)},
        parsed_case{"leap_day", "2024-02-29T00:00:00Z", at(1'709'164'800'000'000'000)},
        parsed_case{"count", "@-1", at(-1)},
        parsed_case{"seconds", "1.5s", nanoseconds{1500ms}},
        parsed_case{"milliseconds", "-250ms", nanoseconds{-250ms}},
        parsed_case{"microseconds", "12us", nanoseconds{12us}},
        parsed_case{"minutes", "0.1min", nanoseconds{6s}},
        parsed_case{"short_minutes", "3m", nanoseconds{3min}},
        parsed_case{"days", "2d", nanoseconds{48h}}),
    case_name);

TEST(parsing_a_number, takes_what_is_no_number) {
    EXPECT_TRUE(std::isnan(std::get<double>(parse_value("nan", 0.0).value)));
}

struct refused_case {
    char const* name;
    char const* text;
    variable_value like;
    char const* message;
    char const* cure;
};

class refusing : public testing::TestWithParam<refused_case> {};

TEST_P(refusing, says_what_is_wrong_and_what_to_write) {
    try {
        static_cast<void>(parse_value(GetParam().text, GetParam().like));
        FAIL() << "was accepted";
    } catch (failure const& refused) {
        EXPECT_EQ(refused.get_code(), exit_code::refused_locally);
        EXPECT_STREQ(refused.what(), GetParam().message);
        EXPECT_EQ(refused.get_cure(), GetParam().cure);
    }
}

constexpr char const* write_double = "write 21.5, -3e4, nan or inf";
constexpr char const* write_int64 = "write 42, -7 or 0x2A";
constexpr char const* write_time = "write 2026-11-22T03:08:24Z or @ and nanoseconds since 1970";
constexpr char const* write_duration = "write 1.5s, 250ms or 3min";

INSTANTIATE_TEST_SUITE_P(
    every_type,
    refusing,
    testing::Values(
        refused_case{"word", "maybe", true, "\"maybe\" is no bool", "write true or false"},
        refused_case{
            "decimal_comma",
            "21,5",
            0.0,
            "\"21,5\" is no double: it has a decimal comma where a point is needed",
            write_double},
        refused_case{"unit", "21.5C", 0.0, "\"21.5C\" is no double", write_double},
        refused_case{
            "large", "1e999", 0.0, "\"1e999\" is no double: it is out of range", write_double},
        refused_case{"nothing", "", std::int64_t{0}, "\"\" is no int64", write_int64},
        refused_case{"fraction", "1.0", std::int64_t{0}, "\"1.0\" is no int64", write_int64},
        refused_case{
            "too_high",
            "9223372036854775808",
            std::int64_t{0},
            "\"9223372036854775808\" is no int64: it does not fit into 64 bits",
            write_int64},
        refused_case{
            "too_many_digits",
            "0x10000000000000000",
            std::int64_t{0},
            "\"0x10000000000000000\" is no int64: it does not fit into 64 bits",
            write_int64},
        refused_case{
            "no_zone",
            "2026-11-22T03:08:24",
            timestamp{},
            "\"2026-11-22T03:08:24\" is no timestamp",
            write_time},
        refused_case{
            "no_such_day",
            "2026-02-29T00:00:00Z",
            timestamp{},
            "\"2026-02-29T00:00:00Z\" is no timestamp",
            write_time},
        refused_case{
            "too_late",
            "2300-01-01T00:00:00Z",
            timestamp{},
            "\"2300-01-01T00:00:00Z\" is no timestamp",
            write_time},
        refused_case{"bare_number", "5", nanoseconds{}, "\"5\" is no duration", write_duration},
        refused_case{
            "comma_in_duration",
            "1,5s",
            nanoseconds{},
            "\"1,5s\" is no duration: it has a decimal comma where a point is needed",
            write_duration},
        refused_case{
            "too_long", "200000d", nanoseconds{}, "\"200000d\" is no duration", write_duration}),
    case_name);

TEST(parsing_a_duration, warns_of_what_is_finer_than_a_microsecond) {
    EXPECT_EQ(
        parse_value("1.0000005s", nanoseconds{}).warning,
        "1.0000005s is finer than 1 microsecond; durations arrive in whole microseconds, as 1s");
    EXPECT_THAT(parse_value("0.1ns", nanoseconds{}).warning, HasSubstr("1 microsecond"));
    EXPECT_THAT(parse_value("1500ns", nanoseconds{}).warning, HasSubstr("as 1us"));
}

struct text_case {
    char const* name;
    variable_value value;
    char const* text;
    char const* json;
};

class showing : public testing::TestWithParam<text_case> {};

TEST_P(showing, writes_for_people) {
    EXPECT_EQ(make_text(GetParam().value, true), GetParam().text);
}

TEST_P(showing, writes_json) {
    auto object = json_object::object();

    add_value(object, GetParam().value);

    EXPECT_EQ(object.dump(-1, ' ', false, json_object::error_handler_t::replace), GetParam().json);
}

// What is written to a file comes back as it was.
TEST_P(showing, reads_its_own_json) {
    auto object = json_object::object();
    add_value(object, GetParam().value);
    auto const line = make_json_line("value", object);

    auto const parsed = parse_object(nlohmann::json::parse(line), GetParam().value);

    EXPECT_TRUE(is_same(GetParam().value, parsed.value));
    EXPECT_THAT(parsed.warning, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    every_type,
    showing,
    testing::Values(
        text_case{"flag", true, "true", R"({"value":true})"},
        text_case{"number", 0.1, "0.1", R"({"value":0.1})"},
        text_case{"no_number", std::nan(""), "nan", R"({"value":"nan"})"},
        text_case{"infinity", -infinity, "-inf", R"({"value":"-inf"})"},
        text_case{"integer", std::int64_t{-7}, "-7", R"({"value":-7})"},
        text_case{
            "exact_integer",
            std::int64_t{1} << 53U,
            "9007199254740992",
            R"({"value":9007199254740992})"},
        text_case{
            "large_integer",
            (std::int64_t{1} << 53U) + 1,
            "9007199254740993",
            R"({"value":9007199254740993,"value_text":"9007199254740993"})"},
        text_case{
            "lowest_integer",
            lowest,
            "-9223372036854775808",
            R"({"value":-9223372036854775808,"value_text":"-9223372036854775808"})"},
        text_case{"text", std::string{"\xC3\xA4\n"}, "\xC3\xA4\\n", "{\"value\":\"\xC3\xA4\\n\"}"},
        text_case{
            "bytes",
            std::string{"\xFF"},
            "\\xff",
            "{\"value\":\"\xEF\xBF\xBD\",\"value_base64\":\"/w==\"}"},
        text_case{
            "time",
            timestamp{nanoseconds{1'500'000'001}},
            "1970-01-01 00:00:01.500000001Z",
            R"({"value":"1970-01-01T00:00:01.500000001Z"})"},
        text_case{
            "early_time",
            timestamp{nanoseconds{-1'000'000}},
            "1969-12-31 23:59:59.999Z",
            R"({"value":"1969-12-31T23:59:59.999000000Z"})"},
        text_case{"duration", nanoseconds{250ms}, "250ms", R"({"value":"0.25s"})"},
        text_case{"long_duration", nanoseconds{-90min}, "-5400s", R"({"value":"-5400s"})"},
        text_case{"no_duration", nanoseconds{0}, "0s", R"({"value":"0s"})"}),
    case_name);

TEST(comparing, knows_what_durations_lose) {
    EXPECT_TRUE(is_same(nanoseconds{1999}, nanoseconds{1000}));
    EXPECT_FALSE(is_same(nanoseconds{2000}, nanoseconds{1000}));
    EXPECT_FALSE(is_same(0.5, 0.25));
    EXPECT_FALSE(is_same(1.0, std::int64_t{1}));
}

TEST(object_of_another_type, is_refused) {
    EXPECT_THROW(static_cast<void>(parse_object({{"value", true}}, 0.0)), failure);
    EXPECT_THROW(static_cast<void>(parse_object({{"value", 1.5}}, std::int64_t{0})), failure);
    EXPECT_THROW(
        static_cast<void>(parse_object({{"value", "x"}, {"value_base64", "x"}}, std::string{})),
        failure);
}

TEST(base64, has_padding) {
    EXPECT_EQ(dev::make_base64(""), "");
    EXPECT_EQ(dev::make_base64("f"), "Zg==");
    EXPECT_EQ(dev::make_base64("fo"), "Zm8=");
    EXPECT_EQ(dev::make_base64("foo"), "Zm9v");
    EXPECT_EQ(dev::parse_base64("Zm8="), "fo");
    EXPECT_EQ(dev::parse_base64("Zm8"), std::nullopt);
    EXPECT_EQ(dev::parse_base64("Z==="), std::nullopt);
    EXPECT_EQ(dev::parse_base64("Zm8?"), std::nullopt);
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
