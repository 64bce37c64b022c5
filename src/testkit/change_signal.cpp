// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "testkit/change_signal.hpp"

namespace arvenhold::corvel::hub::testkit {

void change_signal::raise() {
    {
        std::scoped_lock const lock{m_mutex};
        ++m_count;
    }
    m_raised.notify_all();
}

std::uint64_t change_signal::get_count() const {
    std::scoped_lock const lock{m_mutex};
    return m_count;
}

// Not analysed: the wait releases the lock.
bool change_signal::wait_beyond(std::uint64_t count, time_point deadline) const
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_mutex};
    while (m_count <= count) {
        if (m_raised.wait_until(lock, deadline) == std::cv_status::timeout) {
            return m_count > count;
        }
    }
    return true;
}

} // namespace arvenhold::corvel::hub::testkit
