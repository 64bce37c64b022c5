// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How an application replaces one connection while the others of its consumer live on.

#include "panel_test.hpp"
#include <hub/connection_failed.hpp>

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::Each;
using testing::ElementsAre;

class replacing_a_connection : public panel_test {
protected:
    replacing_a_connection() {
        answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
        answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
        connect();
    }

    std::shared_ptr<provider_connection> create_connection() {
        auto connection = provider_connection::create("boiler", panel);
        listen_to(*connection);
        return connection;
    }

    void fault(provider_connection& connection) {
        refuse(variables_query, NATS_TIMEOUT);
        EXPECT_THROW(connection.update_all_variables(), connection_failed);
        answer(variables_query, wire::read_reply(77, boiler_values()));
    }
};

TEST_F(replacing_a_connection, that_was_created_leaves_the_others_of_the_consumer_alone) {
    auto const pump = panel.attach_to_provider("pump");
    auto connection = create_connection();
    fault(*connection);

    connection.reset();
    connection = create_connection();

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    EXPECT_EQ(pump->get_state(), state::connected);
    EXPECT_EQ(panel.attach_to_provider("pump"), pump);
}

TEST_F(replacing_a_connection, that_is_attached_needs_the_whole_consumer) {
    auto const attached = panel.attach_to_provider("boiler");
    fault(*attached);

    EXPECT_EQ(panel.attach_to_provider("boiler"), attached);
    panel.disconnect();
    connect();

    auto const replacement = panel.attach_to_provider("boiler");
    EXPECT_NE(replacement, attached);
    EXPECT_EQ(replacement->get_state(), state::connected);
}

TEST_F(replacing_a_connection, leaves_the_availability_of_a_created_one_to_the_application) {
    auto const connection = create_connection();

    announce_providers({"pump"});
    auto const after_the_list = connection->get_state();
    connection->set_provider_availability(event::provider_lost);
    auto const after_the_loss = connection->get_state();
    auto const qualities_after_the_loss = qualities(*connection);
    connection->set_provider_availability(event::provider_returned);
    connection->request_provider_definition();

    EXPECT_EQ(after_the_list, state::connected);
    EXPECT_EQ(after_the_loss, state::provider_unavailable);
    EXPECT_THAT(qualities_after_the_loss, Each(variable_quality::bad));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    EXPECT_THAT(journal.get(), ElementsAre("list: pump", "lost boiler", "returned boiler"));
}

TEST_F(replacing_a_connection, leaves_the_end_of_a_created_one_to_the_application) {
    auto const connection = create_connection();

    panel.disconnect();

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
}

} // namespace

} // namespace arvenhold::corvel::hub
