// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/change_backlog.hpp"
#include "session/change_block.hpp"
#include "session/content_hash.hpp"
#include "session/packed_value.hpp"
#include <hub/common.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace arvenhold::corvel::hub {

/// What a variable is registered with.
struct variable_state {
    std::string path;
    variable_permissions permissions = variable_permissions::read_only;
    variable_value value;
    variable_quality quality = variable_quality::good;
    timestamp when;
};

/// The variables of a provider session: what the application has recorded and the session's thread
/// has not sent yet. Outlives every connection.
///
/// Any thread. Nothing is added after freeze().
///
/// `m_changed` lists the variables without a queue that have changed since the last take(), in the
/// order of their first change; `m_backlog` has the changes of the others.
class variable_slots {
public:
    using position = std::uint32_t;

    /// Adds a variable, whose initial value has not been measured.
    ///
    /// @throws std::invalid_argument  There is one with this path. Nothing was added.
    position add(
        std::string const& path,
        variable_value initial,
        variable_permissions permissions,
        timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Ends the adding, and releases the memory that only adding needs.
    void freeze() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Keeps up to `limit` changes of a variable.
    void keep_changes(position variable, std::size_t limit) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Records a change.
    ///
    /// @throws std::invalid_argument  The value has another type than the variable. Nothing was
    ///                                recorded.
    void set(variable_change change, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Records changes of one time, so that take() returns all or none of them.
    ///
    /// @throws std::invalid_argument  A value has another type than its variable. Nothing was
    ///                                recorded.
    void set(std::vector<variable_change> changes, timestamp when) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns an empty list with room for as many changes as the latest update had: the next one
    /// mostly has as many.
    [[nodiscard]] std::vector<variable_change> make_list() const;

    /// Records a quality for the latest value.
    void set_quality(position variable, variable_quality quality, timestamp when)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Lists the variable as changed although it is not.
    void send_again(position variable) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Removes and returns all changes, in the order in which they are to be sent. Those of variables
    /// with a queue come first.
    std::deque<change_block> take() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Removes an event that can never be sent, and counts its changes of variables with a queue as
    /// dropped.
    ///
    /// @return how many changes it had.
    std::size_t drop_first_event(change_block& block) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Takes back what could not be sent, see change_backlog::put_back(). Of variables without a
    /// queue, a registration restores the latest value.
    void put_back(std::deque<change_block> blocks) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns the latest state of all variables in the order of declaration; of a variable with a
    /// queue the oldest change that waits, because those after it are sent as changes.
    std::vector<variable_state> get_states() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Compares all paths in turn.
    std::optional<position> find(std::string_view path) const CORVEL_HUB_EXCLUDES(m_mutex);

    std::string get_path(position variable) const CORVEL_HUB_EXCLUDES(m_mutex);
    variable_permissions get_permissions(position variable) const CORVEL_HUB_EXCLUDES(m_mutex);

    /// @param type  The index of the alternative of variable_value.
    bool has_type(position variable, std::size_t type) const CORVEL_HUB_EXCLUDES(m_mutex);

    variable_value get(position variable) CORVEL_HUB_EXCLUDES(m_mutex);
    std::uint64_t get_dropped_changes(position variable) CORVEL_HUB_EXCLUDES(m_mutex);
    std::uint32_t get_content_hash() const CORVEL_HUB_EXCLUDES(m_mutex);

private:
    // As small as possible: there may be a hundred thousand.
    struct recorded {
        std::uint32_t path_begin; // in m_path_text; ends where the next one begins
        std::uint8_t quality;     // every variable_quality is below 256
        bool is_read_only : 1;
        bool is_changed : 1;
        bool has_queue : 1;
        timestamp when;
        packed_value value;

        [[nodiscard]] variable_change as_change(position variable) const;
    };

    std::atomic<std::size_t> m_update_size{0};

    mutable std::mutex m_mutex;
    std::unordered_set<std::string> m_paths CORVEL_HUB_GUARDED_BY(m_mutex); // empty once frozen
    std::vector<recorded> m_slots CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<std::uint8_t> m_types CORVEL_HUB_GUARDED_BY(m_mutex); // apart: read for each value
    std::string m_path_text CORVEL_HUB_GUARDED_BY(m_mutex); // all paths, one after the other
    std::vector<position> m_changed CORVEL_HUB_GUARDED_BY(m_mutex); // has room for all
    change_backlog m_backlog CORVEL_HUB_GUARDED_BY(m_mutex);

    std::string_view path_of(position variable) const CORVEL_HUB_REQUIRES(m_mutex);
    void require_type(variable_change const& change) const CORVEL_HUB_REQUIRES(m_mutex);
    variable_permissions permissions_of(position variable) const CORVEL_HUB_REQUIRES(m_mutex);
    template <class Change>
    void record(Change&& change, timestamp when) CORVEL_HUB_REQUIRES(m_mutex);
    void mark_changed(position variable) CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
