// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/plot_script.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using testing::HasSubstr;
using testing::Not;

timestamp at(int second) {
    return timestamp{std::chrono::seconds{second}};
}

TEST(gnuplot_text, stays_in_its_quotes) {
    for (auto const& [text, quoted] : std::vector<std::pair<std::string, std::string>>{
             {"a/b", "'a/b'"},
             {"'; system 'x'; '", "'\xE2\x80\x99; system \xE2\x80\x99x\xE2\x80\x99; \xE2\x80\x99'"},
             {"`x` $(x) @x \\", "'\xCB\x8Bx\xCB\x8B $(x) @x \\'"},
             {"a\nsystem", "'a\\nsystem'"},
             {"\xFF", "'\\xff'"}}) {
        EXPECT_EQ(quote_for_gnuplot(text), quoted);
    }
}

TEST(plot, has_gaps_steps_and_values_that_are_not_good) {
    plot_data data;
    data.begin(at(10));
    data.add({"p", "a"}, at(5), 1.5, false, true);
    data.add_gap({"p", "a"});
    data.add({"p", "a"}, at(12), 2.5, false, false);
    data.add({"p", "b"}, at(11), 1, true, true);
    data.extend(at(20));
    auto const script = make_plot_script(data, plot_format::png, std::nullopt);
    EXPECT_THAT(
        script,
        HasSubstr(
            "$all0 << END\n10.000000 1.5\n10.000000 1.5\n\n12.000000 2.5\n20.000000 2.5\nEND\n"));
    EXPECT_THAT(script, HasSubstr("$bad0 << END\n\n12.000000 2.5\nEND\n"));
    EXPECT_THAT(script, HasSubstr("$all1 using 1:2 with steps"));
    EXPECT_THAT(script, Not(HasSubstr("$bad1 using")));
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
