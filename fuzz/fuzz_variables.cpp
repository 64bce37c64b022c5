// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Lists of variables of any shape, and read requests: decoding returns what was written, or throws
// the fault for what is missing.

#include "fuzz/support/expected.hpp"
#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "fuzz/support/values.hpp"
#include "protocol/variables_codec.hpp"
#include <hub/serialization_fault.hpp>

namespace arvenhold::corvel::hub::fuzz {

namespace {

void check_value(std::optional<value_view> const& value, wire::variable_table const& table) {
    auto const tag = table.value_type.value_or(0);
    auto const alternative = alternative_of(tag);
    if (!table.value || !alternative) {
        require(!value, "a variable without a value keeps its own");
    } else if (!table.value->value || table.value->value->index() == *alternative) {
        require(
            value && is_same(owned(*value), value_of(tag, table.value->value)),
            "the value is kept");
    } // Otherwise the table is another type's: well-formed, but without a meaning.
}

unsigned expected_quality(wire::variable_table const& table) {
    auto const quality = table.quality.value_or(0);
    auto const is_known = quality == 0 || quality == 64 || quality == 67 || quality == 68;
    return is_known ? quality : 192;
}

void check_item(
    received_variable const& item,
    wire::variable_table const& table,
    wire::variable_list_table const& list) {
    auto const own_time = table.timestamp ? table.timestamp : list.timestamp;
    require(item.id == table.id.value_or(0), "the id is kept");
    require(static_cast<unsigned>(item.quality) == expected_quality(table), "the quality is kept");
    require(item.when == point_of(own_time.value_or(wire::time_struct{})), "the time is kept");
    check_value(item.value, table);
}

// A string value without its string is the only item that cannot be decoded.
bool lacks_string(wire::variable_table const& table) {
    return table.value_type == string_tag && table.value && !table.value->value;
}

void check_items(received_variables& received, wire::variable_list_table const& list) {
    require(received.fingerprint() == list.fingerprint.value_or(0), "the fingerprint is kept");
    require(received.size() == list.items->size(), "every item is there");
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto const& table = (*list.items)[position];
        try {
            auto const item = received.item(position);
            require(!lacks_string(table), "a string value without its string is a fault");
            check_item(item, table, list);
        } catch (serialization_fault const& fault) {
            require(
                fault.what() == fault_text("string value nullptr"), "the fault names the string");
            require(lacks_string(table), "a fault has a reason");
        }
    }
}

// The detail of the fault in the list itself; empty without one.
std::string_view expected_fault(variables_kind kind, variables_input const& input) {
    auto const is_command = kind == variables_kind::write_command;
    if (!input.list) {
        return is_command ? "variables node is missing" : "variable data nullptr";
    }
    if (!input.list->items) {
        return is_command ? "items node in variables data is missing"
                          : "variable data (items) nullptr";
    }
    return {};
}

template <class Root, class Read>
void try_list(variables_input const& input, std::string const& bytes, Read const& read) {
    if (!is_well_formed<Root>(bytes)) {
        return;
    }
    auto const kind = static_cast<variables_kind>(input.kind % variables_kinds);
    auto const expected = expected_fault(kind, input);
    placed_bytes const placed{bytes, input.distance};
    auto const message = placed.view();
    try {
        auto received = read(message, context);
        require(expected.empty(), "what is missing is a fault");
        check_items(received, *input.list);
    } catch (serialization_fault const& fault) {
        require(fault.what() == fault_text(expected), "the fault names what is missing");
    }
}

void try_request(variables_input const& input) {
    placed_bytes const placed{wire::read_variables_query(input.ids), input.distance};
    auto const ids = decode_read_request(placed.view());
    require(ids == input.ids.value_or(std::vector<std::uint32_t>{}), "the ids are kept");
}

} // namespace

void try_input(std::string_view bytes) {
    auto const input = input_of<variables_input>(bytes);
    switch (static_cast<variables_kind>(input.kind % variables_kinds)) {
    case variables_kind::change_event:
        return try_list<VariablesChangedEvent>(
            input,
            wire::variables_changed_event(input.list),
            [&input](std::string_view message, decode_context const& used) {
                auto const held = input.list ? input.list->fingerprint.value_or(0) : 0;
                return decode_change_event(message, held, used).value();
            });
    case variables_kind::read_reply:
        return try_list<ReadVariablesQueryResponse>(
            input, wire::read_variables_query_response(input.list), &decode_read_reply);
    case variables_kind::write_command:
        return try_list<WriteVariablesCommand>(
            input, wire::write_variables_command(input.list), &decode_write_command);
    case variables_kind::read_request:
        return try_request(input);
    }
}

} // namespace arvenhold::corvel::hub::fuzz
