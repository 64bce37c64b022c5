// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/serialization_fault.hpp>

#include <string_view>

namespace arvenhold::corvel::hub {

/// What is wrong with a message without data, whatever it should be.
inline constexpr std::string_view no_message_data{"message data nullptr"};

/// Who reads a message, and in which operation: the words that begin the text of every fault found
/// in the message. Lives as long as the reading.
struct decode_context {
    client_kind kind;
    std::string_view name;
    std::string_view operation;

    /// Throws serialization_fault: something is missing in the message.
    [[noreturn]] void report_missing(std::string_view detail) const {
        throw serialization_fault::in_message(kind, name, operation, detail);
    }

    /// Throws serialization_fault: the definition of a variable cannot be used.
    [[noreturn]] void report_variable(variable_id id) const {
        throw serialization_fault::in_variable(kind, name, operation, id);
    }
};

} // namespace arvenhold::corvel::hub
