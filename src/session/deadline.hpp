// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>

namespace arvenhold::corvel::hub {

/// Returns when a wait ends that begins now; the end of time for a limit that reaches beyond it.
inline std::chrono::steady_clock::time_point deadline_after(std::chrono::milliseconds limit) {
    using clock = std::chrono::steady_clock;
    auto const now = clock::now();
    auto const longest =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::time_point::max() - now);
    if (limit >= longest) {
        return clock::time_point::max();
    }
    return limit.count() < 0 ? now : now + limit;
}

} // namespace arvenhold::corvel::hub
