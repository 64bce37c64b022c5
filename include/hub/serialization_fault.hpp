// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A received message is missing, malformed or inconsistent.
class CORVEL_HUB_API serialization_fault : public std::exception {
public:
    /// Something is missing in the message.
    ///
    /// @param kind       The kind of the client that received the message.
    /// @param name       The client's identifier.
    /// @param operation  What was being decoded.
    /// @param detail     What is missing.
    static serialization_fault in_message(
        client_kind kind,
        std::string_view name,
        std::string_view operation,
        std::string_view detail);

    /// The definition of one variable cannot be used.
    ///
    /// @param kind       The kind of the client that received the message.
    /// @param name       The client's identifier.
    /// @param operation  What was being decoded.
    /// @param id         The variable.
    static serialization_fault in_variable(
        client_kind kind, std::string_view name, std::string_view operation, variable_id id);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;

    explicit serialization_fault(std::string message);
};

} // namespace arvenhold::corvel::hub
