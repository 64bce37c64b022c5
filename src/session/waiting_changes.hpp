// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/freshness_record.hpp"
#include "session/packed_value.hpp"
#include <hub/common.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace arvenhold::corvel::hub {

class followed_provider;

/// A variable whose reading has changed.
struct waiting_change {
    std::uint32_t slot = 0;
    // Only if every change is kept; the reading is otherwise the one at the time of the call.
    std::uint16_t quality = 0; // every variable_quality is below 65,536
    bool is_live = false;      // false for the report of a loss
    bool begins_event = false; // set by waiting_changes
    timestamp when{};
    packed_value value{};
};

/// Changes that wait for a handler, in the order in which they have happened. All in one block, as
/// a provider may send several hundred thousand events in a second. Guarded by its owner's lock.
class waiting_changes {
public:
    using loss_count = freshness_record::loss_count;

    /// The changes of a section come before the handler, for a state or a definition, that has begun
    /// the next one.
    using section_number = std::uint64_t;

    /// Successive changes of one provider, valid until something is added or dropped.
    struct stretch {
        followed_provider* provider = nullptr;
        loss_count losses = 0; // those of the provider before the changes
        std::span<waiting_change> changes{};
    };

    /// Appends changes that have happened together.
    ///
    /// @param section  At least that of the changes before.
    /// @param event    Not empty; moved from, unless it throws: nothing is appended then.
    void add(
        followed_provider& provider,
        loss_count losses,
        section_number section,
        std::span<waiting_change> event);

    /// Removes the oldest change. There must be one.
    void drop_oldest();

    /// Removes and returns the oldest changes, of one provider: at most `most`.
    ///
    /// @return no changes if none waits.
    stretch take(std::size_t most);

    /// Removes and returns what is left of the oldest event.
    stretch take_event();

    /// Moves the oldest changes, up to the end of a section, behind those of `taken`. Costs next to
    /// nothing if that has none and all are moved. If it throws, some may have been moved.
    void take_section(section_number last, waiting_changes& taken);

    /// Removes all; keeps a little memory.
    void clear();

    [[nodiscard]] std::size_t size() const {
        return m_changes.size() - m_taken;
    }

private:
    // How the changes are divided.
    struct run {
        followed_provider* provider;
        loss_count losses;
        section_number section;
        std::size_t count;
    };

    std::vector<waiting_change> m_changes;
    std::vector<run> m_runs;
    std::size_t m_taken = 0;      // from m_changes
    std::size_t m_taken_runs = 0; // from m_runs
};

} // namespace arvenhold::corvel::hub
