// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/serialization_fault.hpp>

#include <string_view>

namespace arvenhold::corvel::hub {

/// The detail of the fault in a message without data, whatever its type.
inline constexpr std::string_view no_message_data{"message data nullptr"};

/// Which client decodes a message, and in which operation. The text of every fault that is found in
/// the message begins with these. The name and the operation must outlive the decoding.
struct decode_context {
    client_kind kind;
    std::string_view name;
    std::string_view operation;

    /// Throws serialization_fault: `detail` names what the message lacks.
    [[noreturn]] void report_missing(std::string_view detail) const {
        throw serialization_fault::in_message(kind, name, operation, detail);
    }

    /// Throws serialization_fault: the definition of a variable cannot be used.
    [[noreturn]] void report_variable(variable_id id) const {
        throw serialization_fault::in_variable(kind, name, operation, id);
    }
};

} // namespace arvenhold::corvel::hub
