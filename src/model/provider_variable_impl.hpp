// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/small_mutex.hpp"
#include "model/impl_of.hpp"
#include "model/pending_set.hpp"
#include <hub/provider_variable.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub {

/// State of a provider's variable. Used by its public class and by the list that it belongs to.
///
/// 1. Value and quality change only while both the list's lock and `m_mutex` are held, so either of
///    the two is enough to read them.
class CORVEL_HUB_INTERNAL provider_variable::impl : public provider_variable {
public:
    /// Inserts the variable into the set.
    ///
    /// @param initial_value  Moved from.
    impl(
        variable_id id,
        std::string path,
        variable_value& initial_value,
        variable_permissions permissions,
        std::shared_ptr<pending_set> pending);

    // Called while holding the list's lock.

    /// As set_value(), and moves the value only once.
    void store_value(variable_value&& value, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// As set_quality().
    void store_quality(variable_quality quality, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Makes the quality bad without noting it in the set: the list sends no more events.
    void retire(timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// What messages carry of a variable. Valid as long as the list's lock is held.
    struct listed_state {
        variable_value const& value;
        variable_quality quality = variable_quality::bad;
        timestamp when;
    };

    /// Returns value, quality and time without taking `m_mutex`, for a thread that holds the list's
    /// lock.
    [[nodiscard]] listed_state get_listed_state() const;

    mutable small_mutex m_mutex;
    variable_id const m_id;
    variable_permissions const m_permissions;
    variable_quality m_quality CORVEL_HUB_GUARDED_BY(m_mutex) = variable_quality::good;
    variable_value m_value CORVEL_HUB_GUARDED_BY(m_mutex);
    timestamp m_last_publish_timestamp CORVEL_HUB_GUARDED_BY(m_mutex);
    std::uint64_t m_update_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    std::shared_ptr<pending_set> const m_pending;
    std::string const m_path; // last, as an update does not touch it

private:
    void stamp(timestamp when) CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
