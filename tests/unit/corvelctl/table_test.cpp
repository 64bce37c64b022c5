// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/table.hpp"

#include <gtest/gtest.h>

#include <string>

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

TEST(printable_text, cannot_control_a_terminal) {
    EXPECT_EQ(printable("a\n\t\033[2J\x7F\xC3\xA4"), "a\\n\\t\\x1b[2J\\x7f\xC3\xA4");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
