// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/freshness_record.hpp"

namespace arvenhold::corvel::hub {

freshness_record::loss_count freshness_record::count_losses() const {
    return m_losses;
}

void freshness_record::finish_reading(loss_count begun) {
    m_live = m_live || begun == m_losses;
}

bool freshness_record::lose(clock::time_point now) {
    ++m_losses; // also while stale: a read may be in flight
    if (!m_live) {
        return false;
    }
    m_live = false;
    m_stale_since = now;
    return true;
}

bool freshness_record::is_live() const {
    return m_live;
}

bool freshness_record::is_live_since(loss_count losses) const {
    return m_live && losses == m_losses;
}

freshness_record::clock::time_point freshness_record::get_stale_since() const {
    return m_stale_since;
}

} // namespace arvenhold::corvel::hub
