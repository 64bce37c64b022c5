// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider/provider_impl.hpp"

#include "errors/operation_names.hpp"
#include "protocol/definition_codec.hpp"
#include <hub/connection_failed.hpp>
#include <hub/invalid_provider_definition.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

std::shared_ptr<variable_list> provider::impl::register_provider_definition(
    provider_definition& definition) {
    if (!definition.is_finalized()) {
        throw_state_invalid("cannot register non-finalized provider definition");
    }
    std::shared_ptr<variable_list> list;
    {
        std::scoped_lock const lock{m_state_mutex};
        // What can fail comes first, so that a failure leaves the earlier registration unchanged.
        list = variable_list::create(definition, m_self);
        auto message = serialize_provider_definition(*list, definition.get_fingerprint());
        auto const earlier = m_current;
        change_current({earlier->session, list, std::move(message), definition.get_fingerprint()});
        m_registered = true;
        m_accepted = false;
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

bool provider::impl::is_definition_accepted() {
    std::scoped_lock const lock{m_state_mutex};
    return m_accepted;
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
    auto verdicts_seen = get_verdicts();
    auto const session = send_definition();
    std::scoped_lock const validity_lock{m_validity_mutex};
    if (!session->options().sends_immediately()) {
        // Intended: verdicts are counted from here, after sending. One that arrives in between is
        // not seen and the wait runs out; the NATS client's send buffer delays the message long
        // enough to make that rare.
        verdicts_seen = m_verdicts;
    }
    auto const deadline =
        std::chrono::steady_clock::now() + session->options().get_verdict_time_limit();
    bool const has_verdict = wait_for_verdict(deadline, verdicts_seen, *session);
    std::scoped_lock const state_lock{m_state_mutex};
    if (m_current->session == session) {
        m_accepted = has_verdict && m_verdict.is_valid;
    }
    if (!has_verdict) {
        throw_state_invalid(
            "provider definition validity handler execution failed: Timeout waiting for reply");
    }
    if (!m_verdict.is_valid) {
        m_registered = false;
        throw invalid_provider_definition{m_identifier, m_verdict.fingerprint};
    }
}

// Returns the session that the definition was sent through.
std::shared_ptr<nats_session> provider::impl::send_definition() {
    // The message is chosen and published under one lock, so that of two registrations at once the
    // later one is also the later one on the wire.
    std::scoped_lock const send_lock{m_definition_send_mutex};
    auto const current = get_snapshot();
    if (!current->session || !current->definition) { // disconnected a moment ago
        throw connection_failed::not_connected(
            kind, m_identifier, operation_name::publish_definition);
    }
    current->session->publish(
        operation_name::publish_definition,
        m_definition_subject,
        finished_bytes(*current->definition));
    return current->session;
}

// Not analysed: the wait releases the caller's lock and takes it again.
bool provider::impl::wait_for_verdict(
    std::chrono::steady_clock::time_point deadline,
    std::uint64_t verdicts_seen,
    nats_session& session) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_validity_mutex, std::adopt_lock};
    while (m_verdicts == verdicts_seen && !session.is_closed()
           && m_verdict_arrived.wait_until(lock, deadline) != std::cv_status::timeout) {
    }
    lock.release(); // given back to the caller
    return m_verdicts != verdicts_seen;
}

std::uint64_t provider::impl::get_verdicts() {
    std::scoped_lock const lock{m_validity_mutex};
    return m_verdicts;
}

void provider::impl::wake_waits() {
    std::scoped_lock const lock{m_validity_mutex};
    m_verdict_arrived.notify_all();
}

} // namespace arvenhold::corvel::hub
