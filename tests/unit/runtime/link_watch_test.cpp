// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/nats_session.hpp"
#include "support/await.hpp"
#include "support/captured_stream.hpp"
#include "support/fake_nats.hpp"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <iostream>
#include <latch>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using told_event = std::pair<link_event, std::uint64_t>;

struct quiet_owner {
    static constexpr auto kind = client_kind::provider;

    std::string name{"boiler"};

    std::string const& get_client_name() const {
        return name;
    }
    void nats_recon_callback() {}
    void nats_dcon_callback() {}
    void ignore(received_message /*message*/) {}
};

constexpr subscription_kind tick_subscription{
    .operation = "subscribe to the tick",
    .missing_message = "no tick",
    .missing_owner = "nobody for the tick",
    .checked_first = subscription_kind::part::message};

class watched_session : public testing::Test {
protected:
    using registration_type = callback_registration_of<quiet_owner>;

    watched_session() {
        nats.skip_token_handler();
        session->connect();
    }

    std::shared_ptr<nats_session> make_session() {
        return std::make_shared<nats_session>(
            nats_session_settings{
                .kind = client_kind::provider,
                .client_name = "boiler",
                .server_url = "nats://hub",
                .token_endpoint = {},
                .client_id = {},
                .client_secret = {},
                .scope = {},
                .options = connect_options{}.set_link_callback(&record, this)},
            registration);
    }

    static void record(link_event event, std::uint64_t dropped, void* user_data) {
        auto& test = *static_cast<watched_session*>(user_data);
        {
            std::scoped_lock const lock{test.mutex};
            test.told.emplace_back(event, dropped);
        }
        if (test.when_told) {
            test.when_told();
        }
    }

    std::vector<told_event> get_told() {
        std::scoped_lock const lock{mutex};
        return told;
    }

    bool await_told(std::size_t count) {
        return await([&] { return get_told().size() >= count; });
    }

    captured_stream errors{std::cerr};
    fake_nats nats;
    std::mutex mutex; // guards the list
    std::vector<told_event> told;
    std::function<void()> when_told;
    std::shared_ptr<callback_gate> const gate = std::make_shared<callback_gate>();
    std::shared_ptr<quiet_owner> const owner = std::make_shared<quiet_owner>();
    std::shared_ptr<registration_type> registration =
        std::make_shared<registration_type>(gate, owner);
    std::shared_ptr<nats_session> session = make_session();
};

TEST_F(watched_session, tells_that_its_link_is_lost_restored_and_closed) {
    nats.lose_connection();
    ASSERT_TRUE(await_told(1));
    nats.regain_connection();
    ASSERT_TRUE(await_told(2));
    nats.give_up_connection();
    ASSERT_TRUE(await_told(4));

    EXPECT_THAT(
        get_told(),
        ElementsAre(
            Pair(link_event::lost, 0U),
            Pair(link_event::restored, 0U),
            Pair(link_event::lost, 0U),
            Pair(link_event::closed, 0U)));
}

TEST_F(watched_session, tells_of_a_loss_that_was_over_at_once) {
    nats.lose_connection();
    nats.regain_connection();
    ASSERT_TRUE(await_told(2));

    EXPECT_THAT(
        get_told(), ElementsAre(Pair(link_event::lost, 0U), Pair(link_event::restored, 0U)));
}

TEST_F(watched_session, counts_what_each_of_its_subscriptions_drops) {
    session->subscribe<tick_subscription, &quiet_owner::ignore>("tick", *registration);
    session->subscribe<tick_subscription, &quiet_owner::ignore>("tock", *registration);
    nats.drop_messages("tick", 5);
    ASSERT_TRUE(await_told(1));
    nats.drop_messages("tock", 2);
    ASSERT_TRUE(await_told(2));

    EXPECT_THAT(
        get_told(),
        ElementsAre(
            Pair(link_event::messages_dropped, 5U), Pair(link_event::messages_dropped, 2U)));
}

TEST_F(watched_session, does_not_wait_for_the_thread_of_the_connection_callbacks) {
    nats.hold_deliveries();
    nats.lose_connection(fake_nats::run_on::own_thread);
    ASSERT_TRUE(await_told(1));
    nats.regain_connection(fake_nats::run_on::own_thread);

    EXPECT_TRUE(await_told(2));

    nats.release_deliveries();
    EXPECT_TRUE(nats.wait_until_delivered());
}

TEST_F(watched_session, goes_on_after_a_callback_that_throws) {
    when_told = [] {
        throw std::runtime_error{"a link callback failed"};
    };
    nats.lose_connection();
    ASSERT_TRUE(await_told(1));
    nats.regain_connection();

    EXPECT_TRUE(await_told(2));

    session->close();
    session.reset(); // waits for the thread
    EXPECT_EQ(errors.flushed_text(), "a link callback failed\na link callback failed\n");
}

TEST_F(watched_session, calls_nobody_when_it_is_closed_by_its_owner) {
    session->close();
    session.reset(); // waits for the thread

    EXPECT_THAT(get_told(), IsEmpty());
}

TEST_F(watched_session, may_be_closed_and_destroyed_by_its_callback) {
    std::latch ended{1};
    when_told = [&] {
        session->close();
        session.reset();
        ended.count_down();
    };
    nats.lose_connection();

    ended.wait();

    gate->shut(); // waits for the callback
    EXPECT_THAT(get_told(), ElementsAre(Pair(link_event::lost, 0U)));
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(watched_session, can_be_destroyed_while_a_callback_runs_that_only_the_gate_waits_for) {
    std::latch inside{1};
    std::latch may_return{1};
    when_told = [&] {
        inside.count_down();
        may_return.wait();
    };
    nats.lose_connection();
    inside.wait();

    session.reset();

    auto shut = std::async(std::launch::async, [&] { gate->shut(); });
    ASSERT_TRUE(await([&] { return gate->is_shut(); }));
    EXPECT_EQ(shut.wait_for(std::chrono::seconds{0}), std::future_status::timeout);
    may_return.count_down();
    shut.get();
    EXPECT_THAT(get_told(), ElementsAre(Pair(link_event::lost, 0U)));
}

TEST_F(watched_session, ends_its_thread_when_it_could_not_connect) {
    session.reset();
    nats.fail_next("natsConnection_Connect", NATS_NO_SERVER);
    registration = std::make_shared<registration_type>(gate, owner);
    auto const refused = make_session();

    EXPECT_ANY_THROW(refused->connect());

    EXPECT_THAT(get_told(), IsEmpty());
}

class link_watch_alone : public watched_session {
protected:
    link_listener listener() {
        return {"boiler", registration->closure(), &record, this};
    }
};

TEST_F(link_watch_alone, calls_nobody_once_it_is_stopped) {
    std::latch may_read{1};
    std::latch is_read{1};
    link_watch* stopped = nullptr;
    {
        link_watch watch{listener(), [&] {
                             may_read.wait();
                             stopped->stop();
                             is_read.count_down();
                             return link_reading{.is_connected = false};
                         }};
        stopped = &watch;
        watch.begin();
        may_read.count_down();
        is_read.wait();
    }

    EXPECT_THAT(get_told(), IsEmpty());
}

TEST_F(link_watch_alone, reads_nothing_before_it_begins) {
    std::atomic<int> readings{0};

    {
        link_watch const watch{listener(), [&] {
                                   ++readings;
                                   return link_reading{};
                               }};
    }

    EXPECT_EQ(readings, 0);
}

TEST_F(link_watch_alone, reads_again_after_a_reading_without_memory) {
    std::atomic<int> readings{0};
    link_watch watch{listener(), [&] {
                         if (++readings == 1) {
                             throw std::bad_alloc{};
                         }
                         return link_reading{.is_connected = false};
                     }};

    watch.begin();

    ASSERT_TRUE(await_told(1));
    EXPECT_THAT(get_told(), ElementsAre(Pair(link_event::lost, 0U)));
}

} // namespace

} // namespace arvenhold::corvel::hub
