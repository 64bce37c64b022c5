// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class publishing_provider : public provider_on_bare_hub {
protected:
    publishing_provider() {
        connect_boiler();
        list = register_boiler(7);
    }

    peer_inbox events = peer.listen(subjects::change_event);
    std::shared_ptr<variable_list> list;
};

TEST_F(publishing_provider, tells_every_initial_value_with_the_first_event) {
    boiler.publish(noon);

    auto const event = change_event_in(events.take().bytes);
    EXPECT_EQ(event.fingerprint, 7U);
    EXPECT_EQ(event.when, (sent_time{43'200, 0}));
    EXPECT_THAT(
        event.items,
        UnorderedElementsAre(
            sent_variable{speed_of(*list), 0.5, 192, std::nullopt},
            sent_variable{running_of(*list), false, 192, std::nullopt}));
}

TEST_F(publishing_provider, tells_a_change_in_one_event_and_nothing_in_the_next) {
    boiler.publish(noon);
    static_cast<void>(events.take());

    list->publish(speed_of(*list), 1.5, noon);
    boiler.publish(noon);

    EXPECT_THAT(
        change_event_in(events.take().bytes).items,
        ElementsAre(sent_variable{speed_of(*list), 1.5, 192, std::nullopt}));
    EXPECT_THAT(change_event_in(events.take().bytes).items, IsEmpty());
}

TEST_F(publishing_provider, tells_everything_again_when_forced) {
    boiler.publish(noon);
    static_cast<void>(events.take());

    boiler.force_publish_all(noon);

    EXPECT_THAT(change_event_in(events.take().bytes).items, SizeIs(2));
}

constexpr std::size_t max_payload = 4096;

dev::nats_server_options narrow_server() {
    dev::nats_server_options options;
    options.max_payload = max_payload;
    return options;
}

class publishing_too_much : public lone_provider {
protected:
    publishing_too_much() {
        connect();
    }

    void connect() {
        boiler.connect(server.get_url(), tokens.get_url(), "developer", "developer-secret");
    }

    dev::event_log log{nullptr};
    dev::nats_server server{narrow_server(), log};
    dev::token_endpoint tokens{{}, server.get_token(), log};
    raw_peer peer{server.get_url(), server.get_token()};
    provider boiler{"boiler"};
};

TEST_F(publishing_too_much, marks_the_provider_failed_until_it_connects_again) {
    finalized_definition definition{
        7, {{"notes", std::string(max_payload, 'x'), variable_permissions::read_write}}};
    auto registering = std::async(
        std::launch::async, [&] { return boiler.register_provider_definition(definition); });
    while (registering.wait_for(std::chrono::milliseconds{5}) != std::future_status::ready) {
        peer.publish(subjects::verdict, verdict_on(7, 1));
    }
    auto const list = registering.get();

    auto const message = thrown_message<connection_failed>([&] { boiler.publish(noon); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish updated variables (related sujbect: "
        "v1.loc.boiler.vars.evt.changed), NATS returns: 21 = Maximum Payload Exceeded\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(
        thrown_message<connection_failed>([&] { boiler.publish(noon); }),
        "Provider boiler: failed to publish variables: connection to the NATS server has failed, "
        "attempt to disconnect and re-connect to re-establish the connection.\n");
    boiler.disconnect();
    connect();
    EXPECT_TRUE(boiler.is_connected());
}

} // namespace

} // namespace arvenhold::corvel::hub
