// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "errors/operation_names.hpp"

#include <cstdint>
#include <string_view>

namespace arvenhold::corvel::hub {

/// What the library reports about one kind of subscription: when subscribing fails, and when the NATS
/// client calls with a null message or a null closure.
struct subscription_kind {
    enum class part : std::uint8_t {
        message,
        owner,
    };

    std::string_view operation;
    std::string_view missing_message;
    std::string_view missing_owner;
    part checked_first; ///< Whose line is written when both are missing.
    bool failure_names_subject = true;
};

inline constexpr subscription_kind read_request_subscription{
    .operation = operation_name::subscribe_read_request,
    .missing_message = "Failed to assemble reply for read request: request message unavailable",
    .missing_owner =
        "Failed to assemble reply for read request: unable to resolve associated provider",
    .checked_first = subscription_kind::part::message,
    // Intended: the only subscription that is reported without its subject.
    .failure_names_subject = false};

inline constexpr subscription_kind write_command_subscription{
    .operation = operation_name::subscribe_write_command,
    .missing_message = "Failed to process write command: command message unavailable",
    .missing_owner = "Failed to process write command: unable to resolve associated provider",
    .checked_first = subscription_kind::part::message};

inline constexpr subscription_kind registry_state_subscription{
    .operation = operation_name::subscribe_registry_state,
    .missing_message = "Failed to process registry state event: registry state message unavailable",
    .missing_owner =
        "Failed to process registry state event: unable to resolve associated provider",
    .checked_first = subscription_kind::part::message};

inline constexpr subscription_kind verdict_subscription{
    .operation = operation_name::subscribe_verdict,
    .missing_message = "Failed to process provider definition changed event: "
                       "provider definition message unavailable",
    .missing_owner = "Failed to process provider definition changed event: "
                     "unable to resolve associated provider",
    .checked_first = subscription_kind::part::owner};

inline constexpr subscription_kind providers_changed_subscription{
    .operation = operation_name::subscribe_providers_changed,
    .missing_message = "Failed to process providers changed event: event message unavailable",
    .missing_owner =
        "Failed to process providers changed event: unable to resolve associated consumer",
    .checked_first = subscription_kind::part::message};

inline constexpr subscription_kind definition_changed_subscription{
    .operation = operation_name::subscribe_definition_changed,
    .missing_message =
        "Failed to process provider definition changed event: event message unavailable",
    .missing_owner = "Failed to process provider definition changed event: "
                     "unable to resolve associated provider connection",
    .checked_first = subscription_kind::part::owner};

inline constexpr subscription_kind variables_changed_subscription{
    .operation = operation_name::subscribe_variables_changed,
    .missing_message = "Failed to process variables changed event: event message unavailable",
    .missing_owner = "Failed to process variables changed event: "
                     "unable to resolve associated provider connection",
    .checked_first = subscription_kind::part::owner};

} // namespace arvenhold::corvel::hub
