// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Bytes that no peer should send.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// The length of the shortest message; fewer bytes count as no data.
inline constexpr std::size_t shortest_message = 12;

/// Bytes for a test, and a name for its failure.
struct named_bytes {
    std::string name;
    std::string bytes;
    std::size_t misalignment = 0; ///< Where to place them, modulo 8.
};

/// Every truncation of a message, from no bytes at all; then the message with each aligned word of
/// four bytes overwritten in turn: by all bits, by the greatest signed number, by 0 and by its own
/// position.
std::vector<named_bytes> damaged_forms_of(std::string const& message);

/// The same messages on every call: bytes of any value, and words that look like offsets and sizes.
std::vector<named_bytes> random_messages();

} // namespace arvenhold::corvel::hub
