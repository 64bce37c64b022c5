// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/write_request.hpp>

#include "session/provider_session_impl.hpp"

#include <exception>
#include <utility>

namespace arvenhold::corvel::hub {

any_write_request::any_write_request(std::unique_ptr<pending> request)
    : m_pending{std::move(request)} {}

any_write_request::any_write_request(any_write_request&&) noexcept = default;

any_write_request& any_write_request::operator=(any_write_request&& other) noexcept {
    any_write_request taken{std::move(other)};
    m_pending.swap(taken.m_pending); // what this one held is refused here
    return *this;
}

any_write_request::~any_write_request() {
    try {
        if (m_pending) {
            refuse("it was not answered");
        }
    } catch (std::exception const&) { // NOLINT(bugprone-empty-catch): no memory for the report
    }
}

std::string any_write_request::get_path() const {
    return m_pending->session->slots().get_path(m_pending->variable);
}

variable_value const& any_write_request::get_wanted() const {
    return m_pending->wanted;
}

void any_write_request::accept() {
    accept_as(m_pending->wanted);
}

void any_write_request::accept_as(variable_value value) {
    if (m_pending->is_answered) {
        return;
    }
    auto& session = *m_pending->session;
    session.slots().set(
        {m_pending->variable, variable_quality::good, packed_value{std::move(value)}},
        m_pending->when);
    m_pending->is_answered = true;
    session.send_changes();
}

void any_write_request::refuse(std::string_view reason) {
    if (!m_pending->is_answered) {
        m_pending->is_answered = true;
        m_pending->session->refuse_write(m_pending->variable, reason);
    }
}

} // namespace arvenhold::corvel::hub
