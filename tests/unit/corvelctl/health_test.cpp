// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/health.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using testing::HasSubstr;
using testing::Not;

timestamp const now{std::chrono::seconds{1'000}};

health make_health(std::vector<checked_value> values) {
    health found;
    found.is_hub_up = true;
    found.when = now;
    found.took = std::chrono::milliseconds{250};
    found.providers.push_back({"boiler", true, std::move(values)});
    return found;
}

checked_value make_value(
    variable_quality quality,
    std::chrono::milliseconds age = {},
    variable_value const& value = 1.5,
    std::string const& path = "a/b") {
    return {path, value, quality, now - age};
}

TEST(health, has_the_state_of_the_worst_value) {
    struct row {
        variable_quality quality;
        std::chrono::milliseconds age;
        health_state state;
    };
    for (auto const& [quality, age, state] : std::vector<row>{
             {variable_quality::good, std::chrono::seconds{10}, health_state::ok},
             {variable_quality::good, std::chrono::seconds{-9}, health_state::ok},
             {variable_quality::uncertain, {}, health_state::warning},
             {variable_quality::uncertain_initial_value, {}, health_state::warning},
             {variable_quality::uncertain_last_usable_value, {}, health_state::warning},
             {variable_quality::bad, {}, health_state::critical},
             {variable_quality::good, std::chrono::milliseconds{10'001}, health_state::critical}}) {
        auto found = make_health({make_value(variable_quality::good), make_value(quality, age)});
        found.most_age = std::chrono::seconds{10};
        judge_values(found);
        EXPECT_EQ(get_state(found), state) << static_cast<int>(quality) << ' ' << age.count();
    }
}

TEST(health, is_unknown_only_after_failures_of_this_machine) {
    for (auto const& [code, state] : std::vector<std::pair<exit_code, health_state>>{
             {exit_code::usage, health_state::unknown},
             {exit_code::not_found, health_state::unknown},
             {exit_code::other, health_state::unknown},
             {exit_code::refused, health_state::critical},
             {exit_code::unreachable, health_state::critical},
             {exit_code::timed_out, health_state::critical}}) {
        EXPECT_EQ(get_state(failure{code, "text"}), state);
    }
}

TEST(plugin_text, has_one_line_when_all_is_well) {
    auto const found =
        make_health({make_value(variable_quality::good, std::chrono::milliseconds{1500})});
    EXPECT_EQ(
        make_nagios_text(found),
        "CORVEL OK - boiler: 1 good value, the oldest 1.5s old | time=0.25s;;;0 providers=1;;;0 "
        "values=1;;;0 not_good=0;;;0 age=1.5s;;\n");
}

TEST(plugin_text, knows_the_age_of_the_oldest_time_stamp_that_there_is) {
    timestamp const first{std::chrono::nanoseconds{std::numeric_limits<std::int64_t>::min()}};
    auto found = make_health({{"a", 1.5, variable_quality::good, first}});
    found.when = timestamp{std::chrono::seconds{1'800'000'000}};
    found.most_age = std::chrono::seconds{10};
    judge_values(found);
    EXPECT_EQ(get_state(found), health_state::critical);
    EXPECT_THAT(make_nagios_text(found), HasSubstr("boiler a: 11023372036.854s old"));
}

TEST(plugin_text, lists_several_problems_the_worst_first) {
    auto found = make_health(
        {make_value(variable_quality::uncertain),
         make_value(variable_quality::bad, {}, true, "c")});
    judge_values(found);
    EXPECT_THAT(
        make_nagios_text(found),
        HasSubstr("CORVEL CRITICAL - 2 problems, boiler c: quality bad | "));
    EXPECT_THAT(
        make_nagios_text(found),
        HasSubstr("\nCRITICAL: boiler c: quality bad\nWARNING: boiler a/b: quality uncertain\n"));
}

TEST(plugin_text, has_the_numbers_of_chosen_values) {
    auto found = make_health(
        {make_value(variable_quality::good, {}, 1e20, "it's=|"),
         make_value(variable_quality::good, {}, std::numeric_limits<double>::infinity(), "inf"),
         make_value(variable_quality::good, {}, std::string{"text"}, "text"),
         make_value(variable_quality::good, {}, std::chrono::nanoseconds{1'500'000'000}, "span"),
         make_value(variable_quality::good, {}, true, "flag")});
    EXPECT_THAT(make_nagios_text(found), Not(HasSubstr("flag")));
    found.has_chosen_values = true;
    found.most_age = std::chrono::seconds{10};
    EXPECT_THAT(
        make_nagios_text(found),
        testing::EndsWith("age=0s;;10 'it''s_\\x7c'=100000000000000000000 'span'=1.5 'flag'=1\n"));
}

TEST(plugin_text, keeps_one_line_and_one_bar_whatever_names_contain) {
    auto found = make_health({make_value(variable_quality::bad, {}, 1.0, "a|b\nc")});
    judge_values(found);
    auto const text = make_nagios_text(found);
    EXPECT_EQ(std::count(text.begin(), text.end(), '|'), 1);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST(prometheus_text, has_each_metric_once_with_its_samples) {
    auto found = make_health(
        {make_value(variable_quality::good, {}, 2.5, "a"),
         make_value(variable_quality::bad, {}, std::nan(""), "b"),
         make_value(variable_quality::good, {}, std::string{"text"}, "c")});
    judge_values(found);
    auto const text = make_prometheus_text(found);
    EXPECT_THAT(text, HasSubstr("\ncorvel_check_state 2\n"));
    EXPECT_THAT(text, HasSubstr("\ncorvel_hub_up 1\n"));
    EXPECT_THAT(text, HasSubstr("\ncorvel_provider_up{provider=\"boiler\"} 1\n"));
    EXPECT_THAT(
        text,
        HasSubstr("# TYPE corvel_variable_value gauge\n"
                  "corvel_variable_value{provider=\"boiler\",path=\"a\"} 2.5\n"
                  "corvel_variable_value{provider=\"boiler\",path=\"b\"} NaN\n"));
    EXPECT_THAT(
        text, HasSubstr("corvel_variable_time_seconds{provider=\"boiler\",path=\"c\"} 1000\n"));
    EXPECT_THAT(text, Not(HasSubstr("corvel_variable_value{provider=\"boiler\",path=\"c\"}")));
}

TEST(prometheus_text, stays_whole_whatever_names_contain) {
    auto const found = make_health({make_value(variable_quality::good, {}, 1.0, "\"} 1\n\\\xFF")});
    EXPECT_THAT(
        make_prometheus_text(found),
        HasSubstr(
            "corvel_variable_good{provider=\"boiler\",path=\"\\\"} 1\\\\n\\\\\\\\xff\"} 1\n"));
}

TEST(health_object, counts_and_lists_problems) {
    auto found = make_health({make_value(variable_quality::bad)});
    judge_values(found);
    EXPECT_EQ(
        make_health_object(found).dump(),
        R"({"state":"CRITICAL","exit_code":2,"hub_up":true,"seconds":0.25,"providers":1,"values":1,)"
        R"("not_good":1,"too_old":0,"oldest_seconds":0.0,"problems":[{"state":"CRITICAL",)"
        R"("text":"quality bad","provider":"boiler","path":"a/b"}]})");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
