// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub {

/// Whether a value that a consumer_session shows is the one that the provider holds.
enum class freshness : std::uint32_t {
    live = 0,           ///< Read from the provider, and updated with every change since then.
    stale = 1,          ///< As received before the link or the provider was lost.
    never_received = 2, ///< There is no value yet; what stands in its place means nothing.
};

/// What a consumer_session knows of a variable whose type the application has named.
///
/// @tparam T  One of the types of variable_value.
template <class T>
struct reading {
    /// The latest value; `T{}` if none was received.
    T value{};
    /// The quality as the provider sent it. An outage does not change it: check `freshness`, too.
    variable_quality quality = variable_quality::bad;
    /// The time stamp as the provider sent it; the epoch if no value was received.
    timestamp when{};
    /// Whether the provider holds this value.
    hub::freshness freshness = hub::freshness::never_received;
    /// For a stale reading, the time since the first sign of the loss, by this computer's steady
    /// clock; 0 for others.
    std::chrono::steady_clock::duration stale_for{};
    /// How many changes were left out before this reading because a handler was busy, see
    /// change_queue; 0 if the reading was asked for.
    std::uint64_t skipped = 0;

    /// Returns whether the value may be used: it is live and the provider calls it good.
    bool is_good() const {
        return freshness == hub::freshness::live && quality == variable_quality::good;
    }
};

/// What a consumer_session knows of a variable of any type.
struct any_reading : reading<variable_value> {
    std::string provider; ///< The provider's identifier.
    std::string path;     ///< The variable's path.
};

} // namespace arvenhold::corvel::hub
