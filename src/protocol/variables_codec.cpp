// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"

#include "protocol/quality_codec.hpp"
#include "protocol/time_codec.hpp"
#include "protocol/value_codec.hpp"

#include <type_traits>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view no_list{"variable data nullptr"};
constexpr std::string_view no_items{"variable data (items) nullptr"};

template <class Message>
VariableList const& list_of(
    payload const& message,
    message_reader const& reader,
    std::string_view no_data_detail,
    std::string_view no_list_detail) {
    auto const* const root = message.root<Message>();
    if (root == nullptr) {
        reader.report_missing(no_data_detail);
    }
    if (root->variables() == nullptr) {
        reader.report_missing(no_list_detail);
    }
    return *root->variables();
}

received_variables items_of(
    VariableList const& list, message_reader const& reader, std::string_view no_items_detail) {
    if (list.items() == nullptr) {
        reader.report_missing(no_items_detail);
    }
    return {list, reader};
}

// Appends items to a message. Positions count from the end of the message, which grows downward.
class item_appender {
public:
    item_appender(message_builder& builder, layout_positions& layouts)
        : m_builder{builder}
        , m_layouts{layouts} {}

    template <class Table>
    flatbuffers::Offset<Variable> append(Table table, variable_value const& value) const {
        if (value.valueless_by_exception()) {
            return append_without_value(table);
        }
        table.tag = tag_of(value);
        return std::visit(
            [&](auto const& content) { return append_with(table, table_of(content)); }, value);
    }

private:
    message_builder& m_builder;
    layout_positions& m_layouts;

    template <class Table, class Value>
    flatbuffers::Offset<Variable> append_with(Table const& table, Value const& value) const {
        struct pair {
            Table table;
            Value value;
        };
        constexpr auto value_place =
            static_cast<flatbuffers::uoffset_t>(sizeof(Table) + offsetof(Value, layout));
        auto const table_layout = place_layout<Table>();
        auto const value_layout = place_layout<Value>();
        pair both{table, value};
        auto const position = place_for(both);
        both.table.layout = distance(position, table_layout);
        both.table.value = value_place - offsetof(Table, value);
        both.value.layout = distance(position - value_place, value_layout);
        if constexpr (std::is_same_v<Value, text_table>) {
            constexpr auto text_place =
                static_cast<flatbuffers::uoffset_t>(sizeof(Table) + offsetof(Value, value));
            both.value.value = position - text_place - value.value;
        }
        return append_bytes(both);
    }

    // Too rare for a layout that is shared.
    template <class Table>
    flatbuffers::Offset<Variable> append_without_value(Table table) const {
        constexpr std::size_t value_slot = 1;
        auto layout = Table::slots();
        layout.at(2 + value_slot) = 0;
        auto const layout_position = append_bytes(layout);
        table.layout = distance(place_for(table), layout_position);
        return append_bytes(table);
    }

    // Makes the next bytes begin at a multiple of eight and returns where that is.
    template <class Bytes>
    flatbuffers::uoffset_t place_for(Bytes const& bytes) const {
        static_assert(sizeof(bytes) % alignof(std::uint64_t) == 0);
        m_builder.PreAlign(sizeof(bytes), alignof(std::uint64_t));
        return m_builder.GetSize() + static_cast<flatbuffers::uoffset_t>(sizeof(bytes));
    }

    template <class Bytes>
    flatbuffers::uoffset_t append_bytes(Bytes const& bytes) const {
        static_assert(std::is_trivially_copyable_v<Bytes>);
        m_builder.PushBytes(
            static_cast<std::uint8_t const*>(static_cast<void const*>(&bytes)), sizeof(bytes));
        return m_builder.GetSize();
    }

    template <class Table>
    flatbuffers::uoffset_t place_layout() const {
        auto& position = m_layouts.at(static_cast<std::size_t>(Table::number));
        if (position == 0) {
            position = append_bytes(Table::slots());
        }
        return position;
    }

    static flatbuffers::soffset_t distance(
        flatbuffers::uoffset_t table, flatbuffers::uoffset_t layout) {
        return static_cast<flatbuffers::soffset_t>(layout)
             - static_cast<flatbuffers::soffset_t>(table);
    }

    static truth_table table_of(bool value) {
        truth_table table;
        table.value = value ? 1 : 0;
        return table;
    }

    static number_table<double> table_of(double value) {
        number_table<double> table;
        table.value = value;
        return table;
    }

    static number_table<std::int64_t> table_of(std::int64_t value) {
        number_table<std::int64_t> table;
        table.value = value;
        return table;
    }

    // Holds the position of the text until its own is known.
    text_table table_of(std::string const& value) const {
        text_table table;
        table.value = m_builder.CreateString(value).o;
        return table;
    }

    static time_table table_of(timestamp value) {
        return table_of(value.time_since_epoch());
    }

    static time_table table_of(std::chrono::nanoseconds value) {
        time_table table;
        table.value = to_wire(value);
        return table;
    }
};

} // namespace

variables_writer::variables_writer(message_builder& builder, std::size_t expected_items)
    : m_builder{builder} {
    // What an item takes, its entry in the vector included, unless it is a long text.
    constexpr std::size_t expected_item_size = 48;
    auto const expected_size = expected_items * expected_item_size;
    if (expected_size > initial_builder_size) {
        m_builder = message_builder{initial_builder_size + expected_size};
    }
    m_items.reserve(expected_items);
    // Zero is a legal fingerprint, and other readers may not know the defaults.
    m_builder.ForceDefaults(true);
}

void variables_writer::add_change(
    variable_id id, variable_value const& value, variable_quality quality) {
    change_table table;
    table.id = id;
    table.quality = to_wire(quality);
    m_items.push_back(item_appender{m_builder, m_layouts}.append(table, value));
}

void variables_writer::add_reading(
    variable_id id, variable_value const& value, variable_quality quality, timestamp when) {
    reading_table table;
    table.when = to_wire(when);
    table.id = id;
    table.quality = to_wire(quality);
    m_items.push_back(item_appender{m_builder, m_layouts}.append(table, value));
}

void variables_writer::add_write(variable_id id, variable_value const& value) {
    write_table table;
    table.id = id;
    m_items.push_back(item_appender{m_builder, m_layouts}.append(table, value));
}

flatbuffers::Offset<VariableList> variables_writer::finish_list(
    definition_fingerprint fingerprint, timestamp when) {
    auto const items = m_builder.CreateVector(m_items);
    auto const time = to_wire(when);
    return CreateVariableList(m_builder, fingerprint, &time, items);
}

void variables_writer::finish_changed_event(definition_fingerprint fingerprint, timestamp when) {
    auto const list = finish_list(fingerprint, when);
    m_builder.Finish(CreateVariablesChangedEvent(m_builder, list));
}

void variables_writer::finish_read_reply(definition_fingerprint fingerprint, timestamp when) {
    auto const list = finish_list(fingerprint, when);
    m_builder.Finish(CreateReadVariablesQueryResponse(m_builder, list));
}

void variables_writer::finish_write_command(definition_fingerprint fingerprint) {
    auto const list = finish_list(fingerprint, timestamp{});
    m_builder.Finish(CreateWriteVariablesCommand(m_builder, list));
}

void write_read_request(message_builder& builder, std::vector<variable_id> const& ids) {
    auto const vector = builder.CreateVector(ids);
    builder.Finish(CreateReadVariablesQuery(builder, vector));
}

std::vector<variable_id> read_read_request(payload const& message) {
    auto const* const request = message.root<ReadVariablesQuery>();
    if (request == nullptr || request->ids() == nullptr) {
        return {};
    }
    return {request->ids()->begin(), request->ids()->end()};
}

received_variables::received_variables(VariableList const& list, message_reader const& reader)
    : m_list{&list}
    , m_items{list.items()}
    , m_reader{&reader} {}

definition_fingerprint received_variables::fingerprint() const {
    return m_list->fingerprint();
}

std::size_t received_variables::size() const {
    return m_items->size();
}

received_variable received_variables::item(std::size_t position) const {
    auto const& item = *m_items->Get(static_cast<flatbuffers::uoffset_t>(position));
    auto const* const time = item.timestamp() != nullptr ? item.timestamp() : m_list->timestamp();
    return {
        item.id(),
        quality_from_wire(item.quality()),
        time != nullptr ? point_from_wire(*time) : timestamp{},
        read_value(item, *m_reader)};
}

std::optional<received_variables> read_changed_event(
    payload const& message, definition_fingerprint held, message_reader const& reader) {
    auto const& list = list_of<VariablesChangedEvent>(message, reader, no_message_data, no_list);
    if (list.fingerprint() != held) {
        return std::nullopt;
    }
    auto const received = items_of(list, reader, no_items);
    if (list.timestamp() == nullptr) {
        reader.report_missing("variable data (timestamp) nullptr");
    }
    return received;
}

received_variables read_read_reply(payload const& message, message_reader const& reader) {
    auto const& list =
        list_of<ReadVariablesQueryResponse>(message, reader, no_message_data, no_list);
    return items_of(list, reader, no_items);
}

received_variables read_write_command(payload const& message, message_reader const& reader) {
    // Intended: a missing message and a missing list have the same words here.
    constexpr std::string_view no_variables{"variables node is missing"};
    auto const& list = list_of<WriteVariablesCommand>(message, reader, no_variables, no_variables);
    return items_of(list, reader, "items node in variables data is missing");
}

} // namespace arvenhold::corvel::hub
