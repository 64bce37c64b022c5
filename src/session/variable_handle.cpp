// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/variable_handle.hpp>

#include "session/provider_session_impl.hpp"

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

any_variable_handle::any_variable_handle(
    std::shared_ptr<provider_session_impl> session, std::uint32_t position)
    : m_session{std::move(session)}
    , m_position{position} {}

provider_session_impl& any_variable_handle::session() const {
    if (!m_session) {
        throw std::logic_error{"the handle is of no variable"};
    }
    return *m_session;
}

void any_variable_handle::set(
    variable_value value, variable_quality quality, timestamp when) const {
    session().slots().set({m_position, quality, packed_value{std::move(value)}}, when);
    m_session->send_changes();
}

void any_variable_handle::set_quality(variable_quality quality, timestamp when) const {
    session().slots().set_quality(m_position, quality, when);
    m_session->send_changes();
}

variable_value any_variable_handle::get() const {
    return session().slots().get(m_position);
}

std::uint64_t any_variable_handle::get_dropped_changes() const {
    return session().slots().get_dropped_changes(m_position);
}

std::string any_variable_handle::get_path() const {
    return session().slots().get_path(m_position);
}

any_variable_handle::operator bool() const {
    return m_session != nullptr;
}

} // namespace arvenhold::corvel::hub
