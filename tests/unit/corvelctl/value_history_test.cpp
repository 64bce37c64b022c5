// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/value_history.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>

namespace {

using namespace arvenhold::corvel::hub;
using ctl::sample_status;
using ctl::value_history;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t roomy = 1'000'000;

std::vector<ctl::history_point> find_all(value_history const& history, std::uint32_t variable) {
    value_history::query wanted;
    wanted.variables = {variable};
    wanted.most = roomy;
    return history.find(wanted).front();
}

std::vector<std::int64_t> times_of(std::vector<ctl::history_point> const& points) {
    std::vector<std::int64_t> times;
    for (auto const& point : points) {
        times.push_back(point.time);
    }
    return times;
}

std::vector<double> numbers_of(std::vector<ctl::history_point> const& points) {
    std::vector<double> numbers;
    for (auto const& point : points) {
        numbers.push_back(std::get<double>(point.value));
    }
    return numbers;
}

TEST(value_history, keeps_values_of_every_type) {
    value_history history{roomy};
    std::vector<variable_value> const values{
        true,
        -1.5,
        std::int64_t{-7},
        std::string{"standby"},
        timestamp{std::chrono::nanoseconds{12}},
        std::chrono::nanoseconds{-3}};
    for (std::uint32_t variable = 0; variable < values.size(); ++variable) {
        history.add(variable, 10, values[variable], sample_status::good);
    }
    for (std::uint32_t variable = 0; variable < values.size(); ++variable) {
        auto const found = find_all(history, variable);
        ASSERT_THAT(found, SizeIs(1));
        EXPECT_EQ(found.front().value, values[variable]);
    }
}

TEST(value_history, keeps_only_changes) {
    value_history history{roomy};
    history.add(0, 1, std::nan(""), sample_status::good);
    history.add(0, 2, std::nan(""), sample_status::good);
    history.add(0, 3, std::nan(""), sample_status::stale);
    history.add(0, 4, 1.0, sample_status::stale);
    EXPECT_THAT(times_of(find_all(history, 0)), ElementsAre(1, 3, 4));
}

TEST(value_history, never_goes_back_in_time) {
    value_history history{roomy};
    history.add(0, 5, 1.0, sample_status::good);
    history.add(0, 3, 2.0, sample_status::good);
    EXPECT_THAT(times_of(find_all(history, 0)), ElementsAre(5, 5));
}

TEST(value_history, stays_within_its_memory) {
    value_history history{10'000};
    for (int index = 0; index < 5'000; ++index) {
        history.add(
            0, index, std::string(static_cast<std::size_t>(index % 250), 'x'), sample_status::good);
        ASSERT_LE(history.get_size_in_bytes(), 10'000U);
    }
    EXPECT_GT(history.get_sample_count(), 10U);
    EXPECT_EQ(history.get_sequence(), 5'000U);
}

TEST(value_history, knows_what_a_quiet_variable_held_although_its_sample_is_gone) {
    value_history history{2'400};
    history.add(0, 1, std::string{"set"}, sample_status::good);
    for (int index = 0; index < 1'000; ++index) {
        history.add(1, 2 + index, static_cast<double>(index), sample_status::good);
    }
    auto const found = find_all(history, 0);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found.front().value, variable_value{std::string{"set"}});
    EXPECT_GT(history.get_oldest_time(), 1);
}

TEST(value_history, cuts_long_texts) {
    value_history history{roomy};
    history.add(0, 1, std::string(10'000, 'x'), sample_status::good);
    auto const found = find_all(history, 0);
    EXPECT_THAT(std::get<std::string>(found.front().value), SizeIs(value_history::longest_text));
}

TEST(value_history, cuts_no_character_in_two) {
    value_history history{roomy};
    history.add(
        0, 1, std::string(value_history::longest_text - 1, 'x') + "\u20ac", sample_status::good);
    auto const found = find_all(history, 0);
    EXPECT_THAT(
        std::get<std::string>(found.front().value), SizeIs(value_history::longest_text - 1));
}

TEST(value_history, finds_a_span_with_what_held_at_its_beginning) {
    value_history history{roomy};
    for (int index = 0; index < 10; ++index) {
        history.add(0, index * 10, static_cast<double>(index), sample_status::good);
    }
    value_history::query wanted;
    wanted.variables = {7, 0};
    wanted.from = 35;
    wanted.to = 60;
    wanted.most = roomy;
    auto const found = history.find(wanted);
    EXPECT_THAT(found[0], IsEmpty());
    EXPECT_THAT(times_of(found[1]), ElementsAre(30, 40, 50, 60));
}

TEST(value_history, finds_what_came_after_a_sequence_number) {
    value_history history{roomy};
    history.add(0, 1, 1.0, sample_status::good);
    auto const sequence = history.get_sequence();
    history.add(0, 2, 2.0, sample_status::good);
    value_history::query wanted;
    wanted.variables = {0};
    wanted.after = sequence;
    wanted.most = roomy;
    EXPECT_THAT(times_of(history.find(wanted).front()), ElementsAre(2));
}

TEST(value_history, keeps_extremes_and_gaps_if_fewer_points_are_wanted) {
    value_history history{roomy};
    for (int index = 0; index < 1'000; ++index) {
        auto const value = index == 333 ? 99.0 : index == 666 ? -99.0 : std::sin(index);
        auto const status = index == 500 ? sample_status::stale : sample_status::good;
        history.add(0, index, value, status);
    }
    value_history::query wanted;
    wanted.variables = {0};
    wanted.most = 40;
    auto const found = history.find(wanted).front();
    EXPECT_LE(found.size(), 50U);
    auto const numbers = numbers_of(found);
    EXPECT_EQ(*std::max_element(numbers.begin(), numbers.end()), 99.0);
    EXPECT_EQ(*std::min_element(numbers.begin(), numbers.end()), -99.0);
    EXPECT_EQ(found.front().time, 0);
    EXPECT_EQ(found.back().time, 999);
    EXPECT_EQ(
        std::count_if(
            found.begin(),
            found.end(),
            [](auto const& point) { return point.status == sample_status::stale; }),
        1);
}

} // namespace
