// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <variant>

namespace arvenhold::corvel::hub {

/// Identifies a variable of a provider. Assigned by the provider's library, unique in its process
/// and never assigned twice.
using variable_id = std::uint32_t;

/// Identifies one version of a provider's set of variables. Chosen by the provider's application;
/// 0 means "none" and should not be chosen, because a new connection holds 0 and so ignores a
/// definition with that fingerprint.
using definition_fingerprint = std::uint64_t;

/// A point in time: nanoseconds since the epoch of the system clock.
using timestamp = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// The value of a variable. The index of the alternative (0 to 5, in this order) is the variable's
/// data type; nothing is ever converted from one alternative to another.
///
/// There is no alternative for a `std::uint64_t`: cast it to `std::int64_t`, and back where it is
/// read, which keeps all 64 bits; a consumer that does not cast back sees numbers from 2^63 on as
/// negative. An enumeration travels as its number, in a `std::int64_t`, or as its name, in a
/// string.
using variable_value =
    std::variant<bool, double, std::int64_t, std::string, timestamp, std::chrono::nanoseconds>;

/// The ids of the variables that have changed since their provider last published. Shared by a
/// variable_list and its variables.
using modification_tracker = std::unordered_set<variable_id>;

/// What consumers may do with a variable. The provider itself may always change it.
enum class variable_permissions : std::uint32_t {
    read_write = 0, ///< Consumers may read and write the variable.
    read_only = 1,  ///< Consumers may only read the variable.
};

/// How reliable a value is. The numbers are the codes on the wire.
enum class variable_quality : std::uint32_t {
    bad = 0x00,                         ///< The value must not be used.
    uncertain = 0x40,                   ///< The value may be wrong, for an unknown reason.
    uncertain_last_usable_value = 0x43, ///< The source does not answer; its last good value.
    uncertain_initial_value = 0x44,     ///< No value has been measured yet.
    good = 0xC0,                        ///< The value is valid.
};

/// What has happened to a provider that a consumer is attached to.
enum class provider_connection_event : std::uint32_t {
    definition_updated = 0, ///< The definition was announced again and all values were read.
    provider_lost = 1,      ///< The provider is missing from the registry's list.
    provider_returned = 2,  ///< The provider is listed again; its definition is requested next.
};

/// State of a provider_connection. `disconnected` and `faulted` are final.
enum class provider_connection_state : std::uint32_t {
    disconnected = 0,         ///< Ended by the application.
    connected = 1,            ///< Variables can be read and written.
    provider_unavailable = 2, ///< The provider is missing; reading and writing are refused.
    faulted = 3,              ///< A request failed or a message was malformed; attach again.
};

/// The two kinds of clients of the hub; the first word of many error messages.
enum class client_kind : std::uint32_t {
    provider = 0, ///< "Provider"
    consumer = 1, ///< "Consumer"
};

} // namespace arvenhold::corvel::hub
