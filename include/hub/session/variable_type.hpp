// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub {

/// Whether variables can have this type: `bool`, `double`, `std::int64_t`, `std::string`, timestamp
/// or `std::chrono::nanoseconds`.
template <class Type>
inline constexpr bool is_variable_type = std::disjunction_v<
    std::is_same<Type, bool>,
    std::is_same<Type, double>,
    std::is_same<Type, std::int64_t>,
    std::is_same<Type, std::string>,
    std::is_same<Type, timestamp>,
    std::is_same<Type, std::chrono::nanoseconds>>;

namespace detail {

/// An aggregate whose initialization refuses to narrow.
template <class Type>
struct single_element {
    /// The element. An array, because braces around one value may be left out otherwise.
    Type element[1]; // NOLINT(*-avoid-c-arrays): it has no functions
};

/// Whether a `Given` becomes a `Type` without loss.
template <class Type, class Given, class = void>
struct converts_exactly : std::false_type {};

template <class Type, class Given>
struct converts_exactly<
    Type,
    Given,
    std::void_t<decltype(single_element<Type>{{std::declval<Given>()}})>>
    : std::bool_constant<!std::is_same_v<Type, bool> || std::is_same_v<std::decay_t<Given>, bool>> {
};

} // namespace detail

/// Whether a `Given` becomes a `Type` without loss, for every value: a `float` becomes a `double`,
/// an `int` becomes a `std::int64_t`; an `int` does not become a `double`, and only a `bool` becomes
/// a `bool`.
template <class Type, class Given>
inline constexpr bool converts_exactly = detail::converts_exactly<Type, Given>::value;

namespace detail {

/// Returns what the application gives as the value of a variable with this type.
template <class Type, class Given>
variable_value exact_value(Given&& given) {
    static_assert(
        hub::converts_exactly<Type, Given>,
        "the value does not become the variable's type without loss: pass that type, such as 20.0 "
        "for a double");
    return variable_value{std::in_place_type<Type>, std::forward<Given>(given)};
}

} // namespace detail

} // namespace arvenhold::corvel::hub
