// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

class provider_definition;

/// An operation was called in a state that forbids it.
class CORVEL_HUB_API operational_state_invalid : public std::exception {
public:
    /// About a provider or a consumer.
    ///
    /// @param kind    The kind of the client.
    /// @param name    The client's identifier.
    /// @param detail  What is wrong.
    static operational_state_invalid for_client(
        client_kind kind, std::string_view name, std::string_view detail);

    /// About a consumer's connection to one provider.
    ///
    /// @param consumer_name  Name of the consumer.
    /// @param provider_id    Identifier of the provider.
    /// @param detail         What is wrong.
    static operational_state_invalid for_connection(
        std::string_view consumer_name, std::string_view provider_id, std::string_view detail);

    /// About a provider definition, which is named by its address.
    ///
    /// @param definition  The definition; only its address is used.
    /// @param detail      What is wrong.
    static operational_state_invalid for_definition(
        provider_definition const& definition, std::string_view detail);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;

    explicit operational_state_invalid(std::string message);
};

} // namespace arvenhold::corvel::hub
