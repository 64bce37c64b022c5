// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_test.hpp"

#include <bit>
#include <limits>
#include <variant>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

// A value as it is sent, and what arrives: only durations lose something in between.
struct travelling_value {
    std::string name;
    variable_value sent;
    variable_value received;
};

travelling_value unchanged(std::string const& name, variable_value const& value) {
    return {name, value, value};
}

constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
constexpr auto greatest = std::numeric_limits<std::int64_t>::max();
constexpr nanoseconds most_negative{smallest};
constexpr nanoseconds most_positive{greatest};
using doubles = std::numeric_limits<double>;

std::vector<travelling_value> numbers_and_texts() {
    return {
        unchanged("bool/true", true),
        unchanged("bool/false", false),
        unchanged("double/plain", 21.5),
        unchanged("double/negative_zero", -0.0),
        unchanged("double/greatest", doubles::max()),
        unchanged("double/lowest", doubles::lowest()),
        unchanged("double/tiny", doubles::denorm_min()),
        unchanged("double/infinity", doubles::infinity()),
        unchanged("double/negative_infinity", -doubles::infinity()),
        unchanged("double/not_a_number", doubles::quiet_NaN()),
        unchanged("int64/plain", std::int64_t{-5}),
        unchanged("int64/smallest", smallest),
        unchanged("int64/greatest", greatest),
        unchanged("string/empty", std::string{}),
        unchanged("string/plain", std::string{"automatic"}),
        unchanged("string/utf8", std::string{"Kessel \xC3\xA4\xC3\xB6\xC3\xBC \xE2\x82\xAC"}),
        unchanged("string/with_zero", std::string{"before\0after", 12}),
        unchanged("string/long", std::string(100'000, 'x'))};
}

std::vector<travelling_value> times() {
    return {
        unchanged("time/plain", at_noon),
        unchanged("time/epoch", timestamp{}),
        unchanged("time/before_1970", timestamp{nanoseconds{-1}}),
        unchanged("time/long_before_1970", timestamp{seconds{-2'000'000'000} - nanoseconds{999}}),
        unchanged("time/smallest", timestamp{most_negative}),
        unchanged("time/greatest", timestamp{most_positive}),
        unchanged("duration/plain", microseconds{1'500'000}),
        unchanged("duration/zero", nanoseconds{0}),
        {"duration/truncated", nanoseconds{1'000'001'999}, nanoseconds{1'000'001'000}},
        {"duration/negative", nanoseconds{-1'000'001'999}, nanoseconds{-1'000'001'000}},
        {"duration/smallest", most_negative, nanoseconds{-9'223'372'036'854'775'000}},
        {"duration/greatest", most_positive, nanoseconds{9'223'372'036'854'775'000}}};
}

std::vector<travelling_value> all_values() {
    auto values = numbers_and_texts();
    for (auto const& value : times()) {
        values.push_back(value);
    }
    return values;
}

variable_value zero_of(variable_value const& value) {
    return std::visit(
        [](auto const& held) { return variable_value{std::decay_t<decltype(held)>{}}; }, value);
}

// Equal to the last bit, the sign of zero and what is not a number included.
bool is_same(variable_value const& one, variable_value const& other) {
    auto const* const left = std::get_if<double>(&one);
    auto const* const right = std::get_if<double>(&other);
    if (left != nullptr && right != nullptr) {
        return std::bit_cast<std::uint64_t>(*left) == std::bit_cast<std::uint64_t>(*right);
    }
    return one == other;
}

class exchanged_values : public exchange_test {
protected:
    exchanged_values() {
        std::vector<variable_definition_entry> entries;
        for (auto const& [name, sent, received] : values) {
            entries.emplace_back(name, zero_of(sent), variable_permissions::read_write);
        }
        boiler = std::make_unique<offering>("boiler", 77, entries);
        connect(boiler->sender);
        connect(panel.receiver);
    }

    void publish_all_values() {
        std::vector<std::tuple<variable_id, variable_value>> updates;
        for (auto const& [name, sent, received] : values) {
            updates.emplace_back(boiler->id_of(name), sent);
        }
        boiler->list->bulk_publish(updates, at_noon);
    }

    void expect_all_values(provider_connection& connection) {
        for (auto const& [name, sent, received] : values) {
            EXPECT_PRED2(is_same, value_of(connection, name), received) << name;
            EXPECT_EQ(variable(connection, name).get_last_publish_timestamp(), at_noon) << name;
        }
        EXPECT_THAT(qualities(connection), Each(variable_quality::good));
    }

    std::vector<travelling_value> const values = all_values();
    std::unique_ptr<offering> boiler;
    watcher panel{"panel"};
};

TEST_F(exchanged_values, arrive_in_a_change_event) {
    auto const connection = panel.attach("boiler");

    publish_all_values();

    ASSERT_TRUE(panel.changes.wait_for_count(1));
    auto const [fingerprint, changed] = panel.changes.get().front();
    EXPECT_EQ(fingerprint, 77U);
    EXPECT_THAT(changed, SizeIs(values.size()));
    expect_all_values(*connection);
}

TEST_F(exchanged_values, arrive_with_attaching) {
    publish_all_values();

    auto const connection = panel.attach("boiler");

    expect_all_values(*connection);
    EXPECT_THAT(panel.changes.get(), SizeIs(0));
}

TEST_F(exchanged_values, arrive_in_a_read) {
    auto const connection = panel.attach("boiler");
    publish_all_values();
    ASSERT_TRUE(panel.changes.wait_for_count(1));

    connection->update_all_variables();

    expect_all_values(*connection);
    EXPECT_EQ(variable(*connection, "double/plain").get_update_count(), 3U);
}

TEST_F(exchanged_values, travel_to_the_provider_and_back_when_they_are_written) {
    boiler->apply_writes();
    auto const connection = panel.attach("boiler");
    std::vector<variable_id> ids;
    for (auto const& [name, sent, received] : values) {
        variable(*connection, name).set_value(sent, timestamp{});
        ids.push_back(variable(*connection, name).get_id());
    }

    connection->write_variables(77, ids);

    ASSERT_TRUE(panel.changes.wait_for_count(1));
    expect_all_values(*connection);
    for (auto const& [name, sent, received] : values) {
        auto& written = *boiler->list->resolve_variable_by_id(boiler->id_of(name));
        EXPECT_PRED2(is_same, written.get_value(), received) << name;
    }
}

class exchanged_states : public exchange_test {
protected:
    exchanged_states() {
        connect(boiler.sender);
        connect(panel.receiver);
        connection = panel.attach("boiler");
    }

    offering boiler{
        "boiler",
        77,
        {{"a", 1.0, variable_permissions::read_only},
         {"b", 2.0, variable_permissions::read_write},
         {"c", 3.0, variable_permissions::read_write},
         {"d", 4.0, variable_permissions::read_write},
         {"e", 5.0, variable_permissions::read_write},
         {"f", 6.0, variable_permissions::read_write}}};
    watcher panel{"panel"};
    std::shared_ptr<provider_connection> connection;
};

TEST_F(exchanged_states, of_every_quality_arrive_and_an_unknown_one_as_uncertain) {
    boiler.list->bulk_set_quality(
        {{boiler.id_of("a"), variable_quality::bad},
         {boiler.id_of("b"), variable_quality::uncertain},
         {boiler.id_of("c"), variable_quality::uncertain_last_usable_value},
         {boiler.id_of("d"), variable_quality::uncertain_initial_value},
         {boiler.id_of("e"), variable_quality::good},
         {boiler.id_of("f"), variable_quality{65}}},
        at_noon);

    ASSERT_TRUE(panel.changes.wait_for_count(1));
    auto const expected = ElementsAre(
        variable_quality::bad,
        variable_quality::uncertain,
        variable_quality::uncertain_last_usable_value,
        variable_quality::uncertain_initial_value,
        variable_quality::good,
        variable_quality::uncertain);
    EXPECT_THAT(qualities(*connection), expected);

    connection->update_all_variables();

    EXPECT_THAT(qualities(*connection), expected);
}

TEST_F(exchanged_states, have_the_time_of_the_event_or_of_the_variable_before_1970_as_well) {
    timestamp const earlier{seconds{-100} - nanoseconds{1}};
    boiler.list->set_quality(boiler.id_of("a"), variable_quality::good, earlier);
    boiler.list->publish(boiler.id_of("b"), 2.5, timestamp{seconds{-1}});

    ASSERT_TRUE(panel.changes.wait_for_count(1));
    EXPECT_EQ(variable(*connection, "a").get_last_publish_timestamp(), timestamp{seconds{-1}});
    EXPECT_EQ(variable(*connection, "b").get_last_publish_timestamp(), timestamp{seconds{-1}});

    connection->update_all_variables();

    EXPECT_EQ(variable(*connection, "a").get_last_publish_timestamp(), earlier);
    EXPECT_EQ(variable(*connection, "b").get_last_publish_timestamp(), timestamp{seconds{-1}});
}

TEST_F(exchanged_states, of_the_variables_that_were_read_alone_change) {
    boiler.sender.force_publish_all(at_noon);
    ASSERT_TRUE(panel.changes.wait_for_count(1));

    connection->read_variables(77, {boiler.id_of("c"), boiler.id_of("a")});

    EXPECT_EQ(variable(*connection, "a").get_update_count(), 3U);
    EXPECT_EQ(variable(*connection, "b").get_update_count(), 2U);
    EXPECT_EQ(variable(*connection, "c").get_update_count(), 3U);
}

TEST_F(exchanged_states, say_who_may_write) {
    EXPECT_EQ(variable(*connection, "a").get_permissions(), variable_permissions::read_only);
    EXPECT_EQ(variable(*connection, "b").get_permissions(), variable_permissions::read_write);
    EXPECT_THROW(variable(*connection, "a").set_value(9.0, at_noon), variable_read_only);
}

TEST_F(exchanged_states, of_a_definition_that_is_replaced_make_place_for_those_of_the_new_one) {
    auto const before = connection->get_current_variables().variables;

    boiler.offer(78, {{"level", std::int64_t{5}, variable_permissions::read_write}});

    ASSERT_TRUE(panel.events.wait_for(event::definition_updated));
    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_EQ(value_of(*connection, "level"), variable_value{std::int64_t{5}});
    EXPECT_THAT(*before, SizeIs(6));
    EXPECT_THROW(connection->read_variables(77, {1}), provider_definition_mismatch);

    boiler.list->publish(boiler.id_of("level"), std::int64_t{6}, at_noon);

    EXPECT_TRUE(panel.changes.wait_for({78, {boiler.id_of("level")}}));
    EXPECT_EQ(value_of(*connection, "level"), variable_value{std::int64_t{6}});
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(exchanged_states, end_with_a_withdrawn_definition) {
    auto const before = connection->get_current_variables().variables;

    hub.get_registry().withdraw_definition("boiler");

    ASSERT_TRUE(error_output.wait_until_flushed(
        "Received a provider definition event, but zero fingerprint or zero variable definitions "
        "were received\n",
        patience));
    EXPECT_EQ(connection->get_current_variables().fingerprint, 0U);
    EXPECT_THAT(*connection->get_current_variables().variables, SizeIs(0));
    EXPECT_EQ(before->begin()->second->get_quality(), variable_quality::bad);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(panel.events.get(), SizeIs(0));
}

class several_consumers : public exchange_test {
protected:
    several_consumers() {
        boiler.apply_writes();
        connect(boiler.sender);
        connect(panel.receiver);
        connect(display.receiver);
    }

    offering boiler{"boiler", 77, {{"set_point", 60.0, variable_permissions::read_write}}};
    watcher panel{"panel"};
    watcher display{"display", true};
};

TEST_F(several_consumers, see_what_one_of_them_writes) {
    auto const at_panel = panel.attach("boiler");
    auto const at_display = display.attach("boiler");
    auto& set_point = variable(*at_panel, "set_point");
    set_point.set_value(70.0, at_noon);

    at_panel->write_variables(77, {set_point.get_id()});

    EXPECT_TRUE(panel.changes.wait_for_count(1));
    EXPECT_TRUE(display.changes.wait_for_count(1));
    EXPECT_EQ(value_of(*at_panel, "set_point"), variable_value{70.0});
    EXPECT_EQ(value_of(*at_display, "set_point"), variable_value{70.0});
}

TEST_F(several_consumers, do_not_notice_that_another_one_disconnects) {
    auto const at_panel = panel.attach("boiler");
    auto const at_display = display.attach("boiler");

    panel.receiver.disconnect();
    boiler.list->publish(boiler.id_of("set_point"), 80.0, at_noon);

    EXPECT_TRUE(display.changes.wait_for_count(1));
    EXPECT_EQ(value_of(*at_display, "set_point"), variable_value{80.0});
    EXPECT_EQ(at_panel->get_state(), state::disconnected);
    EXPECT_THAT(panel.changes.get(), SizeIs(0));
}

TEST_F(several_consumers, ask_for_the_scope_of_their_permission) {
    std::vector<std::string> scopes;
    for (auto const& request : hub.get_token_endpoint().get_requests()) {
        scopes.push_back(request.scope);
    }

    EXPECT_THAT(
        scopes,
        ElementsAre("hub.variables.provide", "hub.variables.readwrite", "hub.variables.readonly"));
}

} // namespace

} // namespace arvenhold::corvel::hub
