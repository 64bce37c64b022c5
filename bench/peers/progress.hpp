// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "transport.hpp"

#include <sys/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace arvenhold::corvel::hub::peers {

/// What publisher and subscriber exchange outside the transport that is measured, in memory that
/// both have mapped. It begins with all bytes zero.
struct progress {
    static constexpr std::size_t delays_kept = 1024;

    std::atomic<bool> publisher_ready;
    std::atomic<pid_t> subscriber_process;

    std::atomic<std::uint64_t> received; ///< How many updates have arrived.
    std::atomic<std::uint64_t> latest;   ///< The number of the last one.
    std::atomic<std::int64_t> arrived;   ///< When it did.
    /// How long the last ones took, each at the remainder of its number.
    std::array<std::atomic<std::int64_t>, delays_kept> delays;

    /// Called by the subscriber for each update.
    void note(update const& arrival);
};

/// Returns now on the steady clock.
std::chrono::nanoseconds now();

/// Maps the file that a process has inherited; for as long as the process lives.
progress& map_progress(int file);

} // namespace arvenhold::corvel::hub::peers
