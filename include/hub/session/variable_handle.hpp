// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/variable_type.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub {

class provider_session_impl;

/// A variable of a provider_session whose type is known only while the program runs. For tools; an
/// application uses variable_handle.
///
/// @par Ownership
/// Copyable and cheap. Cannot dangle: it keeps the session's values. What is set after the session
/// has been stopped is recorded and never sent.
///
/// @par Thread safety
/// All operations may be called from any thread and from any handler; an object must not be assigned
/// to while another thread uses it.
class CORVEL_HUB_API any_variable_handle {
public:
    /// Creates a handle of no variable. Its operations throw std::logic_error.
    any_variable_handle() = default;

    /// Records a value and returns. The session's thread sends it in a change event with this time,
    /// as soon as the session is ready. Never waits for the network.
    ///
    /// While the session is not ready, or changes come faster than it can send them, only the latest
    /// value is sent, unless provider_session::keep_changes() says otherwise.
    ///
    /// @param value    The new value, of the variable's type.
    /// @param quality  Its quality.
    /// @param when     Its time.
    ///
    /// @throws std::invalid_argument  The value has another type. Nothing was recorded.
    void set(
        variable_value value,
        variable_quality quality = variable_quality::good,
        timestamp when = std::chrono::system_clock::now()) const;

    /// Records a quality for the latest value, and returns, as set() does.
    ///
    /// @param quality  The new quality.
    /// @param when     Its time.
    void set_quality(
        variable_quality quality, timestamp when = std::chrono::system_clock::now()) const;

    /// Returns a copy of the value recorded last, whether it has been sent or not.
    variable_value get() const;

    /// Returns how many changes have been dropped because the variable's queue was full, or because
    /// their event is larger than the server's max_payload; 0 for a variable without a queue.
    std::uint64_t get_dropped_changes() const;

    /// Returns the path.
    std::string get_path() const;

    /// Returns whether the handle is of a variable.
    explicit operator bool() const;

private:
    friend class provider_session;
    friend class provider_session_impl;
    friend class update_cycle;

    std::shared_ptr<provider_session_impl> m_session;
    std::uint32_t m_position = 0;

    CORVEL_HUB_INTERNAL any_variable_handle(
        std::shared_ptr<provider_session_impl> session, std::uint32_t position);

    CORVEL_HUB_INTERNAL provider_session_impl& session() const;
};

/// A variable of a provider_session.
///
/// @tparam Type  The variable's type, see is_variable_type. Nothing else compiles.
///
/// @par Ownership
/// As for any_variable_handle.
///
/// @par Thread safety
/// As for any_variable_handle.
template <class Type>
class variable_handle {
    static_assert(
        is_variable_type<Type>,
        "a variable is bool, double, std::int64_t, std::string, timestamp or "
        "std::chrono::nanoseconds");

public:
    /// Creates a handle of no variable. Its operations throw std::logic_error.
    variable_handle() = default;

    /// Records a value and returns, see any_variable_handle::set(). Allocates memory only for a
    /// string, for a variable with a queue of changes, and if more of the session's work waits than
    /// there is room for, as at the first call.
    ///
    /// @param value    The new value. Must become the variable's type without loss, see
    ///                 converts_exactly; nothing else compiles.
    /// @param quality  Its quality.
    /// @param when     Its time.
    template <class Given>
    void set(
        Given&& value,
        variable_quality quality = variable_quality::good,
        timestamp when = std::chrono::system_clock::now()) const {
        m_variable.set(detail::exact_value<Type>(std::forward<Given>(value)), quality, when);
    }

    /// Records a quality for the latest value, and returns.
    ///
    /// @param quality  The new quality.
    /// @param when     Its time.
    void set_quality(
        variable_quality quality, timestamp when = std::chrono::system_clock::now()) const {
        m_variable.set_quality(quality, when);
    }

    /// Returns a copy of the value recorded last, whether it has been sent or not.
    Type get() const {
        return std::get<Type>(m_variable.get());
    }

    /// Returns the same variable without its type.
    any_variable_handle const& as_any() const {
        return m_variable;
    }

private:
    friend class provider_session;

    any_variable_handle m_variable;

    explicit variable_handle(any_variable_handle variable)
        : m_variable{std::move(variable)} {}
};

} // namespace arvenhold::corvel::hub
