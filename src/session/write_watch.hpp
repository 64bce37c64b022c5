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

/// The first outcome counts.
class write_watch {
public:
    write_watch(std::string path, variable_value written);

    [[nodiscard]] std::string const& get_path() const;

    /// A value that the provider had after the write was sent.
    ///
    /// @param published  Whether the provider has published the variable since then. If not, it may
    ///                   not have handled the write yet.
    void see(variable_value const& value, bool published) CORVEL_HUB_EXCLUDES(m_mutex);

    /// The write is not confirmed, and will not be.
    void give_up() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Waits for the outcome.
    write_outcome wait(std::chrono::milliseconds limit);

private:
    std::string const m_path;
    variable_value const m_written;

    std::mutex m_mutex;
    std::condition_variable m_decided;
    std::optional<write_outcome> m_outcome CORVEL_HUB_GUARDED_BY(m_mutex);

    void decide(write_outcome outcome) CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub
