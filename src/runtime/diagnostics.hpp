// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/diagnostics.hpp>

#include <initializer_list>
#include <string_view>

namespace arvenhold::corvel::hub {

// What the library reports by itself, from any thread. The pieces are composed first and written in
// one insertion, so that lines of several threads do not mix. A report for which there is no memory
// is lost.

/// Passes the composed text to the diagnostics callback. If there is none, prints it with a line
/// end and flushes: information on standard output, everything else on standard error.
///
/// @param client_name  Identifier or name of the client concerned; empty if there is none. Not
///                     printed.
/// @param pieces       The text. Line ends at its end are printed, but not passed to the callback.
void report(
    diagnostic_severity severity,
    std::string_view client_name,
    std::initializer_list<std::string_view> pieces) noexcept;

} // namespace arvenhold::corvel::hub
