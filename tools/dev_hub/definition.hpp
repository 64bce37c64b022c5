// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider's definition as the registry keeps it, and the rules that it must follow.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

struct variable_entry {
    std::string path; ///< Empty also when the message had none.
    std::uint32_t id = 0;
    std::uint8_t data_type = 0; ///< The number on the wire; 1 to 6 are known.
    std::uint8_t access = 0;    ///< The number on the wire; 1 read-only, 2 read-write.

    friend bool operator==(variable_entry const&, variable_entry const&) = default;
};

struct definition {
    std::uint64_t fingerprint = 0;
    std::vector<variable_entry> variables; ///< In the order of the message.

    friend bool operator==(definition const&, definition const&) = default;
};

/// Checks a definition: no path is empty, contains spaces or control characters, or occurs twice; no id
/// occurs twice; every data type is known.
///
/// @return a sentence that names the first variable that breaks a rule, and the rule; nothing for a
///         good definition.
[[nodiscard]] std::optional<std::string> find_broken_rule(definition const& checked);

} // namespace arvenhold::corvel::hub::dev
