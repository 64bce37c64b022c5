// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/write_watch.hpp"

#include <cmath>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// "Not a number" is equal to nothing, and yet a value that can be written and confirmed.
bool is_same(variable_value const& one, variable_value const& other) {
    auto const* const number = std::get_if<double>(&one);
    auto const* const other_number = std::get_if<double>(&other);
    if (number != nullptr && other_number != nullptr && std::isnan(*number)) {
        return std::isnan(*other_number);
    }
    return one == other;
}

} // namespace

write_watch::write_watch(std::string path, variable_value written)
    : m_path{std::move(path)}
    , m_written{std::move(written)} {}

std::string const& write_watch::get_path() const {
    return m_path;
}

void write_watch::see(variable_value const& value, bool published) {
    if (is_same(value, m_written)) {
        decide(write_outcome::confirmed);
    } else if (published) {
        decide(write_outcome::refused);
    }
}

void write_watch::give_up() {
    decide(write_outcome::not_confirmed);
}

void write_watch::decide(write_outcome outcome) {
    std::scoped_lock const lock{m_mutex};
    if (!m_outcome) {
        m_outcome = outcome;
        m_decided.notify_all();
    }
}

// Not analysed: the wait releases the lock.
write_outcome write_watch::wait(std::chrono::milliseconds limit)
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock{m_mutex};
    while (!m_outcome && m_decided.wait_until(lock, deadline) != std::cv_status::timeout) {
    }
    return m_outcome.value_or(write_outcome::not_confirmed);
}

} // namespace arvenhold::corvel::hub
