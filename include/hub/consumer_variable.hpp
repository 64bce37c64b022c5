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
#include <optional>
#include <ostream>
#include <string>
#include <tuple>

namespace arvenhold::corvel::hub {

class provider_connection;

/// A consumer's copy of one variable of a provider.
///
/// The library updates it with what the provider sends. The application may set a value of its own
/// and send it with provider_connection::write_variables(); until the provider's answer arrives as
/// a change event the copy then shows what the application has set.
///
/// @par Ownership
/// Shared by its connection and by whoever keeps the pointer. After a change of the provider's
/// definition the connection has new variables; the old ones stay usable but receive no updates.
/// The variables of one definition share memory and reference count: one that is kept keeps all of
/// them.
///
/// @par Thread safety
/// All operations may be called from any thread, but get_value() only while nobody sets or receives
/// a value; get_value_with_timestamp() is safe at any time.
class CORVEL_HUB_API consumer_variable {
public:
    /// Makes a variable with quality `good`, the epoch as its time stamp and no updates.
    ///
    /// @param id           The variable's id.
    /// @param path         The variable's path.
    /// @param value        The value until the first update; moved from.
    /// @param permissions  What consumers may do with the variable.
    static std::shared_ptr<consumer_variable> create(
        variable_id id, std::string path, variable_value& value, variable_permissions permissions);

    consumer_variable(consumer_variable const&) = delete;
    consumer_variable& operator=(consumer_variable const&) = delete;

    /// Stores a value that came from the provider.
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void update_value(variable_value const& value, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Stores a quality; time stamp and number of updates stay as they are.
    ///
    /// @param quality  The new quality; any number is stored.
    void update_quality(variable_quality quality) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Stores a value of the application's own, to be sent with
    /// provider_connection::write_variables(). Nothing is sent by this operation.
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws variable_read_only      The variable is not writable. It is unchanged.
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void set_value(variable_value const& value, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

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

    /// Returns the time given with the latest value, or received item without one; the epoch before
    /// the first.
    timestamp get_last_publish_timestamp() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the number of values, and received items without one, since the variable was made.
    std::uint64_t get_update_count() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Writes one line without its end to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were.
    std::ostream& to_str(std::ostream& os) const CORVEL_HUB_EXCLUDES(m_mutex);

private:
    friend class consumer_variable_set; // creates all of a definition together, applies items
    friend class provider_connection;   // applies received items

    struct consumer_variable_construction_enabler;

    mutable detail::small_mutex m_mutex;
    variable_id const m_id;
    variable_permissions const m_permissions;
    variable_quality m_quality CORVEL_HUB_GUARDED_BY(m_mutex) = variable_quality::good;
    variable_value m_value CORVEL_HUB_GUARDED_BY(m_mutex);
    timestamp m_last_publish_timestamp CORVEL_HUB_GUARDED_BY(m_mutex){};
    std::uint64_t m_update_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_latest_event CORVEL_HUB_GUARDED_BY(m_mutex) = 0; // that touched the variable

    std::string const m_path; // last, as it is the one thing that an update does not touch

    consumer_variable(
        variable_id id, std::string path, variable_value& value, variable_permissions permissions);
    ~consumer_variable() = default;

    // Applies one item of a change event: the quality, then the value, which stays if there is none.
    // Event numbers begin at 1; 0 stands for no event.
    CORVEL_HUB_INTERNAL void apply_event(
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t event_number) CORVEL_HUB_EXCLUDES(m_mutex);

    // Applies one item of a read reply likewise, unless an event later than
    // `latest_event_at_request` has updated the variable and the item is older than that update:
    // then nothing changes.
    CORVEL_HUB_INTERNAL void apply_reply(
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t latest_event_at_request) CORVEL_HUB_EXCLUDES(m_mutex);

    CORVEL_HUB_INTERNAL void replace_item(
        variable_quality quality, std::optional<variable_value> const& value, timestamp when)
        CORVEL_HUB_REQUIRES(m_mutex);
    CORVEL_HUB_INTERNAL void replace_value(variable_value const& value, timestamp when)
        CORVEL_HUB_REQUIRES(m_mutex);
};

/// Writes consumer_variable::to_str().
///
/// @param os        The stream to write to.
/// @param variable  The variable to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, consumer_variable const& variable);

} // namespace arvenhold::corvel::hub
