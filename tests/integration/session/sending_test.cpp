// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"

#include <poll.h>

#include <future>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The change events of the oven, in their order.
class oven_events : public oven_on_hub {
protected:
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    peer_inbox inbox = peer.listen("v1.loc.oven.vars.evt.changed");

    // Returns the next event that is not empty.
    sent_variables take_event() {
        while (true) {
            auto event = change_event_in(inbox.take().bytes);
            if (!event.items.empty()) {
                return event;
            }
        }
    }

    std::vector<variable_value> take_values(std::size_t count) {
        std::vector<variable_value> values;
        while (values.size() < count) {
            for (auto const& item : take_event().items) {
                values.push_back(item.value);
            }
        }
        return values;
    }
};

TEST_F(oven_events, carry_a_change_with_its_own_time_and_quality) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();

    temperature.set(21.5, variable_quality::uncertain, at_noon);

    auto const event = take_event();
    EXPECT_EQ(event.when, as_sent(at_noon));
    ASSERT_THAT(event.items, SizeIs(1));
    EXPECT_EQ(event.items[0].value, variable_value{21.5});
    EXPECT_EQ(event.items[0].quality, static_cast<int>(variable_quality::uncertain));
}

TEST_F(oven_events, carry_all_changes_of_an_update_at_once) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    auto const door = oven->declare<bool>("door", false);
    start();

    oven->update(
        [&](auto& cycle) {
            cycle.set(temperature, 22.0);
            cycle.set(door, true);
            cycle.set(oven->find("temperature"), 23.0);
        },
        at_noon);

    auto const event = take_event();
    EXPECT_EQ(event.when, as_sent(at_noon));
    ASSERT_THAT(event.items, SizeIs(2));
    EXPECT_EQ(event.items[0].value, variable_value{23.0});
    EXPECT_EQ(event.items[1].value, variable_value{true});
}

TEST_F(oven_events, carry_nothing_of_an_update_that_throws) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();

    EXPECT_THROW(
        oven->update([&](auto& cycle) {
            cycle.set(temperature, 22.0);
            throw std::runtime_error{"no"};
        }),
        std::runtime_error);
    temperature.set(30.0);

    EXPECT_EQ(take_event().items.at(0).value, variable_value{30.0});
}

TEST_F(oven_events, carry_changes_of_different_times_apart) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    auto const door = oven->declare<bool>("door", false);
    temperature.set(22.0, good, at_noon);
    door.set(true, good, at_one);

    start(); // both wait, and are sent together

    auto const first = take_event();
    auto const second = take_event();
    EXPECT_EQ(first.when, as_sent(at_noon));
    EXPECT_EQ(first.items.at(0).value, variable_value{22.0});
    EXPECT_EQ(second.when, as_sent(at_one));
    EXPECT_EQ(second.items.at(0).value, variable_value{true});
}

TEST_F(oven_events, carry_what_was_set_just_before_the_stop) {
    constexpr int count = 100;
    auto const temperature = oven->declare<double>("temperature", 20.0);
    auto const door = oven->declare<bool>("door", false);
    oven->keep_changes(temperature.as_any(), count);
    start();

    for (int change = 1; change <= count; ++change) {
        temperature.set(1.0 * change);
    }
    door.set(true);
    oven->stop();

    auto const values = take_values(count + 1);
    EXPECT_THAT(values, Contains(variable_value{1.0}));
    EXPECT_THAT(values, Contains(variable_value{double{count}}));
    EXPECT_THAT(values, Contains(variable_value{true}));
}

TEST_F(oven_events, carry_what_a_handler_has_set_before_it_stops_the_session) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    oven->set_status_handler([&](session_status const& status) {
        if (status.state == session_state::ready) {
            temperature.set(22.0);
            oven->stop();
            temperature.set(23.0);
        }
    });
    oven->start();

    EXPECT_THAT(take_values(1), ElementsAre(AnyOf(variable_value{22.0}, variable_value{23.0})));
}

TEST_F(oven_events, are_not_waited_for_by_a_stop_without_a_server) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();
    hub.get_nats_server().freeze();
    temperature.set(22.0);

    auto stopped = std::async(std::launch::async, [this] { oven->stop(); });

    EXPECT_EQ(stopped.wait_for(patience), std::future_status::ready);
    hub.get_nats_server().thaw();
}

TEST_F(oven_events, carry_a_quality_alone_with_the_latest_value) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();

    temperature.set_quality(variable_quality::bad, at_one);

    auto const event = take_event();
    EXPECT_EQ(event.when, as_sent(at_one));
    EXPECT_EQ(event.items.at(0).value, variable_value{20.0});
    EXPECT_EQ(event.items.at(0).quality, static_cast<int>(variable_quality::bad));
}

TEST_F(oven_events, carry_every_change_of_a_variable_that_keeps_them_in_order) {
    auto const count = oven->declare<std::int64_t>("count", 0);
    oven->keep_changes(count.as_any(), 1'000);
    start();

    for (std::int64_t number = 1; number <= 500; ++number) {
        count.set(number, good, at_noon);
    }

    auto const values = take_values(500);
    for (std::size_t index = 0; index < values.size(); ++index) {
        ASSERT_EQ(values[index], variable_value{static_cast<std::int64_t>(index + 1)});
    }
}

TEST_F(oven_events, carry_the_latest_changes_of_a_full_queue) {
    auto const count = oven->declare<std::int64_t>("count", 0);
    oven->keep_changes(count.as_any(), 3);
    for (std::int64_t number = 1; number <= 5; ++number) {
        count.set(number);
    }
    EXPECT_EQ(count.as_any().get_dropped_changes(), 2U);

    start();

    EXPECT_THAT(
        take_values(3),
        ElementsAre(
            variable_value{std::int64_t{3}},
            variable_value{std::int64_t{4}},
            variable_value{std::int64_t{5}}));
}

TEST_F(oven_events, leave_without_the_initial_values_which_have_times_of_their_own) {
    static_cast<void>(oven->declare<double>("temperature", 20.0));
    auto const set_point = oven->declare<double>("set_point", 150.0);
    start();
    set_point.set(160.0, good, at_noon);

    auto const event = take_event();

    EXPECT_EQ(event.when, as_sent(at_noon));
    EXPECT_THAT(event.items, SizeIs(1));
}

using oven_variables = oven_on_hub;

TEST_F(oven_variables, have_every_type) {
    static_cast<void>(oven->declare<bool>("bool", true));
    static_cast<void>(oven->declare<double>("double", 1.5));
    static_cast<void>(oven->declare<std::int64_t>("integer", -7));
    static_cast<void>(oven->declare<std::string>("string", "hello"));
    static_cast<void>(oven->declare<timestamp>("time", at_noon));
    static_cast<void>(oven->declare<std::chrono::nanoseconds>("duration", std::chrono::hours{1}));
    start();

    consumer reader{"reader", true, nullptr, nullptr};
    connect(reader);
    auto const connection = reader.attach_to_provider("oven");

    std::vector<variable_value> values;
    for (auto const& [id, variable] : connection->get_current_variables()) {
        values.push_back(std::get<0>(variable->get_value_with_timestamp()));
    }
    EXPECT_THAT(
        values,
        ElementsAre(
            variable_value{true},
            variable_value{1.5},
            variable_value{std::int64_t{-7}},
            variable_value{std::string{"hello"}},
            variable_value{at_noon},
            variable_value{std::chrono::nanoseconds{std::chrono::hours{1}}}));
}

TEST_F(oven_variables, are_uncertain_until_they_are_set) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    start();
    auto const initial = read("temperature");
    ASSERT_TRUE(initial);
    EXPECT_EQ(initial->quality, variable_quality::uncertain_initial_value);

    temperature.set(21.5, good, at_noon);

    EXPECT_TRUE(sees("temperature", {21.5, good, at_noon}));
}

TEST_F(oven_variables, are_found_by_their_path_and_keep_their_type) {
    static_cast<void>(oven->declare<double>("temperature", 20.0));
    auto const found = oven->find("temperature");

    found.set(21.5, good, at_noon);

    EXPECT_EQ(found.get(), variable_value{21.5});
    EXPECT_THROW(found.set(true), std::invalid_argument);
    EXPECT_EQ(found.get(), variable_value{21.5});
    EXPECT_FALSE(oven->find("pressure"));
    EXPECT_THROW(oven->find("pressure").set(1.0), std::logic_error);
}

TEST_F(oven_variables, are_declared_once_and_before_the_start) {
    auto const temperature = oven->declare<double>("temperature", 20.0);
    provider_session other{"other", access(), quick()};
    auto const foreign = other.declare<double>("temperature", 20.0);

    EXPECT_THROW(oven->declare<bool>("temperature", true), std::invalid_argument);
    EXPECT_THROW(
        oven->declare<bool>("door", true, read_only, [](bool) { return true; }),
        std::invalid_argument);
    EXPECT_THROW(oven->keep_changes(temperature.as_any(), 0), std::invalid_argument);
    EXPECT_THROW(oven->keep_changes(foreign.as_any(), 1), std::logic_error);
    EXPECT_THROW(oven->update([&](auto& cycle) { cycle.set(foreign, 1.0); }), std::logic_error);
    oven->start();
    EXPECT_THROW(oven->declare<bool>("door", true), std::logic_error);
    EXPECT_THROW(oven->keep_changes(temperature.as_any(), 1), std::logic_error);
    EXPECT_THROW(oven->set_status_handler({}), std::logic_error);
    EXPECT_THROW(oven->set_write_handler({}), std::logic_error);
}

class dispatched_oven : public oven_on_hub {
protected:
    std::vector<session_state> states; // of this thread

    dispatched_oven() {
        oven = std::make_unique<provider_session>(
            "oven", access(), quick().set_handlers_wait_for_dispatch(true));
        oven->set_status_handler(
            [this](session_status const& status) { states.push_back(status.state); });
    }

    // Waits until handlers wait.
    testing::AssertionResult is_readable() {
        pollfd polled{oven->get_dispatch_descriptor(), POLLIN, 0};
        auto const limit = std::chrono::milliseconds{patience}.count();
        return ::poll(&polled, 1, static_cast<int>(limit)) == 1
                 ? testing::AssertionSuccess()
                 : testing::AssertionFailure() << "no handler waits";
    }
};

TEST_F(dispatched_oven, calls_handlers_where_the_application_wants_it) {
    start();
    ASSERT_TRUE(is_readable());
    EXPECT_THAT(states, IsEmpty());

    EXPECT_EQ(oven->dispatch(), 1U);

    EXPECT_THAT(states, ElementsAre(session_state::ready));
    EXPECT_EQ(oven->dispatch(), 0U);
}

TEST_F(dispatched_oven, can_be_destroyed_by_a_handler) {
    static_cast<void>(oven->declare<double>("set_point", 150.0, writable, [this](double) {
        oven.reset();
        return true;
    }));
    start();
    ASSERT_TRUE(is_readable());
    oven->dispatch();
    write("set_point", 160.0);
    ASSERT_TRUE(is_readable());

    oven->dispatch();

    EXPECT_EQ(oven, nullptr);
}

TEST_F(oven_on_hub, has_no_descriptor_unless_handlers_wait) {
    EXPECT_EQ(oven->get_dispatch_descriptor(), -1);
    EXPECT_EQ(oven->dispatch(), 0U);
}

} // namespace

} // namespace arvenhold::corvel::hub
