// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/failure_status.hpp"

#include "session/plain_text.hpp"
#include <hub/connection_failed.hpp>
#include <hub/invalid_provider_definition.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/serialization_fault.hpp>

#include <new>

namespace arvenhold::corvel::hub {

namespace {

// Statuses of the NATS client. A server that wants no token lets a client in that could not obtain
// one; another does not authorize it.
constexpr int token_missing = 0;
constexpr int not_authorized = 11;
constexpr int too_large = 21;
constexpr int no_reply = 26;
constexpr int no_responder = 34;

// A client that connects sends requests to the registry alone.
session_reason reason_of_failed_connect(connection_failed const& error) {
    auto const status = error.get_nats_status();
    if (status == token_missing || status == not_authorized) {
        return session_reason::access_denied;
    }
    if (!error.get_subject().empty() && (status == no_reply || status == no_responder)) {
        return session_reason::registry_silent;
    }
    return session_reason::server_unreachable;
}

session_reason reason_of(std::exception const& error) {
    if (auto const* const refused = dynamic_cast<connection_failed const*>(&error)) {
        return reason_of_failed_connect(*refused);
    }
    if (dynamic_cast<operational_state_invalid const*>(&error) != nullptr) {
        return session_reason::registry_silent;
    }
    if (dynamic_cast<invalid_provider_definition const*>(&error) != nullptr) {
        return session_reason::definition_rejected;
    }
    if (dynamic_cast<serialization_fault const*>(&error) != nullptr) {
        return session_reason::values_unreadable;
    }
    return session_reason::internal_failure;
}

} // namespace

failure failure_of_connecting(std::exception const& error, std::string_view secret) {
    return {reason_of(error), plain_text(error.what(), secret)};
}

failure failure_of_reading(std::exception const& error, std::string_view secret) {
    auto reason = session_reason::values_unreadable;
    if (dynamic_cast<connection_failed const*>(&error) != nullptr) {
        reason = session_reason::provider_silent;
    } else if (dynamic_cast<std::bad_alloc const*>(&error) != nullptr) {
        reason = session_reason::internal_failure;
    }
    return {reason, plain_text(error.what(), secret)};
}

bool is_too_large(std::exception const& error) {
    auto const* const refused = dynamic_cast<connection_failed const*>(&error);
    return refused != nullptr && refused->get_nats_status() == too_large;
}

} // namespace arvenhold::corvel::hub
