// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"

#include "protocol/item_tables.hpp"
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

constexpr list_faults faults_for_consumer{
    no_message_data, "variable data nullptr", "variable data (items) nullptr"};

// Intended: a missing message and a missing list have the same text here.
constexpr list_faults faults_for_provider{
    "variables node is missing",
    "variables node is missing",
    "items node in variables data is missing"};

// Returns the position of the list in the root table, whose only field it is.
template <flatbuffers::voffset_t list_field>
std::size_t list_of(
    message_bytes message, decode_context const& context, list_faults const& faults) {
    table_reader<field<list_field, reference>> reader{message};
    auto const root = reader.find_root();
    if (!root) {
        context.report_missing(faults.no_data);
    }
    return root->template follow<list_field>();
}

// Reads nothing else of the list, which may lack it.
definition_fingerprint fingerprint_of(
    message_bytes message, std::size_t list_position, decode_context const& context) {
    table_reader<field<VariableList::VT_FINGERPRINT, definition_fingerprint>> reader{message};
    auto const list = reader.find(list_position);
    if (!list) {
        context.report_missing(faults_for_consumer.no_list);
    }
    return list->get<VariableList::VT_FINGERPRINT>();
}

// The offsets of a message's vtables from its end, by vtable_kind; 0 for one that is not there yet.
using vtable_offsets = std::array<flatbuffers::uoffset_t, vtable_kinds>;

// Appends tables to a message, which grows downward: an offset of something in the message counts
// from the message's end.
class table_appender {
public:
    table_appender(message_builder& builder, vtable_offsets& vtables)
        : m_builder{builder}
        , m_vtables{vtables} {}

    template <class Item>
    flatbuffers::uoffset_t append_item(Item item, variable_value const& value) const {
        if (value.valueless_by_exception()) {
            return append_without_value(item);
        }
        item.value_type = tag_of(value);
        return std::visit(
            [&](auto const& content) { return append_with_value(item, content); }, value);
    }

    // An inner table that refers to something outside holds the offset of that from the message's
    // end, until it is appended.
    template <class Outer, class Inner>
    flatbuffers::uoffset_t append_pair(Outer const& outer, Inner const& inner) const {
        struct pair {
            Outer outer;
            Inner inner;
        };
        static_assert(sizeof(pair) == sizeof(Outer) + sizeof(Inner), "no byte is left unwritten");
        constexpr auto inner_start = uoffset(sizeof(Outer) + offsetof(Inner, vtable_offset));
        auto const outer_vtable = append_vtable_once<Outer>();
        auto const inner_vtable = append_vtable_once<Inner>();
        auto const start = align_for(sizeof(pair));
        auto& both = *std::construct_at(
            static_cast<pair*>(static_cast<void*>(m_builder.grow(sizeof(pair)))),
            pair{outer, inner});
        both.outer.vtable_offset = offset_to_vtable(start, outer_vtable);
        both.outer.inner_offset = inner_start - uoffset(offsetof(Outer, inner_offset));
        both.inner.vtable_offset = offset_to_vtable(start - inner_start, inner_vtable);
        if constexpr (requires { inner.outside_offset; }) {
            constexpr auto field = uoffset(sizeof(Outer) + offsetof(Inner, outside_offset));
            both.inner.outside_offset = start - field - inner.outside_offset;
        }
        return start;
    }

private:
    message_builder& m_builder;
    vtable_offsets& m_vtables;

    static constexpr flatbuffers::uoffset_t uoffset(std::size_t number) {
        return static_cast<flatbuffers::uoffset_t>(number);
    }

    template <class Item>
    flatbuffers::uoffset_t append_with_value(Item const& item, bool value) const {
        bool_table table;
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
        string_table table;
        table.outside_offset = m_builder.CreateString(value).o;
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

    // Too rare to share its vtable.
    template <class Item>
    flatbuffers::uoffset_t append_without_value(Item item) const {
        auto own_vtable = Item::own_vtable();
        entry_of(own_vtable, Variable::VT_VALUE) = 0;
        auto const vtable = append_bytes(own_vtable);
        item.vtable_offset = offset_to_vtable(align_for(sizeof(item)), vtable);
        return append_bytes(item);
    }

    // Makes the next `size` bytes begin at a multiple of eight, and returns their offset.
    flatbuffers::uoffset_t align_for(std::size_t size) const {
        m_builder.PreAlign(size, alignof(std::uint64_t));
        return m_builder.GetSize() + uoffset(size);
    }

    template <class Bytes>
    flatbuffers::uoffset_t append_bytes(Bytes const& bytes) const {
        static_assert(std::is_trivially_copyable_v<Bytes>);
        std::memcpy(m_builder.grow(sizeof(bytes)), &bytes, sizeof(bytes));
        return m_builder.GetSize();
    }

    // Returns the offset of the vtable that all tables of this kind in the message share.
    template <class Table>
    flatbuffers::uoffset_t append_vtable_once() const {
        auto& vtable = m_vtables.at(static_cast<std::size_t>(Table::kind));
        if (vtable == 0) {
            constexpr auto own_vtable = Table::own_vtable();
            vtable = append_bytes(own_vtable);
        }
        return vtable;
    }

    // A table's first field.
    static flatbuffers::soffset_t offset_to_vtable(
        flatbuffers::uoffset_t table, flatbuffers::uoffset_t vtable) {
        return static_cast<flatbuffers::soffset_t>(vtable)
             - static_cast<flatbuffers::soffset_t>(table);
    }
};

} // namespace

variables_writer::variables_writer(message_builder& builder, std::size_t expected_items)
    : m_builder{builder} {
    // The bytes of an item and its entry in the vector, unless its value is a long string.
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
    add(table_appender{m_builder, m_vtables}.append_item(table, value));
}

void variables_writer::add_reading(
    variable_id id, variable_value const& value, variable_quality quality, timestamp when) {
    reading_table table;
    table.time_stamp = to_wire(when);
    table.id = id;
    table.quality = to_wire(quality);
    add(table_appender{m_builder, m_vtables}.append_item(table, value));
}

void variables_writer::add_write(variable_id id, variable_value const& value) {
    write_table table;
    table.id = id;
    add(table_appender{m_builder, m_vtables}.append_item(table, value));
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
    // Each entry holds the offset from itself to its item; the length precedes the first one.
    auto entry = vector;
    std::transform(
        m_items.begin(),
        m_items.begin() + static_cast<std::ptrdiff_t>(m_size),
        entries,
        [&entry](auto item) {
            entry -= static_cast<flatbuffers::uoffset_t>(sizeof(item));
            return entry - item;
        });
    return vector;
}

void variables_writer::finish(definition_fingerprint fingerprint, timestamp when) {
    list_table list;
    list.outside_offset = append_item_vector();
    list.fingerprint = fingerprint;
    list.time_stamp = to_wire(when);
    m_builder.Finish(flatbuffers::Offset<void>{
        table_appender{m_builder, m_vtables}.append_pair(root_table{}, list)});
}

void serialize_read_request(message_builder& builder, std::vector<variable_id> const& ids) {
    auto const vector = builder.CreateVector(ids);
    builder.Finish(CreateReadVariablesQuery(builder, vector));
}

std::vector<variable_id> decode_read_request(std::string_view bytes) {
    message_bytes const message{bytes};
    table_reader<field<ReadVariablesQuery::VT_IDS, reference>> reader{message};
    auto const request = reader.find_root();
    if (!request) {
        return {};
    }
    auto const requested =
        message.find_vector(request->follow<ReadVariablesQuery::VT_IDS>(), sizeof(variable_id));
    if (!requested) {
        return {};
    }
    std::vector<variable_id> ids(requested->size);
    for (std::size_t index = 0; index < ids.size(); ++index) {
        ids[index] = message.at<variable_id>(requested->first + index * sizeof(variable_id));
    }
    return ids;
}

received_variables::received_variables(
    message_bytes message,
    std::size_t list_position,
    decode_context const& context,
    list_faults const& faults)
    : m_item_reader{message}
    , m_value_reader{message}
    , m_context{&context}
    , m_faults{&faults} {
    table_reader<
        field<VariableList::VT_FINGERPRINT, definition_fingerprint>,
        field<VariableList::VT_TIMESTAMP, Timestamp>,
        field<VariableList::VT_ITEMS, reference>>
        reader{message};
    auto const list = reader.find(list_position);
    if (!list) {
        context.report_missing(faults.no_list);
    }
    m_fingerprint = list->get<VariableList::VT_FINGERPRINT>();
    m_when = list->get<VariableList::VT_TIMESTAMP>();
    auto const items =
        message.find_vector(list->follow<VariableList::VT_ITEMS>(), sizeof(reference));
    if (!items) {
        context.report_missing(faults.no_items);
    }
    m_items = *items;
}

received_variable received_variables::item(std::size_t position) {
    auto const item = m_item_reader.find_element(m_items, position);
    if (!item) {
        m_context->report_missing(m_faults->no_items);
    }
    return {
        item->get<Variable::VT_ID>(),
        quality_from_wire(item->get<Variable::VT_QUALITY>()),
        point_from_wire(item->get<Variable::VT_TIMESTAMP>(m_when)),
        m_value_reader.find(
            item->get<Variable::VT_VALUE_TYPE>(), item->follow<Variable::VT_VALUE>(), *m_context)};
}

std::optional<received_variables> decode_change_event(
    std::string_view bytes, definition_fingerprint held, decode_context const& context) {
    message_bytes const message{bytes};
    auto const list =
        list_of<VariablesChangedEvent::VT_VARIABLES>(message, context, faults_for_consumer);
    if (fingerprint_of(message, list, context) != held) {
        return std::nullopt;
    }
    return received_variables{message, list, context, faults_for_consumer};
}

received_variables decode_read_reply(std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    auto const list =
        list_of<ReadVariablesQueryResponse::VT_VARIABLES>(message, context, faults_for_consumer);
    return {message, list, context, faults_for_consumer};
}

received_variables decode_write_command(std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    auto const list =
        list_of<WriteVariablesCommand::VT_VARIABLES>(message, context, faults_for_provider);
    return {message, list, context, faults_for_provider};
}

} // namespace arvenhold::corvel::hub
