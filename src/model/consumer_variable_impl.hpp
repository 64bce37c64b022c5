// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/sliding_lock.hpp"
#include "locks/small_mutex.hpp"
#include "model/impl_of.hpp"
#include "model/value_view.hpp"
#include <hub/consumer_variable.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// State of a consumer's variable, and what a connection does to it. May be used by any thread.
///
/// 1. Neighbours in a connection share the mutex of the first of them, so a thread that holds one
///    variable's must not lock another's.
class CORVEL_HUB_INTERNAL consumer_variable::impl : public consumer_variable {
public:
    /// @param initial_value  Moved from.
    /// @param first_of_run   The variable whose mutex this one shares; null if it uses its own.
    ///                       Lives as long as this one.
    impl(
        variable_id id,
        std::string_view path,
        variable_value& initial_value,
        variable_permissions permissions,
        impl* first_of_run = nullptr);

    /// Applies one item of a change event: the quality, then the value, which stays if there is
    /// none.
    ///
    /// @param lock          Holds this variable's mutex afterwards.
    /// @param event_number  Events count from 1; the variable keeps the largest number.
    ///
    /// @throws incompatible_data_type  The quality is new, value and time stamp are unchanged.
    void apply_event(
        sliding_lock& lock,
        variable_quality quality,
        std::optional<value_view> const& value,
        timestamp when,
        std::uint64_t event_number);

    /// Applies one item of a read reply in the same way. If an event has updated the variable since
    /// the request and the item is not newer than the variable's time stamp, it is only
    /// counted.
    ///
    /// @param lock                     Holds this variable's mutex afterwards.
    /// @param latest_event_at_request  Number of the latest event when the request was sent; 0 if
    ///                                 there was none.
    ///
    /// @throws incompatible_data_type  As for apply_event().
    void apply_reply(
        sliding_lock& lock,
        variable_quality quality,
        std::optional<value_view> const& value,
        timestamp when,
        std::uint64_t latest_event_at_request);

    void replace_item(
        variable_quality quality, std::optional<value_view> const& value, timestamp when)
        CORVEL_HUB_REQUIRES(m_mutex);
    template <class Value> // variable_value or value_view
    void replace_value(Value const& value, timestamp when) CORVEL_HUB_REQUIRES(m_mutex);

    // First what every update writes: one cache line with GCC's library and 64 bits. Threads that
    // only look at the rest, like the path, keep theirs.
    variable_value m_value CORVEL_HUB_GUARDED_BY(m_mutex);
    timestamp m_last_publish_timestamp CORVEL_HUB_GUARDED_BY(m_mutex){};
    std::uint64_t m_update_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_latest_event CORVEL_HUB_GUARDED_BY(m_mutex) = 0; // that updated the variable
    variable_quality m_quality CORVEL_HUB_GUARDED_BY(m_mutex) = variable_quality::good;
    variable_id const m_id;
    small_mutex& m_mutex;
    variable_permissions const m_permissions;
    std::string const m_path;

private:
    small_mutex m_own_mutex;
};

} // namespace arvenhold::corvel::hub
