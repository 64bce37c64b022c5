// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/write_watch.hpp"

#include "session/deadline.hpp"
#include "session/same_value.hpp"

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub {

write_watch::write_watch(std::string path, variable_value written)
    : m_path{std::move(path)}
    , m_written{std::move(written)} {}

std::string const& write_watch::get_path() const {
    return m_path;
}

void write_watch::see(variable_value const& value, bool published) {
    std::scoped_lock const lock{m_mutex};
    if (is_same(value, m_written)) {
        m_is_confirmed = m_is_confirmed || !m_has_ended; // what comes too late changes nothing
    } else if (published && !m_other_seen) {
        m_other_seen = clock::now();
    }
    m_changed.notify_all();
}

bool write_watch::has_ended() {
    std::scoped_lock const lock{m_mutex};
    return m_has_ended;
}

void write_watch::give_up() {
    std::scoped_lock const lock{m_mutex};
    m_has_ended = true;
    m_changed.notify_all();
}

// Not analysed: the wait releases the lock.
write_outcome write_watch::wait(std::chrono::milliseconds limit)
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto const deadline = deadline_after(limit);
    std::unique_lock lock{m_mutex};
    while (!m_is_confirmed && !m_has_ended && clock::now() < end_of_wait(deadline)) {
        m_changed.wait_until(lock, end_of_wait(deadline));
    }
    m_has_ended = true;
    if (m_is_confirmed) {
        return write_outcome::confirmed;
    }
    return m_other_seen ? write_outcome::refused : write_outcome::not_confirmed;
}

write_watch::clock::time_point write_watch::end_of_wait(clock::time_point deadline) const {
    return m_other_seen ? std::min(deadline, *m_other_seen + longest_flight) : deadline;
}

} // namespace arvenhold::corvel::hub
