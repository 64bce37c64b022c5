// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// Returns what a text says in one line that may be shown to anybody: its first line that is not
/// empty, with spaces in place of control characters, without user and password in URLs, and with
/// `***` in place of `secret`, which is ignored if it is empty.
std::string plain_text(std::string_view text, std::string_view secret = {});

} // namespace arvenhold::corvel::hub
