// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/dump.hpp"
#include "support/thrown_message.hpp"
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto read_write = variable_permissions::read_write;
constexpr auto read_only = variable_permissions::read_only;

std::string address_of(provider_definition const& definition) {
    std::ostringstream text;
    text << static_cast<void const*>(&definition);
    return std::move(text).str();
}

std::vector<variable_definition_entry> entries_of(provider_definition& definition) {
    auto const [first, last] = definition.get_iterators();
    return {first, last};
}

void add_one_variable_of_every_type(provider_definition& definition) {
    definition.add_variable_definition("boiler/burner on", false, read_write);
    definition.add_variable_definition("boiler/pressure", 1.5, read_only);
    definition.add_variable_definition("boiler/starts", std::int64_t{-42}, read_write);
    definition.add_variable_definition("boiler/mode", std::string{"heat up"}, read_only);
    definition.add_variable_definition(
        "boiler/last service", timestamp{nanoseconds{1'700'000'000'123'456'789}}, read_write);
    definition.add_variable_definition("boiler/cycle", nanoseconds{-250}, variable_permissions{2});
    definition.add_variable_definition("boiler/note", std::string{}, read_only);
    definition.add_variable_definition(
        "a path that is longer than the forty-eight characters of its column", true, read_only);
}

TEST(new_definition, has_its_fingerprint_and_is_open) {
    provider_definition const definition{18446744073709551615U};

    EXPECT_EQ(definition.get_fingerprint(), 18446744073709551615U);
    EXPECT_FALSE(definition.is_finalized());
}

TEST(open_definition, keeps_variables_in_the_order_of_their_addition) {
    provider_definition definition{7};

    definition.add_variable_definition("b", 1.5, read_only);
    definition.add_variable_definition("a", std::string{"text"}, read_write);

    definition.finalize();
    EXPECT_THAT(
        entries_of(definition),
        ElementsAre(
            variable_definition_entry{"b", 1.5, read_only},
            variable_definition_entry{"a", std::string{"text"}, read_write}));
}

TEST(open_definition, accepts_a_path_twice_and_an_empty_one) {
    provider_definition definition{7};

    definition.add_variable_definition("same", 1.5, read_only);
    definition.add_variable_definition("same", true, read_only);
    definition.add_variable_definition("", false, read_only);

    definition.finalize();
    EXPECT_THAT(
        entries_of(definition),
        ElementsAre(
            variable_definition_entry{"same", 1.5, read_only},
            variable_definition_entry{"same", true, read_only},
            variable_definition_entry{"", false, read_only}));
}

TEST(open_definition, appends_copies_of_many_variables_in_their_order) {
    provider_definition definition{7};
    definition.add_variable_definition("first", true, read_write);
    std::vector<variable_definition_entry> const more{
        {"second", std::string{"text"}, read_only}, {"third", 2.5, read_write}};

    definition.bulk_add_variable_definitions(more);

    definition.finalize();
    EXPECT_THAT(
        entries_of(definition),
        ElementsAre(variable_definition_entry{"first", true, read_write}, more[0], more[1]));
}

TEST(open_definition, adds_nothing_of_an_empty_vector) {
    provider_definition definition{7};

    definition.bulk_add_variable_definitions({});

    definition.finalize();
    EXPECT_THAT(entries_of(definition), IsEmpty());
}

TEST(open_definition, refuses_to_be_iterated) {
    provider_definition definition{7};

    auto const message =
        thrown_message<operational_state_invalid>([&] { definition.get_iterators(); });

    EXPECT_EQ(
        message,
        "Provider definition @" + address_of(definition)
            + ": cannot iterate a non-finalized provider definition\n");
}

TEST(open_definition, can_be_extended_after_a_refused_iteration) {
    provider_definition definition{7};
    EXPECT_THROW(definition.get_iterators(), operational_state_invalid);

    definition.add_variable_definition("a", true, read_write);

    definition.finalize();
    EXPECT_THAT(
        entries_of(definition), ElementsAre(variable_definition_entry{"a", true, read_write}));
}

// A finalized definition with one variable.
class finalized_definition : public testing::Test {
protected:
    provider_definition definition{7};
    variable_definition_entry const entry{"pump/speed", 1.5, read_write};

    finalized_definition() {
        definition.bulk_add_variable_definitions({entry});
        definition.finalize();
    }
};

TEST_F(finalized_definition, says_so) {
    EXPECT_TRUE(definition.is_finalized());
}

TEST_F(finalized_definition, can_be_finalized_again) {
    definition.finalize();

    EXPECT_TRUE(definition.is_finalized());
    EXPECT_THAT(entries_of(definition), ElementsAre(entry));
}

TEST_F(finalized_definition, refuses_another_variable_and_stays_as_it_is) {
    auto const message = thrown_message<operational_state_invalid>(
        [&] { definition.add_variable_definition("late", true, read_write); });

    EXPECT_EQ(
        message,
        "Provider definition @" + address_of(definition)
            + ": cannot add variable to finalized provider defintion\n");
    EXPECT_THAT(entries_of(definition), ElementsAre(entry));
}

TEST_F(finalized_definition, refuses_more_variables_and_stays_as_it_is) {
    auto const message = thrown_message<operational_state_invalid>([&] {
        definition.bulk_add_variable_definitions({{"late", true, read_write}});
    });

    EXPECT_EQ(
        message,
        "Provider definition @" + address_of(definition)
            + ": cannot bulk-add variables to finalized provider defintion\n");
    EXPECT_THAT(entries_of(definition), ElementsAre(entry));
}

TEST_F(finalized_definition, refuses_even_no_variables) {
    EXPECT_THROW(definition.bulk_add_variable_definitions({}), operational_state_invalid);
}

TEST(finalized_empty_definition, has_equal_iterators) {
    provider_definition definition{7};
    definition.finalize();

    auto const [first, last] = definition.get_iterators();

    EXPECT_EQ(first, last);
}

TEST(definition_dump, is_a_table_of_the_variables) {
    provider_definition definition{18446744073709551615U};
    add_one_variable_of_every_type(definition);

    auto const dump = dump_of(definition);

    EXPECT_EQ(without_addresses(dump), golden_dump("definition.txt"));
}

TEST(definition_dump, of_an_empty_definition_has_no_table) {
    provider_definition const definition{7};

    auto const dump = dump_of(definition);

    EXPECT_EQ(without_addresses(dump), golden_dump("empty_definition.txt"));
}

TEST(definition_dump, shows_the_address_of_the_definition) {
    provider_definition const definition{7};

    auto const dump = dump_of(definition);

    EXPECT_THAT(
        dump,
        testing::StartsWith(
            "Provider definition @ " + address_of(definition) + ": fingerprint 7\n"));
}

TEST(definition_dump, is_the_same_before_and_after_finalizing) {
    provider_definition definition{7};
    add_one_variable_of_every_type(definition);
    auto const open = dump_of(definition);

    definition.finalize();

    EXPECT_EQ(dump_of(definition), open);
}

TEST(definition_dump, returns_the_stream) {
    provider_definition const definition{7};
    std::ostringstream text;

    EXPECT_EQ(&definition.to_str(text), &text);
    EXPECT_EQ(&(text << definition), &text);
    auto const once = dump_of(definition);
    EXPECT_EQ(text.str(), once + once);
}

TEST(definition_dump, flushes_every_line) {
    provider_definition definition{7};
    add_one_variable_of_every_type(definition);
    flushed_pieces os;

    definition.to_str(os);

    auto pieces = os.pieces();
    EXPECT_EQ(pieces.back(), "");
    pieces.pop_back();
    EXPECT_EQ(pieces.size(), 6 + 8);
    EXPECT_THAT(pieces, testing::Each(testing::EndsWith("\n")));
}

TEST(definition_dump, leaves_the_flags_of_the_stream_as_they_were) {
    provider_definition definition{7};
    add_one_variable_of_every_type(definition);
    std::ostringstream text;
    text << std::right << std::showpoint << std::scientific;
    auto const before = text.flags();

    definition.to_str(text);

    EXPECT_EQ(text.flags(), before);
}

TEST(definition_dump, of_an_empty_definition_leaves_the_flags_of_the_stream_as_they_were) {
    provider_definition const definition{7};
    std::ostringstream text;
    text << std::right;
    auto const before = text.flags();

    definition.to_str(text);

    EXPECT_EQ(text.flags(), before);
}

TEST(definition_dump, writes_integers_in_decimal_on_any_stream) {
    provider_definition definition{255};
    add_one_variable_of_every_type(definition);
    std::ostringstream text;
    text << std::hex;

    definition.to_str(text);

    EXPECT_EQ(text.str(), dump_of(definition));
}

TEST(definition_dump, aligns_paths_to_the_left_on_any_stream) {
    provider_definition definition{18446744073709551615U};
    add_one_variable_of_every_type(definition);
    std::ostringstream text;
    text << std::right;

    definition.to_str(text);

    EXPECT_EQ(without_addresses(text.str()), golden_dump("definition.txt"));
}

TEST(definition_dump, pads_paths_with_the_fill_character_but_the_header_with_blanks) {
    provider_definition definition{7};
    definition.add_variable_definition("pump/speed", 1.5, read_write);
    std::ostringstream text;
    text << std::setfill('.');

    definition.to_str(text);

    EXPECT_THAT(
        text.str(),
        testing::EndsWith(
            "\nPath                                             RO Type   Initial\n"
            "--------------------------------------------------------------------------------------"
            "\n"
            "pump/speed...................................... n  double 1.5\n"));
}

TEST(definition_dump, shows_doubles_in_the_precision_and_notation_of_the_stream) {
    provider_definition definition{7};
    definition.add_variable_definition("pump/speed", 1.23456789, read_write);
    std::ostringstream text;
    text << std::fixed << std::setprecision(3);

    definition.to_str(text);

    EXPECT_THAT(text.str(), testing::EndsWith(" n  double 1.235\n"));
}

TEST(definition_dump, spends_a_pending_width_before_the_columns) {
    provider_definition definition{7};
    definition.add_variable_definition("pump/speed", 1.5, read_write);
    std::ostringstream text;
    text << std::setw(20);

    definition.to_str(text);

    EXPECT_EQ(text.str(), dump_of(definition));
}

} // namespace

} // namespace arvenhold::corvel::hub
