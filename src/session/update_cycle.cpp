// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/update_cycle.hpp>

#include "session/provider_session_impl.hpp"

#include <stdexcept>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

struct update_cycle::changes {
    std::shared_ptr<provider_session_impl> session;
    timestamp when;
    std::vector<variable_change> list;
};

update_cycle::update_cycle(std::shared_ptr<provider_session_impl> session, timestamp when)
    : m_changes{std::make_unique<changes>(changes{std::move(session), when, {}})} {
    m_changes->list = m_changes->session->slots().make_list();
}

update_cycle::~update_cycle() = default;

void update_cycle::set(
    any_variable_handle const& variable, variable_value value, variable_quality quality) {
    if (&variable.session() != m_changes->session.get()) {
        throw std::logic_error{"the variable belongs to another session"};
    }
    m_changes->list.emplace_back(variable.m_position, quality, packed_value{std::move(value)});
}

void update_cycle::record() {
    m_changes->session->slots().set(std::move(m_changes->list), m_changes->when);
    m_changes->session->send_changes();
}

} // namespace arvenhold::corvel::hub
