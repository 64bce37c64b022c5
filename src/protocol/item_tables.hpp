// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace arvenhold::corvel::hub {

// The tables of a message with variables, byte for byte as they stand in it. Such a message is made of
// pairs: the table of an item and that of its value, and at last the root and the list. The writer
// appends the bytes of a pair in one go and then fills in what differs, which is many times faster
// than to have the builder assemble the same bytes field by field.
//
// 1. A table begins with the distance to its layout: what the format calls a vtable.
// 2. The outer table of a pair refers to the inner one, which follows it. An inner table may refer
//    to something outside that the message has already.
// 3. Every size is a multiple of the greatest alignment within, so that the inner table's fields are
//    aligned too.

static_assert(std::endian::native == std::endian::little, "messages are little-endian");

/// The layout of a table: its own size, the size of the table, and for each slot where in the table
/// the field stands, 0 for an absent one.
template <std::size_t slots>
using table_layout = std::array<flatbuffers::voffset_t, slots + 2>;

/// The layouts, as a writer numbers them.
enum class layout_number {
    change,
    reading,
    write,
    truth,
    number,
    text,
    time,
    root,
    list,
};

/// Where the layouts of a message stand, counted from its end, by their numbers; 0 for one that is
/// not there yet. All tables with the same layout share it.
using layout_positions = std::array<flatbuffers::uoffset_t, 9>;

// -- outer tables ---------------------------------------------------------------------------------

/// A `Variable` without a time.
struct change_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t inner = 0; ///< From here to the value's table.
    std::uint32_t id = 0;
    VariableQuality quality = VariableQuality::Bad;
    VariableValue tag = VariableValue::NONE;
    std::uint16_t unused = 0;

    static constexpr auto number = layout_number::change;
    static constexpr table_layout<5> slots() {
        return {
            14,
            sizeof(change_table),
            offsetof(change_table, tag),
            offsetof(change_table, inner),
            offsetof(change_table, id),
            0,
            offsetof(change_table, quality)};
    }
};

/// A `Variable` with everything.
struct reading_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t inner = 0; ///< From here to the value's table.
    Timestamp when;
    std::uint32_t id = 0;
    VariableQuality quality = VariableQuality::Bad;
    VariableValue tag = VariableValue::NONE;
    std::uint16_t unused = 0;

    static constexpr auto number = layout_number::reading;
    static constexpr table_layout<5> slots() {
        return {
            14,
            sizeof(reading_table),
            offsetof(reading_table, tag),
            offsetof(reading_table, inner),
            offsetof(reading_table, id),
            offsetof(reading_table, when),
            offsetof(reading_table, quality)};
    }
};

/// A `Variable` without quality and time.
struct write_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t inner = 0; ///< From here to the value's table.
    std::uint32_t id = 0;
    VariableValue tag = VariableValue::NONE;
    std::array<std::uint8_t, 3> unused{};

    static constexpr auto number = layout_number::write;
    static constexpr table_layout<3> slots() {
        return {
            10,
            sizeof(write_table),
            offsetof(write_table, tag),
            offsetof(write_table, inner),
            offsetof(write_table, id)};
    }
};

/// The root of each message that consists of a list of variables; they have the same bytes.
struct root_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t inner = 0; ///< From here to the list.

    static constexpr auto number = layout_number::root;
    static constexpr table_layout<1> slots() {
        return {6, sizeof(root_table), offsetof(root_table, inner)};
    }
};

// -- inner tables ---------------------------------------------------------------------------------

/// A `BoolValue`.
struct truth_table {
    flatbuffers::soffset_t layout = 0;
    std::uint8_t value = 0;
    std::array<std::uint8_t, 3> unused{};

    static constexpr auto number = layout_number::truth;
    static constexpr table_layout<1> slots() {
        return {6, 5, 4};
    }
};

/// A `DoubleValue` or an `Int64Value`.
template <class Number>
struct number_table {
    std::uint32_t unused = 0; // the table begins behind it, so that the number is aligned
    flatbuffers::soffset_t layout = 0;
    Number value = 0;

    static constexpr auto number = layout_number::number;
    static constexpr table_layout<1> slots() {
        return {6, 12, 4};
    }
};

/// A `StringValue`.
struct text_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t outside = 0; ///< From here to the text.

    static constexpr auto number = layout_number::text;
    static constexpr table_layout<1> slots() {
        return {6, 8, 4};
    }
};

/// A `TimestampValue` or a `DurationValue`.
struct time_table {
    std::uint32_t unused = 0; // the table begins behind it, so that the time is aligned
    flatbuffers::soffset_t layout = 0;
    Timestamp value;

    static constexpr auto number = layout_number::time;
    static constexpr table_layout<1> slots() {
        return {6, 20, 4};
    }
};

/// A `VariableList`.
struct list_table {
    flatbuffers::soffset_t layout = 0;
    flatbuffers::uoffset_t outside = 0; ///< From here to the vector of items.
    definition_fingerprint fingerprint = 0;
    Timestamp when;

    static constexpr auto number = layout_number::list;
    static constexpr table_layout<3> slots() {
        return {
            10,
            sizeof(list_table),
            offsetof(list_table, fingerprint),
            offsetof(list_table, when),
            offsetof(list_table, outside)};
    }
};

} // namespace arvenhold::corvel::hub
