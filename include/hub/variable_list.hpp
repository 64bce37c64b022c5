// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

class provider;
class provider_definition;
class provider_variable;

/// The live variables of one registered definition, on the provider's side.
///
/// A provider creates one list for every definition that it registers. Changes are recorded here
/// and leave the process with the next change event. When the definition is replaced, or the
/// provider disconnects, the list becomes stale: it can still be read, but refuses new values and
/// qualities.
///
/// @par Ownership
/// Shared by the provider and the application. A list may outlive its provider; publish(),
/// bulk_publish(), set_quality(), bulk_set_quality() and write_variable() then throw
/// operational_state_invalid and change nothing, everything else still works.
///
/// @par Thread safety
/// All operations may be called from any thread, except that a thread between lock() and unlock()
/// may call only get_variables(), get_modification_tracker() and find_variable() of this list.
/// Lock order: provider, then list, then variable.
class CORVEL_HUB_API CORVEL_HUB_CAPABILITY("list") variable_list {
public:
    /// The state, for the library's own use.
    class impl;

    /// The variables of a list, ordered by id.
    using variable_map = std::map<variable_id, std::shared_ptr<provider_variable>>;

    /// Creates a list of the variables of `definition`. Ids are consecutive, in the order of the
    /// definition's entries, and greater than all ids assigned before in this process. All
    /// variables are pending.
    ///
    /// @param definition  A finalized definition; the initial values are moved out of it.
    /// @param parent      The provider that the list publishes through.
    ///
    /// @throws operational_state_invalid  The definition is not finalized. No id was assigned.
    static std::shared_ptr<variable_list> create(provider_definition& definition, provider& parent);

    variable_list(variable_list const&) = delete;
    variable_list& operator=(variable_list const&) = delete;

    /// Records a new value and sends it, with everything else pending, in one change event. The
    /// quality stays as it is.
    ///
    /// @param id     A variable of this list.
    /// @param value  The new value, of the type that the variable was defined with.
    /// @param when   Time of the change and of the event.
    ///
    /// @throws variable_list_outdated     The list is stale. Nothing was recorded.
    /// @throws variable_index_invalid     The id does not belong to this list. Nothing was
    ///                                    recorded.
    /// @throws incompatible_data_type     The value has the wrong type. Nothing was recorded.
    /// @throws operational_state_invalid  No definition is registered: if that was found before the
    ///                                    value was recorded, nothing was recorded (stale list,
    ///                                    provider gone), else the value stays recorded and
    ///                                    pending.
    /// @throws connection_failed          Not connected: the value stays recorded and pending.
    ///                                    Sending failed: it stays recorded but is no longer
    ///                                    pending, and the provider is marked failed.
    ///
    /// @par Blocking
    /// Never waits for a consumer. Waits for the locks of the list and the provider, and for the
    /// NATS client to copy the message into its send buffer. While connected that takes a few
    /// microseconds, so a loop that runs ten times a second may call it. While the NATS client
    /// reconnects it can take up to 5 s. If the server hangs and the operating system's send and
    /// receive buffers are full, some megabytes, it waits without limit until the server continues
    /// or the connection breaks. A loop that cannot wait so long publishes from another thread.
    void publish(variable_id id, variable_value value, timestamp when) CORVEL_HUB_EXCLUDES(this);

    /// Records new values and sends them, with everything else pending, in one change event.
    ///
    /// The values are recorded one by one in the order of `values`, each under its own short hold
    /// of the list's lock, so another thread may publish between two of them. After the last one a
    /// single event is sent. An empty vector records nothing and still sends an event.
    ///
    /// @param values  Variable ids and new values.
    /// @param when    Time of all the changes and of the event.
    ///
    /// @throws variable_list_outdated     The list is stale. Nothing was recorded.
    /// @throws variable_index_invalid     An id does not belong to this list. Earlier elements stay
    ///                                    recorded and pending, later ones are not recorded,
    ///                                    nothing is sent.
    /// @throws incompatible_data_type     A value has the wrong type. As for an invalid id.
    /// @throws operational_state_invalid  As for publish().
    /// @throws connection_failed          As for publish().
    ///
    /// @par Blocking
    /// As for publish().
    void bulk_publish(std::vector<std::tuple<variable_id, variable_value>> values, timestamp when)
        CORVEL_HUB_EXCLUDES(this);

    /// Records a new quality. It is sent with the next change event, whichever call causes that.
    ///
    /// @param id       A variable of this list.
    /// @param quality  The new quality.
    /// @param when     Time of the change.
    ///
    /// @throws variable_list_outdated     The list is stale. Nothing was recorded.
    /// @throws variable_index_invalid     The id does not belong to this list. Nothing was
    ///                                    recorded.
    /// @throws operational_state_invalid  The list is stale and no definition is registered, or the
    ///                                    provider is gone. Nothing was recorded.
    void set_quality(variable_id id, variable_quality quality, timestamp when)
        CORVEL_HUB_EXCLUDES(this);

    /// Records new qualities and sends them, with everything else pending, in one change event, as
    /// bulk_publish() does.
    ///
    /// @param qualities  Variable ids and new qualities.
    /// @param when       Time of all the changes and of the event.
    ///
    /// @throws variable_list_outdated     The list is stale. Nothing was recorded.
    /// @throws variable_index_invalid     As for bulk_publish().
    /// @throws operational_state_invalid  As for publish().
    /// @throws connection_failed          As for publish().
    ///
    /// @par Blocking
    /// As for publish().
    void bulk_set_quality(
        std::vector<std::tuple<variable_id, variable_quality>> const& qualities, timestamp when)
        CORVEL_HUB_EXCLUDES(this);

    /// Records a value that a consumer has written. It is sent with the next change event. Works on
    /// a stale list too.
    ///
    /// @param id     The variable to write.
    /// @param value  The new value.
    /// @param when   Time of the change.
    ///
    /// @throws operational_state_invalid  The provider is gone. Nothing was recorded.
    /// @throws variable_index_invalid     The list has no such variable. Nothing was recorded.
    /// @throws variable_read_only         Consumers may not write the variable. Nothing was
    ///                                    recorded.
    /// @throws incompatible_data_type     The value has the wrong type. Nothing was recorded.
    void write_variable(variable_id id, variable_value const& value, timestamp when)
        CORVEL_HUB_EXCLUDES(this);

    /// Marks every variable as pending, so that the next change event carries all of them.
    void mark_all_variables_pending() CORVEL_HUB_EXCLUDES(this);

    /// Leaves no variable pending: what has changed stays recorded, can be read and is not sent.
    /// Call it between registering and connecting, so that the change event that follows the
    /// definition does not carry the initial values with the time of the connect in place of their
    /// own. Consumers read them with their own times.
    void mark_no_variables_pending() CORVEL_HUB_EXCLUDES(this);

    /// Retires the list: all qualities become `bad`, nothing stays pending, changes are refused
    /// from now on.
    void mark_list_as_stale() CORVEL_HUB_EXCLUDES(this);

    /// Returns the variable with the given id. The reference is to the list's own pointer and valid
    /// as long as the list; a copy of the pointer keeps the variable longer.
    ///
    /// @param id  A variable of this list.
    ///
    /// @throws variable_index_invalid  The list has no such variable.
    std::shared_ptr<provider_variable> const& resolve_variable_by_id(variable_id id)
        CORVEL_HUB_EXCLUDES(this);

    /// Returns the variable with the given path, or null if there is none. If several variables
    /// have the path, the one with the lowest id is returned.
    ///
    /// The search compares all paths in turn, so keep the result instead of searching again. It
    /// takes no lock.
    ///
    /// @param path  The whole path, as in the definition.
    std::shared_ptr<provider_variable> find_variable(std::string_view path) const;

    /// Locks the list, so that values, tracker and stale flag do not change. The lock is not
    /// recursive. Publishing and answering read requests wait until unlock().
    void lock() CORVEL_HUB_ACQUIRE();

    /// Unlocks the list.
    void unlock() CORVEL_HUB_RELEASE();

    /// Returns the variables; the reference is valid as long as the list. The map never changes, so
    /// it may be read without the lock.
    ///
    /// Give the list a name before you loop over its variables. A loop over
    /// `provider.get_variable_list()->get_variables()` is wrong: until C++23 the pointer is gone
    /// before the first pass, and the list ends inside the loop when another definition is
    /// registered or the provider disconnects.
    variable_map const& get_variables() const;

    /// Returns the ids of the pending variables; the reference is valid as long as the list. The
    /// set may be read and changed only while holding lock(); ids that are not the list's are
    /// ignored.
    ///
    /// The list keeps the ids in this set from the first call on, which makes every later change
    /// somewhat slower.
    ///
    /// @throws std::bad_alloc  There is no memory for the set. Nothing has changed.
    ///
    /// @par Blocking
    /// Waits while another thread holds the list's lock.
    std::shared_ptr<modification_tracker> const& get_modification_tracker() const;

    /// Writes a table of the variables to `os` and returns it.
    ///
    /// @param os  The stream; its format flags are left as they were. The list's lock is held while
    ///            it is written to.
    std::ostream& to_str(std::ostream& os) CORVEL_HUB_EXCLUDES(this);

private:
    struct variable_list_construction_enabler;

    // The id that the next variable of any list gets. Atomic because lists may be created at once.
    // NOLINTNEXTLINE(*-avoid-non-const-global-variables): ids are unique in the process
    CORVEL_HUB_INTERNAL static std::atomic<variable_id> next_variable_id_;

    explicit variable_list() = default; // explicit, so that C++17 sees no aggregate
    ~variable_list() = default;
};

/// Writes what variable_list::to_str() writes.
///
/// @param os    The stream to write to.
/// @param list  The list to write.
CORVEL_HUB_API std::ostream& operator<<(std::ostream& os, variable_list& list);

} // namespace arvenhold::corvel::hub
