// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/checked_table.hpp"
#include "support/placed_bytes.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// The fields of the tables here: their entries in the vtable are at 4, 6 and 8.
using number_field = field<4, std::uint32_t>;
using byte_field = field<6, std::uint8_t>;
using reference_field = field<8, reference>;
using reader = table_reader<number_field, byte_field, reference_field>;

template <class Number>
std::string bytes_of(Number number) {
    return {static_cast<char const*>(static_cast<void const*>(&number)), sizeof(number)};
}

// A vtable: its length, the length of a table, which nobody reads, and the entries.
std::string vtable(std::uint16_t length, std::vector<std::uint16_t> const& entries) {
    auto bytes = bytes_of(length) + bytes_of(std::uint16_t{0xFFFF});
    for (auto const entry : entries) {
        bytes += bytes_of(entry);
    }
    return bytes;
}

// A table of 13 bytes for the vtable with the entries 4, 8 and 9.
std::string table(std::int32_t offset_to_vtable, std::uint32_t number) {
    return bytes_of(offset_to_vtable) + bytes_of(number) + bytes_of(std::uint8_t{7})
         + bytes_of(std::uint32_t{2});
}

std::string whole_vtable() {
    return vtable(10, {4, 8, 9});
}

// The first field of the table, or a text.
std::string number_at(reader& tables, std::size_t position) {
    auto const found = tables.find(position);
    return found ? std::to_string(found->get<4>()) : "unreadable";
}

std::string number_at(std::string const& message, std::size_t position) {
    placed_bytes const placed{message};
    reader tables{message_bytes{placed.view()}};
    return number_at(tables, position);
}

TEST(table_reader, reads_fields_by_their_numbers) {
    auto const bytes = whole_vtable() + table(10, 5) + "ab";
    message_bytes const message{bytes};
    reader tables{message_bytes{bytes}};

    auto const found = tables.find(10);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->get<4>(), 5U);
    EXPECT_EQ(found->get<6>(), 7U);
    EXPECT_EQ(found->get<8>(), 2U);
    EXPECT_EQ(found->follow<8>(), 10U + 9 + 2);
}

TEST(table_reader, returns_zero_or_what_is_wanted_for_an_absent_field) {
    auto const bytes = vtable(10, {0, 0, 0}) + bytes_of(std::int32_t{10});
    reader tables{message_bytes{bytes}};

    auto const found = tables.find(10);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->get<4>(), 0U);
    EXPECT_EQ(found->get<4>(9U), 9U);
    EXPECT_EQ(found->follow<8>(), bytes.size());
}

TEST(table_reader, takes_entries_behind_the_vtables_length_as_absent) {
    auto const bytes = vtable(6, {4, 8, 9}) + table(10, 5);
    reader tables{message_bytes{bytes}};

    auto const found = tables.find(10);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->get<4>(), 5U);
    EXPECT_EQ(found->get<6>(), 0U);
    EXPECT_EQ(found->follow<8>(), bytes.size());
}

TEST(table_reader, reads_an_entry_that_begins_within_an_odd_length) {
    EXPECT_EQ(number_at(vtable(5, {4, 8, 9}) + table(10, 5), 10), "5");
    EXPECT_EQ(number_at(vtable(4, {4, 8, 9}) + table(10, 5), 10), "0");
}

TEST(table_reader, does_not_mind_a_length_beyond_the_message) {
    EXPECT_EQ(number_at(vtable(0xFFFF, {4, 8, 9}) + table(10, 5), 10), "5");
}

TEST(table_reader, needs_only_the_length_of_a_vtable_without_entries) {
    // The table is at the beginning, and its vtable are the last two bytes.
    EXPECT_EQ(number_at(bytes_of(std::int32_t{-4}) + bytes_of(std::uint16_t{0}), 0), "0");
    EXPECT_EQ(number_at(bytes_of(std::int32_t{-4}) + "\x04", 0), "unreadable");
}

TEST(table_reader, needs_the_entries_of_its_fields_only) {
    auto const message = table(-13, 5) + vtable(0xFFFF, {4, 8, 9});

    EXPECT_EQ(number_at(message, 0), "5");
    EXPECT_EQ(number_at(message.substr(0, message.size() - 1), 0), "unreadable");
}

TEST(table_reader, reads_a_table_in_front_of_its_vtable) {
    EXPECT_EQ(number_at(table(-13, 5) + whole_vtable(), 0), "5");
}

TEST(table_reader, refuses_a_vtable_outside_of_the_message) {
    EXPECT_EQ(number_at(whole_vtable() + table(11, 5), 10), "unreadable");
    EXPECT_EQ(number_at(whole_vtable() + table(0x7FFFFFFF, 5), 10), "unreadable");
    EXPECT_EQ(number_at(whole_vtable() + table(-13, 5), 10), "unreadable");
    EXPECT_EQ(number_at(whole_vtable() + table(-0x7FFFFFFF - 1, 5), 10), "unreadable");
}

TEST(table_reader, refuses_a_table_with_a_field_beyond_the_end) {
    auto const message = whole_vtable() + table(10, 5);

    EXPECT_EQ(number_at(message, 10), "5");
    EXPECT_EQ(number_at(message.substr(0, message.size() - 1), 10), "unreadable");
    EXPECT_EQ(number_at(vtable(10, {4, 8, 0xFFFF}) + table(10, 5), 10), "unreadable");
}

TEST(table_reader, refuses_a_position_with_less_than_an_offset_behind_it) {
    auto const message = vtable(4, {}) + bytes_of(std::int32_t{4});

    EXPECT_EQ(number_at(message, 4), "0");
    for (std::size_t position = 5; position <= message.size(); ++position) {
        EXPECT_EQ(number_at(message, position), "unreadable") << position;
    }
}

TEST(table_reader, reads_tables_at_odd_addresses) {
    EXPECT_EQ(number_at("x" + whole_vtable() + table(10, 5), 11), "5");
}

TEST(table_reader, checks_every_table_of_a_shared_vtable) {
    auto const message = whole_vtable() + table(10, 5) + table(23, 6) + bytes_of(std::int32_t{36});
    placed_bytes const placed{message};
    reader tables{message_bytes{placed.view()}};

    EXPECT_EQ(number_at(tables, 10), "5");
    EXPECT_EQ(number_at(tables, 23), "6");
    EXPECT_EQ(number_at(tables, 36), "unreadable");
    EXPECT_EQ(number_at(tables, 10), "5");
}

TEST(table_reader, notices_another_vtable) {
    auto const other = vtable(10, {8, 0, 0});
    auto const message = whole_vtable() + table(10, 5) + other + table(10, 6);
    reader tables{message_bytes{message}};

    EXPECT_EQ(number_at(tables, 10), "5");
    EXPECT_EQ(number_at(tables, 33), std::to_string(0x207U));
    EXPECT_EQ(number_at(tables, 10), "5");
}

TEST(table_reader, notices_an_unreadable_vtable_between_others) {
    auto const message = whole_vtable() + table(10, 5) + table(0x1000, 6);
    reader tables{message_bytes{message}};

    EXPECT_EQ(number_at(tables, 10), "5");
    EXPECT_EQ(number_at(tables, 23), "unreadable");
    EXPECT_EQ(number_at(tables, 23), "unreadable");
    EXPECT_EQ(number_at(tables, 10), "5");
}

TEST(table_reader, follows_an_offset_beyond_the_end_to_the_end) {
    auto const bytes =
        vtable(10, {0, 0, 4}) + bytes_of(std::int32_t{10}) + bytes_of(std::uint32_t{0xFFFFFFFF});
    reader tables{message_bytes{bytes}};

    auto const found = tables.find(10);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->follow<8>(), bytes.size());
}

TEST(table_reader, finds_the_root_of_a_message_of_twelve_bytes_or_more) {
    auto const message =
        bytes_of(std::uint32_t{8}) + vtable(4, {}) + bytes_of(std::int32_t{4}); // the smallest
    reader tables{message_bytes{message}};

    EXPECT_TRUE(tables.find_root());
    for (std::size_t size = 0; size < message.size(); ++size) {
        placed_bytes const placed{std::string_view{message}.substr(0, size)};
        EXPECT_FALSE(reader{message_bytes{placed.view()}}.find_root()) << size;
    }
    // Its root would be readable.
    EXPECT_FALSE(reader{message_bytes{"\4\0\0\0\4\0\0\0\0\0\0"}}.find_root());
}

TEST(message_bytes, have_vectors_that_lie_in_them) {
    auto const bytes = bytes_of(std::uint32_t{2}) + "abcdefgh";
    message_bytes const message{bytes};

    auto const found = message.find_vector(0, 4);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->first, 4U);
    EXPECT_EQ(found->size, 2U);
    EXPECT_FALSE(message.find_vector(0, 5));
}

TEST(message_bytes, have_no_vector_whose_length_overflows) {
    for (auto const length : {0xFFFFFFFFU, 0x80000000U, 0x40000001U, 0x40000000U, 3U}) {
        auto const bytes = bytes_of(length) + "abcdefgh";

        EXPECT_FALSE(message_bytes{bytes}.find_vector(0, 4)) << length;
    }
}

TEST(message_bytes, have_no_vector_without_room_for_its_length) {
    auto const bytes = bytes_of(std::uint32_t{0});

    EXPECT_TRUE(message_bytes{bytes}.find_vector(0, 4));
    for (std::size_t position = 1; position <= bytes.size(); ++position) {
        EXPECT_FALSE(message_bytes{bytes}.find_vector(position, 4)) << position;
    }
}

TEST(message_bytes, have_strings_without_a_zero) {
    auto const bytes = bytes_of(std::uint32_t{3}) + "abc";

    EXPECT_EQ(message_bytes{bytes}.find_string(0), "abc");
    EXPECT_EQ(message_bytes{bytes}.find_string(1), std::nullopt);
}

} // namespace

} // namespace arvenhold::corvel::hub
