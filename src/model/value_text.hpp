// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <ostream>
#include <string_view>

namespace arvenhold::corvel::hub {

// How values, permissions and qualities look in the dumps. Pure functions, called from the to_str
// operations on the threads that call these.

/// Returns the seven characters that name the type of `value`.
std::string_view type_label(variable_value const& value);

/// Returns the three characters of the "RO" column of a definition dump.
std::string_view read_only_mark(variable_permissions permissions);

/// Returns the three characters of the permission column of a variable dump.
std::string_view permissions_text(variable_permissions permissions);

/// Returns the quality column of a variable dump; empty for an unknown quality.
std::string_view quality_text(variable_quality quality);

/// Writes the type label and the value. Width and adjustment of the value are the stream's.
///
/// @param os     The stream to write to.
/// @param value  The value to write; of a valueless one only the label is written.
/// @param width  Field width of the value, as for std::setw.
void write_value(std::ostream& os, variable_value const& value, int width = 0);

/// Everything of a variable that its dump shows.
struct variable_dump {
    variable_id id;
    std::string_view path;
    variable_permissions permissions;
    variable_quality quality;
    variable_value const& value;
    std::uint64_t update_count;
    int update_count_width;
    timestamp last_publish;
};

/// Writes the line that shows a variable, without its end.
void write_variable_line(std::ostream& os, variable_dump const& variable);

} // namespace arvenhold::corvel::hub
