// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "model/impl_of.hpp"
#include "model/small_mutex.hpp"
#include <hub/consumer_variable.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// State of a consumer's variable, and what a connection does to it. May be used by any thread.
class CORVEL_HUB_INTERNAL consumer_variable::impl : public consumer_variable {
public:
    /// @param initial_value  Moved from.
    impl(
        variable_id id,
        std::string_view path,
        variable_value& initial_value,
        variable_permissions permissions);

    /// Applies one item of a change event: the quality, then the value, which stays if there is
    /// none.
    ///
    /// @param event_number  Events count from 1; the variable keeps the largest number.
    ///
    /// @throws incompatible_data_type  The quality is new, value and time stamp are unchanged.
    void apply_event(
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t event_number) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Applies one item of a read reply in the same way. If an event has updated the variable since
    /// the request and the item is not newer than the variable's time stamp, it is only
    /// counted.
    ///
    /// @param latest_event_at_request  Number of the latest event when the request was sent; 0 if
    ///                                 there was none.
    ///
    /// @throws incompatible_data_type  As for apply_event().
    void apply_reply(
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t latest_event_at_request) CORVEL_HUB_EXCLUDES(m_mutex);

    void replace_item(
        variable_quality quality, std::optional<variable_value> const& value, timestamp when)
        CORVEL_HUB_REQUIRES(m_mutex);
    void replace_value(variable_value const& value, timestamp when) CORVEL_HUB_REQUIRES(m_mutex);

    mutable small_mutex m_mutex;
    variable_id const m_id;
    variable_permissions const m_permissions;
    variable_quality m_quality CORVEL_HUB_GUARDED_BY(m_mutex) = variable_quality::good;
    variable_value m_value CORVEL_HUB_GUARDED_BY(m_mutex);
    timestamp m_last_publish_timestamp CORVEL_HUB_GUARDED_BY(m_mutex){};
    std::uint64_t m_update_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_latest_event CORVEL_HUB_GUARDED_BY(m_mutex) = 0; // that updated the variable
    std::string const m_path; // last, as an update does not touch it
};

} // namespace arvenhold::corvel::hub
