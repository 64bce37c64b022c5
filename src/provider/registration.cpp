// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "provider/provider_impl.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/operation_names.hpp"
#include <hub/connection_failed.hpp>
#include <hub/invalid_provider_definition.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::seconds verdict_time_limit{15};

} // namespace

std::shared_ptr<variable_list> provider::impl::register_provider_definition(
    provider_definition& definition) {
    if (!definition.is_finalized()) {
        throw_state_invalid("cannot register non-finalized provider definition");
    }
    std::shared_ptr<variable_list> list;
    {
        std::scoped_lock const lock{m_state_mutex};
        // All that can fail comes first, so that a failure leaves the earlier registration whole.
        list = variable_list::create(definition, m_self);
        auto message = serialize_provider_definition(*list, definition.get_fingerprint());
        auto const earlier = m_current;
        change_current({earlier->session, list, std::move(message), definition.get_fingerprint()});
        m_registered = true;
        if (earlier->list) {
            earlier->list->mark_list_as_stale();
        }
        if (!is_usable()) {
            return list; // the definition goes out at the end of the next connect
        }
    }
    publish_provider_definition();
    return list;
}

std::shared_ptr<variable_list> provider::impl::get_variable_list() {
    std::scoped_lock const lock{m_state_mutex};
    if (!m_current->list) {
        throw_state_invalid("cannot get variable list, no provider definition registered");
    }
    return m_current->list;
}

definition_fingerprint provider::impl::get_fingerprint() {
    std::scoped_lock const lock{m_state_mutex};
    if (!m_registered) {
        throw_state_invalid("cannot get fingerprint, no provider definition registered");
    }
    return m_current->fingerprint;
}

provider::impl::definition_message provider::impl::serialize_provider_definition(
    variable_list& list, definition_fingerprint fingerprint) {
    auto builder = std::make_shared<message_builder>(initial_builder_size);
    definition_writer writer{*builder};
    {
        std::scoped_lock const lock{list};
        for (auto const& [id, variable] : list.get_variables()) {
            writer.add(
                id, variable->get_path(), variable->get_value(), variable->get_permissions());
        }
    }
    writer.finish(fingerprint);
    return builder;
}

void provider::impl::publish_provider_definition() {
    // Counted before sending: a disconnect from now on ends the wait below.
    auto seen = get_wait_counts();
    bool const left_at_once = send_definition();
    std::scoped_lock const validity_lock{m_validity_mutex};
    if (!left_at_once) {
        // Intended: verdicts are counted from here, after sending. One that arrives in between is
        // not seen and the wait runs out; the NATS client's send buffer delays the message long
        // enough to make that rare.
        seen.verdicts = m_wait_counts.verdicts;
    }
    auto const deadline = std::chrono::steady_clock::now() + verdict_time_limit;
    if (!wait_for_verdict(deadline, seen)) {
        throw_state_invalid(
            "provider definition validity handler execution failed: Timeout waiting for reply");
    }
    std::scoped_lock const state_lock{m_state_mutex};
    if (!m_definition_valid) {
        m_registered = false;
        throw invalid_provider_definition{m_identifier, m_reported_fingerprint};
    }
}

// Returns whether the message has left at once.
bool provider::impl::send_definition() {
    // The message is chosen and handed over in one step, so that of two registrations at once the
    // later one is also the later one on the wire.
    std::scoped_lock const send_lock{m_definition_send_mutex};
    auto const current = take_snapshot();
    auto status = NATS_CONNECTION_CLOSED;
    if (current->session && current->definition) { // not disconnected a moment ago
        status =
            current->session->publish(m_definition_subject, finished_bytes(*current->definition));
        if (status != NATS_OK) {
            mark_failed(current->session);
        }
    }
    if (status != NATS_OK) {
        throw connection_failed::on_subject(
            client_kind::provider,
            m_identifier,
            operation_name::publish_definition,
            status,
            text_of(status),
            m_definition_subject);
    }
    return current->session->sends_immediately();
}

// Not analysed: the caller's lock is lent to the wait.
bool provider::impl::wait_for_verdict(
    std::chrono::steady_clock::time_point deadline,
    wait_counts const& seen) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_validity_mutex, std::adopt_lock};
    auto const& now = m_wait_counts;
    while (now.verdicts == seen.verdicts && now.cancellations == seen.cancellations
           && m_verdict_arrived.wait_until(lock, deadline) != std::cv_status::timeout) {
    }
    lock.release(); // given back to the caller
    return now.verdicts != seen.verdicts;
}

// Wakes every waiter: nothing in a verdict tells whose publication it answers.
void provider::impl::announce_verdict() {
    std::scoped_lock const lock{m_validity_mutex};
    ++m_wait_counts.verdicts;
    m_verdict_arrived.notify_all();
}

provider::impl::wait_counts provider::impl::get_wait_counts() {
    std::scoped_lock const lock{m_validity_mutex};
    return m_wait_counts;
}

void provider::impl::cancel_waits() {
    std::scoped_lock const lock{m_validity_mutex};
    ++m_wait_counts.cancellations;
    m_verdict_arrived.notify_all();
}

void provider::impl::deserialize_provider_definition_validity(
    payload const& message, definition_fingerprint& fingerprint, bool& valid) const {
    auto const verdict = decode_verdict(
        message, {client_kind::provider, m_identifier, operation_name::decode_verdict});
    fingerprint = verdict.fingerprint;
    valid = verdict.is_valid;
}

void provider::impl::take_verdict(nats_message const& message) {
    payload const data{bytes_of(message)};
    std::scoped_lock const lock{m_state_mutex};
    deserialize_provider_definition_validity(data, m_reported_fingerprint, m_definition_valid);
}

void provider::impl::provider_definition_event_sub_handler(
    natsConnection* /*connection*/,
    natsSubscription* /*subscription*/,
    natsMsg* raw_message,
    void* closure) {
    nats_message const message{raw_message};
    if (closure == nullptr) {
        write_error_line({"Failed to process provider definition changed event: "
                          "unable to resolve associated provider"});
        return;
    }
    auto& self = *static_cast<impl*>(closure);
    if (!message) {
        write_error_line({"Failed to process provider definition changed event: "
                          "provider definition message unavailable"});
    } else {
        try {
            self.take_verdict(message);
        } catch (serialization_fault const& fault) {
            write_error_line({fault.what()});
        }
    }
    // Intended: also after a message that could not be read, with the verdict received before.
    self.announce_verdict();
}

void provider::impl::deserialize_registry_state(payload const& message, bool& ready) const {
    ready = false;
    ready = decode_registry_state(
        message, {client_kind::provider, m_identifier, operation_name::decode_registry_state});
}

void provider::impl::registry_state_event_sub_handler(
    natsConnection* /*connection*/,
    natsSubscription* /*subscription*/,
    natsMsg* raw_message,
    void* closure) {
    nats_message message{raw_message};
    if (!message) {
        write_error_line(
            {"Failed to process registry state event: registry state message unavailable"});
        return;
    }
    if (closure == nullptr) {
        write_error_line(
            {"Failed to process registry state event: unable to resolve associated provider"});
        return;
    }
    auto& self = *static_cast<impl*>(closure);
    if (!self.m_registered) {
        // Intended: the message is not released while nothing is registered.
        static_cast<void>(message.release());
        return;
    }
    bool ready = false;
    try {
        self.deserialize_registry_state(payload{bytes_of(message)}, ready);
    } catch (std::exception const& error) {
        write_error_line({error.what()});
        return;
    }
    message.reset();
    if (!ready) {
        return;
    }
    try {
        self.publish_provider_definition();
    } catch (std::exception const& error) {
        write_error_line(
            {"Failed to publish provider definition after registry was ready: ", error.what()});
    }
}

} // namespace arvenhold::corvel::hub
