// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/error_catalogue.hpp"

#include <gmock/gmock.h>

#include <string>

namespace arvenhold::corvel::hub::ctl {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr char const* page = R"(# Errors

| Text | Cause | Cure |
|---|---|---|
| `<kind> <name>: failed, status <number>` | it is away (6); see [below](#there) | start it |

| Class | Text | Cause | Cure |
|---|---|---|---|
| `refused` | `Refused:`, `Secret: <secret>` | a wrong secret | |

| Line | Meaning | What to do |
|---|---|---|
| `Provider lost`, `Consumer lost` | an outage | nothing |

| What | How it shows |
|---|---|
| `something` | else |
)";

TEST(page_of_errors, is_read_row_by_row) {
    auto const rows = parse_errors_page(page);

    ASSERT_THAT(rows, SizeIs(4));
    EXPECT_EQ(rows[0].text, "<kind> <name>: failed, status <number>");
    EXPECT_EQ(rows[0].meaning, "it is away (6); see below");
    EXPECT_EQ(rows[0].cure, "start it");
    EXPECT_EQ(rows[1].text, "Refused: Secret: <secret>");
    EXPECT_THAT(rows[1].cure, IsEmpty());
    EXPECT_EQ(rows[2].text, "Provider lost");
    EXPECT_EQ(rows[3].text, "Consumer lost");
    EXPECT_EQ(rows[3].meaning, "an outage");
}

TEST(text_that_was_seen, fits_with_any_words_in_brackets) {
    EXPECT_TRUE(fits_error(
        "12:00 Consumer a: failed, status 6\n", "<kind> <name>: failed, status <number>"));
    EXPECT_TRUE(fits_error("Refused:\nSecret: x", "Refused: Secret: <secret>"));
    EXPECT_FALSE(fits_error("status 6, failed", "<kind> failed, status <number>"));
    EXPECT_FALSE(fits_error("anything", "<words>"));
}

TEST(page_of_the_library, explains_each_of_its_own_texts) {
    auto const rows = parse_errors_page(get_errors_page());

    EXPECT_GT(rows.size(), 40U);
    for (auto const& row : rows) {
        EXPECT_FALSE(explain_error(row.text).empty()) << row.text;
    }
}

TEST(page_of_the_library, prefers_the_most_specific_row) {
    auto const rows =
        explain_error("Provider boiler: cannot publish, no provider definition registered");

    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0].text, "Provider <name>: cannot publish, no provider definition registered");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
