// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What an application follows with one call, its handler, and the changes that wait for it.

#pragma once

#include "session/path_pattern.hpp"
#include "session/waiting_changes.hpp"
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/reading.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// Called by the threads that receive values, and by the one that runs handlers.
class following {
public:
    using handler = std::function<void(any_reading const&)>;
    using batch_handler = std::function<void(std::vector<any_reading> const&)>;

    /// What is followed.
    struct interest {
        path_pattern providers;
        path_pattern paths;
        // The only type wanted. Then the provider is named, and the path is no pattern but compared
        // as it is.
        std::optional<std::size_t> type;

        /// Whether one provider is followed, which may be missing.
        [[nodiscard]] bool names_provider() const {
            return providers.is_literal();
        }
    };

    struct handlers {
        handler single;
        batch_handler batch;
    };

    /// What has waited.
    struct waiting {
        waiting_changes changes;
        std::uint64_t dropped = 0; // before the first of them
    };

    /// The section that changes belong to at present. Read for every change, and written by the
    /// session's thread for each handler that begins a section.
    using present_section = std::atomic<waiting_changes::section_number>;

    /// @param limit  How many changes are kept; 0 for the latest of each variable.
    following(interest wanted, std::size_t limit, std::shared_ptr<present_section const> section);

    [[nodiscard]] interest const& get_interest() const;

    [[nodiscard]] bool keeps_every_change() const;

    /// Replaces the handlers, unless closed. What waits is kept for the new ones.
    void set_handlers(handlers called) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Drops the handlers for good. They may hold what the application follows with them, which
    /// holds this object. Needs no memory.
    void close() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Never null.
    [[nodiscard]] std::shared_ptr<handlers const> get_handlers() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Whether get_handlers() would return these, which the caller holds. Costs next to nothing.
    [[nodiscard]] bool has(std::shared_ptr<handlers const> const& held) const;

    /// Adds changes, see waiting_changes::add().
    void add(
        followed_provider& provider,
        waiting_changes::loss_count losses,
        std::span<waiting_change> event) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Counts changes that nobody is called for.
    void add_dropped(std::uint64_t count) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Whether changes are wanted at all.
    [[nodiscard]] bool has_handler() const;

    /// Whether changes wait. May be outdated, but never misses what has led to a drain.
    [[nodiscard]] bool has_waiting() const;

    /// Moves what waits, up to the end of a section.
    ///
    /// @param taken  Replaced; keeps its memory for the next call. If this throws, what has been
    ///               moved.
    void take(waiting_changes::section_number last, waiting& taken) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    interest const m_wanted;
    std::size_t const m_limit;
    std::shared_ptr<present_section const> const m_section;
    std::shared_ptr<handlers const> const m_no_handlers = std::make_shared<handlers>();

    // Read for every change, without the lock: a change that a new handler misses is as one that
    // came before it.
    std::atomic<bool> m_has_handler{false};

    // Read without the lock for everything that is followed, while little of it has changed. Set
    // before the drain is posted that looks at it.
    std::atomic<bool> m_has_waiting{false};

    mutable std::mutex m_mutex;
    std::shared_ptr<handlers const> m_handlers CORVEL_HUB_GUARDED_BY(m_mutex) = m_no_handlers;
    std::atomic<handlers const*> m_latest_handlers; // m_handlers, for looks without the lock
    waiting m_waiting CORVEL_HUB_GUARDED_BY(m_mutex);
    bool m_is_closed CORVEL_HUB_GUARDED_BY(m_mutex) = false;
};

/// The handlers of what is followed, also after one of them has replaced them. One thread.
class present_handlers {
public:
    explicit present_handlers(following const& wanted)
        : m_wanted{wanted}
        , m_held{wanted.get_handlers()} {}

    /// Returns those for a call that begins now; valid until this is called again.
    [[nodiscard]] following::handlers const& get() {
        if (!m_wanted.has(m_held)) {
            m_held = m_wanted.get_handlers();
        }
        return *m_held;
    }

private:
    following const& m_wanted;
    std::shared_ptr<following::handlers const> m_held;
};

} // namespace arvenhold::corvel::hub
