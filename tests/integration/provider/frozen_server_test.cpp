// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/await.hpp"
#include "support/provider_messages.hpp"

#include <atomic>
#include <future>

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;

// 40 MB: more than the buffers of the operating system hold, which take some 4 MB by default.
constexpr std::size_t event_size = 100'000;
constexpr std::size_t event_count = 400;

// How long a call is watched that does not return.
constexpr std::chrono::seconds observation{1};

// A provider that publishes to a frozen server until its publication does not return any more.
class provider_on_frozen_server : public provider_on_bare_hub {
protected:
    provider_on_frozen_server() {
        connect_boiler();
        finalized_definition definition{
            7, {{"notes", std::string(event_size, 'x'), variable_permissions::read_write}}};
        list = with_verdict(
            verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); });
        hub.nats_server.freeze();
        publishing = std::async(std::launch::async, [this] { publish_all(); });
        EXPECT_TRUE(await([this] { return is_blocked(); }));
    }

    provider_on_frozen_server(provider_on_frozen_server const&) = delete;
    provider_on_frozen_server& operator=(provider_on_frozen_server const&) = delete;

    ~provider_on_frozen_server() override {
        hub.nats_server.thaw();
    }

    void publish_all() {
        for (begun = 1; begun <= event_count; ++begun) {
            boiler.force_publish_all(noon);
        }
    }

    // Not one publication returns while it is watched.
    bool is_blocked() {
        auto const before = begun.load();
        return publishing.wait_for(observation) == std::future_status::timeout && begun == before;
    }

    peer_inbox events = peer.listen(subjects::change_event);
    std::shared_ptr<variable_list> list;
    std::atomic<std::size_t> begun{0};
    std::future<void> publishing;
};

TEST_F(provider_on_frozen_server, blocks_in_publish_and_loses_nothing_when_the_server_goes_on) {
    EXPECT_LT(begun, event_count);

    hub.nats_server.thaw();

    publishing.get();
    EXPECT_TRUE(await([this] { return events.waiting() == event_count; }));
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(provider_on_frozen_server, answers_what_needs_no_server_meanwhile) {
    auto const id = list->get_variables().begin()->first;

    auto asked = std::async(std::launch::async, [&] {
        list->write_variable(id, std::string{"later"}, noon);
        return std::make_tuple(
            boiler.is_connected(), boiler.get_fingerprint(), boiler.get_variable_list());
    });
    auto const status = asked.wait_for(patience);
    auto const publication = publishing.wait_for(std::chrono::seconds{0});
    hub.nats_server.thaw();

    EXPECT_EQ(status, std::future_status::ready);
    EXPECT_EQ(publication, std::future_status::timeout);
    EXPECT_EQ(asked.get(), std::make_tuple(true, definition_fingerprint{7}, list));
}

TEST_F(provider_on_frozen_server, delays_no_provider_of_another_server) {
    bare_hub other;
    auto mixer_events = other.peer.listen("v1.loc.mixer.vars.evt.changed");
    provider mixer{"mixer"};
    boiler_definition definition{8};
    static_cast<void>(mixer.register_provider_definition(definition));
    auto connected = std::async(
        std::launch::async, [&] { connect(mixer, other.nats_server, other.token_endpoint); });

    while (connected.wait_for(std::chrono::milliseconds{5}) != std::future_status::ready) {
        other.peer.publish("v1.loc.registry.providers.mixer.def.evt.changed", verdict_on(8, 1));
    }

    connected.get();
    EXPECT_EQ(change_event_in(mixer_events.take().bytes).fingerprint, 8U);
    EXPECT_EQ(publishing.wait_for(std::chrono::seconds{0}), std::future_status::timeout);
}

TEST_F(provider_on_frozen_server, is_disconnected_for_its_application_at_once_and_returns_later) {
    auto disconnected = std::async(std::launch::async, [this] { boiler.disconnect(); });

    EXPECT_TRUE(await([this] { return !boiler.is_connected(); }));
    EXPECT_EQ(disconnected.wait_for(observation), std::future_status::timeout);
    hub.nats_server.thaw();

    disconnected.get();
    EXPECT_THROW(publishing.get(), connection_failed);
    EXPECT_FALSE(boiler.is_connected());
}

} // namespace

} // namespace arvenhold::corvel::hub
