// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/provider_session.hpp>

#include "session/provider_session_impl.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

provider_session::provider_session(
    std::string const& identifier, hub_access access, session_settings const& settings)
    : m_impl{std::make_shared<provider_session_impl>(identifier, std::move(access), settings)} {}

provider_session::~provider_session() {
    m_impl->stop();
}

any_variable_handle provider_session::declare_any(
    std::string const& path,
    variable_value initial,
    variable_permissions permissions,
    write_handler handler) {
    return m_impl->declare(path, std::move(initial), permissions, std::move(handler));
}

void provider_session::answer(bool accepts, any_write_request& request) {
    if (accepts) {
        request.accept();
    } else {
        request.refuse("the application does not accept the value");
    }
}

void provider_session::keep_changes(any_variable_handle const& variable, std::size_t limit) {
    m_impl->keep_changes(variable, limit);
}

void provider_session::set_write_handler(write_handler handler) {
    m_impl->set_write_handler(std::move(handler));
}

void provider_session::set_status_handler(status_handler handler) {
    m_impl->set_status_handler(std::move(handler));
}

void provider_session::start() {
    m_impl->start();
}

void provider_session::stop() {
    m_impl->stop();
}

bool provider_session::wait_until_ready(std::chrono::milliseconds limit) const {
    return m_impl->wait_until_ready(limit);
}

session_status provider_session::get_status() const {
    return m_impl->get_status();
}

any_variable_handle provider_session::find(std::string const& path) const {
    return m_impl->find(path);
}

std::uint32_t provider_session::content_hash() const {
    return m_impl->slots().get_content_hash();
}

int provider_session::get_dispatch_descriptor() const {
    return m_impl->handlers().get_descriptor();
}

std::size_t provider_session::dispatch() {
    auto const kept = m_impl; // a handler may destroy this object
    return kept->handlers().dispatch();
}

} // namespace arvenhold::corvel::hub
