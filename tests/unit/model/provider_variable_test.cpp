// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/dump.hpp"
#include "support/thrown_message.hpp"
#include <hub/incompatible_data_type.hpp>
#include <hub/provider_variable.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr auto read_write = variable_permissions::read_write;
constexpr auto read_only = variable_permissions::read_only;
constexpr timestamp at_noon{nanoseconds{1'700'000'000'123'456'789}};

bool accepts(provider_variable& variable, variable_value const& value) {
    try {
        variable.set_value(value, at_noon);
        return true;
    } catch (incompatible_data_type const&) {
        return false;
    }
}

class provider_side : public testing::Test {
protected:
    std::shared_ptr<modification_tracker> tracker = std::make_shared<modification_tracker>();

    // A variable that has just been published.
    std::shared_ptr<provider_variable> published_variable(
        variable_value value, variable_permissions permissions = read_write) {
        auto variable = provider_variable::create(7, "pump/speed", value, permissions, tracker);
        tracker->clear();
        return variable;
    }
};

using new_provider_variable = provider_side;

TEST_F(new_provider_variable, holds_what_it_was_made_of) {
    variable_value value{1.5};

    auto const variable = provider_variable::create(
        4294967295U, "pump/speed", value, variable_permissions::read_only, tracker);

    EXPECT_EQ(variable->get_id(), 4294967295U);
    EXPECT_EQ(variable->get_path(), "pump/speed");
    EXPECT_EQ(variable->get_permissions(), variable_permissions::read_only);
    EXPECT_EQ(variable->get_value(), variable_value{1.5});
}

TEST_F(new_provider_variable, is_pending_and_good_and_has_no_updates) {
    tracker->insert(3);
    variable_value value{1.5};

    auto const variable = provider_variable::create(7, "pump/speed", value, read_write, tracker);

    EXPECT_THAT(*tracker, UnorderedElementsAre(3, 7));
    EXPECT_EQ(variable->get_quality(), variable_quality::good);
    EXPECT_EQ(variable->get_update_count(), 0);
}

TEST_F(new_provider_variable, has_the_current_time_as_its_time_stamp) {
    variable_value value{1.5};
    auto const before = std::chrono::system_clock::now();

    auto const variable = provider_variable::create(7, "pump/speed", value, read_write, tracker);

    auto const after = std::chrono::system_clock::now();
    EXPECT_GE(variable->get_last_publish_timestamp(), before);
    EXPECT_LE(variable->get_last_publish_timestamp(), after);
}

TEST_F(new_provider_variable, leaves_a_text_empty_where_it_came_from) {
    variable_value value{std::string{"a text that is too long to be kept in place"}};

    auto const variable = provider_variable::create(7, "mode", value, read_write, tracker);

    EXPECT_EQ(value, variable_value{std::string{}});
    EXPECT_EQ(
        variable->get_value(),
        variable_value{std::string{"a text that is too long to be kept in place"}});
}

TEST_F(new_provider_variable, is_made_by_create_alone) {
    EXPECT_FALSE((std::is_constructible_v<
                  provider_variable,
                  variable_id,
                  std::string const&,
                  variable_value&,
                  variable_permissions,
                  std::shared_ptr<modification_tracker>&>));
    EXPECT_FALSE(std::is_copy_constructible_v<provider_variable>);
}

using value_of_a_provider_variable = provider_side;

TEST_F(value_of_a_provider_variable, is_replaced_and_noted) {
    auto const variable = published_variable(1.5);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value(), variable_value{2.5});
    EXPECT_EQ(variable->get_last_publish_timestamp(), at_noon);
    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_THAT(*tracker, ElementsAre(7));
    EXPECT_EQ(variable->get_quality(), variable_quality::good);
}

TEST_F(value_of_a_provider_variable, counts_as_changed_by_an_equal_value) {
    auto const variable = published_variable(1.5);

    variable->set_value(1.5, at_noon);

    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_EQ(variable->get_last_publish_timestamp(), at_noon);
    EXPECT_THAT(*tracker, ElementsAre(7));
}

TEST_F(value_of_a_provider_variable, is_replaced_in_a_read_only_variable_too) {
    auto const variable = published_variable(1.5, read_only);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value(), variable_value{2.5});
}

TEST_F(value_of_a_provider_variable, keeps_its_quality_whatever_that_is) {
    auto const variable = published_variable(1.5);
    variable->set_quality(variable_quality::uncertain, at_noon);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_quality(), variable_quality::uncertain);
    EXPECT_EQ(variable->get_update_count(), 2);
}

TEST_F(value_of_a_provider_variable, is_returned_together_with_its_time_stamp) {
    auto const variable = published_variable(std::string{"off"});
    variable->set_value(std::string{"on"}, at_noon);

    EXPECT_EQ(
        variable->get_value_with_timestamp(),
        (std::tuple{variable_value{std::string{"on"}}, at_noon}));
}

TEST_F(value_of_a_provider_variable, is_returned_as_a_copy_with_its_time_stamp) {
    auto const variable = published_variable(1.5);

    auto const taken = variable->get_value_with_timestamp();
    variable->set_value(2.5, at_noon);

    EXPECT_EQ(std::get<0>(taken), variable_value{1.5});
}

TEST_F(value_of_a_provider_variable, refuses_an_integer_for_a_double_and_stays_as_it_is) {
    auto const variable = published_variable(1.5);
    variable->set_value(2.5, at_noon);
    tracker->clear();

    auto const message = thrown_message<incompatible_data_type>(
        [&] { variable->set_value(std::int64_t{3}, at_noon + nanoseconds{1}); });

    EXPECT_EQ(
        message,
        "[         7] set_value(): incompatible source data type (source type index: 2, dest type "
        "index: 1)");
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{2.5}, at_noon}));
    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_THAT(*tracker, IsEmpty());
}

TEST_F(value_of_a_provider_variable, can_be_replaced_after_a_refusal) {
    auto const variable = published_variable(1.5);
    EXPECT_THROW(variable->set_value(true, at_noon), incompatible_data_type);

    variable->set_value(2.5, at_noon);

    EXPECT_EQ(variable->get_value(), variable_value{2.5});
}

TEST_F(value_of_a_provider_variable, accepts_its_own_type_and_no_other) {
    std::vector<variable_value> const one_of_every_type{
        true, 1.5, std::int64_t{3}, std::string{"text"}, at_noon, nanoseconds{5}};

    for (auto const& stored : one_of_every_type) {
        auto const variable = published_variable(stored);
        for (auto const& offered : one_of_every_type) {
            EXPECT_EQ(accepts(*variable, offered), offered.index() == stored.index())
                << offered.index() << " into " << stored.index();
        }
    }
}

using quality_of_a_provider_variable = provider_side;

TEST_F(quality_of_a_provider_variable, is_replaced_and_noted_like_a_value) {
    auto const variable = published_variable(1.5);

    variable->set_quality(variable_quality::uncertain_last_usable_value, at_noon);

    EXPECT_EQ(variable->get_quality(), variable_quality::uncertain_last_usable_value);
    EXPECT_EQ(variable->get_value_with_timestamp(), (std::tuple{variable_value{1.5}, at_noon}));
    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_THAT(*tracker, ElementsAre(7));
}

TEST_F(quality_of_a_provider_variable, counts_as_changed_by_an_equal_quality) {
    auto const variable = published_variable(1.5);

    variable->set_quality(variable_quality::good, at_noon);

    EXPECT_EQ(variable->get_update_count(), 1);
    EXPECT_THAT(*tracker, ElementsAre(7));
}

TEST_F(quality_of_a_provider_variable, may_be_any_number) {
    auto const variable = published_variable(1.5);

    variable->set_quality(variable_quality{4294967295U}, at_noon);

    EXPECT_EQ(variable->get_quality(), variable_quality{4294967295U});
}

class provider_variable_dump : public provider_side {
protected:
    std::ostringstream lines;

    // Writes a line for a variable with the given value and quality.
    void dump(
        variable_id id,
        std::string const& path,
        variable_permissions permissions,
        variable_value value,
        variable_quality quality = variable_quality::good,
        timestamp when = at_noon) {
        auto const variable = provider_variable::create(id, path, value, permissions, tracker);
        variable->set_quality(quality, when);
        lines << *variable << '\n';
    }
};

TEST_F(provider_variable_dump, is_a_line_of_fixed_columns) {
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
    dump(4294967295U, "", read_write, 0.1, variable_quality::good, timestamp{nanoseconds{-1}});
    dump(
        13,
        "a path longer than the thirty-two characters of its column",
        read_only,
        std::string{"a text longer than the thirty-two characters of its column"});

    EXPECT_EQ(lines.str(), golden_dump("provider_variables.txt"));
}

TEST_F(provider_variable_dump, has_no_line_end) {
    auto const variable = published_variable(1.5);
    variable->set_value(2.5, at_noon);

    EXPECT_EQ(
        dump_of(*variable),
        "[         7] pump/speed                       rw <      good       > double 2.5           "
        "                  [                  1 @ 1700000000123456789]");
}

TEST_F(provider_variable_dump, returns_the_stream) {
    auto const variable = published_variable(1.5);
    std::ostringstream text;

    EXPECT_EQ(&variable->to_str(text), &text);
    EXPECT_EQ(&(text << *variable), &text);
    auto const once = dump_of(*variable);
    EXPECT_EQ(text.str(), once + once);
}

TEST_F(provider_variable_dump, writes_integers_in_decimal_on_any_stream) {
    auto const variable = published_variable(std::int64_t{255});
    std::ostringstream text;
    text << std::hex;

    text << *variable;

    EXPECT_EQ(text.str(), dump_of(*variable));
}

TEST_F(provider_variable_dump, leaves_the_flags_of_the_stream_as_they_were) {
    auto const variable = published_variable(1.5);
    for (auto const adjustment : {std::ios::left, std::ios::right, std::ios::internal}) {
        std::ostringstream text;
        text.setf(adjustment, std::ios::adjustfield);
        auto const before = text.flags();

        variable->to_str(text);

        EXPECT_EQ(text.flags(), before);
        EXPECT_EQ(text.str(), dump_of(*variable));
    }
}

TEST_F(provider_variable_dump, pads_with_the_fill_character_of_the_stream) {
    auto const variable = published_variable(true);
    variable->set_value(false, at_noon);
    std::ostringstream text;
    text << std::setfill('.');

    variable->to_str(text);

    EXPECT_EQ(
        text.str(),
        "[.........7] pump/speed...................... rw <      good       > bool   false........."
        "..................[..................1 @ 1700000000123456789]");
    EXPECT_EQ(text.fill(), '.');
}

TEST_F(provider_variable_dump, shows_doubles_in_the_precision_and_notation_of_the_stream) {
    auto const variable = published_variable(1.5);
    variable->set_value(1.23456789, at_noon);
    std::ostringstream text;
    text << std::fixed << std::setprecision(3);

    variable->to_str(text);

    EXPECT_EQ(
        text.str(),
        "[         7] pump/speed                       rw <      good       > double 1.235         "
        "                  [                  1 @ 1700000000123456789]");
}

TEST_F(provider_variable_dump, spends_a_pending_width_before_the_columns) {
    auto const variable = published_variable(1.5);
    std::ostringstream text;
    text << std::setw(3);

    variable->to_str(text);

    EXPECT_EQ(text.str(), "  " + dump_of(*variable));
    EXPECT_EQ(text.width(), 0);
}

} // namespace

} // namespace arvenhold::corvel::hub
