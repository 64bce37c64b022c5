// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/following.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

following::following(
    interest wanted, std::size_t limit, std::shared_ptr<present_section const> section)
    : m_wanted{std::move(wanted)}
    , m_limit{limit}
    , m_section{std::move(section)}
    , m_latest_handlers{m_handlers.get()} {}

following::interest const& following::get_interest() const {
    return m_wanted;
}

bool following::keeps_every_change() const {
    return m_limit != 0;
}

void following::set_handlers(handlers called) {
    auto const has_any = called.single || called.batch;
    std::shared_ptr<handlers const> replaced = std::make_shared<handlers>(std::move(called));
    std::scoped_lock const lock{m_mutex};
    if (!m_is_closed) {
        m_has_handler = has_any;
        m_handlers.swap(replaced); // the old ones go after the lock
        m_latest_handlers = m_handlers.get();
    }
}

void following::close() {
    auto dropped = m_no_handlers;
    std::scoped_lock const lock{m_mutex};
    m_is_closed = true;
    m_has_handler = false;
    m_handlers.swap(dropped); // the old ones go after the lock
    m_latest_handlers = m_handlers.get();
}

std::shared_ptr<following::handlers const> following::get_handlers() const {
    std::scoped_lock const lock{m_mutex};
    return m_handlers;
}

bool following::has(std::shared_ptr<handlers const> const& held) const {
    return m_latest_handlers == held.get();
}

void following::add(
    followed_provider& provider,
    waiting_changes::loss_count losses,
    std::span<waiting_change> event) {
    std::scoped_lock const lock{m_mutex};
    m_has_waiting = true;
    m_waiting.changes.add(provider, losses, *m_section, event);
    while (m_limit != 0 && m_waiting.changes.size() > m_limit) {
        m_waiting.changes.drop_oldest();
        ++m_waiting.dropped;
    }
}

void following::add_dropped(std::uint64_t count) {
    std::scoped_lock const lock{m_mutex};
    m_waiting.dropped += count;
}

bool following::has_handler() const {
    return m_has_handler;
}

bool following::has_waiting() const {
    return m_has_waiting;
}

void following::take(waiting_changes::section_number last, waiting& taken) {
    taken.changes.clear();
    taken.dropped = 0;
    std::scoped_lock const lock{m_mutex};
    m_waiting.changes.take_section(last, taken.changes);
    m_has_waiting = m_waiting.changes.size() > 0;
    if (taken.changes.size() > 0) {
        taken.dropped = std::exchange(m_waiting.dropped, 0);
    }
}

} // namespace arvenhold::corvel::hub
