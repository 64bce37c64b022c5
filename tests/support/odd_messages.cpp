// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "odd_messages.hpp"

#include <flatbuffers/flatbuffers.h>

#include <type_traits>

namespace arvenhold::corvel::hub::wire {

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;
using flatbuffers::voffset_t;

// As it lies in a message, with its padding.
struct padded_time {
    std::int64_t seconds;
    std::int32_t nanos;
    std::int32_t padding;
};
static_assert(sizeof(padded_time) == 16 && alignof(padded_time) == 8);

// The address of a slot in a vtable, whose first two entries are sizes.
constexpr voffset_t address_of(int slot) {
    return static_cast<voffset_t>(4 + 2 * slot);
}

// Writes one table. What it refers to must have been written before it is begun.
class table_writer {
public:
    explicit table_writer(FlatBufferBuilder& builder)
        : m_builder{builder}
        , m_start{builder.StartTable()} {}

    template <class Number>
    void number(int slot, std::optional<Number> value) {
        if (value) {
            m_builder.AddElement(address_of(slot), *value);
        }
    }

    void time(int slot, std::optional<time_struct> const& value) {
        if (value) {
            padded_time const padded{value->seconds, value->nanos, 0};
            m_builder.AddStruct(address_of(slot), &padded);
        }
    }

    // A null offset, which stands for something absent, writes nothing.
    void reference(int slot, Offset<void> target) {
        m_builder.AddOffset(address_of(slot), target);
    }

    Offset<void> finish() {
        return m_builder.EndTable(m_start);
    }

private:
    FlatBufferBuilder& m_builder;
    flatbuffers::uoffset_t m_start;
};

Offset<void> write(FlatBufferBuilder& builder, std::string const& text) {
    return builder.CreateString(text).Union();
}

Offset<void> write(FlatBufferBuilder& builder, std::vector<std::uint32_t> const& numbers) {
    return builder.CreateVector(numbers).Union();
}

Offset<void> write(FlatBufferBuilder& builder, value_table const& value);
Offset<void> write(FlatBufferBuilder& builder, variable_table const& variable);
Offset<void> write(FlatBufferBuilder& builder, variable_list_table const& list);
Offset<void> write(FlatBufferBuilder& builder, variable_definition_table const& definition);
Offset<void> write(FlatBufferBuilder& builder, provider_definition_table const& definition);
Offset<void> write(FlatBufferBuilder& builder, provider_table const& provider);
Offset<void> write(FlatBufferBuilder& builder, provider_list_table const& list);

template <class Table>
Offset<void> write(FlatBufferBuilder& builder, std::vector<Table> const& tables) {
    std::vector<Offset<void>> offsets;
    offsets.reserve(tables.size());
    for (auto const& table : tables) {
        offsets.push_back(write(builder, table));
    }
    return builder.CreateVector(offsets).Union();
}

template <class Part>
Offset<void> write_if_present(FlatBufferBuilder& builder, std::optional<Part> const& part) {
    return part ? write(builder, *part) : Offset<void>{};
}

Offset<void> write(FlatBufferBuilder& builder, value_table const& value) {
    auto const* const text = value.value ? std::get_if<std::string>(&*value.value) : nullptr;
    auto const text_offset = text != nullptr ? write(builder, *text) : Offset<void>{};
    table_writer table{builder};
    auto const write_field = [&]<class Field>(Field const& field) {
        if constexpr (std::is_same_v<Field, std::string>) {
            table.reference(0, text_offset);
        } else if constexpr (std::is_same_v<Field, time_struct>) {
            table.time(0, field);
        } else if constexpr (std::is_same_v<Field, bool>) {
            table.number<std::uint8_t>(0, field ? 1 : 0);
        } else {
            table.number<Field>(0, field);
        }
    };
    if (value.value) {
        std::visit(write_field, *value.value);
    }
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, variable_table const& variable) {
    auto const value = write_if_present(builder, variable.value);
    table_writer table{builder};
    table.number(0, variable.value_type);
    table.reference(1, value);
    table.number(2, variable.id);
    table.time(3, variable.timestamp);
    table.number(4, variable.quality);
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, variable_list_table const& list) {
    auto const items = write_if_present(builder, list.items);
    table_writer table{builder};
    table.number(0, list.fingerprint);
    table.time(1, list.timestamp);
    table.reference(2, items);
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, variable_definition_table const& definition) {
    auto const path = write_if_present(builder, definition.path);
    table_writer table{builder};
    table.reference(0, path);
    table.number(1, definition.id);
    table.number(2, definition.data_type);
    table.number(3, definition.access);
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, provider_definition_table const& definition) {
    auto const variables = write_if_present(builder, definition.variable_definitions);
    table_writer table{builder};
    table.number(0, definition.fingerprint);
    table.reference(1, variables);
    table.number(2, definition.valid);
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, provider_table const& provider) {
    auto const id = write_if_present(builder, provider.id);
    table_writer table{builder};
    table.reference(0, id);
    return table.finish();
}

Offset<void> write(FlatBufferBuilder& builder, provider_list_table const& list) {
    auto const items = write_if_present(builder, list.items);
    table_writer table{builder};
    table.reference(0, items);
    return table.finish();
}

std::string finish(FlatBufferBuilder& builder, table_writer& root) {
    builder.Finish(root.finish());
    return {
        static_cast<char const*>(static_cast<void const*>(builder.GetBufferPointer())),
        builder.GetSize()};
}

// A message whose root table has one field, which refers to something.
template <class Part>
std::string message_with(std::optional<Part> const& part) {
    FlatBufferBuilder builder;
    auto const offset = write_if_present(builder, part);
    table_writer root{builder};
    root.reference(0, offset);
    return finish(builder, root);
}

} // namespace

std::string read_variables_query(std::optional<std::vector<std::uint32_t>> const& ids) {
    return message_with(ids);
}

std::string read_variables_query_response(std::optional<variable_list_table> const& variables) {
    return message_with(variables);
}

std::string write_variables_command(std::optional<variable_list_table> const& variables) {
    return message_with(variables);
}

std::string variables_changed_event(std::optional<variable_list_table> const& variables) {
    return message_with(variables);
}

std::string read_provider_definition_query_response(
    std::optional<provider_definition_table> const& definition) {
    return message_with(definition);
}

std::string provider_definition_changed_event(
    std::optional<provider_definition_table> const& definition) {
    return message_with(definition);
}

std::string read_providers_query_response(std::optional<provider_list_table> const& providers) {
    return message_with(providers);
}

std::string providers_changed_event(std::optional<provider_list_table> const& providers) {
    return message_with(providers);
}

std::string registry_state_changed_event(std::optional<std::uint8_t> state) {
    FlatBufferBuilder builder;
    table_writer root{builder};
    root.number(0, state);
    return finish(builder, root);
}

} // namespace arvenhold::corvel::hub::wire
