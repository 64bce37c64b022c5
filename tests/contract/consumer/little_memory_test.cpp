// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>

#include <new>

namespace arvenhold::corvel::hub {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsNull;
using testing::UnorderedElementsAre;

class consumer_with_little_memory : public panel_test {
protected:
    // Delivers `bytes`, at an address that makes decoding copy them, to a handler that may allocate
    // so many times. Returns whether that was not enough.
    bool deliver_with(int allocations, char const* subject, std::string const& bytes) {
        for (auto const& receiver : nats.subscriptions()) {
            if (receiver.subject == subject && receiver.is_open) {
                auto* const message =
                    nats.make_message({.subject = subject, .bytes = bytes, .misalignment = 1});
                limited_memory const limit{allocations};
                receiver.handler(receiver.connection, receiver.handle, message, receiver.closure);
                return limit.has_run_out();
            }
        }
        ADD_FAILURE() << "nobody listens to " << subject;
        return false;
    }
};

TEST_F(consumer_with_little_memory, needs_none_to_disconnect) {
    auto const connection = attach();
    bool has_run_out = false;

    {
        limited_memory const nothing_left{0};
        panel.disconnect();
        has_run_out = nothing_left.has_run_out();
    }

    EXPECT_FALSE(has_run_out);
    EXPECT_FALSE(panel.is_connected());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(consumer_with_little_memory, faults_a_connection_whose_new_definition_finds_no_room) {
    auto const new_definition =
        wire::definition_event(78, {wire::defined(9, "running", wire::bool_code)});
    int allocations = 0;
    bool was_enough = false;
    while (!was_enough) {
        answer(variables_query, wire::read_reply(77, boiler_values()));
        connect();
        auto const connection = panel.attach_to_provider("boiler");
        answer(variables_query, wire::read_reply(78, {wire::item(9, true)}));

        was_enough = !deliver_with(allocations, definition_changed, new_definition);

        if (!was_enough) {
            EXPECT_EQ(connection->get_state(), state::faulted) << allocations;
            EXPECT_THAT(qualities(*connection), Each(variable_quality::bad)) << allocations;
        }
        panel.disconnect();
        ++allocations;
    }
    EXPECT_GT(allocations, 5); // copy, variables and their map, request, identifiers
}

// The fake complains about a subscription that is destroyed while its connection is open.
TEST_F(consumer_with_little_memory, attaches_whole_or_not_at_all) {
    connect();
    int allocations = 0;
    std::shared_ptr<provider_connection> connection;
    while (!connection) {
        try {
            limited_memory const limit{allocations};
            connection = panel.attach_to_provider("boiler");
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(nats.open_connections(), 1U);
        }
        ++allocations;
    }
    EXPECT_THAT(
        nats.open_subjects(),
        UnorderedElementsAre(providers_changed, definition_changed, variables_changed));
}

TEST_F(consumer_with_little_memory, connects_whole_or_not_at_all) {
    int allocations = 0;
    while (!panel.is_connected()) {
        try {
            limited_memory const limit{allocations};
            connect();
        } catch (std::bad_alloc const&) {
            EXPECT_LE(nats.open_connections(), 1U);
        }
        ++allocations;
    }
    EXPECT_THAT(nats.open_subjects(), ElementsAre(providers_changed));
}

} // namespace

} // namespace arvenhold::corvel::hub
