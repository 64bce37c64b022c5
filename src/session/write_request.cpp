// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/write_request.hpp>

#include "session/provider_session_impl.hpp"

#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

template <class Pending>
Pending& content_of(std::unique_ptr<Pending> const& held) {
    if (!held) {
        throw std::logic_error{"the write request was moved to another object"};
    }
    return *held;
}

} // namespace

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
    auto const& request = content_of(m_pending);
    return request.session->slots().get_path(request.variable);
}

variable_value const& any_write_request::get_wanted() const {
    return content_of(m_pending).wanted;
}

void any_write_request::accept() {
    accept_as(get_wanted());
}

void any_write_request::accept_as(variable_value value) {
    auto& request = content_of(m_pending);
    if (request.is_answered) {
        return;
    }
    request.session->slots().set(
        {request.variable, variable_quality::good, packed_value{std::move(value)}}, request.when);
    request.is_answered = true;
    request.session->send_changes();
}

void any_write_request::refuse(std::string_view reason) {
    auto& request = content_of(m_pending);
    if (!request.is_answered) {
        request.is_answered = true;
        request.session->refuse_write(request.variable, reason);
    }
}

} // namespace arvenhold::corvel::hub
