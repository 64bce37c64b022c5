// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/replay_pace.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using std::chrono::seconds;

timestamp at(int count) {
    return timestamp{seconds{count}};
}

struct pace_case {
    char const* name;
    std::vector<int> times; // of one variable, in a recording that begins at 1000
    std::vector<int> places;
};

TEST(replay_pace, places_values_at_their_distances) {
    std::vector<pace_case> const cases{
        {"clocks agree", {999, 1001, 1004}, {1000, 1001, 1004}},
        {"rare changes", {5, 1007, 1009}, {1000, 1007, 1009}},
        {"clock is ahead", {4999, 5001, 5004}, {1000, 1002, 1005}},
        {"clock is behind", {99, 101, 104, 105}, {1000, 1000, 1003, 1004}},
        {"read again", {999, 1001, 1001, 1003}, {1000, 1001, 1001, 1003}},
        {"never goes back", {999, 1005, 1002, 1006}, {1000, 1005, 1005, 1006}},
    };
    for (auto const& one : cases) {
        replay_pace pace;
        pace.place(at(1000));
        std::vector<timestamp> places;
        std::vector<timestamp> wanted;
        for (auto const when : one.times) {
            places.push_back(pace.place_value("variable", at(when)));
        }
        for (auto const place : one.places) {
            wanted.push_back(at(place));
        }
        EXPECT_EQ(places, wanted) << one.name;
    }
}

TEST(replay_pace, places_values_whose_distance_no_timestamp_expresses) {
    auto const begin = at(1'790'000'000);
    auto const far = timestamp::min(); // in 1677
    replay_pace pace;
    pace.place(begin);
    EXPECT_EQ(pace.place_value("corrected", far), begin);
    EXPECT_EQ(pace.place_value("corrected", begin + seconds{1}), begin + seconds{1});
    EXPECT_EQ(pace.place_value("behind", far), begin + seconds{1});
    EXPECT_EQ(pace.place_value("behind", far + seconds{1}), begin + seconds{1});
    EXPECT_EQ(pace.place_value("behind", far + seconds{3}), begin + seconds{3});
    EXPECT_EQ(pace.place_value("behind", begin), timestamp::max());
}

TEST(replay_pace, does_not_place_a_value_before_another_row) {
    replay_pace pace;
    pace.place(at(1000));
    pace.place_value("variable", at(999));
    EXPECT_EQ(pace.place(at(1010)), at(1010));
    EXPECT_EQ(pace.place_value("variable", at(1005)), at(1010));
    EXPECT_EQ(pace.place(at(1003)), at(1010));
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
