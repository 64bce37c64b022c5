// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a loop over a connection's variables stands while the connection changes.

#include "panel_test.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::SizeIs;

class current_variables_of_a_connection : public panel_test {
protected:
    // Lets the registry announce another definition, with the one variable 9.
    void replace_definition() {
        answer(variables_query, wire::read_reply(78, {wire::at(wire_noon, wire::item(9, true))}));
        nats.deliver(
            {definition_changed,
             wire::definition_event(78, {wire::defined(9, "running", wire::bool_code)})});
    }
};

TEST_F(current_variables_of_a_connection, stay_whole_in_a_loop_that_replaces_the_definition) {
    auto const connection = attach();
    std::vector<std::string> paths;

    for (auto const& [id, variable] : connection->get_current_variables()) {
        replace_definition();
        paths.push_back(variable->get_path());
    }

    EXPECT_THAT(paths, ElementsAre("temperature", "set_point", "mode"));
    EXPECT_THAT(connection->get_current_variables(), SizeIs(1));
}

TEST_F(current_variables_of_a_connection, stay_whole_in_a_loop_that_disconnects) {
    auto const connection = attach();
    std::vector<std::string> paths;

    for (auto const& [id, variable] : connection->get_current_variables()) {
        panel.disconnect();
        paths.push_back(variable->get_path());
    }

    EXPECT_THAT(paths, ElementsAre("temperature", "set_point", "mode"));
    EXPECT_THAT(connection->get_current_variables(), IsEmpty());
}

TEST_F(current_variables_of_a_connection, are_found_by_path_until_it_is_disconnected) {
    auto const connection = attach();

    auto const mode = connection->get_current_variables().find("mode");
    connection->disconnect();

    EXPECT_EQ(mode->get_id(), 3U);
    EXPECT_THAT(connection->get_current_variables().find("mode"), IsNull());
}

} // namespace

} // namespace arvenhold::corvel::hub
