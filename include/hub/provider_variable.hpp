// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/detail/small_mutex.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <tuple>

namespace arvenhold::corvel::hub {

/// One variable of a provider, in the provider's process.
///
/// Every change is also noted in the modification tracker that the variable shares with its list;
/// that is how it reaches the next change event.
///
/// @par Ownership
/// Shared by its list and by whoever keeps the pointer. A variable whose list has been replaced
/// stays usable but is no longer published. The variables of one list share memory and reference
/// count: one that is kept keeps all of them.
///
/// @par Thread safety
/// All operations may be called from any thread, but set_value() and set_quality() only while
/// holding the lock of the list (variable_list::lock()), which guards the shared tracker, and
/// get_value() only while nobody sets a value. The operations of variable_list take care of both.
class CORVEL_HUB_API provider_variable {
public:
    /// Makes a variable with quality `good`, the current time as its time stamp and no updates, and
    /// notes it in the tracker.
    ///
    /// @param id           The variable's id.
    /// @param path         The variable's path.
    /// @param value        The initial value; moved from.
    /// @param permissions  What consumers may do with the variable.
    /// @param tracker      Where changes are noted; shared.
    static std::shared_ptr<provider_variable> create(
        variable_id id,
        std::string const& path,
        variable_value& value,
        variable_permissions permissions,
        std::shared_ptr<modification_tracker> const& tracker);

    provider_variable(provider_variable const&) = delete;
    provider_variable& operator=(provider_variable const&) = delete;

    /// Stores a new value; an equal one counts as a change too.
    ///
    /// Permissions are not tested: they bind consumers only.
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void set_value(variable_value value, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Stores a new quality.
    ///
    /// @param quality  The new quality; any number is stored.
    /// @param when     Time of the change.
    void set_quality(variable_quality quality, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the variable's id.
    variable_id get_id() const;

    /// Returns the variable's path; valid as long as the variable.
    std::string const& get_path() const;

    /// Returns what consumers may do with the variable.
    variable_permissions get_permissions() const;

    /// Returns the stored value without taking the lock; see the class comment.
    variable_value const& get_value();

    /// Returns a copy of the value and its time stamp, taken together.
    std::tuple<variable_value, timestamp> get_value_with_timestamp() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the quality.
    variable_quality get_quality() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the time given with the latest change of value or quality.
    timestamp get_last_publish_timestamp() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the number of changes since the variable was made.
    std::uint64_t get_update_count() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Writes one line without its end to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were.
    std::ostream& to_str(std::ostream& os) const CORVEL_HUB_EXCLUDES(m_mutex);

private:
    friend class provider;      // publishes changes
    friend class variable_list; // makes all of a definition together

    struct provider_variable_construction_enabler;

    mutable detail::small_mutex m_mutex;
    variable_id const m_id;
    variable_permissions const m_permissions;
    variable_quality m_quality CORVEL_HUB_GUARDED_BY(m_mutex) = variable_quality::good;
    variable_value m_value CORVEL_HUB_GUARDED_BY(m_mutex);
    timestamp m_last_publish_timestamp CORVEL_HUB_GUARDED_BY(m_mutex);
    std::uint64_t m_update_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    std::shared_ptr<modification_tracker> const m_tracker;

    // The tracker's node with this variable's id while it is not in there, so that noting a change
    // allocates nothing. Guarded as the tracker is, by the list's lock.
    modification_tracker::node_type m_tracker_node;

    std::string const m_path; // last, as it is the one thing that an update does not touch

    provider_variable(
        variable_id id,
        std::string path,
        variable_value& value,
        variable_permissions permissions,
        std::shared_ptr<modification_tracker> tracker);
    ~provider_variable() = default;

    void record_change(timestamp when) CORVEL_HUB_REQUIRES(m_mutex);
    variable_quality get_listed_quality() const;
};

/// Writes provider_variable::to_str().
///
/// @param os        The stream to write to.
/// @param variable  The variable to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, provider_variable const& variable);

} // namespace arvenhold::corvel::hub
