// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/variables_codec.hpp"
#include "provider/provider_impl.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/operation_names.hpp"
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Intended: a request for an unknown variable is no error; the reply leaves it out.
void add_reading_if_known(
    variables_writer& writer, variable_list::variable_map const& variables, variable_id id) {
    auto const found = variables.find(id);
    if (found == variables.end()) {
        return;
    }
    auto const [value, when] = found->second->get_value_with_timestamp();
    writer.add_reading(id, value, found->second->get_quality(), when);
}

} // namespace

void provider::impl::variable_read_request_sub_handler(
    natsConnection* /*connection*/,
    natsSubscription* subscription,
    natsMsg* raw_message,
    void* closure) {
    nats_message const message{raw_message};
    if (!message) {
        write_error_line(
            {"Failed to assemble reply for read request: request message unavailable"});
        return;
    }
    if (closure == nullptr) {
        write_error_line(
            {"Failed to assemble reply for read request: unable to resolve associated provider"});
        return;
    }
    static_cast<impl*>(closure)->answer_read_request(message, subscription);
}

// Intended: requests are answered as long as there is a list, also when the definition was rejected
// and whatever the state of the connection.
void provider::impl::answer_read_request(
    nats_message const& message, natsSubscription* subscription) {
    auto const current = take_snapshot();
    if (!current->list) {
        write_error_line(
            {"Provider ",
             m_identifier,
             ": failed to assemble reply for read request: variable list unavailable"});
        return;
    }
    if (!current->session) {
        return; // disconnected a moment ago
    }
    auto ids = deserialize_read_request(payload{bytes_of(message)});
    if (ids.empty()) {
        for (auto const& [id, variable] : current->list->get_variables()) {
            ids.push_back(id);
        }
    }
    message_builder builder{initial_builder_size};
    serialize_requested_variables(builder, current->fingerprint, ids, current->list);

    auto const subject = reply_subject_of(message);
    auto const reply = finished_bytes(builder);
    auto const status = current->session->publish(subject, reply);
    if (status == NATS_OK) {
        current->session->flush_when_idle(subscription);
        return;
    }
    // Intended: nothing stands between the identifier and the text, and the reply's bytes are
    // written as a text that ends at their first zero.
    write_error_line(
        {"Provider ",
         m_identifier,
         "Failed to publish reply to read request (",
         std::to_string(reply.size()),
         " bytes @",
         reply.substr(0, reply.find('\0')),
         ") to subject ",
         subject,
         ": NATS returns ",
         std::to_string(status),
         " = ",
         text_of(status)});
    mark_failed(current->session);
}

void provider::impl::serialize_requested_variables(
    message_builder& builder,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids,
    std::shared_ptr<variable_list> const& list) {
    // A request may ask for any number of unknown variables.
    variables_writer writer{builder, std::min(ids.size(), list->get_variables().size())};
    {
        std::scoped_lock const lock{*list};
        for (auto const id : ids) {
            add_reading_if_known(writer, list->get_variables(), id);
        }
    }
    writer.finish_read_reply(fingerprint, std::chrono::system_clock::now());
}

void provider::impl::variable_write_command_sub_handler(
    natsConnection* /*connection*/,
    natsSubscription* /*subscription*/,
    natsMsg* raw_message,
    void* closure) {
    nats_message const message{raw_message};
    if (!message) {
        write_error_line({"Failed to process write command: command message unavailable"});
        return;
    }
    if (closure == nullptr) {
        write_error_line(
            {"Failed to process write command: unable to resolve associated provider"});
        return;
    }
    static_cast<impl*>(closure)->take_write_command(message);
}

void provider::impl::take_write_command(nats_message const& message) {
    auto const current = take_snapshot();
    if (!current->list) {
        // Intended: the missing "to" is part of the text that operators search for.
        write_error_line(
            {"Provider ",
             m_identifier,
             ": failed process write command: variable list unavailable"});
        return;
    }
    try {
        auto const command =
            deserialize_write_command(payload{bytes_of(message)}, current->fingerprint);
        if (command) {
            tell_application(current->fingerprint, *command);
        }
    } catch (std::exception const& error) {
        write_error_line({error.what()});
    }
}

std::optional<variable_write_command> provider::impl::deserialize_write_command(
    payload const& message, definition_fingerprint expected_fingerprint) const {
    decode_context const context{
        client_kind::provider, m_identifier, operation_name::decode_write_command};
    auto const received = decode_write_command(message, context);
    if (received.fingerprint() != expected_fingerprint) {
        write_error_line(
            {"Provider ",
             m_identifier,
             ": peer sent a write variables command with outdated fingerprint. Expected ",
             std::to_string(expected_fingerprint),
             ", got ",
             std::to_string(received.fingerprint()),
             " instead from peer. Ignoring."});
        return std::nullopt;
    }
    variable_write_command command;
    command.entries.reserve(received.size());
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto item = received.item(position);
        if (item.value) {
            command.entries.emplace_back(item.id, *std::move(item.value));
        }
    }
    return command;
}

void provider::impl::tell_application(
    definition_fingerprint fingerprint, variable_write_command const& command) {
    write_listener listener;
    {
        std::scoped_lock const lock{m_state_mutex};
        listener = m_write_listener;
    }
    if (listener.function != nullptr) {
        // Called without the lock: the application may use this provider from its callback.
        listener.function(fingerprint, command, m_self, listener.user_data);
    }
}

} // namespace arvenhold::corvel::hub
