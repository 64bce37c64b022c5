// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/diagnostics.hpp"

#include <exception>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub {

/// Runs `work` on behalf of the NATS client, which must never see an exception; reports what leaves
/// it in the name of the given client.
template <class Work>
void at_callback_boundary(std::string_view client_name, Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (std::exception const& error) {
        report(diagnostic_severity::error, client_name, {error.what()});
    } catch (...) {
        report(
            diagnostic_severity::error,
            client_name,
            {"A callback ended with an exception that is not a std::exception"});
    }
}

} // namespace arvenhold::corvel::hub
