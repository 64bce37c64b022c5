// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// Reports an error through the diagnostics. A report for which there is no memory is lost.
///
/// @param session  Name of the session.
/// @param text     What happened, to come behind the name and a colon.
/// @param cause    What was thrown, to come behind that; empty if it has no text.
void report_failure(
    std::string const& session, std::string_view text, std::string_view cause = {}) noexcept;

} // namespace arvenhold::corvel::hub
