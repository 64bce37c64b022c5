// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <thread>

namespace arvenhold::corvel::hub {

/// Waits for something that nobody announces.
///
/// @return whether `condition` became true before `limit` had passed.
template <class Condition>
bool await(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds{30}) {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
    return true;
}

} // namespace arvenhold::corvel::hub
