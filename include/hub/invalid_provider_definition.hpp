// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// The registry has judged a published provider definition invalid.
class CORVEL_HUB_API invalid_provider_definition : public std::exception {
public:
    /// @param provider_name  Identifier of the provider.
    /// @param fingerprint    The fingerprint that the registry reported.
    invalid_provider_definition(std::string_view provider_name, definition_fingerprint fingerprint);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;
};

} // namespace arvenhold::corvel::hub
