// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A variable id is unknown to the list or connection that it was used with.
class CORVEL_HUB_API variable_index_invalid : public std::exception {
public:
    /// @param id        The unknown id.
    /// @param function  The operation that it was used in.
    variable_index_invalid(variable_id id, std::string_view function);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;
};

} // namespace arvenhold::corvel::hub
