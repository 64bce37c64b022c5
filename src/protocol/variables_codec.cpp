// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"

#include "protocol/quality_codec.hpp"
#include "protocol/time_codec.hpp"
#include "protocol/value_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

// Returns the message's list; only a write command names a missing message and a missing list with
// the same words.
template <class Message>
VariableList const& list_of(
    payload const& message,
    message_reader const& reader,
    std::string_view no_data,
    std::string_view no_list,
    std::string_view no_items) {
    auto const* const root = message.root<Message>();
    if (root == nullptr) {
        reader.report_missing(no_data);
    }
    if (root->variables() == nullptr) {
        reader.report_missing(no_list);
    }
    if (root->variables()->items() == nullptr) {
        reader.report_missing(no_items);
    }
    return *root->variables();
}

} // namespace

variables_writer::variables_writer(message_builder& builder)
    : m_builder{builder} {
    // Zero is a legal id, fingerprint and quality, and other readers may not know the defaults.
    m_builder.ForceDefaults(true);
}

void variables_writer::add_change(
    variable_id id, variable_value const& value, variable_quality quality) {
    auto const written = write_value(m_builder, value);
    VariableBuilder item{m_builder};
    item.add_id(id);
    item.add_value(written.table);
    item.add_quality(to_wire(quality));
    item.add_value_type(written.tag);
    m_items.push_back(item.Finish());
}

void variables_writer::add_reading(
    variable_id id, variable_value const& value, variable_quality quality, timestamp when) {
    auto const written = write_value(m_builder, value);
    auto const time = to_wire(when);
    m_items.push_back(
        CreateVariable(m_builder, written.tag, written.table, id, &time, to_wire(quality)));
}

void variables_writer::add_write(variable_id id, variable_value const& value) {
    auto const written = write_value(m_builder, value);
    VariableBuilder item{m_builder};
    item.add_id(id);
    item.add_value(written.table);
    item.add_value_type(written.tag);
    m_items.push_back(item.Finish());
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

received_variables read_changed_event(payload const& message, message_reader const& reader) {
    auto const& list = list_of<VariablesChangedEvent>(
        message,
        reader,
        "message data nullptr",
        "variable data nullptr",
        "variable data (items) nullptr");
    if (list.timestamp() == nullptr) {
        reader.report_missing("variable data (timestamp) nullptr");
    }
    return {list, reader};
}

received_variables read_read_reply(payload const& message, message_reader const& reader) {
    return {
        list_of<ReadVariablesQueryResponse>(
            message,
            reader,
            "message data nullptr",
            "variable data nullptr",
            "variable data (items) nullptr"),
        reader};
}

received_variables read_write_command(payload const& message, message_reader const& reader) {
    return {
        list_of<WriteVariablesCommand>(
            message,
            reader,
            "variables node is missing",
            "variables node is missing",
            "items node in variables data is missing"),
        reader};
}

} // namespace arvenhold::corvel::hub
