// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What an application follows with one call, its handler, and the changes that wait for it.

#pragma once

#include "session/freshness_record.hpp"
#include "session/packed_value.hpp"
#include "session/path_pattern.hpp"
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/reading.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

class followed_provider;

/// A variable whose reading has changed.
struct pending_change {
    std::uint32_t slot = 0;
    // Only if every change is kept; the reading is otherwise the one at the time of the call.
    std::uint16_t quality = 0; // every variable_quality is below 65,536
    bool is_live = false;      // false for the report of a loss
    timestamp when{};
    packed_value value{};
};

/// Changes of one provider that have happened together.
struct pending_event {
    followed_provider* provider = nullptr;
    freshness_record::loss_count losses = 0; // those of the provider before the event
    std::vector<pending_change> changes{};
    std::size_t taken = 0; // how many of the first changes no longer wait

    [[nodiscard]] std::size_t get_remaining() const {
        return changes.size() - taken;
    }
};

/// Called by the threads that receive values, and by the one that runs handlers.
class following {
public:
    using handler = std::function<void(any_reading const&)>;
    using batch_handler = std::function<void(std::vector<any_reading> const&)>;

    /// What is followed.
    struct interest {
        path_pattern providers;
        path_pattern paths;
        std::optional<std::size_t> type; // the only type wanted; then both patterns are literal

        /// Whether one provider is followed, which may be missing.
        [[nodiscard]] bool names_provider() const {
            return type.has_value() || providers.is_literal();
        }
    };

    struct handlers {
        handler single;
        batch_handler batch;
    };

    /// The events that have waited, in their order.
    struct waiting {
        std::deque<pending_event> events;
        std::uint64_t dropped = 0; // before the first of them
    };

    /// @param limit  How many changes are kept; 0 for the latest of each variable.
    following(interest wanted, std::size_t limit);

    [[nodiscard]] interest const& get_interest() const;

    [[nodiscard]] bool keeps_every_change() const;

    /// Replaces the handlers, unless closed. What waits is kept for the new ones.
    void set_handlers(handlers called) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Drops the handlers for good. They may hold what the application follows with them, which
    /// holds this object.
    void close() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Never null.
    [[nodiscard]] std::shared_ptr<handlers const> get_handlers() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Adds an event, which has at least one change.
    void add(pending_event event) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Whether changes are wanted at all.
    [[nodiscard]] bool has_handler() const;

    /// Whether changes wait. May be outdated, but never misses what has led to a drain.
    [[nodiscard]] bool has_waiting() const;

    /// Moves what waits.
    ///
    /// @param taken  Replaced; keeps its memory for the next call.
    void take(waiting& taken) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    interest const m_wanted;
    std::size_t const m_limit;

    // Read for every change, without the lock: a change that a new handler misses is as one that
    // came before it.
    std::atomic<bool> m_has_handler{false};

    // Read without the lock for everything that is followed, while little of it has changed. Set
    // before the drain is posted that looks at it.
    std::atomic<bool> m_has_waiting{false};

    mutable std::mutex m_mutex;
    std::shared_ptr<handlers const> m_handlers CORVEL_HUB_GUARDED_BY(m_mutex);
    waiting m_waiting CORVEL_HUB_GUARDED_BY(m_mutex);
    std::size_t m_waiting_changes CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    bool m_is_closed CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    void drop_oldest() CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
