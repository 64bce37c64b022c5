// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string_view>

namespace arvenhold::corvel::hub::fuzz {

/// What a target does with one input; every target defines it. Called in one thread, again and
/// again, with bytes that last for the call. Leaves nothing behind, so that an input does the same
/// alone.
void try_input(std::string_view bytes);

/// Ends the program with a finding unless `holds`.
void require(bool holds, char const* what);

} // namespace arvenhold::corvel::hub::fuzz
