// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "watched_hub.hpp"

#include <latch>

namespace arvenhold::corvel::hub {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

class link_of_a_provider : public hub_for_options {
public:
    void reopen() {
        boiler.disconnect();
        connect(boiler, connect_options{});
    }

protected:
    // Registers fingerprint 7, which the registry accepts.
    void start(connect_options const& options) {
        connect(boiler, options);
        boiler_definition definition{7};
        auto registered = std::async(
            std::launch::async, [&] { return boiler.register_provider_definition(definition); });
        while (registered.wait_for(5ms) != std::future_status::ready) {
            hub.peer.publish(subjects::verdict, verdict_on(7, 1));
        }
        registered.get();
    }

    provider boiler{"boiler"};
};

TEST_F(link_of_a_provider, is_lost_and_restored_with_the_server) {
    connect(boiler, link.options());

    hub.nats_server.kill();
    ASSERT_TRUE(link.wait_for_count(1));
    hub.nats_server.start();
    ASSERT_TRUE(link.wait_for_count(2));

    EXPECT_THAT(link.events(), ElementsAre(link_event::lost, link_event::restored));
}

// One thread calls the connection callbacks of all clients, and waits up to 15 s for a verdict.
TEST_F(link_of_a_provider, is_reported_while_another_provider_waits_for_its_verdict) {
    start(link.options());
    link_record other_link;
    provider mixer{"mixer"};
    connect(mixer, other_link.options());

    hub.nats_server.restart();
    ASSERT_TRUE(link.wait_for_count(2));
    ASSERT_TRUE(other_link.wait_for_count(2));
    hub.nats_server.restart();
    ASSERT_TRUE(link.wait_for_count(4));
    ASSERT_TRUE(other_link.wait_for_count(4));

    auto const both =
        ElementsAre(link_event::lost, link_event::restored, link_event::lost, link_event::restored);
    EXPECT_THAT(link.events(), both);
    EXPECT_THAT(other_link.events(), both);
    // The boiler still waits for its first verdict. The mixer's first callback may have come before
    // that.
    EXPECT_THAT(
        output.text(), AnyOf(IsEmpty(), StrEq("Provider has reconnected to NATS server!\n")));
}

TEST_F(link_of_a_provider, is_not_closed_by_a_disconnect) {
    connect(boiler, link.options());

    boiler.disconnect();
    connect(boiler, connect_options{});
    boiler.disconnect();

    EXPECT_THAT(link.events(), IsEmpty());
}

// What a program does that nobody restarts.
TEST_F(link_of_a_provider, may_be_opened_again_in_the_callback_that_reports_its_end) {
    struct reopening {
        link_of_a_provider& test;
        std::latch closed{1};
        std::latch may_reconnect{1};
        std::latch done{1};
    } state{*this};
    auto const options = connect_options{}.set_reconnect_attempts(0).set_link_callback(
        [](link_event event, std::uint64_t /*dropped*/, void* user_data) {
            auto& told = *static_cast<reopening*>(user_data);
            if (event == link_event::closed) {
                told.closed.count_down();
                told.may_reconnect.wait();
                told.test.reopen();
                told.done.count_down();
            }
        },
        &state);
    connect(boiler, options);

    hub.nats_server.kill();
    state.closed.wait();
    hub.nats_server.start();
    state.may_reconnect.count_down();
    state.done.wait();

    EXPECT_NO_THROW(start({}));
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(link_of_a_provider, may_end_with_the_provider_in_its_own_callback) {
    struct owner {
        std::unique_ptr<provider> owned = std::make_unique<provider>("doomed");
        std::latch destroyed{1};
    } doomed;
    connect(
        *doomed.owned,
        connect_options{}.set_link_callback(
            [](link_event /*event*/, std::uint64_t /*dropped*/, void* user_data) {
                auto& ending = *static_cast<owner*>(user_data);
                ending.owned.reset();
                ending.destroyed.count_down();
            },
            &doomed));

    hub.nats_server.restart();

    doomed.destroyed.wait();
    EXPECT_EQ(doomed.owned, nullptr);
}

TEST_F(link_of_a_provider, is_lost_when_a_frozen_server_does_not_answer_pings) {
    connect(
        boiler,
        link.options().set_ping_interval(50ms).set_unanswered_pings(1).set_connect_time_limit(
            200ms));

    hub.nats_server.freeze();
    ASSERT_TRUE(link.wait_for_count(1));
    hub.nats_server.thaw();
    ASSERT_TRUE(link.wait_for_count(2));

    EXPECT_THAT(link.events(), ElementsAre(link_event::lost, link_event::restored));
}

// The callback of a consumer blocks until it is released.
class overtaken_consumer : public hub_for_options {
protected:
    overtaken_consumer() {
        play_registry_and_boiler();
        connect(panel, link.options());
    }

    overtaken_consumer(overtaken_consumer const&) = delete;
    overtaken_consumer& operator=(overtaken_consumer const&) = delete;

    ~overtaken_consumer() override {
        may_return.count_down();
    }

    std::latch inside{1};
    std::latch may_return{1};
    consumer panel{
        "panel",
        false,
        [](auto /*identifiers*/, consumer& /*receiver*/, void* user_data) {
            auto& test = *static_cast<overtaken_consumer*>(user_data);
            test.inside.count_down();
            test.may_return.wait();
        },
        this};
};

TEST_F(overtaken_consumer, is_told_how_many_messages_were_dropped) {
    constexpr std::size_t large = std::size_t{8} * 1024 * 1024; // the server's maximum
    constexpr std::uint64_t sent = 12;                          // of which 64 MiB wait, at most 8
    auto const* const subject = "v1.loc.registry.providers.evt.changed";
    hub.peer.publish(subject, wire::provider_list_event({"boiler"}));
    inside.wait();

    for (std::uint64_t number = 0; number < sent; ++number) {
        hub.peer.publish(subject, std::string(large, '\0'));
    }

    EXPECT_TRUE(await([this] { return link.dropped_messages() >= sent - 8; }));
    EXPECT_LE(link.dropped_messages(), sent);
    EXPECT_THAT(link.events(), testing::Each(link_event::messages_dropped));
}

} // namespace

} // namespace arvenhold::corvel::hub
