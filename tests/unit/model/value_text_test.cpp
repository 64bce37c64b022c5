// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/value_text.hpp"
#include "support/case_name.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

std::string text_of(variable_value const& value) {
    std::ostringstream text;
    write_value(text, value);
    return std::move(text).str();
}

struct value_case {
    char const* name;
    variable_value value;
    std::string expected;
};

class value_text : public testing::TestWithParam<value_case> {};

TEST_P(value_text, is_the_label_of_the_type_followed_by_the_value) {
    EXPECT_EQ(text_of(GetParam().value), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    every_type,
    value_text,
    testing::Values(
        value_case{"bool_true", true, "bool   true"},
        value_case{"bool_false", false, "bool   false"},
        value_case{"double", 1.5, "double 1.5"},
        value_case{"double_has_six_significant_digits", 3.14159265, "double 3.14159"},
        value_case{"double_in_general_notation", 12345678.0, "double 1.23457e+07"},
        value_case{"int64", std::int64_t{-42}, "int64  -42"},
        value_case{
            "int64_smallest",
            std::numeric_limits<std::int64_t>::min(),
            "int64  -9223372036854775808"},
        value_case{
            "int64_greatest",
            std::numeric_limits<std::int64_t>::max(),
            "int64  9223372036854775807"},
        value_case{"string", std::string{"heat up"}, "string heat up"},
        value_case{"string_without_quoting", std::string{"a\"b\\c\n"}, "string a\"b\\c\n"},
        value_case{
            "string_with_a_zero_byte", std::string{"a\0b", 3}, std::string{"string a\0b", 10}},
        value_case{"string_empty", std::string{}, "string "},
        value_case{
            "time_point",
            timestamp{nanoseconds{1'700'000'000'123'456'789}},
            "tstamp 1700000000123456789"},
        value_case{"time_point_of_the_epoch", timestamp{}, "tstamp 0"},
        value_case{"time_point_before_the_epoch", timestamp{nanoseconds{-1}}, "tstamp -1"},
        value_case{"duration", nanoseconds{1'500'000'000}, "duratn 1500000000"},
        value_case{"duration_negative", nanoseconds{-250}, "duratn -250"}),
    case_name);

TEST(value_text_on_a_stream, of_a_double_follows_the_streams_precision) {
    std::ostringstream text;
    text << std::setprecision(10);

    write_value(text, 3.14159265358979);

    EXPECT_EQ(text.str(), "double 3.141592654");
}

TEST(value_text_on_a_stream, of_a_double_follows_the_streams_notation) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2);

    write_value(text, 3.14159265358979);

    EXPECT_EQ(text.str(), "double 3.14");
}

TEST(value_text_on_a_stream, pads_the_value_but_not_the_label) {
    std::ostringstream text;
    text << std::left << std::setfill('.');

    write_value(text, true, 10);

    EXPECT_EQ(text.str(), "bool   true......");
}

// Groups digits in threes, as many languages do.
class grouping : public std::numpunct<char> {
protected:
    [[nodiscard]] std::string do_grouping() const override {
        return "\3";
    }
};

TEST(value_text_on_a_stream, of_an_integer_is_plain_whatever_the_stream_is_set_to) {
    for (variable_value const& value :
         {variable_value{std::int64_t{1'234'567}},
          variable_value{timestamp{nanoseconds{1'234'567}}},
          variable_value{nanoseconds{1'234'567}}}) {
        std::ostringstream text;
        text.imbue(std::locale{text.getloc(), new grouping}); // the locale owns it
        text << std::hex << std::showbase << std::showpos;

        write_value(text, value);

        EXPECT_EQ(text.str(), text_of(value));
    }
}

TEST(permissions_text, marks_read_only_variables_of_a_definition) {
    EXPECT_EQ(read_only_mark(variable_permissions::read_write), "n  ");
    EXPECT_EQ(read_only_mark(variable_permissions::read_only), "y  ");
    EXPECT_EQ(read_only_mark(variable_permissions{2}), "n  ");
}

TEST(permissions_text, names_the_permissions_of_a_variable) {
    EXPECT_EQ(permissions_text(variable_permissions::read_write), "rw ");
    EXPECT_EQ(permissions_text(variable_permissions::read_only), "ro ");
    EXPECT_EQ(permissions_text(variable_permissions{2}), "rw ");
}

struct quality_case {
    char const* name;
    variable_quality quality;
    char const* expected;
};

class quality_column : public testing::TestWithParam<quality_case> {};

TEST_P(quality_column, reads_exactly) {
    EXPECT_EQ(quality_text(GetParam().quality), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    every_quality,
    quality_column,
    testing::Values(
        quality_case{"bad_without_a_trailing_blank", variable_quality{0}, "<       bad       >"},
        quality_case{"uncertain", variable_quality{64}, "<    uncertain    > "},
        quality_case{"uncertain_last_usable_value", variable_quality{67}, "<unc last usbl val> "},
        quality_case{"uncertain_initial_value", variable_quality{68}, "< unc initial val > "},
        quality_case{"good", variable_quality{192}, "<      good       > "},
        quality_case{"unknown_1", variable_quality{1}, ""},
        quality_case{"unknown_191", variable_quality{191}, ""},
        quality_case{"unknown_above_a_byte", variable_quality{448}, ""}),
    case_name);

} // namespace

} // namespace arvenhold::corvel::hub
