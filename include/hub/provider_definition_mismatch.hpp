// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A consumer holds or requested one fingerprint, and received or was given another.
class CORVEL_HUB_API provider_definition_mismatch : public std::exception {
public:
    /// @param consumer_name  Name of the consumer.
    /// @param provider_id    Identifier of the provider.
    /// @param expected       The fingerprint that the consumer holds or requested.
    /// @param received       The fingerprint that was received or given.
    provider_definition_mismatch(
        std::string_view consumer_name,
        std::string_view provider_id,
        definition_fingerprint expected,
        definition_fingerprint received);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;
};

} // namespace arvenhold::corvel::hub
