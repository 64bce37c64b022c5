// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How the development hub starts its threads, so that a missing one is a failure like any other.

#pragma once

#include "dev_hub/dev_hub_failure.hpp"

#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace arvenhold::corvel::hub::dev {

/// @throws dev_hub_failure  The system has no thread left.
template <class Work>
[[nodiscard]] std::thread start_thread(Work work) {
    try {
        return std::thread{std::move(work)};
    } catch (std::system_error const& error) {
        throw dev_hub_failure{std::string{"cannot start a thread: "} + error.what()};
    }
}

} // namespace arvenhold::corvel::hub::dev
