// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/table.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

TEST(printing_a_table, aligns_columns_and_escapes_nothing_twice) {
    output out;
    table shown{{"PATH", ">VALUE", "UNIT"}};
    shown.add({{"\xC3\xA4"}, {"1"}, {"bar"}});
    shown.add({{"temperature"}, {"21.5"}, {""}});

    testing::internal::CaptureStdout();
    shown.print(out);

    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "PATH         VALUE  UNIT\n"
        "\xC3\xA4                1  bar\n"
        "temperature   21.5\n");
}

TEST(printing_a_table, writes_nothing_without_rows) {
    output out;

    testing::internal::CaptureStdout();
    table{{"PATH"}}.print(out);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(colours, appear_only_if_wanted) {
    output_settings settings;
    settings.colours = colour_choice::always;
    EXPECT_EQ(output{settings}.paint("bad", colour::red), "\033[31mbad\033[0m");
    settings.colours = colour_choice::never;
    EXPECT_EQ(output{settings}.paint("bad", colour::red), "bad");
}

TEST(counts, are_followed_by_singular_or_plural) {
    EXPECT_EQ(make_count_text(1, "row"), "1 row");
    EXPECT_EQ(make_count_text(0, "row"), "0 rows");
    EXPECT_EQ(make_dropped_text(1, "change"), "1 change was dropped, because it came too fast");
    EXPECT_EQ(make_dropped_text(2, "change"), "2 changes were dropped, because they came too fast");
}

TEST(printable_text, cannot_control_a_terminal) {
    EXPECT_EQ(printable("a\n\t\033[2J\x7F\xC3\xA4"), "a\\n\\t\\x1b[2J\\x7f\xC3\xA4");
    EXPECT_EQ(printable("\u0080 \u009b31m \u009f \u00a0"), "\\u0080 \\u009b31m \\u009f \u00a0");
}

TEST(printable_text, cannot_reorder_what_a_terminal_shows) {
    EXPECT_EQ(
        printable(
            "\u061c\u200d\u200e\u200f\u2010 \u2029\u202a\u202e\u202f \u2065\u2066\u2069\u206a"),
        "\\u061c\u200d\\u200e\\u200f\u2010 \u2029\\u202a\\u202e\u202f \u2065\\u2066\\u2069\u206a");
}

TEST(printable_text, shows_the_bytes_that_are_not_utf_8) {
    for (auto const& [bytes, shown] : std::vector<std::pair<std::string, std::string>>{
             {"\x9B"
              "31m",
              "\\x9b31m"},
             {"\xC3", "\\xc3"},
             {"\xC3"
              "a",
              "\\xc3a"},
             {"\xC0\x9B", "\\xc0\\x9b"},
             {"\xE0\x82\x9B", "\\xe0\\x82\\x9b"},
             {"\xED\xA0\x80", "\\xed\\xa0\\x80"},
             {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
             {"\xF5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
             {"\xE2\x80", "\\xe2\\x80"},
             {"\u20AC\U0010FFFF", "\u20AC\U0010FFFF"}}) {
        EXPECT_EQ(printable(bytes), shown);
    }
}

TEST(json_text, cannot_control_a_terminal_and_keeps_its_value) {
    for (auto const& [text, shown] : std::vector<std::pair<std::string, std::string>>{
             {"\x1B[2J", R"("\u001b[2J")"},
             {"\x7F", R"("\u007f")"},
             {"\u0080\u009b31m\u009f\u00a0", "\"\\u0080\\u009b31m\\u009f\u00a0\""},
             {"\u202e\\\u2066\u00e4", "\"\\u202e\\\\\\u2066\u00e4\""}}) {
        EXPECT_EQ(make_json_text(text), shown);
        EXPECT_EQ(json_object::parse(shown), json_object(text));
    }
    EXPECT_EQ(make_json_text("\x9B!"), "\"\uFFFD!\"");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
