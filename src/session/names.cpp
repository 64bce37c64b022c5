// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/names.hpp>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view unknown{"unknown"};

} // namespace

std::string_view name_of(session_state state) {
    switch (state) {
    case session_state::connecting:
        return "connecting";
    case session_state::ready:
        return "ready";
    case session_state::degraded:
        return "degraded";
    case session_state::stopped:
        return "stopped";
    }
    return unknown;
}

std::string_view name_of(session_reason reason) {
    switch (reason) {
    case session_reason::none:
        return "none";
    case session_reason::starting:
        return "starting";
    case session_reason::server_unreachable:
        return "server_unreachable";
    case session_reason::access_denied:
        return "access_denied";
    case session_reason::registry_silent:
        return "registry_silent";
    case session_reason::definition_rejected:
        return "definition_rejected";
    case session_reason::link_lost:
        return "link_lost";
    case session_reason::sending_failed:
        return "sending_failed";
    case session_reason::provider_missing:
        return "provider_missing";
    case session_reason::provider_silent:
        return "provider_silent";
    case session_reason::values_unreadable:
        return "values_unreadable";
    case session_reason::internal_failure:
        return "internal_failure";
    case session_reason::stop_requested:
        return "stop_requested";
    }
    return unknown;
}

std::string_view name_of(freshness shown) {
    switch (shown) {
    case freshness::live:
        return "live";
    case freshness::stale:
        return "stale";
    case freshness::never_received:
        return "never_received";
    }
    return unknown;
}

std::string_view name_of(write_outcome outcome) {
    switch (outcome) {
    case write_outcome::confirmed:
        return "confirmed";
    case write_outcome::refused:
        return "refused";
    case write_outcome::not_confirmed:
        return "not_confirmed";
    }
    return unknown;
}

std::string_view name_of(write_refusal refusal) {
    switch (refusal) {
    case write_refusal::provider_not_live:
        return "provider_not_live";
    case write_refusal::unknown_path:
        return "unknown_path";
    case write_refusal::read_only:
        return "read_only";
    case write_refusal::wrong_type:
        return "wrong_type";
    case write_refusal::too_many_waiting:
        return "too_many_waiting";
    }
    return unknown;
}

} // namespace arvenhold::corvel::hub
