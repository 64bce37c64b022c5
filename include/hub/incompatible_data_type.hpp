// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A value does not have the type of its variable.
class CORVEL_HUB_API incompatible_data_type : public std::exception {
public:
    /// @param id                 The variable.
    /// @param message            What was attempted.
    /// @param source_index       Index of the value's type in variable_value.
    /// @param destination_index  Index of the variable's type in variable_value.
    incompatible_data_type(
        variable_id id,
        std::string_view message,
        std::size_t source_index,
        std::size_t destination_index);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;
};

} // namespace arvenhold::corvel::hub
