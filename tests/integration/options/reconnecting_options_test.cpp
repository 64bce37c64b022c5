// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/free_port.hpp"
#include "watched_hub.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int no_server = 6;
constexpr int disconnected = 10;
constexpr int buffer_full = 23;

class reconnecting_options : public hub_for_options {
protected:
    static std::string free_url() {
        return "nats://127.0.0.1:" + std::to_string(find_free_port());
    }

    provider boiler{"boiler"};
    consumer panel{"panel", false, nullptr, nullptr};
};

TEST_F(reconnecting_options, make_a_client_outlive_one_that_gives_up) {
    link_record limited_link;
    provider limited{"limited"};
    connect(limited, limited_link.options().set_reconnect_attempts(2).set_reconnect_wait(100ms));
    connect(
        boiler,
        link.options()
            .set_reconnect_attempts(connect_options::unlimited_attempts)
            .set_reconnect_wait(1ms));

    hub.nats_server.kill();
    ASSERT_TRUE(limited_link.wait_for_count(2));
    hub.nats_server.start();

    ASSERT_TRUE(link.wait_for_count(2));
    EXPECT_THAT(limited_link.events(), ElementsAre(link_event::lost, link_event::closed));
    EXPECT_THAT(link.events(), ElementsAre(link_event::lost, link_event::restored));
}

TEST_F(reconnecting_options, end_the_session_with_the_first_loss) {
    connect(boiler, link.options().set_reconnect_attempts(0));

    hub.nats_server.restart();
    ASSERT_TRUE(link.wait_for_count(2));

    EXPECT_THAT(link.events(), ElementsAre(link_event::lost, link_event::closed));
}

TEST_F(reconnecting_options, make_publications_fail_while_there_is_no_server_and_no_buffer) {
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);
    auto connected = std::async(
        std::launch::async, [&] { connect(boiler, link.options().set_reconnect_buffer(0)); });
    while (connected.wait_for(5ms) != std::future_status::ready) {
        hub.peer.publish(subjects::verdict, verdict_on(7, 1));
    }
    connected.get();

    hub.nats_server.kill();
    ASSERT_TRUE(link.wait_for_count(1));

    EXPECT_EQ(thrown_status([&] { boiler.publish(noon); }), buffer_full);
}

TEST_F(reconnecting_options, keep_publications_while_there_is_no_server_by_default) {
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);
    auto connected = std::async(std::launch::async, [&] { connect(boiler, link.options()); });
    while (connected.wait_for(5ms) != std::future_status::ready) {
        hub.peer.publish(subjects::verdict, verdict_on(7, 1));
    }
    connected.get();

    hub.nats_server.kill();
    ASSERT_TRUE(link.wait_for_count(1));

    EXPECT_NO_THROW(boiler.publish(noon));
}

TEST_F(reconnecting_options, make_requests_fail_at_once_while_there_is_no_server) {
    play_registry_and_boiler();
    connect(panel, link.options().set_fail_requests_while_disconnected(true));
    auto const connection = panel.attach_to_provider("boiler");

    hub.nats_server.kill();
    ASSERT_TRUE(link.wait_for_count(1));

    EXPECT_EQ(thrown_status([&] { connection->update_all_variables(); }), disconnected);
}

TEST_F(reconnecting_options, make_a_request_in_flight_fail_when_the_server_goes) {
    hub.peer.answer("v1.loc.registry.providers.qry.read", wire::provider_list_reply({"boiler"}));
    auto queries = hub.peer.listen("v1.loc.registry.providers.boiler.def.qry.read");
    connect(panel, link.options().set_fail_requests_while_disconnected(true));
    auto attached = std::async(std::launch::async, [this] {
        return thrown_status([this] { panel.attach_to_provider("boiler"); });
    });
    static_cast<void>(queries.take());

    hub.nats_server.kill();

    EXPECT_EQ(attached.get(), disconnected);
}

TEST_F(reconnecting_options, make_requests_fail_after_the_chosen_time) {
    hub.peer.answer("v1.loc.registry.providers.qry.read", wire::provider_list_reply({"boiler"}));
    static_cast<void>(hub.peer.listen("v1.loc.registry.providers.boiler.def.qry.read"));
    connect(panel, connect_options{}.set_request_time_limit(50ms));
    auto const begin = std::chrono::steady_clock::now();

    EXPECT_EQ(thrown_status([this] { panel.attach_to_provider("boiler"); }), 26);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s);
}

// 100 kB each: the buffers of the operating system hold 4 MB or so.
TEST_F(reconnecting_options, end_a_publication_that_a_frozen_server_does_not_accept) {
    finalized_definition definition{
        7, {{"notes", std::string(100'000, 'x'), variable_permissions::read_write}}};
    static_cast<void>(boiler.register_provider_definition(definition));
    auto connected = std::async(
        std::launch::async, [&] { connect(boiler, link.options().set_write_deadline(100ms)); });
    while (connected.wait_for(5ms) != std::future_status::ready) {
        hub.peer.publish(subjects::verdict, verdict_on(7, 1));
    }
    connected.get();
    hub.nats_server.freeze();

    int status = -1;
    for (int number = 0; number < 400 && status == -1; ++number) {
        status = thrown_status([&] { boiler.force_publish_all(noon); });
    }

    hub.nats_server.thaw();
    EXPECT_EQ(status, 26);
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(reconnecting_options, let_a_client_start_without_the_first_server) {
    auto const connect_with = [this](connect_options const& options) {
        boiler.connect(
            free_url(), hub.token_endpoint.get_url(), "developer", "developer-secret", options);
    };

    EXPECT_EQ(thrown_status([&] { connect_with({}); }), no_server);
    EXPECT_EQ(
        thrown_status([&] {
            connect_with(
                connect_options{}.set_further_servers({free_url(), hub.nats_server.get_url()}));
        }),
        -1);

    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(reconnecting_options, let_a_client_move_to_another_server) {
    dev::nats_server other{{.token = hub.nats_server.get_token()}, hub.log};
    connect(boiler, link.options().set_further_servers({other.get_url()}));

    hub.nats_server.kill();
    ASSERT_TRUE(link.wait_for_count(2));

    EXPECT_THAT(link.events(), ElementsAre(link_event::lost, link_event::restored));
}

TEST_F(reconnecting_options, ask_for_new_credentials_with_each_token) {
    dev::token_endpoint const endpoint{
        {.accepted_clients = {{"rotating", "secret-1"}, {"rotating", "secret-2"}}},
        hub.nats_server.get_token(),
        hub.log};
    int asked = 0;
    auto const options = link.options().set_credentials_callback(
        [](void* user_data) {
            auto& count = *static_cast<int*>(user_data);
            return client_credentials{"rotating", "secret-" + std::to_string(++count)};
        },
        &asked);
    boiler.connect(hub.nats_server.get_url(), endpoint.get_url(), "unused", "unused", options);

    hub.nats_server.restart();
    ASSERT_TRUE(link.wait_for_count(2));

    ASSERT_THAT(endpoint.get_requests(), testing::SizeIs(2));
    EXPECT_EQ(endpoint.get_requests().at(0).client.client_secret, "secret-1");
    EXPECT_EQ(endpoint.get_requests().at(1).client.client_secret, "secret-2");
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(reconnecting_options, fail_the_provider_when_there_are_no_credentials) {
    auto const options = connect_options{}.set_credentials_callback(
        [](void* /*user_data*/) -> client_credentials { throw std::runtime_error{"no vault"}; },
        nullptr);

    EXPECT_THROW(connect(boiler, options), connection_failed);

    EXPECT_THAT(errors.text(), HasSubstr("\nCredentials callback failed: no vault\n"));
    EXPECT_FALSE(boiler.is_connected());
}

} // namespace

} // namespace arvenhold::corvel::hub
