// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider/provider_impl.hpp"
#include <hub/provider.hpp>

namespace arvenhold::corvel::hub {

provider::provider(std::string const& id)
    : m_impl{std::make_shared<impl>(*this, id)} {}

provider::~provider() {
    m_impl->shut_down();
}

void provider::connect(
    std::string const& nats_url,
    std::string const& token_url,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) {
    m_impl->connect(nats_url, token_url, client_id, client_secret, options);
}

void provider::disconnect() {
    m_impl->disconnect();
}

bool provider::is_connected() {
    return m_impl->is_connected();
}

bool provider::is_definition_accepted() {
    return m_impl->is_definition_accepted();
}

std::shared_ptr<variable_list> provider::register_provider_definition(
    provider_definition& definition) {
    return m_impl->register_provider_definition(definition);
}

std::shared_ptr<variable_list> provider::get_variable_list() {
    return m_impl->get_variable_list();
}

definition_fingerprint provider::get_fingerprint() {
    return m_impl->get_fingerprint();
}

void provider::publish(timestamp when) {
    m_impl->publish(when);
}

void provider::force_publish_all(timestamp when) {
    m_impl->force_publish_all(when);
}

void provider::set_variables_written_callback(
    variables_written_callback callback, void* user_data) {
    m_impl->set_variables_written_callback(callback, user_data);
}

std::shared_ptr<provider_link> provider::link() const {
    return m_impl;
}

} // namespace arvenhold::corvel::hub
