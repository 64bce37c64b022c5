// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Lists of any variables, written by the library with any number of expected items: every message
// is well-formed, and what is decoded from it equals what was written.

#include "fuzz/support/expected.hpp"
#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "fuzz/support/values.hpp"
#include "protocol/variables_codec.hpp"

namespace arvenhold::corvel::hub::fuzz {

namespace {

constexpr timestamp list_time{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

// A variable as it is given to a writer, and its value as it arrives.
struct written_item {
    variable_id id = 0;
    unsigned quality = 0;
    timestamp when;
    variable_value value;
    variable_value arriving_value;
};

// Of a table without a value that a variable can have, nothing.
std::optional<written_item> item_of(wire::variable_table const& table) {
    auto const tag = table.value_type.value_or(0);
    auto const alternative = alternative_of(tag);
    if (!alternative || !table.value || !table.value->value
        || table.value->value->index() != *alternative) {
        return std::nullopt;
    }
    auto const arriving_value = value_of(tag, table.value->value);
    auto value = arriving_value;
    if (tag == duration_tag) {
        value = std::chrono::nanoseconds{
            nanoseconds_of(std::get<wire::time_struct>(*table.value->value))};
    }
    return written_item{
        table.id.value_or(0),
        table.quality.value_or(0),
        point_of(table.timestamp.value_or(wire::time_struct{})),
        value,
        arriving_value};
}

std::vector<written_item> items_of(variables_input const& input) {
    std::vector<written_item> items;
    if (!input.list || !input.list->items) {
        return items;
    }
    for (auto const& table : *input.list->items) {
        if (auto const item = item_of(table)) {
            items.push_back(*item);
        }
    }
    return items;
}

unsigned arriving_quality(unsigned quality) {
    auto const is_known =
        quality == 0 || quality == 64 || quality == 67 || quality == 68 || quality == 192;
    return is_known ? quality : 64;
}

void check_item(variables_kind kind, received_variable const& received, written_item const& item) {
    auto const is_command = kind == variables_kind::write_command;
    auto const list_when = is_command ? timestamp{} : list_time;
    require(received.id == item.id, "the id arrives");
    require(
        static_cast<unsigned>(received.quality)
            == (is_command ? 0 : arriving_quality(item.quality)),
        "the quality arrives");
    require(
        received.when == (kind == variables_kind::read_reply ? item.when : list_when),
        "the time arrives");
    require(
        received.value && is_same(owned(*received.value), item.arriving_value),
        "the value arrives");
}

void write_item(variables_kind kind, variables_writer& writer, written_item const& item) {
    auto const quality = static_cast<variable_quality>(item.quality);
    if (kind == variables_kind::change_event) {
        writer.add_change(item.id, item.value, quality);
    } else if (kind == variables_kind::read_reply) {
        writer.add_reading(item.id, item.value, quality, item.when);
    } else {
        writer.add_write(item.id, item.value);
    }
}

template <class Root, class Finish, class Read>
void try_list(
    variables_kind kind,
    written_variables_input const& input,
    Finish const& finish,
    Read const& read) {
    auto const items = items_of(input.variables);
    message_builder builder;
    variables_writer writer{builder, input.expected_items};
    for (auto const& item : items) {
        write_item(kind, writer, item);
    }
    finish(writer);

    require(is_well_formed<Root>(finished_bytes(builder)), "the message is well-formed");
    placed_bytes const placed{finished_bytes(builder), input.variables.distance};
    auto received = read(placed.view(), context);
    require(received.size() == items.size(), "every item arrives");
    for (std::size_t position = 0; position < items.size(); ++position) {
        check_item(kind, received.item(position), items[position]);
    }
}

} // namespace

void try_input(std::string_view bytes) {
    auto const input = input_of<written_variables_input>(bytes);
    auto const& list = input.variables.list;
    auto const fingerprint = list ? list->fingerprint.value_or(0) : 0;
    auto const kind = static_cast<variables_kind>(input.variables.kind % variables_kinds);
    switch (kind) {
    case variables_kind::change_event:
        return try_list<VariablesChangedEvent>(
            kind,
            input,
            [&](variables_writer& writer) { writer.finish_change_event(fingerprint, list_time); },
            [&](std::string_view message, decode_context const& used) {
                return decode_change_event(message, fingerprint, used).value();
            });
    case variables_kind::read_reply:
        return try_list<ReadVariablesQueryResponse>(
            kind,
            input,
            [&](variables_writer& writer) { writer.finish_read_reply(fingerprint, list_time); },
            &decode_read_reply);
    case variables_kind::write_command:
        return try_list<WriteVariablesCommand>(
            kind,
            input,
            [&](variables_writer& writer) { writer.finish_write_command(fingerprint); },
            &decode_write_command);
    case variables_kind::read_request:
        return;
    }
}

} // namespace arvenhold::corvel::hub::fuzz
