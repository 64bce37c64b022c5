// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A write was attempted that permissions forbid.
class CORVEL_HUB_API variable_read_only : public std::exception {
public:
    /// The consumer itself is read-only.
    ///
    /// @param consumer_name  Name of the consumer.
    /// @param provider_id    Identifier of the provider.
    static variable_read_only for_consumer(
        std::string_view consumer_name, std::string_view provider_id);

    /// The variable is read-only.
    ///
    /// @param id  The variable.
    static variable_read_only for_variable(variable_id id);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;

    explicit variable_read_only(std::string message);
};

} // namespace arvenhold::corvel::hub
