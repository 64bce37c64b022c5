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

/// One variable of a provider, in the provider's process.
///
/// Every change also makes the variable pending in its list, from where it gets into the next change
/// event.
///
/// @par Ownership
/// Shared by its list and by everyone who keeps the pointer. A variable whose list has been
/// replaced stays usable but is no longer published. The variables of one list share memory and
/// reference count: keeping one of them keeps all of them in memory.
///
/// @par Thread safety
/// All operations may be called from any thread, with two exceptions: set_value() and set_quality()
/// only while holding the lock of the list (variable_list::lock()), which guards what is
/// pending; and get_value() only while no other thread sets a value. The operations of
/// variable_list take the lock themselves.
class CORVEL_HUB_API provider_variable {
public:
    /// The state, for the library's own use.
    class impl;

    /// Creates a variable with quality `good`, the current time as its time stamp and no updates,
    /// and inserts its id into the tracker.
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

    /// Stores a new value; an equal one is a change too.
    ///
    /// Permissions are not tested: they bind consumers only.
    ///
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws incompatible_data_type  The value has another type than the variable, which is
    ///                                 unchanged.
    void set_value(variable_value value, timestamp when);

    /// Stores a new quality.
    ///
    /// @param quality  The new quality; any number is stored.
    /// @param when     Time of the change.
    void set_quality(variable_quality quality, timestamp when);

    /// Returns the variable's id.
    variable_id get_id() const;

    /// Returns the variable's path; valid as long as the variable.
    std::string const& get_path() const;

    /// Returns what consumers may do with the variable.
    variable_permissions get_permissions() const;

    /// Returns a reference to the stored value, which lives as long as the variable. The lock is
    /// not taken: while another thread may set a value, reading through the reference is a data
    /// race. get_value_with_timestamp() returns a copy and is safe at any time.
    variable_value const& get_value();

    /// Returns a copy of the value and its time stamp, read together under the lock.
    std::tuple<variable_value, timestamp> get_value_with_timestamp();

    /// Returns the quality.
    variable_quality get_quality();

    /// Returns the time given with the latest change of value or quality.
    timestamp get_last_publish_timestamp();

    /// Returns the number of changes since the variable was created.
    std::uint64_t get_update_count();

    /// Writes one line without its end to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were.
    std::ostream& to_str(std::ostream& os) const;

private:
    struct provider_variable_construction_enabler;

    explicit provider_variable() = default; // explicit, so that C++17 sees no aggregate
    ~provider_variable() = default;
};

/// Writes what provider_variable::to_str() writes.
///
/// @param os        The stream to write to.
/// @param variable  The variable to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, provider_variable const& variable);

} // namespace arvenhold::corvel::hub
