// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/await.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>

#include <gmock/gmock.h>

#include <future>
#include <latch>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;

class several_threads : public panel_test {};

TEST_F(several_threads, that_attach_to_one_provider_at_once_get_one_object) {
    connect();
    std::latch both_under_way{2};
    nats.answer_requests(definition_query, [&](std::string const& /*bytes*/) {
        both_under_way.arrive_and_wait();
        return fake_nats::request_answer{NATS_OK, wire::definition_reply(77, boiler_variables())};
    });
    auto const attach_there = [this] {
        return panel.attach_to_provider("boiler");
    };

    auto other = std::async(std::launch::async, attach_there);
    auto const one = attach_there();

    EXPECT_EQ(one, other.get());
    EXPECT_EQ(one, attach_there());
    EXPECT_THAT(
        nats.open_subjects(),
        ElementsAre(
            "v1.loc.registry.providers.evt.changed",
            "v1.loc.registry.providers.boiler.def.evt.changed",
            "v1.loc.boiler.vars.evt.changed"));
}

TEST_F(several_threads, that_fetch_one_definition_at_once_keep_the_first_variables) {
    constexpr variable_id count = 2'000; // making so many takes long enough for two to overlap
    std::vector<wire::variable_definition_table> variables;
    for (variable_id id = 1; id <= count; ++id) {
        variables.push_back({.path = std::to_string(id), .id = id, .data_type = 3, .access = 1});
    }
    auto const connection = attach();
    for (definition_fingerprint fingerprint = 1'000; fingerprint < 1'020; ++fingerprint) {
        answer(definition_query, wire::definition_reply(fingerprint, variables));
        answer(variables_query, wire::read_reply(fingerprint, {}));
        auto const definition_event = wire::definition_event(fingerprint, variables);
        std::shared_ptr<consumer_variable_map> told;
        std::latch both_under_way{2};
        auto event_thread = std::async(std::launch::async, [&] {
            both_under_way.arrive_and_wait();
            nats.deliver({definition_changed, definition_event});
            told = connection->get_current_variables().variables;
        });
        both_under_way.arrive_and_wait();
        connection->request_provider_definition();
        event_thread.get();

        EXPECT_EQ(connection->get_current_variables().variables, told);
    }
}

TEST_F(several_threads, cannot_attach_to_a_consumer_that_is_disconnected_meanwhile) {
    connect();
    std::future<void> disconnected;
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        disconnected = std::async(std::launch::async, [this] { panel.disconnect(); });
        EXPECT_TRUE(await([this] { return !panel.is_connected(); }));
        return fake_nats::request_answer{NATS_OK, wire::read_reply(77, boiler_values())};
    });

    EXPECT_THROW(panel.attach_to_provider("boiler"), std::exception);

    disconnected.get();
    EXPECT_THAT(nats.open_subjects(), IsEmpty());
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
}

TEST_F(several_threads, that_disconnect_wait_for_a_request_of_another_thread) {
    auto const connection = attach();
    std::future<void> disconnected;
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        disconnected = std::async(std::launch::async, [this] { panel.disconnect(); });
        EXPECT_TRUE(await([this] { return !panel.is_connected(); }));
        EXPECT_EQ(nats.open_connections(), 1U);
        return fake_nats::request_answer{NATS_TIMEOUT};
    });

    EXPECT_THROW(connection->update_all_variables(), connection_failed);

    disconnected.get();
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(several_threads, may_disconnect_a_consumer_for_good_while_it_reconnects) {
    connect();
    std::future<void> disconnected;
    nats.answer_requests(providers_query, [&](std::string const& /*bytes*/) {
        disconnected = std::async(std::launch::async, [this] { panel.disconnect(); });
        EXPECT_TRUE(await([this] { return !panel.is_connected(); }));
        return fake_nats::request_answer{NATS_OK, wire::provider_list_reply({"boiler"})};
    });

    nats.regain_connection();

    disconnected.get();
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
}

TEST_F(several_threads, end_what_was_half_made_even_if_a_reconnect_still_uses_it) {
    refuse(providers_query, NATS_NO_RESPONDERS);
    EXPECT_THROW(connect(), connection_failed);
    std::latch in_use{1};
    nats.answer_requests(providers_query, [&](std::string const& /*bytes*/) {
        answer(providers_query, wire::provider_list_reply({"boiler"}));
        in_use.count_down();
        EXPECT_TRUE(await([this] { return nats.open_subjects().empty(); }));
        return fake_nats::request_answer{NATS_TIMEOUT};
    });
    nats.regain_connection(fake_nats::run_on::own_thread);
    in_use.wait();

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(nats.open_connections(), 1U);
    EXPECT_TRUE(nats.wait_until_delivered());
}

TEST_F(several_threads, may_disconnect_at_once) {
    attach();
    std::latch start{2};
    auto const disconnect_there = [&] {
        start.arrive_and_wait();
        panel.disconnect();
    };

    auto other = std::async(std::launch::async, disconnect_there);
    disconnect_there();
    other.get();

    EXPECT_FALSE(panel.is_connected());
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(several_threads, may_connect_at_once) {
    std::latch start{2};
    auto const connect_there = [&] {
        start.arrive_and_wait();
        connect();
    };

    auto other = std::async(std::launch::async, connect_there);
    connect_there();
    other.get();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(nats.open_connections(), 1U);
}

TEST_F(several_threads, get_events_and_read_at_the_same_time) {
    auto const connection = attach();

    for (int round = 0; round < 100; ++round) {
        nats.deliver(
            {variables_changed, wire::change_event(77, {wire::item(1, 21.5)})},
            fake_nats::run_on::own_thread);
        nats.deliver(
            {definition_changed, wire::definition_event(77, boiler_variables())},
            fake_nats::run_on::own_thread);
        connection->update_all_variables();
        connection->write_variables(77, {2});
    }

    EXPECT_TRUE(nats.wait_until_delivered());
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 1U + 3 * 100U);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(several_threads, lose_and_regain_a_provider_while_the_application_reads) {
    auto const connection = attach();

    for (int round = 0; round < 100; ++round) {
        nats.deliver(
            {providers_changed, wire::provider_list_event({})}, fake_nats::run_on::own_thread);
        nats.deliver(
            {providers_changed, wire::provider_list_event({"boiler"})},
            fake_nats::run_on::own_thread);
        try {
            connection->update_all_variables();
        } catch (operational_state_invalid const&) {
            // The provider is away at this moment.
        }
    }

    EXPECT_TRUE(nats.wait_until_delivered());
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(journal.get().size(), 4 * 100U);
    EXPECT_EQ(error_output.text(), "");
}

// The callback that the consumer's destructor waits for.
struct slow_callback {
    std::latch entered{1};
    std::latch released{1};
    bool is_through = false;
};

TEST_F(several_threads, are_waited_for_when_the_consumer_is_destroyed) {
    slow_callback slow;
    auto display = std::make_unique<consumer>("display", false, nullptr, nullptr);
    display->connect("nats://hub", "http://hub/token", "id", "secret");
    auto const connection = display->attach_to_provider("boiler");
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection&, void* user_data) {
            auto& callback = *static_cast<slow_callback*>(user_data);
            callback.entered.count_down();
            callback.released.wait();
            callback.is_through = true;
        },
        &slow);
    nats.deliver({variables_changed, wire::change_event(77, {})}, fake_nats::run_on::own_thread);
    slow.entered.wait();

    auto destroyed = std::async(std::launch::async, [&] { display.reset(); });
    EXPECT_TRUE(await([this] { return nats.open_connections() == 0; }));
    slow.released.count_down();
    destroyed.get();

    EXPECT_TRUE(slow.is_through);
}

TEST_F(several_threads, are_not_waited_for_when_the_consumer_is_disconnected) {
    slow_callback slow;
    auto const connection = attach();
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection&, void* user_data) {
            auto& callback = *static_cast<slow_callback*>(user_data);
            callback.entered.count_down();
            callback.released.wait();
            callback.is_through = true;
        },
        &slow);
    nats.deliver({variables_changed, wire::change_event(77, {})}, fake_nats::run_on::own_thread);
    slow.entered.wait();

    panel.disconnect();

    EXPECT_FALSE(slow.is_through);
    slow.released.count_down();
    EXPECT_TRUE(nats.wait_until_delivered());
}

} // namespace

} // namespace arvenhold::corvel::hub
