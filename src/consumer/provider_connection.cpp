// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"

#include "consumer/consumer_impl.hpp"
#include <hub/provider_connection.hpp>

namespace arvenhold::corvel::hub {

// Lets create() use one allocation for the object and its reference count although the constructor
// is private.
struct provider_connection::provider_connection_construction_enabler : provider_connection {
    provider_connection_construction_enabler(std::string const& provider_id, consumer& owner)
        : provider_connection{provider_id, owner} {}
};

provider_connection::provider_connection(std::string const& provider_id, consumer& owner)
    : m_impl{std::make_unique<impl>(*this, provider_id, owner.m_impl->link())} {}

provider_connection::~provider_connection() {
    m_impl->disconnect();
}

std::shared_ptr<provider_connection> provider_connection::create(
    std::string const& provider_id, consumer& owner) {
    auto connection =
        std::make_shared<provider_connection_construction_enabler>(provider_id, owner);
    connection->m_impl->open(connection);
    return connection;
}

void provider_connection::read_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    m_impl->read_variables(fingerprint, ids);
}

void provider_connection::update_all_variables() {
    m_impl->update_all_variables();
}

void provider_connection::write_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    m_impl->write_variables(fingerprint, ids);
}

current_variables provider_connection::get_current_variables() {
    return m_impl->get_current_variables();
}

std::vector<variable_id> provider_connection::get_updated_variables_since(
    definition_fingerprint fingerprint, timestamp since) {
    return m_impl->get_updated_variables_since(fingerprint, since);
}

provider_connection_state provider_connection::get_state() {
    return m_impl->get_state();
}

std::string const& provider_connection::get_associated_provider_identifier() const {
    return m_impl->get_provider_identifier();
}

void provider_connection::set_event_callback(connection_event_callback callback, void* user_data) {
    m_impl->set_event_callback(callback, user_data);
}

void provider_connection::set_variables_changed_callback(
    variables_changed_callback callback, void* user_data) {
    m_impl->set_variables_changed_callback(callback, user_data);
}

void provider_connection::set_provider_availability(provider_connection_event event) {
    m_impl->set_provider_availability(event);
}

void provider_connection::set_fault_state() {
    m_impl->set_fault_state();
}

void provider_connection::request_provider_definition() {
    m_impl->request_provider_definition();
}

void provider_connection::disconnect() {
    m_impl->disconnect();
}

} // namespace arvenhold::corvel::hub
