// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/failure_status.hpp"

#include "session/plain_text.hpp"
#include <hub/connection_failed.hpp>
#include <hub/invalid_provider_definition.hpp>
#include <hub/operational_state_invalid.hpp>

namespace arvenhold::corvel::hub {

namespace {

// Statuses of the NATS client while connecting: a server that wants no token lets a client in that
// could not obtain one; another does not authorize it.
constexpr int token_missing = 0;
constexpr int not_authorized = 11;

bool is_denied(int nats_status) {
    return nats_status == token_missing || nats_status == not_authorized;
}

session_reason reason_of(std::exception const& error) {
    if (auto const* const refused = dynamic_cast<connection_failed const*>(&error)) {
        return is_denied(refused->get_nats_status()) ? session_reason::access_denied
                                                     : session_reason::server_unreachable;
    }
    if (dynamic_cast<operational_state_invalid const*>(&error) != nullptr) {
        return session_reason::registry_silent;
    }
    if (dynamic_cast<invalid_provider_definition const*>(&error) != nullptr) {
        return session_reason::definition_rejected;
    }
    return session_reason::internal_failure;
}

} // namespace

failure failure_of_connecting(std::exception const& error, std::string_view secret) {
    return {reason_of(error), plain_text(error.what(), secret)};
}

} // namespace arvenhold::corvel::hub
