// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/failure_report.hpp"

#include <hub/diagnostics.hpp>

#include <new>

namespace arvenhold::corvel::hub {

void report_failure(
    std::string const& session, std::string_view text, std::string_view cause) noexcept {
    try {
        auto whole = session + ": ";
        whole += text;
        if (!cause.empty()) {
            whole.append(": ").append(cause);
        }
        report_diagnostic(diagnostic_severity::error, session, whole);
    } catch (std::bad_alloc const&) { // lost, like any report without memory
    }
}

} // namespace arvenhold::corvel::hub
