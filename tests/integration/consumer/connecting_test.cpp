// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_on_hub.hpp"
#include "support/thrown_message.hpp"

#include <atomic>
#include <future>
#include <latch>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pointee;
using testing::StartsWith;

class connecting_panel : public panel_on_hub {};

TEST_F(connecting_panel, gets_the_list_of_the_registry) {
    play_registry();

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler")));
    EXPECT_THAT(lists.get(), IsEmpty());
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(connecting_panel, asks_with_an_empty_table_and_awaits_the_answer_in_its_own_inbox) {
    auto queries = hub.peer.listen("v1.loc.registry.providers.qry.read");
    play_registry();

    connect();

    auto const query = queries.take();
    EXPECT_EQ(query.bytes, (std::string{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
    EXPECT_THAT(query.reply_subject, StartsWith("_INBOX.panel."));
}

TEST_F(connecting_panel, asks_for_the_scope_of_its_permission) {
    play_registry();
    consumer display{"display", true, nullptr, nullptr};

    connect();
    connect(display);

    auto const requests = hub.token_endpoint.get_requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests.at(0).scope, "hub.variables.readwrite");
    EXPECT_EQ(requests.at(1).scope, "hub.variables.readonly");
    EXPECT_EQ(requests.at(1).client, (dev::client_credentials{"developer", "developer-secret"}));
}

TEST_F(connecting_panel, twice_asks_for_one_token) {
    play_registry();

    connect();
    connect();

    EXPECT_EQ(hub.token_endpoint.get_requests().size(), 1U);
}

TEST_F(connecting_panel, with_a_wrong_secret_is_refused_and_may_try_again_with_the_right_one) {
    play_registry();

    auto const message = thrown_message<connection_failed>([this] { connect(panel, "guessed"); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to connect to the NATS server at " + hub.nats_server.get_url()
            + ", NATS returns: 11 = Authentication Violation\n");
    EXPECT_THAT(
        error_output.flushed_text(),
        StartsWith("Failed to receive new NATS authentication token: Authentication failed:\n"));
    EXPECT_FALSE(panel.is_connected());

    connect();

    EXPECT_TRUE(panel.is_connected());
}

TEST_F(connecting_panel, says_that_there_is_no_server) {
    hub.nats_server.stop();

    EXPECT_EQ(
        thrown_message<connection_failed>([this] { connect(); }),
        "Consumer panel: failed to connect to the NATS server at " + hub.nats_server.get_url()
            + ", NATS returns: 6 = No server available for connection\n");
}

TEST_F(connecting_panel, says_at_once_that_there_is_no_registry_and_may_try_again) {
    auto const message = thrown_message<connection_failed>([this] { connect(); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to request the initial providers list (related sujbect: "
        "v1.loc.registry.providers.qry.read), NATS returns: 34 = No responders available for "
        "request\n");
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
    play_registry();

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler")));
}

TEST_F(connecting_panel, says_that_the_list_is_malformed) {
    hub.peer.answer("v1.loc.registry.providers.qry.read", "");

    EXPECT_EQ(
        thrown_message<serialization_fault>([this] { connect(); }),
        "Consumer panel: encountered invalid serialized data for operation: de-serialize provider "
        "list: message data nullptr\n");
    EXPECT_TRUE(panel.is_connected());
}

TEST_F(connecting_panel, lets_others_ask_for_the_identifiers_while_it_waits) {
    std::latch asked{1};
    std::latch looked{1};
    hub.peer.on_message("v1.loc.registry.providers.qry.read", [&](peer_message const& query) {
        asked.count_down();
        looked.wait();
        hub.peer.publish(query.reply_subject, wire::provider_list_reply({"boiler"}));
    });
    auto connected = std::async(std::launch::async, [this] { connect(); });
    asked.wait();

    auto const meanwhile = panel.get_provider_identifiers();
    looked.count_down();
    connected.get();

    EXPECT_THAT(meanwhile, Pointee(IsEmpty()));
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler")));
}

class silent_peer : public panel_on_hub {
protected:
    // Runs `work` and returns how long it took and what it threw.
    template <class Work>
    static std::pair<std::chrono::steady_clock::duration, std::string> time_of(Work work) {
        auto const start = std::chrono::steady_clock::now();
        auto const message = thrown_message<connection_failed>(work);
        return {std::chrono::steady_clock::now() - start, message};
    }

    // The client measures on the wall clock and may be a little early.
    static constexpr milliseconds least{4900};
    static constexpr milliseconds most{5500};
};

TEST_F(silent_peer, makes_connecting_fail_after_five_seconds) {
    auto const unanswered = hub.peer.listen("v1.loc.registry.providers.qry.read");

    auto const [duration, message] = time_of([this] { connect(); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to request the initial providers list (related sujbect: "
        "v1.loc.registry.providers.qry.read), NATS returns: 26 = Timeout\n");
    EXPECT_GE(duration, least);
    EXPECT_LE(duration, most);
    EXPECT_EQ(unanswered.waiting(), 1U);
    EXPECT_FALSE(panel.is_connected());
}

TEST_F(silent_peer, makes_attaching_fail_after_five_seconds_and_it_may_be_repeated) {
    hub.peer.answer("v1.loc.registry.providers.qry.read", wire::provider_list_reply({"boiler"}));
    auto const unanswered = hub.peer.listen("v1.loc.registry.providers.boiler.def.qry.read");
    connect();

    auto const [duration, message] = time_of([this] { panel.attach_to_provider("boiler"); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to request a provider definition (related sujbect: "
        "v1.loc.registry.providers.boiler.def.qry.read), NATS returns: 26 = Timeout\n");
    EXPECT_GE(duration, least);
    EXPECT_LE(duration, most);
    EXPECT_EQ(unanswered.waiting(), 1U);
    play_registry();
    play_boiler();
    EXPECT_EQ(attach()->get_state(), state::connected);
}

TEST_F(silent_peer, makes_reading_fail_after_five_seconds_and_faults_the_connection) {
    play_registry();
    auto const is_silent = std::make_shared<std::atomic<bool>>(false); // the peer outlives the test
    hub.peer.on_message("v1.loc.boiler.vars.qry.read", [this, is_silent](auto const& query) {
        if (!*is_silent) {
            hub.peer.publish(query.reply_subject, wire::read_reply(77, {}));
        }
    });
    connect();
    auto const connection = attach();
    *is_silent = true;

    auto const [duration, message] = time_of([&] { connection->read_variables(77, {1}); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to read variables from a provider (related sujbect: "
        "v1.loc.boiler.vars.qry.read), NATS returns: 26 = Timeout\n");
    EXPECT_GE(duration, least);
    EXPECT_LE(duration, most);
    EXPECT_EQ(connection->get_state(), state::faulted);
}

class reconnecting_panel : public panel_on_hub {
protected:
    reconnecting_panel() {
        play_registry();
        play_boiler();
        connect();
        connection = attach();
    }

    void restart_server() {
        hub.nats_server.restart();
        ASSERT_TRUE(
            output.wait_until_flushed("Consumer has reconnected to NATS server!\n", patience));
        hub.peer.settle();
    }

    std::shared_ptr<provider_connection> connection;
};

TEST_F(reconnecting_panel, reports_the_loss_and_the_return_and_fetches_token_and_list_again) {
    auto queries = hub.peer.listen("v1.loc.registry.providers.qry.read");

    restart_server();

    EXPECT_EQ(
        error_output.flushed_text(), "Warning: Consumer has lost connection to NATS server!\n");
    EXPECT_EQ(output.flushed_text(), "Consumer has reconnected to NATS server!\n");
    EXPECT_EQ(hub.token_endpoint.get_requests().size(), 2U);
    EXPECT_EQ(queries.waiting(), 1U);
    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(lists.get(), IsEmpty());
    EXPECT_THAT(events.get(), IsEmpty());
}

TEST_F(reconnecting_panel, gets_events_and_reads_and_writes_as_before) {
    auto commands = hub.peer.listen("v1.loc.boiler.vars.cmd.write");

    restart_server();

    hub.peer.publish(
        "v1.loc.boiler.vars.evt.changed", wire::change_event(77, {wire::item(1, 21.5)}));
    EXPECT_TRUE(changes.wait_for({1}));
    hub.peer.publish("v1.loc.registry.providers.evt.changed", wire::provider_list_event({}));
    EXPECT_TRUE(events.wait_for(event::provider_lost));
    hub.peer.publish(
        "v1.loc.registry.providers.evt.changed", wire::provider_list_event({"boiler"}));
    EXPECT_TRUE(lists.wait_for({"boiler"}));
    EXPECT_EQ(connection->get_state(), state::connected);
    connection->write_variables(77, {2});
    EXPECT_EQ(write_command_in(commands.take().bytes).fingerprint, 77U);
}

TEST_F(reconnecting_panel, without_a_token_is_refused_by_the_server_for_good) {
    hub.token_endpoint.answer_with({.status = 401, .body = {"no"}});
    hub.nats_server.restart();

    // Two refusals in a row end the connection, which only a failing request shows.
    auto const ended = await([this] {
        try {
            panel.attach_to_provider("pump");
        } catch (connection_failed const& error) {
            return std::string{error.what()}.find("5 = Connection Closed") != std::string::npos;
        }
        return false;
    });

    EXPECT_TRUE(ended);
    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(output.text(), "");
    EXPECT_THAT(
        thrown_message<connection_failed>([this] { connection->update_all_variables(); }),
        HasSubstr("5 = Connection Closed"));
    hub.token_endpoint.answer_normally();
    panel.disconnect();
    connect();
    EXPECT_EQ(attach()->get_state(), state::connected);
}

class disconnecting_panel : public reconnecting_panel {};

TEST_F(disconnecting_panel, gets_nothing_more_and_has_no_list) {
    panel.disconnect();

    hub.peer.publish(
        "v1.loc.boiler.vars.evt.changed", wire::change_event(77, {wire::item(1, 21.5)}));
    hub.peer.publish("v1.loc.registry.providers.evt.changed", wire::provider_list_event({}));
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    connect();
    EXPECT_THAT(changes.get(), IsEmpty());
    EXPECT_THAT(lists.get(), IsEmpty());
    EXPECT_THAT(events.get(), IsEmpty());
}

TEST_F(disconnecting_panel, may_be_done_from_its_own_callbacks) {
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection&, void* user_data) {
            static_cast<consumer*>(user_data)->disconnect();
        },
        &panel);

    hub.peer.publish(
        "v1.loc.boiler.vars.evt.changed", wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_TRUE(await([this] { return connection->get_state() == state::disconnected; }));
    EXPECT_FALSE(panel.is_connected());
}

} // namespace

} // namespace arvenhold::corvel::hub
