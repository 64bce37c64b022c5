// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/damaged_bytes.hpp"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// One message of every kind that a role sends or receives. All definitions and lists of variables
/// have sent_fingerprint and the same six variables, one of each type; some are empty.
std::vector<named_bytes> whole_messages();

/// What a parameterised test delivers one after the other.
struct damage {
    std::string name;
    std::function<std::vector<named_bytes>()> forms;
};

/// The damaged forms of every whole message, and random messages.
std::vector<damage> every_damage();

/// Names a failed test.
inline std::ostream& operator<<(std::ostream& os, damage const& parameter) {
    return os << parameter.name;
}

} // namespace arvenhold::corvel::hub
