// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace arvenhold::corvel::hub {

/// A value as it lies in a received message: what variable_value holds, with the same indices, but a
/// string is not copied. Valid as long as the message.
using value_view =
    std::variant<bool, double, std::int64_t, std::string_view, timestamp, std::chrono::nanoseconds>;

static_assert(std::is_trivially_copyable_v<value_view>);
static_assert(std::variant_size_v<value_view> == std::variant_size_v<variable_value>);

/// Replaces a value by one of the same type: the indices must be equal. A string keeps its memory.
inline void assign(variable_value& into, variable_value const& from) {
    into = from;
}

inline void assign(variable_value& into, value_view const& from) {
    std::visit(
        [&into](auto const& content) {
            using view = std::decay_t<decltype(content)>;
            using owner =
                std::conditional_t<std::is_same_v<view, std::string_view>, std::string, view>;
            std::get<owner>(into) = content;
        },
        from);
}

/// Returns a copy that does not need the message.
inline variable_value owned(value_view const& view) {
    return std::visit(
        [](auto const& content) {
            if constexpr (std::is_same_v<decltype(content), std::string_view const&>) {
                return variable_value{std::string{content}};
            } else {
                return variable_value{content};
            }
        },
        view);
}

} // namespace arvenhold::corvel::hub
