// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What becomes of one write that an application waits for. Any thread.

#pragma once

#include <hub/common.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/consumer_session.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub {

/// Another value does not refuse the write at once, because it may have been in flight when the write
/// was sent: the written one may still follow within `longest_flight`.
class write_watch {
public:
    static constexpr std::chrono::milliseconds longest_flight{500};

    write_watch(std::string path, variable_value written);

    [[nodiscard]] std::string const& get_path() const;

    /// A value that the provider had after the write was sent.
    ///
    /// @param published  Whether the provider has published the variable since then. If not, it may
    ///                   not have handled the write yet.
    void see(variable_value const& value, bool published) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Whether nobody waits any more.
    [[nodiscard]] bool has_ended() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Nothing more will be seen.
    void give_up() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Waits for the outcome.
    write_outcome wait(std::chrono::milliseconds limit);

private:
    using clock = std::chrono::steady_clock;

    std::string const m_path;
    variable_value const m_written;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_is_confirmed CORVEL_HUB_GUARDED_BY(m_mutex) = false;
    bool m_has_ended CORVEL_HUB_GUARDED_BY(m_mutex) = false;
    std::optional<clock::time_point> m_other_seen CORVEL_HUB_GUARDED_BY(m_mutex); // first

    [[nodiscard]] clock::time_point end_of_wait(clock::time_point deadline) const
        CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
