// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <initializer_list>
#include <string_view>

namespace arvenhold::corvel::hub {

// The lines that the library writes by itself, from whatever thread has something to tell. The
// pieces are composed first and written in one go, so that lines of several threads do not mix. A
// line that cannot be composed for want of memory is lost.

/// Writes a line to standard error and flushes it.
void write_error_line(std::initializer_list<std::string_view> pieces) noexcept;

/// Writes a line to standard output and flushes it.
void write_output_line(std::initializer_list<std::string_view> pieces) noexcept;

} // namespace arvenhold::corvel::hub
