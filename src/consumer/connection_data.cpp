// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "protocol/payload.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/operation_names.hpp"
#include <hub/provider_definition_mismatch.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_read_only.hpp>

#include <tuple>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

consumer_variable& find_variable(
    consumer_variable_set const& variables, variable_id id, std::string_view function) {
    auto* const found = variables.find(id);
    if (found == nullptr) {
        throw variable_index_invalid{id, function};
    }
    return *found;
}

} // namespace

void provider_connection::impl::read_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    shared_variables variables;
    {
        std::scoped_lock const lock{m_mutex};
        require_connected("cannot read variables from provider: provider connection is not in "
                          "connected state");
        require_held(fingerprint);
        variables = m_variables; // our copy keeps this map whole while we work unlocked
    }
    message_builder request{initial_builder_size + ids.size() * sizeof(variable_id)};
    serialize_read_request(request, ids);
    auto const reply =
        request_or_fault(m_read_subject, finished_bytes(request), operation_name::read_variables);
    try {
        apply_read_reply(reply, *variables, fingerprint);
    } catch (provider_definition_mismatch const&) {
        // Intended: the provider has a new definition, of which an event will tell; no fault.
        throw;
    } catch (...) {
        set_fault_state();
        throw;
    }
}

void provider_connection::impl::apply_read_reply(
    nats_message const& reply,
    consumer_variable_set const& variables,
    definition_fingerprint fingerprint) {
    payload const data{bytes_of(reply)};
    auto const context = context_for(operation_name::decode_read_reply);
    auto const received = decode_read_reply(data, context);
    if (received.fingerprint() != fingerprint) {
        throw provider_definition_mismatch{
            m_link.name, m_provider_id, fingerprint, received.fingerprint()};
    }
    received_variable item;
    for (std::size_t position = 0; position < received.size(); ++position) {
        received.decode_item(position, item);
        find_variable(variables, item.id, "read_variables()")
            .apply_reply(item.quality, item.value, item.when, 0);
    }
}

void provider_connection::impl::update_all_variables() {
    auto const [variables, fingerprint] = get_current_variables();
    std::vector<variable_id> ids;
    if (variables) {
        ids.reserve(variables->size());
        for (auto const& [id, variable] : *variables) {
            ids.push_back(id);
        }
    }
    read_variables(fingerprint, ids);
}

void provider_connection::impl::write_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    shared_variables variables;
    {
        std::scoped_lock const lock{m_mutex};
        require_connected("cannot write variables into provider: provider connection is not in "
                          "connected state");
        require_held(fingerprint);
        if (m_link.read_only) {
            throw variable_read_only::for_consumer(m_link.name, m_provider_id);
        }
        variables = m_variables; // our copy keeps this map whole while we work unlocked
    }
    message_builder command{initial_builder_size};
    try {
        serialize_write_command(command, *variables, fingerprint, ids);
    } catch (variable_index_invalid const&) {
        set_fault_state();
        throw;
    }
    auto const status = m_link.session->publish(m_write_subject, finished_bytes(command));
    require_ok(status, operation_name::write_variables, m_write_subject);
}

void provider_connection::impl::serialize_write_command(
    message_builder& builder,
    consumer_variable_set const& variables,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids) {
    variables_writer writer{builder, ids.size()};
    for (auto const id : ids) {
        auto& variable = find_variable(variables, id, "serialize_write_command()");
        // A copy: a change event may replace the value at this moment.
        writer.add_write(id, std::get<variable_value>(variable.get_value_with_timestamp()));
    }
    writer.finish_write_command(fingerprint);
}

current_variables provider_connection::impl::get_current_variables() {
    std::scoped_lock const lock{m_mutex};
    return {consumer_variable_set::map_of(m_variables), m_fingerprint};
}

std::vector<variable_id> provider_connection::impl::get_updated_variables_since(
    definition_fingerprint fingerprint, timestamp since) {
    shared_variables variables;
    {
        std::scoped_lock const lock{m_mutex};
        require_held(fingerprint);
        variables = m_variables;
    }
    if (!variables) {
        return {};
    }
    std::vector<variable_id> updated;
    for (auto const& [id, variable] : variables->map()) {
        if (variable->get_last_publish_timestamp() >= since) {
            updated.push_back(id);
        }
    }
    return updated;
}

void provider_connection::impl::recv_variables_changed_sub_handler(
    natsConnection* /*connection*/,
    natsSubscription* /*subscription*/,
    natsMsg* raw_message,
    void* closure) {
    nats_message const message{raw_message};
    if (closure == nullptr) {
        write_error_line({"Failed to process variables changed event: "
                          "unable to resolve associated provider connection"});
        return;
    }
    static_cast<provider_connection*>(closure)->m_impl->take_change_event(message);
}

void provider_connection::impl::take_change_event(nats_message const& message) {
    if (!message) {
        set_fault_state();
        write_error_line({"Failed to process variables changed event: event message unavailable"});
        return;
    }
    auto const state = get_state();
    if (state == provider_connection_state::disconnected
        || state == provider_connection_state::faulted) {
        write_error_line({"Received a variables changed event, skipping it due to invalid provider "
                          "connection state"});
        return;
    }
    // Intended: applied also while the provider is missing, unlike a definition.
    try {
        deserialize_variable_update(message);
    } catch (std::exception const& error) {
        set_fault_state();
        write_error_line({error.what()});
    }
}

void provider_connection::impl::deserialize_variable_update(nats_message const& message) {
    shared_variables variables;
    definition_fingerprint fingerprint = 0;
    change_listener listener;
    {
        std::scoped_lock const lock{m_mutex};
        variables = m_variables;
        fingerprint = m_fingerprint;
        listener = m_change_listener;
    }
    payload const data{bytes_of(message)};
    auto const context = context_for(operation_name::decode_variable_update);
    auto const received = decode_change_event(data, fingerprint, context);
    if (!received || !variables) {
        return; // Intended: an event of another definition is dropped without a trace.
    }
    std::vector<variable_id> changed;
    changed.reserve(listener.function != nullptr ? received->size() : 0);
    received_variable item;
    for (std::size_t position = 0; position < received->size(); ++position) {
        received->decode_item(position, item);
        find_variable(*variables, item.id, "deserialize_variable_update()")
            .apply_event(item.quality, item.value, item.when, 0);
        if (listener.function != nullptr) {
            changed.push_back(item.id);
        }
    }
    if (listener.function != nullptr) {
        listener.function(fingerprint, std::move(changed), m_self, listener.user_data);
    }
}

} // namespace arvenhold::corvel::hub
