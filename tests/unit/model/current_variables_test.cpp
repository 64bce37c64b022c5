// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/provider_connection.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pair;

std::shared_ptr<consumer_variable> make_variable(variable_id id, std::string const& path) {
    variable_value value{1.5};
    return consumer_variable::create(id, path, value, variable_permissions::read_only);
}

current_variables with_paths(std::vector<std::pair<variable_id, std::string>> const& paths) {
    auto map = std::make_shared<consumer_variable_map>();
    for (auto const& [id, path] : paths) {
        map->emplace(id, make_variable(id, path));
    }
    return {std::move(map), 77};
}

std::vector<std::pair<variable_id, std::string>> paths_in(current_variables const& looped_over) {
    std::vector<std::pair<variable_id, std::string>> found;
    for (auto const& [id, variable] : looped_over) {
        found.emplace_back(id, variable->get_path());
    }
    return found;
}

TEST(current_variables, are_looped_over_in_the_order_of_their_ids) {
    auto const current = with_paths({{9, "level"}, {4, "speed"}});

    EXPECT_THAT(paths_in(current), ElementsAre(Pair(4, "speed"), Pair(9, "level")));
    EXPECT_EQ(current.size(), 2U);
    EXPECT_FALSE(current.empty());
}

TEST(current_variables, of_a_definition_without_variables_are_empty) {
    auto const current = with_paths({});

    EXPECT_THAT(paths_in(current), IsEmpty());
    EXPECT_EQ(current.size(), 0U);
    EXPECT_TRUE(current.empty());
}

TEST(current_variables, of_a_disconnected_connection_are_empty) {
    current_variables const current;

    EXPECT_THAT(current.variables, IsNull());
    EXPECT_THAT(paths_in(current), IsEmpty());
    EXPECT_EQ(current.size(), 0U);
    EXPECT_TRUE(current.empty());
    EXPECT_THAT(current.find(4), IsNull());
    EXPECT_THAT(current.find("speed"), IsNull());
}

TEST(current_variables, are_found_by_id) {
    auto const current = with_paths({{0, "level"}, {4, "speed"}});

    EXPECT_EQ(current.find(4), current.variables->at(4));
    EXPECT_EQ(current.find(0), current.variables->at(0)); // a literal zero is an id, not a text
    EXPECT_THAT(current.find(5), IsNull());
}

TEST(current_variables, are_found_by_path) {
    auto const current = with_paths({{4, "speed"}, {9, "level"}});

    EXPECT_EQ(current.find("level"), current.variables->at(9));
    EXPECT_EQ(current.find(std::string{"speed"}), current.variables->at(4));
    EXPECT_THAT(current.find("lev"), IsNull());
    EXPECT_THAT(current.find(""), IsNull());
}

TEST(current_variables, are_found_by_the_lowest_id_of_those_with_one_path) {
    auto const current = with_paths({{9, "speed"}, {4, "speed"}, {2, "level"}});

    EXPECT_EQ(current.find("speed"), current.variables->at(4));
}

TEST(current_variables, keep_a_variable_that_was_found_in_a_temporary) {
    auto const found = with_paths({{4, "speed"}}).find("speed");

    EXPECT_EQ(found->get_path(), "speed");
}

} // namespace

} // namespace arvenhold::corvel::hub
