// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"

#include "protocol/quality_codec.hpp"
#include "protocol/time_codec.hpp"
#include "protocol/value_codec.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view no_list{"variable data nullptr"};
constexpr std::string_view no_items{"variable data (items) nullptr"};

template <class Message>
VariableList const& list_of(
    payload const& message,
    decode_context const& context,
    std::string_view no_data_detail,
    std::string_view no_list_detail) {
    auto const* const root = message.root<Message>();
    if (root == nullptr) {
        context.report_missing(no_data_detail);
    }
    if (root->variables() == nullptr) {
        context.report_missing(no_list_detail);
    }
    return *root->variables();
}

received_variables items_of(
    VariableList const& list, decode_context const& context, std::string_view no_items_detail) {
    if (list.items() == nullptr) {
        context.report_missing(no_items_detail);
    }
    return {list, context};
}

// Appends tables to a message. Positions count from the end of the message, which grows downward.
class table_appender {
public:
    table_appender(message_builder& builder, layout_positions& layouts)
        : m_builder{builder}
        , m_layouts{layouts} {}

    template <class Item>
    flatbuffers::uoffset_t append_item(Item item, variable_value const& value) const {
        if (value.valueless_by_exception()) {
            return append_without_value(item);
        }
        item.tag = tag_of(value);
        return std::visit(
            [&](auto const& content) { return append_with_value(item, content); }, value);
    }

    // An inner table that refers to something outside holds the position of that.
    template <class Outer, class Inner>
    flatbuffers::uoffset_t append_pair(Outer const& outer, Inner const& inner) const {
        struct pair {
            Outer outer;
            Inner inner;
        };
        constexpr auto inner_place = uoffset(sizeof(Outer) + offsetof(Inner, layout));
        auto const outer_layout = place_layout<Outer>();
        auto const inner_layout = place_layout<Inner>();
        auto const position = make_place(sizeof(pair));
        static_assert(sizeof(pair) == sizeof(Outer) + sizeof(Inner), "no byte is left unwritten");
        auto& both = *std::construct_at(
            static_cast<pair*>(static_cast<void*>(m_builder.make_space(sizeof(pair)))),
            pair{outer, inner});
        both.outer.layout = distance(position, outer_layout);
        both.outer.inner = inner_place - uoffset(offsetof(Outer, inner));
        both.inner.layout = distance(position - inner_place, inner_layout);
        if constexpr (requires { inner.outside; }) {
            constexpr auto outside_place = uoffset(sizeof(Outer) + offsetof(Inner, outside));
            both.inner.outside = position - outside_place - inner.outside;
        }
        return position;
    }

private:
    message_builder& m_builder;
    layout_positions& m_layouts;

    static constexpr flatbuffers::uoffset_t uoffset(std::size_t number) {
        return static_cast<flatbuffers::uoffset_t>(number);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, bool value) const {
        truth_table table;
        table.value = value ? 1 : 0;
        return append_pair(item, table);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, double value) const {
        number_table<double> table;
        table.value = value;
        return append_pair(item, table);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, std::int64_t value) const {
        number_table<std::int64_t> table;
        table.value = value;
        return append_pair(item, table);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, std::string const& value) const {
        text_table table;
        table.outside = m_builder.CreateString(value).o;
        return append_pair(item, table);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(
        Item const& item, std::chrono::nanoseconds value) const {
        time_table table;
        table.value = to_wire(value);
        return append_pair(item, table);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, timestamp value) const {
        return append_with_value(item, value.time_since_epoch());
    }

    // Too rare for a layout that is shared.
    template <class Item>
    flatbuffers::uoffset_t append_without_value(Item item) const {
        constexpr std::size_t value_slot = 1;
        auto layout = Item::slots();
        layout.at(2 + value_slot) = 0;
        auto const layout_position = append_bytes(layout);
        item.layout = distance(make_place(sizeof(item)), layout_position);
        return append_bytes(item);
    }

    // Makes the next bytes begin at a multiple of eight and returns where that is.
    flatbuffers::uoffset_t make_place(std::size_t size) const {
        m_builder.PreAlign(size, alignof(std::uint64_t));
        return m_builder.GetSize() + uoffset(size);
    }

    template <class Bytes>
    flatbuffers::uoffset_t append_bytes(Bytes const& bytes) const {
        static_assert(std::is_trivially_copyable_v<Bytes>);
        std::memcpy(m_builder.make_space(sizeof(bytes)), &bytes, sizeof(bytes));
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
    if (expected_items > m_few_items.size()) {
        use_heap(expected_items);
    }
}

void variables_writer::add_change(
    variable_id id, variable_value const& value, variable_quality quality) {
    change_table table;
    table.id = id;
    table.quality = to_wire(quality);
    add(table_appender{m_builder, m_layouts}.append_item(table, value));
}

void variables_writer::add_reading(
    variable_id id, variable_value const& value, variable_quality quality, timestamp when) {
    reading_table table;
    table.when = to_wire(when);
    table.id = id;
    table.quality = to_wire(quality);
    add(table_appender{m_builder, m_layouts}.append_item(table, value));
}

void variables_writer::add_write(variable_id id, variable_value const& value) {
    write_table table;
    table.id = id;
    add(table_appender{m_builder, m_layouts}.append_item(table, value));
}

void variables_writer::finish_change_event(definition_fingerprint fingerprint, timestamp when) {
    finish(fingerprint, when);
}

void variables_writer::finish_read_reply(definition_fingerprint fingerprint, timestamp when) {
    finish(fingerprint, when);
}

void variables_writer::finish_write_command(definition_fingerprint fingerprint) {
    finish(fingerprint, timestamp{});
}

void variables_writer::add(flatbuffers::uoffset_t item) {
    if (m_size == m_items.size()) {
        use_heap(2 * m_size);
    }
    m_items[m_size++] = item;
}

void variables_writer::use_heap(std::size_t capacity) {
    std::vector<flatbuffers::uoffset_t> larger(capacity);
    std::copy_n(m_items.begin(), m_size, larger.begin());
    m_many_items = std::move(larger);
    m_items = m_many_items;
}

flatbuffers::uoffset_t variables_writer::append_item_vector() {
    flatbuffers::uoffset_t* entries = nullptr;
    auto const vector = m_builder.CreateUninitializedVector(m_size, &entries).o;
    // Each entry holds the distance from itself to its item; the length comes before the first one.
    auto place = vector;
    std::transform(
        m_items.begin(),
        m_items.begin() + static_cast<std::ptrdiff_t>(m_size),
        entries,
        [&place](auto item) {
            place -= static_cast<flatbuffers::uoffset_t>(sizeof(item));
            return place - item;
        });
    return vector;
}

void variables_writer::finish(definition_fingerprint fingerprint, timestamp when) {
    list_table list;
    list.outside = append_item_vector();
    list.fingerprint = fingerprint;
    list.when = to_wire(when);
    m_builder.Finish(flatbuffers::Offset<void>{
        table_appender{m_builder, m_layouts}.append_pair(root_table{}, list)});
}

void serialize_read_request(message_builder& builder, std::vector<variable_id> const& ids) {
    auto const vector = builder.CreateVector(ids);
    builder.Finish(CreateReadVariablesQuery(builder, vector));
}

std::vector<variable_id> deserialize_read_request(payload const& message) {
    auto const* const request = message.root<ReadVariablesQuery>();
    if (request == nullptr || request->ids() == nullptr) {
        return {};
    }
    return {request->ids()->begin(), request->ids()->end()};
}

received_variables::received_variables(VariableList const& list, decode_context const& context)
    : m_list{&list}
    , m_items{list.items()}
    , m_when{list.timestamp() != nullptr ? point_from_wire(*list.timestamp()) : timestamp{}}
    , m_context{&context} {}

definition_fingerprint received_variables::fingerprint() const {
    return m_list->fingerprint();
}

std::size_t received_variables::size() const {
    return m_items->size();
}

received_variable received_variables::item(std::size_t position) const {
    received_variable read;
    decode_item(position, read);
    return read;
}

void received_variables::decode_item(std::size_t position, received_variable& into) const {
    auto const& item = *m_items->Get(static_cast<flatbuffers::uoffset_t>(position));
    auto const* const time = item.timestamp();
    into.id = item.id();
    into.quality = quality_from_wire(item.quality());
    into.when = time != nullptr ? point_from_wire(*time) : m_when;
    decode_value(item, *m_context, into.value);
}

std::optional<received_variables> decode_change_event(
    payload const& message, definition_fingerprint held, decode_context const& context) {
    auto const& list = list_of<VariablesChangedEvent>(message, context, no_message_data, no_list);
    if (list.fingerprint() != held) {
        return std::nullopt;
    }
    auto const received = items_of(list, context, no_items);
    if (list.timestamp() == nullptr) {
        context.report_missing("variable data (timestamp) nullptr");
    }
    return received;
}

received_variables decode_read_reply(payload const& message, decode_context const& context) {
    auto const& list =
        list_of<ReadVariablesQueryResponse>(message, context, no_message_data, no_list);
    return items_of(list, context, no_items);
}

received_variables decode_write_command(payload const& message, decode_context const& context) {
    // Intended: a missing message and a missing list have the same words here.
    constexpr std::string_view no_variables{"variables node is missing"};
    auto const& list = list_of<WriteVariablesCommand>(message, context, no_variables, no_variables);
    return items_of(list, context, "items node in variables data is missing");
}

} // namespace arvenhold::corvel::hub
