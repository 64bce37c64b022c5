// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>

namespace arvenhold::corvel::hub {

// The FlatBuffers tables of a message with variables, byte for byte. Only variables_codec.cpp
// includes this file. Such a message consists of pairs of tables: one for each item and its value, and
// a last one for the root and the list. The writer appends a pair in one go and then fills in the
// offsets, which is many times faster than the builder's way of assembling the same bytes field by
// field.
//
// 1. A table begins with the offset to its vtable.
// 2. The outer table of a pair holds the offset to the inner one, which follows it. An inner table
//    may hold the offset to a string or a vector that the message already contains.
// 3. Every size is a multiple of the largest alignment within, so that the inner table's fields are
//    aligned too.

static_assert(std::endian::native == std::endian::little, "messages are little-endian");
static_assert(std::numeric_limits<double>::is_iec559, "messages contain IEEE 754 numbers");
static_assert(
    alignof(std::uint64_t) == sizeof(std::uint64_t) && alignof(double) == sizeof(double),
    "messages align each field to its size");

/// A vtable whose last entry is that of the field with the number `last_field`: its own size, the
/// size of the table, and for each field the field's offset in the table, 0 for an absent one. The
/// generated code numbers a field by the offset of its entry in the vtable (VT_*).
template <flatbuffers::voffset_t last_field>
using vtable = std::array<flatbuffers::voffset_t, last_field / sizeof(flatbuffers::voffset_t) + 1>;

/// The number of a field in the generated code, and the field's offset in the table.
struct vtable_entry {
    flatbuffers::voffset_t field;
    std::size_t offset;
};

/// Returns the entry of a field in a vtable.
template <std::size_t size>
constexpr flatbuffers::voffset_t& entry_of(
    std::array<flatbuffers::voffset_t, size>& table, flatbuffers::voffset_t field) {
    return table.at(field / sizeof(flatbuffers::voffset_t));
}

/// Composes the vtable of a table of `table_size` bytes; fields without an entry are absent.
template <flatbuffers::voffset_t last_field>
constexpr vtable<last_field> compose_vtable(
    std::size_t table_size, std::initializer_list<vtable_entry> entries) {
    vtable<last_field> composed{};
    composed[0] = sizeof(composed);
    composed[1] = static_cast<flatbuffers::voffset_t>(table_size);
    for (auto const& entry : entries) {
        entry_of(composed, entry.field) = static_cast<flatbuffers::voffset_t>(entry.offset);
    }
    return composed;
}

/// The vtables that a message needs at most. Tables with equal vtables share one.
enum class vtable_kind {
    change_item,
    reading_item,
    write_item,
    bool_value,
    number_value,
    string_value,
    time_value,
    root,
    list,
};

inline constexpr std::size_t vtable_kinds = static_cast<std::size_t>(vtable_kind::list) + 1;

// -- outer tables ---------------------------------------------------------------------------------

/// A `Variable` without a time stamp.
struct change_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t inner_offset = 0; ///< To the value's table.
    std::uint32_t id = 0;
    VariableQuality quality = VariableQuality::Bad;
    VariableValue value_type = VariableValue::NONE;
    std::uint16_t padding = 0;

    static constexpr auto kind = vtable_kind::change_item;
    static constexpr auto own_vtable() {
        return compose_vtable<Variable::VT_QUALITY>(
            sizeof(change_table),
            {{Variable::VT_VALUE_TYPE, offsetof(change_table, value_type)},
             {Variable::VT_VALUE, offsetof(change_table, inner_offset)},
             {Variable::VT_ID, offsetof(change_table, id)},
             {Variable::VT_QUALITY, offsetof(change_table, quality)}});
    }
};

/// A `Variable` with all fields.
struct reading_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t inner_offset = 0; ///< To the value's table.
    Timestamp time_stamp;
    std::uint32_t id = 0;
    VariableQuality quality = VariableQuality::Bad;
    VariableValue value_type = VariableValue::NONE;
    std::uint16_t padding = 0;

    static constexpr auto kind = vtable_kind::reading_item;
    static constexpr auto own_vtable() {
        return compose_vtable<Variable::VT_QUALITY>(
            sizeof(reading_table),
            {{Variable::VT_VALUE_TYPE, offsetof(reading_table, value_type)},
             {Variable::VT_VALUE, offsetof(reading_table, inner_offset)},
             {Variable::VT_ID, offsetof(reading_table, id)},
             {Variable::VT_TIMESTAMP, offsetof(reading_table, time_stamp)},
             {Variable::VT_QUALITY, offsetof(reading_table, quality)}});
    }
};

/// A `Variable` without quality and time stamp.
struct write_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t inner_offset = 0; ///< To the value's table.
    std::uint32_t id = 0;
    VariableValue value_type = VariableValue::NONE;
    std::array<std::uint8_t, 3> padding{};

    static constexpr auto kind = vtable_kind::write_item;
    static constexpr auto own_vtable() {
        return compose_vtable<Variable::VT_ID>(
            sizeof(write_table),
            {{Variable::VT_VALUE_TYPE, offsetof(write_table, value_type)},
             {Variable::VT_VALUE, offsetof(write_table, inner_offset)},
             {Variable::VT_ID, offsetof(write_table, id)}});
    }
};

/// The root of each message that consists of a list of variables.
struct root_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t inner_offset = 0; ///< To the list.

    static constexpr auto kind = vtable_kind::root;
    static constexpr auto own_vtable() {
        return compose_vtable<VariablesChangedEvent::VT_VARIABLES>(
            sizeof(root_table),
            {{VariablesChangedEvent::VT_VARIABLES, offsetof(root_table, inner_offset)}});
    }
};

// -- inner tables ---------------------------------------------------------------------------------

/// A `BoolValue`.
struct bool_table {
    flatbuffers::soffset_t vtable_offset = 0;
    std::uint8_t value = 0;
    std::array<std::uint8_t, 3> padding{}; // behind the table

    static constexpr auto kind = vtable_kind::bool_value;
    static constexpr auto own_vtable() {
        return compose_vtable<BoolValue::VT_VALUE>(
            offsetof(bool_table, padding), {{BoolValue::VT_VALUE, offsetof(bool_table, value)}});
    }
};

/// A `DoubleValue` or an `Int64Value`.
template <class Number>
struct number_table {
    std::uint32_t padding = 0; // in front of the table, so that the number is aligned
    flatbuffers::soffset_t vtable_offset = 0;
    Number value = 0;

    static constexpr auto kind = vtable_kind::number_value;
    static constexpr auto own_vtable() {
        constexpr auto start = offsetof(number_table, vtable_offset);
        return compose_vtable<DoubleValue::VT_VALUE>(
            sizeof(number_table) - start,
            {{DoubleValue::VT_VALUE, offsetof(number_table, value) - start}});
    }
};

/// A `StringValue`.
struct string_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t outside_offset = 0; ///< To the string.

    static constexpr auto kind = vtable_kind::string_value;
    static constexpr auto own_vtable() {
        return compose_vtable<StringValue::VT_VALUE>(
            sizeof(string_table),
            {{StringValue::VT_VALUE, offsetof(string_table, outside_offset)}});
    }
};

/// A `TimestampValue` or a `DurationValue`.
struct time_table {
    std::uint32_t padding = 0; // in front of the table, so that the time is aligned
    flatbuffers::soffset_t vtable_offset = 0;
    Timestamp value;

    static constexpr auto kind = vtable_kind::time_value;
    static constexpr auto own_vtable() {
        constexpr auto start = offsetof(time_table, vtable_offset);
        return compose_vtable<TimestampValue::VT_VALUE>(
            sizeof(time_table) - start,
            {{TimestampValue::VT_VALUE, offsetof(time_table, value) - start}});
    }
};

/// A `VariableList`.
struct list_table {
    flatbuffers::soffset_t vtable_offset = 0;
    flatbuffers::uoffset_t outside_offset = 0; ///< To the vector of items.
    definition_fingerprint fingerprint = 0;
    Timestamp time_stamp;

    static constexpr auto kind = vtable_kind::list;
    static constexpr auto own_vtable() {
        return compose_vtable<VariableList::VT_ITEMS>(
            sizeof(list_table),
            {{VariableList::VT_FINGERPRINT, offsetof(list_table, fingerprint)},
             {VariableList::VT_TIMESTAMP, offsetof(list_table, time_stamp)},
             {VariableList::VT_ITEMS, offsetof(list_table, outside_offset)}});
    }
};

// -- against the generated code -------------------------------------------------------------------

// Peers know the fields by these numbers. Each own_vtable() would follow a renumbered schema; the
// assertions do not.
static_assert(Variable::VT_VALUE_TYPE == 4 && Variable::VT_VALUE == 6 && Variable::VT_ID == 8);
static_assert(Variable::VT_TIMESTAMP == 10 && Variable::VT_QUALITY == 12);
static_assert(VariableList::VT_FINGERPRINT == 4 && VariableList::VT_TIMESTAMP == 6);
static_assert(VariableList::VT_ITEMS == 8);
static_assert(BoolValue::VT_VALUE == 4 && StringValue::VT_VALUE == 4);

// Tables with equal vtables, which share one.
static_assert(DoubleValue::VT_VALUE == 4 && Int64Value::VT_VALUE == 4);
static_assert(TimestampValue::VT_VALUE == 4 && DurationValue::VT_VALUE == 4);
static_assert(VariablesChangedEvent::VT_VARIABLES == 4);
static_assert(ReadVariablesQueryResponse::VT_VARIABLES == 4);
static_assert(WriteVariablesCommand::VT_VARIABLES == 4);

} // namespace arvenhold::corvel::hub
