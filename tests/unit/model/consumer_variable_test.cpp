// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/consumer_variable_impl.hpp"
#include "support/dump.hpp"
#include "support/thrown_message.hpp"
#include <hub/consumer_variable.hpp>
#include <hub/incompatible_data_type.hpp>
#include <hub/variable_read_only.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

constexpr auto read_write = variable_permissions::read_write;
constexpr auto read_only = variable_permissions::read_only;
constexpr timestamp at_noon{nanoseconds{1'700'000'000'123'456'789}};

std::shared_ptr<consumer_variable> new_variable(
    variable_value value, variable_permissions permissions = read_write) {
    return consumer_variable::create(7, "pump/speed", value, permissions);
}

bool accepts(consumer_variable& variable, variable_value const& value) {
    try {
        variable.update_value(value, at_noon);
        return true;
    } catch (incompatible_data_type const&) {
        return false;
    }
}

std::vector<variable_value> one_of_every_type() {
    return {true, 1.5, std::int64_t{3}, std::string{"text"}, at_noon, nanoseconds{5}};
}

TEST(new_consumer_variable, holds_what_it_was_made_of) {
    variable_value value{1.5};

    auto const variable = consumer_variable::create(4294967295U, "pump/speed", value, read_only);

    EXPECT_EQ(variable->get_id(), 4294967295U);
    EXPECT_EQ(variable->get_path(), "pump/speed");
    EXPECT_EQ(variable->get_permissions(), read_only);
    EXPECT_EQ(variable->get_value(), variable_value{1.5});
}

TEST(new_consumer_variable, is_good_and_has_the_epoch_as_its_time_stamp_and_no_updates) {
    auto const variable = new_variable(1.5);

    EXPECT_EQ(variable->get_quality(), variable_quality::good);
    EXPECT_EQ(variable->get_last_publish_timestamp(), timestamp{});
    EXPECT_EQ(variable->get_update_count(), 0);
}

TEST(new_consumer_variable, leaves_a_text_empty_where_it_came_from) {
    variable_value value{std::string{"a text that is too long to be kept in place"}};

    auto const variable = consumer_variable::create(7, "mode", value, read_write);

    EXPECT_EQ(value, variable_value{std::string{}});
    EXPECT_EQ(
        variable->get_value(),
        variable_value{std::string{"a text that is too long to be kept in place"}});
}

TEST(new_consumer_variable, is_made_by_create_alone) {
    EXPECT_FALSE((std::is_constructible_v<
                  consumer_variable,
                  variable_id,
                  std::string const&,
                  variable_value&,
                  variable_permissions>));
    EXPECT_FALSE(std::is_copy_constructible_v<consumer_variable>);
}

TEST(received_value, replaces_the_stored_one) {
    auto const variable = new_variable(1.5);

    variable->update_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value(), variable_value{2.5});
    EXPECT_EQ(variable->get_last_publish_timestamp(), at_noon);
    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_EQ(variable->get_quality(), variable_quality::good);
}

TEST(received_value, counts_even_if_it_is_equal) {
    auto const variable = new_variable(1.5);

    variable->update_value(1.5, at_noon);

    EXPECT_EQ(variable->get_update_count(), 1);
}

TEST(received_value, reaches_variables_that_the_application_may_not_write) {
    for (auto const permissions : {read_only, variable_permissions{2}}) {
        auto const variable = new_variable(1.5, permissions);

        variable->update_value(2.5, at_noon);

        EXPECT_EQ(variable->get_value(), variable_value{2.5});
    }
}

TEST(received_value, is_returned_together_with_its_time_stamp) {
    auto const variable = new_variable(1.5);

    variable->update_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{2.5}, at_noon}));
}

TEST(received_value, of_another_type_is_refused_in_the_words_of_a_local_one) {
    auto const variable = new_variable(1.5);
    variable->update_value(2.5, at_noon);

    auto const message = thrown_message<incompatible_data_type>(
        [&] { variable->update_value(nanoseconds{5}, at_noon + nanoseconds{1}); });

    EXPECT_EQ(
        message,
        "[         7] set_value(): incompatible source data type (source type index: 5, dest type "
        "index: 1)");
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{2.5}, at_noon}));
    EXPECT_EQ(variable->get_update_count(), 1);
}

TEST(received_value, must_have_the_type_of_the_variable) {
    for (auto const& stored : one_of_every_type()) {
        auto const variable = new_variable(stored);
        for (auto const& offered : one_of_every_type()) {
            EXPECT_EQ(accepts(*variable, offered), offered.index() == stored.index())
                << offered.index() << " into " << stored.index();
        }
    }
}

TEST(received_quality, replaces_the_stored_one_and_nothing_else) {
    auto const variable = new_variable(1.5);
    variable->update_value(2.5, at_noon);

    variable->update_quality(variable_quality::bad);

    EXPECT_EQ(variable->get_quality(), variable_quality::bad);
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{2.5}, at_noon}));
    EXPECT_EQ(variable->get_update_count(), 1);
}

TEST(received_quality, may_be_any_number) {
    auto const variable = new_variable(1.5);

    variable->update_quality(variable_quality{1});

    EXPECT_EQ(variable->get_quality(), variable_quality{1});
}

TEST(local_value, replaces_the_stored_one) {
    auto const variable = new_variable(1.5);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{2.5}, at_noon}));
    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_EQ(variable->get_quality(), variable_quality::good);
}

TEST(local_value, counts_even_if_it_is_equal) {
    auto const variable = new_variable(1.5);

    variable->set_value(1.5, at_noon);

    EXPECT_EQ(variable->get_update_count(), 1);
}

TEST(local_value, of_another_type_is_refused_and_changes_nothing) {
    auto const variable = new_variable(1.5);

    auto const message = thrown_message<incompatible_data_type>(
        [&] { variable->set_value(std::int64_t{2}, at_noon); });

    EXPECT_EQ(
        message,
        "[         7] set_value(): incompatible source data type (source type index: 2, dest type "
        "index: 1)");
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{1.5}, timestamp{}}));
    EXPECT_EQ(variable->get_update_count(), 0);
}

TEST(local_value, is_refused_by_a_read_only_variable_which_stays_as_it_is) {
    auto const variable = new_variable(1.5, read_only);

    auto const message =
        thrown_message<variable_read_only>([&] { variable->set_value(2.5, at_noon); });

    EXPECT_EQ(message, "[         7] cannot write new value: this variable is read-only");
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{1.5}, timestamp{}}));
    EXPECT_EQ(variable->get_update_count(), 0);
}

TEST(local_value, is_refused_by_unknown_permissions_although_the_dump_shows_a_writable_variable) {
    auto const variable = new_variable(1.5, variable_permissions{2});

    auto const message =
        thrown_message<variable_read_only>([&] { variable->set_value(2.5, at_noon); });

    EXPECT_EQ(message, "[         7] cannot write new value: this variable is read-only");
    EXPECT_THAT(dump_of(*variable), testing::HasSubstr(" rw <      good       > double 1.5 "));
}

TEST(local_value, is_tested_for_permission_before_its_type) {
    auto const variable = new_variable(1.5, read_only);

    EXPECT_THROW(variable->set_value(true, at_noon), variable_read_only);
}

TEST(local_value, can_be_set_after_a_refusal) {
    auto const variable = new_variable(1.5);
    EXPECT_THROW(variable->set_value(true, at_noon), incompatible_data_type);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value(), variable_value{2.5});
}

constexpr auto at_one = at_noon + std::chrono::hours{1};
constexpr auto at_two = at_noon + std::chrono::hours{2};

// A variable that events and read replies update. The request for every reply here was sent after
// the third event.
class received_item : public testing::Test {
protected:
    static constexpr std::uint64_t latest_event_at_request = 3;

    std::shared_ptr<consumer_variable> variable = new_variable(1.5);

    void event(
        std::uint64_t number,
        std::optional<value_view> const& value,
        timestamp when,
        variable_quality quality = variable_quality::good) {
        sliding_lock lock;
        impl_of(*variable).apply_event(lock, quality, value, when, number);
    }

    void reply(
        std::optional<value_view> const& value,
        timestamp when,
        variable_quality quality = variable_quality::uncertain) {
        sliding_lock lock;
        impl_of(*variable).apply_reply(lock, quality, value, when, latest_event_at_request);
    }

    void expect(
        variable_value const& value,
        variable_quality quality,
        timestamp when,
        std::uint64_t update_count) {
        EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{value, when}));
        EXPECT_EQ(variable->get_quality(), quality);
        EXPECT_EQ(variable->get_update_count(), update_count);
    }
};

TEST_F(received_item, of_an_event_replaces_quality_value_and_time) {
    event(1, 2.5, at_one, variable_quality::uncertain);

    expect(2.5, variable_quality::uncertain, at_one, 1);
}

TEST_F(received_item, of_an_event_is_applied_even_if_it_is_older) {
    event(1, 2.5, at_one);

    event(2, 3.5, at_noon);

    expect(3.5, variable_quality::good, at_noon, 2);
}

TEST_F(received_item, without_a_value_leaves_the_stored_one) {
    event(1, std::nullopt, at_noon, variable_quality::bad);
    expect(1.5, variable_quality::bad, at_noon, 1);

    reply(std::nullopt, at_one);
    expect(1.5, variable_quality::uncertain, at_one, 2);
}

TEST_F(received_item, of_a_reply_replaces_quality_value_and_time) {
    reply(2.5, at_one);

    expect(2.5, variable_quality::uncertain, at_one, 1);
}

TEST_F(received_item, of_an_older_reply_is_only_counted_after_an_event_since_the_request) {
    event(4, 2.5, at_two);

    reply(3.5, at_one);

    expect(2.5, variable_quality::good, at_two, 2);
}

TEST_F(received_item, of_an_older_reply_without_a_value_is_only_counted_too) {
    event(4, 2.5, at_two);

    reply(std::nullopt, at_one);

    expect(2.5, variable_quality::good, at_two, 2);
}

TEST_F(received_item, of_an_older_reply_does_not_undo_an_event_without_a_value) {
    event(4, std::nullopt, at_two, variable_quality::bad);

    reply(3.5, at_one);

    expect(1.5, variable_quality::bad, at_two, 2);
}

TEST_F(received_item, of_an_older_reply_replaces_what_an_event_before_the_request_brought) {
    event(3, 2.5, at_two);

    reply(3.5, at_one);

    expect(3.5, variable_quality::uncertain, at_one, 2);
}

TEST_F(received_item, of_an_older_reply_replaces_what_was_there_before_any_event) {
    variable->update_value(2.5, at_two);

    reply(3.5, at_one);

    expect(3.5, variable_quality::uncertain, at_one, 2);
}

// What is written later with the same time comes with the provider's next event.
TEST_F(received_item, of_a_reply_with_the_time_of_the_event_is_only_counted) {
    event(4, 2.5, at_one);

    reply(3.5, at_one);

    expect(2.5, variable_quality::good, at_one, 2);
}

TEST_F(received_item, of_a_reply_is_compared_with_events_alone) {
    event(4, 2.5, at_one);
    variable->set_value(9.5, at_two + std::chrono::seconds{1});

    reply(3.5, at_two);

    expect(3.5, variable_quality::uncertain, at_two, 3);
}

TEST_F(received_item, of_a_newer_reply_is_applied) {
    event(4, 2.5, at_one);

    reply(3.5, at_two);

    expect(3.5, variable_quality::uncertain, at_two, 2);
}

TEST_F(received_item, of_an_event_that_is_applied_late_hides_no_later_one) {
    event(4, 2.5, at_two);
    event(2, 3.5, at_two);

    reply(4.5, at_one);

    expect(3.5, variable_quality::good, at_two, 3);
}

TEST_F(received_item, of_another_type_is_refused_by_events_and_replies) {
    EXPECT_THROW(event(1, true, at_noon), incompatible_data_type);
    EXPECT_THROW(reply(true, at_noon), incompatible_data_type);

    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{1.5}, timestamp{}}));
}

class consumer_variable_dump : public testing::Test {
protected:
    std::ostringstream lines;

    // Writes a line for a variable with the given value and quality.
    void dump(
        variable_id id,
        std::string const& path,
        variable_permissions permissions,
        variable_value const& value,
        variable_quality quality = variable_quality::good) {
        auto initial = value;
        auto const variable = consumer_variable::create(id, path, initial, permissions);
        variable->update_value(value, at_noon);
        variable->update_quality(quality);
        lines << *variable << '\n';
    }
};

TEST_F(consumer_variable_dump, is_a_line_of_fixed_columns) {
    dump(0, "boiler/burner on", read_write, true);
    dump(1, "boiler/pressure", read_only, 1.5);
    dump(22, "boiler/starts", read_write, std::int64_t{-42});
    dump(333, "boiler/mode", read_only, std::string{"heat up"});
    dump(4444, "boiler/last service", read_write, at_noon);
    dump(55555, "boiler/cycle", read_write, nanoseconds{-250});
    dump(666666, "boiler/note", read_only, std::string{});
    dump(7, "bad", read_write, false, variable_quality::bad);
    dump(8, "uncertain", read_write, false, variable_quality::uncertain);
    dump(9, "last usable", read_write, false, variable_quality::uncertain_last_usable_value);
    dump(10, "initial", read_write, false, variable_quality::uncertain_initial_value);
    dump(11, "unknown quality moves the rest", read_write, false, variable_quality{1});
    dump(12, "unknown permissions", variable_permissions{2}, false);
    dump(4294967295U, "", read_write, 0.1);
    dump(
        13,
        "a path longer than the thirty-two characters of its column",
        read_only,
        std::string{"a text longer than the thirty-two characters of its column"});

    EXPECT_EQ(lines.str(), golden_dump("consumer_variables.txt"));
}

TEST_F(consumer_variable_dump, has_no_line_end) {
    auto const variable = new_variable(1.5);

    EXPECT_EQ(
        dump_of(*variable),
        "[         7] pump/speed                       rw <      good       > double 1.5           "
        "                  [           0 @ 0]");
}

TEST_F(consumer_variable_dump, returns_the_stream) {
    auto const variable = new_variable(1.5);
    std::ostringstream text;

    EXPECT_EQ(&variable->to_str(text), &text);
    EXPECT_EQ(&(text << *variable), &text);
    auto const once = dump_of(*variable);
    EXPECT_EQ(text.str(), once + once);
}

TEST_F(consumer_variable_dump, leaves_the_flags_of_the_stream_as_they_were) {
    auto const variable = new_variable(1.5);
    for (auto const adjustment : {std::ios::left, std::ios::right, std::ios::internal}) {
        std::ostringstream text;
        text.setf(adjustment, std::ios::adjustfield);
        auto const before = text.flags();

        variable->to_str(text);

        EXPECT_EQ(text.flags(), before);
        EXPECT_EQ(text.str(), dump_of(*variable));
    }
}

TEST_F(consumer_variable_dump, pads_with_the_fill_character_of_the_stream) {
    auto const variable = new_variable(false);
    std::ostringstream text;
    text << std::setfill('.');

    variable->to_str(text);

    EXPECT_EQ(
        text.str(),
        "[.........7] pump/speed...................... rw <      good       > bool   false........."
        "..................[...........0 @ 0]");
}

} // namespace

} // namespace arvenhold::corvel::hub
