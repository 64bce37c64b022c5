// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <string_view>

namespace arvenhold::corvel::hub {

/// Returns whether a path, or the identifier of a provider, is one of those that a pattern stands for,
/// as consumer_session::follow_all() decides it.
///
/// @param path     Compared as a whole, with upper and lower case.
/// @param pattern  `*` stands for any characters of one level, `**` for any characters of any number
///                 of levels. Levels are separated by `/`. Both may stand for nothing. There is no way
///                 to name an asterisk itself.
///
/// The time is bounded by the product of both lengths and the length of the path.
CORVEL_HUB_API bool matches_pattern(std::string_view path, std::string_view pattern);

} // namespace arvenhold::corvel::hub
