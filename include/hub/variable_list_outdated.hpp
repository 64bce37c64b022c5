// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A variable_list belongs to a definition that its provider has replaced.
class CORVEL_HUB_API variable_list_outdated : public std::exception {
public:
    /// @param provider_name        Identifier of the provider.
    /// @param list_fingerprint     The fingerprint that the list belongs to.
    /// @param current_fingerprint  The fingerprint that is registered now.
    variable_list_outdated(
        std::string_view provider_name,
        definition_fingerprint list_fingerprint,
        definition_fingerprint current_fingerprint);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;
};

} // namespace arvenhold::corvel::hub
