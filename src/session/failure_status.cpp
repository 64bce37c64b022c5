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

// Statuses of the NATS client while connecting: a server that wants no token lets a client in that
// could not obtain one; another does not authorize it.
constexpr int token_missing = 0;
constexpr int not_authorized = 11;
// For a request that no program on the hub takes.
constexpr int no_responder = 34;

session_reason reason_of_status(int nats_status) {
    switch (nats_status) {
    case token_missing:
    case not_authorized:
        return session_reason::access_denied;
    case no_responder:
        return session_reason::registry_silent;
    default:
        return session_reason::server_unreachable;
    }
}

session_reason reason_of(std::exception const& error) {
    if (auto const* const refused = dynamic_cast<connection_failed const*>(&error)) {
        return reason_of_status(refused->get_nats_status());
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

} // namespace arvenhold::corvel::hub
