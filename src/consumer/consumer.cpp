// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/consumer_impl.hpp"
#include <hub/consumer.hpp>

namespace arvenhold::corvel::hub {

consumer::consumer(
    std::string const& name,
    bool read_only,
    providers_changed_callback providers_changed,
    void* user_data)
    : m_impl{std::make_shared<impl>(*this, name, read_only, providers_changed, user_data)} {}

consumer::~consumer() {
    m_impl->shut_down();
}

void consumer::connect(
    std::string const& nats_url,
    std::string const& token_endpoint,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) {
    m_impl->connect(nats_url, token_endpoint, client_id, client_secret, options);
}

void consumer::disconnect() {
    m_impl->disconnect();
}

bool consumer::is_connected() {
    return m_impl->is_connected();
}

std::shared_ptr<std::set<std::string>> consumer::get_provider_identifiers() {
    return m_impl->get_provider_identifiers();
}

std::shared_ptr<provider_connection> consumer::attach_to_provider(std::string const& provider_id) {
    return m_impl->attach_to_provider(provider_id);
}

} // namespace arvenhold::corvel::hub
