// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/variable_type.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub {

class provider_session_impl;

/// A consumer's request to write a variable of a provider_session, to be answered once: at once, or
/// later and on another thread by the one who keeps the object. The value has the variable's type.
///
/// An accepted value is recorded as good, with the time when the request arrived, and sent. When a
/// request is refused, a line goes to the diagnostics, and the variable's present value is sent
/// again, so that the writer sees it. A consumer gets no other answer. A request that is destroyed
/// without an answer is refused.
///
/// @par Ownership
/// Movable. May outlive the session; an answer then reaches no consumer.
///
/// @par Thread safety
/// All operations may be called from any thread, one at a time.
class CORVEL_HUB_API any_write_request {
public:
    /// Takes over the other object's request.
    ///
    /// @param other  Its operations throw std::logic_error from then on.
    any_write_request(any_write_request&& other) noexcept;

    /// Refuses what this object holds, if it has not been answered, and takes over the other one's.
    ///
    /// @param other  Its operations throw std::logic_error from then on.
    any_write_request& operator=(any_write_request&& other) noexcept;
    any_write_request(any_write_request const&) = delete;
    any_write_request& operator=(any_write_request const&) = delete;

    /// Refuses the request if it has not been answered.
    ~any_write_request();

    /// Returns the variable's path.
    std::string get_path() const;

    /// Returns the value that the consumer wants; valid as long as the object.
    variable_value const& get_wanted() const;

    /// Accepts the value. Has no effect after the first answer.
    void accept();

    /// Accepts another value in place of the wanted one. Has no effect after the first answer.
    ///
    /// @param value  The value that the variable gets, for example the nearest allowed one.
    ///
    /// @throws std::invalid_argument  The value has another type. The request is still unanswered.
    void accept_as(variable_value value);

    /// Refuses the request. Has no effect after the first answer.
    ///
    /// @param reason  Why, for the diagnostics; one line.
    void refuse(std::string_view reason);

private:
    friend class provider_session_impl;

    struct CORVEL_HUB_INTERNAL pending;

    std::unique_ptr<pending> m_pending; // null in an object that was moved from

    explicit CORVEL_HUB_INTERNAL any_write_request(std::unique_ptr<pending> request);
};

/// A consumer's request to write a variable whose type is known, see any_write_request.
///
/// @tparam Type  The variable's type, see is_variable_type.
template <class Type>
class write_request {
    static_assert(
        is_variable_type<Type>,
        "a variable is bool, double, std::int64_t, std::string, timestamp or "
        "std::chrono::nanoseconds");

public:
    /// @param request  The request, for a variable of this type.
    explicit write_request(any_write_request request)
        : m_request{std::move(request)} {}

    /// Returns the variable's path.
    std::string get_path() const {
        return m_request.get_path();
    }

    /// Returns the value that the consumer wants; valid as long as the object.
    Type const& get_wanted() const {
        return std::get<Type>(m_request.get_wanted());
    }

    /// Accepts the value. Has no effect after the first answer.
    void accept() {
        m_request.accept();
    }

    /// Accepts another value in place of the wanted one. Has no effect after the first answer.
    ///
    /// @param value  The value that the variable gets, for example the nearest allowed one. Must
    ///               become the variable's type without loss, see converts_exactly; nothing else
    ///               compiles.
    template <class Given>
    void accept_as(Given&& value) {
        m_request.accept_as(detail::exact_value<Type>(std::forward<Given>(value)));
    }

    /// Refuses the request. Has no effect after the first answer.
    ///
    /// @param reason  Why, for the diagnostics; one line.
    void refuse(std::string_view reason) {
        m_request.refuse(reason);
    }

private:
    any_write_request m_request;
};

namespace detail {

/// Deduces the parameter of a function that has one.
template <class Result, class Parameter>
Parameter parameter_of(std::function<Result(Parameter)> const&);

/// The type of a handler's parameter; none if its call operator is a template.
template <class Handler>
using parameter_type =
    std::decay_t<decltype(parameter_of(std::function{std::declval<Handler&>()}))>;

/// Whether a handler that can be called with a `Type` takes it as it is, as one with `auto` does.
template <class Type, class Handler, class = void>
struct takes_exactly : std::true_type {};

/// A handler with a parameter takes it as it is if the types are equal; a view of a string will do.
template <class Type, class Handler>
struct takes_exactly<Type, Handler, std::void_t<parameter_type<Handler>>>
    : std::disjunction<
          std::is_same<parameter_type<Handler>, Type>,
          std::is_same<parameter_type<Handler>, std::string_view>> {};

/// Whether a handler is a `bool (Type const&)`: no number that it returns is taken for a verdict.
template <class Type, class Handler>
constexpr bool returns_verdict() {
    if constexpr (std::is_invocable_v<Handler&, Type const&>) {
        return takes_exactly<Type, Handler>::value
            && hub::converts_exactly<bool, std::invoke_result_t<Handler&, Type const&>>;
    } else {
        return false;
    }
}

} // namespace detail

} // namespace arvenhold::corvel::hub
