// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>

namespace arvenhold::corvel::hub {

/// A consumer's copy of one variable of a provider.
///
/// The library updates it with what the provider sends. The application may store a value of its
/// own with set_value() and send it with provider_connection::write_variables().
///
/// @par Ownership
/// Shared by its connection and by everyone who keeps the pointer. After a change of the provider's
/// definition the connection has new variables; the old ones stay usable but receive no updates.
/// The variables of one definition share memory and reference count: keeping one of them keeps all
/// of them in memory.
///
/// @par Thread safety
/// All operations may be called from any thread, except that get_value() may be called only while
/// no other thread sets a value and none is received; get_value_with_timestamp() is safe at any
/// time.
class CORVEL_HUB_API consumer_variable {
public:
    /// The state, for the library's own use.
    class impl;

    /// Creates a variable with quality `good`, the epoch as its time stamp and no updates.
    ///
    /// @param id           The variable's id.
    /// @param path         The variable's path.
    /// @param value        The value until the first update; moved from.
    /// @param permissions  What consumers may do with the variable.
    static std::shared_ptr<consumer_variable> create(
        variable_id id,
        std::string const& path,
        variable_value& value,
        variable_permissions permissions);

    consumer_variable(consumer_variable const&) = delete;
    consumer_variable& operator=(consumer_variable const&) = delete;

    /// Stores a value that came from the provider.
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void update_value(variable_value const& value, timestamp when);

    /// Stores a quality; time stamp and number of updates stay as they are.
    ///
    /// @param quality  The new quality; any number is stored.
    void update_quality(variable_quality quality);

    /// Stores a value of the application's own. Nothing is sent by this operation:
    /// provider_connection::write_variables() sends the value.
    ///
    /// Nothing reports whether the provider has accepted it. An accepted value comes back with a
    /// change event. If the provider refuses or ignores the value, this copy keeps it, and its
    /// quality stays `good`, until the provider publishes the variable again or the application
    /// reads it with provider_connection::read_variables().
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws variable_read_only      The variable is not writable. It is unchanged.
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void set_value(variable_value const& value, timestamp when);

    /// Returns the variable's id.
    variable_id get_id() const;

    /// Returns the variable's path; valid as long as the variable.
    std::string const& get_path() const;

    /// Returns what consumers may do with the variable.
    variable_permissions get_permissions() const;

    /// Returns a reference to the stored value, which lives as long as the variable. The lock is
    /// not taken: while another thread may set a value, or one may be received, reading through the
    /// reference is a data race. get_value_with_timestamp() returns a copy and is safe at any time.
    variable_value const& get_value();

    /// Returns a copy of the value and its time stamp, read together under the lock.
    std::tuple<variable_value, timestamp> get_value_with_timestamp();

    /// Returns the quality.
    variable_quality get_quality();

    /// Returns the time stamp of the latest update, or the epoch if there was none.
    ///
    /// A change event brings its own time, the same for all its items; a read brings the time of
    /// each variable. So if the provider recorded a change with an earlier time than it published
    /// it with, a read after the event shows that earlier time.
    timestamp get_last_publish_timestamp();

    /// Returns the number of updates since the variable was created: values that were set or
    /// received, and received items without a value. update_quality() is not counted.
    std::uint64_t get_update_count();

    /// Writes one line without its end to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were.
    std::ostream& to_str(std::ostream& os) const;

private:
    struct consumer_variable_construction_enabler;

    explicit consumer_variable() = default; // explicit, so that C++17 sees no aggregate
    ~consumer_variable() = default;
};

/// Writes what consumer_variable::to_str() writes.
///
/// @param os        The stream to write to.
/// @param variable  The variable to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, consumer_variable const& variable);

} // namespace arvenhold::corvel::hub
