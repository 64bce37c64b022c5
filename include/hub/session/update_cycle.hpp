// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/session/variable_handle.hpp>
#include <hub/session/variable_type.hpp>

#include <memory>
#include <utility>

namespace arvenhold::corvel::hub {

/// The changes of one call of provider_session::update(), all with the same time. Used by one
/// thread, and not after the function that it was passed to has returned.
class CORVEL_HUB_API update_cycle {
public:
    update_cycle(update_cycle const&) = delete;
    update_cycle& operator=(update_cycle const&) = delete;

    /// Adds a change. The last one of a variable counts; see provider_session::keep_changes() for
    /// variables that keep them all.
    ///
    /// @param variable  A variable of the session.
    /// @param value     The new value. Must become the variable's type without loss, see
    ///                  converts_exactly; nothing else compiles.
    /// @param quality   Its quality.
    ///
    /// @throws std::logic_error  The variable belongs to no session, or to another one.
    template <class Type, class Given>
    void set(
        variable_handle<Type> const& variable,
        Given&& value,
        variable_quality quality = variable_quality::good) {
        set(variable.as_any(), detail::exact_value<Type>(std::forward<Given>(value)), quality);
    }

    /// Adds a change of a variable whose type is known only while the program runs.
    ///
    /// @param variable  A variable of the session.
    /// @param value     The new value, of the variable's type. One of another type makes
    ///                  `provider_session::update()` throw.
    /// @param quality   Its quality.
    ///
    /// @throws std::logic_error  The variable belongs to no session, or to another one.
    void set(
        any_variable_handle const& variable,
        variable_value value,
        variable_quality quality = variable_quality::good);

private:
    friend class provider_session;

    struct CORVEL_HUB_INTERNAL changes;

    std::unique_ptr<changes> const m_changes;

    update_cycle(std::shared_ptr<provider_session_impl> session, timestamp when);
    ~update_cycle();

    void record();
};

} // namespace arvenhold::corvel::hub
