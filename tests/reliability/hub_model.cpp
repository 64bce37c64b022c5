// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/hub_model.hpp"

#include <iterator>

namespace arvenhold::corvel::hub::reliability {

namespace {

std::string bracketed(variable_id id) {
    auto const digits = std::to_string(id);
    return '[' + std::string(10 - digits.size(), ' ') + digits + "] ";
}

outcome index_invalid(variable_id id, std::string_view function) {
    return {
        "variable_index_invalid",
        bracketed(id) + "used in function " + std::string{function}
            + ": this variable index is invalid"};
}

outcome variable_read_only(variable_id id) {
    return {
        "variable_read_only", bracketed(id) + "cannot write new value: this variable is read-only"};
}

outcome type_incompatible(
    variable_id id, variable_value const& offered, variable_model const& variable) {
    return {
        "incompatible_data_type",
        bracketed(id) + "set_value(): incompatible source data type (source type index: "
            + std::to_string(offered.index())
            + ", dest type index: " + std::to_string(variable.value->index()) + ")"};
}

// The initial value of a consumer's variable; empty for a point in time, because that is the time
// of decoding.
std::optional<variable_value> initial_value_like(variable_value const& value) {
    switch (value.index()) {
    case 0:
        return false;
    case 1:
        return 0.0;
    case 2:
        return std::int64_t{0};
    case 3:
        return std::string{};
    case 4:
        return std::nullopt;
    default:
        return std::chrono::nanoseconds{0};
    }
}

void mark_bad(variable_models& variables) {
    for (auto& [id, variable] : variables) {
        variable.quality = variable_quality::bad;
    }
}

void mark_stale(list_model& list) {
    mark_bad(list.variables);
    for (auto& [id, variable] : list.variables) {
        variable.when.reset();
    }
    list.pending.clear();
    list.is_stale = true;
}

outcome set_value(list_model& list, new_value const& change, timestamp when) {
    auto const& [id, value] = change;
    auto& variable = list.variables.at(id);
    if (variable.value->index() != value.index()) {
        return type_incompatible(id, value, variable);
    }
    variable.value = value;
    variable.when = when;
    list.pending.insert(id);
    return {};
}

void set_quality_of(list_model& list, new_quality const& change, timestamp when) {
    auto const& [id, quality] = change;
    list.variables.at(id).quality = quality;
    list.variables.at(id).when = when;
    list.pending.insert(id);
}

void fault(connection_model& connection) {
    connection.state = provider_connection_state::faulted;
    mark_bad(connection.variables);
}

void disconnect(connection_model& connection) {
    connection = {provider_connection_state::disconnected, 0, {}, {}};
}

} // namespace

std::vector<variable_id> list_model::ids() const {
    std::vector<variable_id> all;
    for (auto const& [id, variable] : variables) {
        all.push_back(id);
    }
    return all;
}

bool connection_model::is_live() const {
    return state == provider_connection_state::connected
        || state == provider_connection_state::provider_unavailable;
}

hub_model::hub_model(std::string provider_identifier, std::string consumer_name)
    : m_provider_identifier{std::move(provider_identifier)}
    , m_consumer_name{std::move(consumer_name)} {}

// -- texts ----------------------------------------------------------------------------------------

outcome hub_model::provider_state_invalid(std::string_view detail) const {
    return {
        "operational_state_invalid",
        "Provider " + m_provider_identifier + ": " + std::string{detail} + '\n'};
}

outcome hub_model::provider_not_connected(std::string_view operation) const {
    return {
        "connection_failed",
        "Provider " + m_provider_identifier + ": failed to " + std::string{operation}
            + (m_provider.has_failed
                   ? ": connection to the NATS server has failed, attempt to disconnect and "
                     "re-connect to re-establish the connection.\n"
                   : ": not connected to the NATS server\n")};
}

outcome hub_model::connection_state_invalid(std::string_view detail) const {
    return {
        "operational_state_invalid",
        "Consumer " + m_consumer_name + " -> connection to provider " + m_provider_identifier + ": "
            + std::string{detail} + ": provider connection is not in connected state"};
}

outcome hub_model::mismatch(
    definition_fingerprint expected, definition_fingerprint received) const {
    return {
        "provider_definition_mismatch",
        "Consumer " + m_consumer_name + " -> connection to provider " + m_provider_identifier
            + ": provider definition mismatch.\nExpected fingerprint: " + std::to_string(expected)
            + ", got " + std::to_string(received) + " instead."};
}

// -- the provider's application -------------------------------------------------------------------

outcome hub_model::connect_provider() {
    if (m_provider.is_connected) {
        return {};
    }
    m_provider.is_connected = true;
    m_provider.has_failed = false;
    if (!m_provider.is_registered) {
        return {};
    }
    auto verdict = announce_definition();
    if (verdict.succeeded()) {
        auto const sent = m_provider.list->pending;
        m_provider.list->pending.clear();
        // A consumer reads the variables at the same time; which time stamp stays is not
        // determined.
        receive_changes(sent, std::nullopt);
    }
    return verdict;
}

outcome hub_model::connect_provider_with_wrong_secret() {
    if (m_provider.is_connected) {
        return {};
    }
    m_provider.has_failed = true;
    return {"connection_failed", {}};
}

void hub_model::disconnect_provider() {
    if (m_provider.is_connected || m_provider.has_failed) {
        forget_registration();
    }
}

void hub_model::forget_registration() {
    if (m_provider.list) {
        mark_stale(*m_provider.list);
    }
    m_provider = {};
    if (m_registry.lists_provider) {
        m_registry.lists_provider = false;
        send_providers();
    }
}

void hub_model::replace_provider() {
    if (m_provider.is_connected) {
        forget_registration();
    }
    m_provider = {};
    for (auto const& [fingerprint, list] : m_lists) {
        list->is_orphaned = true;
    }
}

outcome hub_model::register_open_definition() {
    return provider_state_invalid("cannot register non-finalized provider definition");
}

outcome hub_model::register_definition(std::shared_ptr<list_model> list) {
    if (m_provider.list) {
        mark_stale(*m_provider.list);
    }
    m_lists[list->fingerprint] = list;
    m_provider.list = std::move(list);
    m_provider.is_registered = true;
    return m_provider.is_connected ? announce_definition() : outcome{};
}

outcome hub_model::announce_definition() {
    auto const fingerprint = m_provider.list->fingerprint;
    ++m_registry.definitions_received;
    if (m_registry.rejects) {
        m_provider.is_registered = false;
        receive_definition_event();
        return {
            "invalid_provider_definition",
            "Provider " + m_provider_identifier
                + ": published an invalid provider definition with fingerprint: "
                + std::to_string(fingerprint)
                + ". Check variable identifier syntax rules and try again\n"};
    }
    m_registry.known = fingerprint;
    receive_definition_event();
    if (!m_registry.lists_provider) {
        m_registry.lists_provider = true;
        send_providers();
    }
    return {};
}

outcome hub_model::publish(timestamp when) {
    if (!m_provider.is_connected) {
        return provider_not_connected("publish variables");
    }
    if (!m_provider.is_registered) {
        return provider_state_invalid("cannot publish, no provider definition registered");
    }
    send_changes(when);
    return {};
}

outcome hub_model::force_publish_all(timestamp when) {
    if (!m_provider.is_connected) {
        return provider_not_connected("force-publish variables");
    }
    if (!m_provider.is_registered) {
        return provider_state_invalid("cannot force-publish, no provider definition registered");
    }
    mark_all_variables_pending(*m_provider.list);
    send_changes(when);
    return {};
}

void hub_model::send_changes(timestamp when) {
    auto const sent = std::exchange(m_provider.list->pending, {});
    receive_changes(sent, when);
}

std::optional<outcome> hub_model::why_not_current(list_model const& list) const {
    if (list.is_orphaned) {
        return provider_state_invalid("variable list cannot be changed, its provider is gone");
    }
    if (!list.is_stale) {
        return std::nullopt;
    }
    if (!m_provider.is_registered) {
        return provider_state_invalid("cannot get fingerprint, no provider definition registered");
    }
    return outcome{
        "variable_list_outdated",
        "Provider " + m_provider_identifier
            + ": variable list is outdated:\nAssociated fingerprint: "
            + std::to_string(list.fingerprint)
            + "\nProvider's current fingerprint: " + std::to_string(m_provider.list->fingerprint)
            + "\nReplace this variable list with the new one that is now current for the "
              "associated provider\n"};
}

outcome hub_model::publish(list_model& list, new_value const& change, timestamp when) {
    if (auto const reason = why_not_current(list)) {
        return *reason;
    }
    if (!list.variables.contains(std::get<variable_id>(change))) {
        return index_invalid(std::get<variable_id>(change), "publish()");
    }
    auto recorded = set_value(list, change, when);
    return recorded.succeeded() ? publish(when) : recorded;
}

outcome hub_model::bulk_publish(
    list_model& list, std::vector<new_value> const& changes, timestamp when) {
    if (auto const reason = why_not_current(list)) {
        return *reason;
    }
    for (auto const& change : changes) {
        if (!list.variables.contains(std::get<variable_id>(change))) {
            return index_invalid(std::get<variable_id>(change), "bulk_publish()");
        }
        auto recorded = set_value(list, change, when);
        if (!recorded.succeeded()) {
            return recorded;
        }
    }
    return publish(when);
}

outcome hub_model::set_quality(list_model& list, new_quality const& change, timestamp when) {
    if (auto const reason = why_not_current(list)) {
        return *reason;
    }
    if (!list.variables.contains(std::get<variable_id>(change))) {
        return index_invalid(std::get<variable_id>(change), "set_quality()");
    }
    set_quality_of(list, change, when);
    return {};
}

outcome hub_model::bulk_set_quality(
    list_model& list, std::vector<new_quality> const& changes, timestamp when) {
    if (auto const reason = why_not_current(list)) {
        return *reason;
    }
    for (auto const& change : changes) {
        if (!list.variables.contains(std::get<variable_id>(change))) {
            return index_invalid(std::get<variable_id>(change), "bulk_set_quality()");
        }
        set_quality_of(list, change, when);
    }
    return publish(when);
}

outcome hub_model::write_variable(list_model& list, new_value const& change, timestamp when) const {
    if (list.is_orphaned) {
        return provider_state_invalid("variable list cannot be changed, its provider is gone");
    }
    auto const id = std::get<variable_id>(change);
    if (!list.variables.contains(id)) {
        return index_invalid(id, "write_variable()");
    }
    if (list.read_only.contains(id)) {
        return variable_read_only(id);
    }
    return set_value(list, change, when);
}

void hub_model::mark_all_variables_pending(list_model& list) {
    for (auto const& [id, variable] : list.variables) {
        list.pending.insert(id);
    }
}

// -- the registry ---------------------------------------------------------------------------------

void hub_model::reject_definitions() {
    m_registry.rejects = true;
}

void hub_model::judge_normally() {
    m_registry.rejects = false;
}

void hub_model::withdraw_definition() {
    m_registry.known.reset();
    m_uncertain = true; // the provider gets the event, too
    auto const& connection = m_consumer.attached;
    if (connection && connection->state == provider_connection_state::connected) {
        *connection = {provider_connection_state::connected, 0, {}, {}};
    }
}

void hub_model::forget_provider() {
    m_registry.known.reset();
    if (m_registry.lists_provider) {
        m_registry.lists_provider = false;
        send_providers();
    }
}

void hub_model::restart_registry() {
    m_registry.known.reset();
    m_registry.lists_provider = false; // consumers are notified later
    // If the provider answers late, the consumer is notified of a loss first.
    m_uncertain = true;
    if (m_provider.is_connected && m_provider.is_registered) {
        static_cast<void>(announce_definition());
    }
    send_providers();
}

void hub_model::send_providers() {
    if (!m_consumer.is_connected) {
        return;
    }
    m_consumer.sees_provider = m_registry.lists_provider;
    if (!m_consumer.attached) {
        return;
    }
    auto& connection = *m_consumer.attached;
    if (!m_registry.lists_provider) {
        m_consumer.has_lost_provider = true;
        if (connection.is_live()) {
            connection.state = provider_connection_state::provider_unavailable;
            mark_bad(connection.variables);
        }
    } else if (std::exchange(m_consumer.has_lost_provider, false) && connection.is_live()) {
        connection.state = provider_connection_state::connected;
        static_cast<void>(fetch_definition(connection));
    }
}

// -- the consumer's application -------------------------------------------------------------------

outcome hub_model::connect_consumer() {
    if (!m_consumer.is_connected) {
        m_consumer.is_connected = true;
        m_consumer.sees_provider = m_registry.lists_provider;
    }
    return {};
}

outcome hub_model::connect_consumer_with_wrong_secret() const {
    return m_consumer.is_connected ? outcome{} : outcome{"connection_failed", {}};
}

void hub_model::disconnect_consumer() {
    if (!m_consumer.is_connected) {
        return;
    }
    if (m_consumer.attached) {
        disconnect(*m_consumer.attached);
    }
    m_consumer = {false, m_consumer.is_read_only, std::nullopt, false, nullptr};
}

void hub_model::replace_consumer(bool read_only) {
    disconnect_consumer();
    m_consumer = {false, read_only, false, false, nullptr};
}

outcome hub_model::attach() {
    if (m_consumer.attached) {
        m_connection = m_consumer.attached;
        return {};
    }
    if (!m_consumer.is_connected) {
        return {
            "operational_state_invalid",
            "Consumer " + m_consumer_name
                + ": cannot set up a connection with a provider: not currently connected to the "
                  "corvel-hub\n"};
    }
    auto const made = std::make_shared<connection_model>();
    auto fetched = fetch_definition(*made);
    if (fetched.succeeded()) {
        m_consumer.attached = made;
        m_connection = made;
    }
    return fetched;
}

outcome hub_model::fetch_definition(connection_model& connection) {
    if (!m_registry.known) {
        fault(connection);
        return {
            "serialization_fault",
            "Consumer " + m_consumer_name
                + ": encountered invalid serialized data for operation: de-serialize provider "
                  "definition: message data (provider_definition_reply) nullptr\n"};
    }
    adopt(connection, *m_registry.known);
    auto all_read = read(connection, connection.fingerprint, {});
    if (!all_read.succeeded()) {
        fault(connection);
    }
    return all_read;
}

void hub_model::adopt(connection_model& connection, definition_fingerprint fingerprint) {
    if (connection.fingerprint == fingerprint) {
        return;
    }
    auto const& defined = *m_lists.at(fingerprint);
    connection.fingerprint = fingerprint;
    connection.read_only = defined.read_only;
    connection.variables.clear();
    for (auto const& [id, variable] : defined.variables) {
        connection.variables[id] = {
            initial_value_like(*variable.value), variable_quality::good, timestamp{}};
    }
}

// No ids: all of them.
outcome hub_model::read(
    connection_model& connection,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids) {
    if (connection.state != provider_connection_state::connected) {
        return connection_state_invalid("cannot read variables from provider");
    }
    if (fingerprint != connection.fingerprint) {
        return mismatch(connection.fingerprint, fingerprint);
    }
    if (!m_provider.is_connected) {
        fault(connection);
        return {
            "connection_failed",
            "Consumer " + m_consumer_name
                + ": failed to read variables from a provider (related sujbect: v1.loc."
                + m_provider_identifier
                + ".vars.qry.read), NATS returns: 34 = No responders available for request\n"};
    }
    auto const& provided = *m_provider.list;
    if (provided.fingerprint != fingerprint) {
        return mismatch(fingerprint, provided.fingerprint);
    }
    for (auto const id : ids.empty() ? provided.ids() : ids) {
        if (auto const found = provided.variables.find(id); found != provided.variables.end()) {
            connection.variables.at(id) = found->second;
        }
    }
    return {};
}

outcome hub_model::set_local_value(new_value const& change, timestamp when) {
    auto const& [id, value] = change;
    auto& variable = m_connection->variables.at(id);
    if (m_connection->read_only.contains(id)) {
        return variable_read_only(id);
    }
    if (variable.value->index() != value.index()) {
        return type_incompatible(id, value, variable);
    }
    variable.value = value;
    variable.when = when;
    return {};
}

outcome hub_model::read_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    return read(*m_connection, fingerprint, ids);
}

outcome hub_model::update_all_variables() {
    return read(*m_connection, m_connection->fingerprint, {});
}

outcome hub_model::write_variables(
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids,
    timestamp applied_when) {
    auto& connection = *m_connection;
    if (connection.state != provider_connection_state::connected) {
        return connection_state_invalid("cannot write variables into provider");
    }
    if (fingerprint != connection.fingerprint) {
        return mismatch(connection.fingerprint, fingerprint);
    }
    if (m_consumer.is_read_only) {
        return {
            "variable_read_only",
            "Consumer " + m_consumer_name + " -> connection to provider " + m_provider_identifier
                + ": cannot write variable data to provider, this consumer has read-only "
                  "permissions"};
    }
    for (auto const id : ids) {
        if (!connection.variables.contains(id)) {
            fault(connection);
            return index_invalid(id, "serialize_write_command()");
        }
    }
    apply_command(connection, ids, applied_when);
    return {};
}

// The provider's application applies the values up to the first that is refused, and publishes.
void hub_model::apply_command(
    connection_model const& connection,
    std::vector<variable_id> const& ids,
    timestamp applied_when) {
    if (!m_provider.list || m_provider.list->fingerprint != connection.fingerprint) {
        return;
    }
    ++m_counts.commands;
    for (auto const id : ids) {
        new_value const change{id, *connection.variables.at(id).value};
        if (!write_variable(*m_provider.list, change, applied_when).succeeded()) {
            break;
        }
    }
    static_cast<void>(publish(applied_when));
}

outcome hub_model::request_provider_definition() {
    if (m_connection->state != provider_connection_state::connected) {
        return connection_state_invalid("query the provider definition from provider failed");
    }
    return fetch_definition(*m_connection);
}

void hub_model::disconnect_connection() {
    disconnect(*m_connection);
}

void hub_model::fault_connection() {
    fault(*m_connection);
}

void hub_model::publish_during_a_read(list_model& list, new_value const& change, timestamp when) {
    auto const sent_along = list.pending;
    static_cast<void>(read(*m_connection, list.fingerprint, {}));
    static_cast<void>(publish(list, change, when));
    // The event has one time for all, the reply has each variable's own; which one stays is not
    // determined.
    for (auto const id : sent_along) {
        if (id != std::get<variable_id>(change)) {
            m_connection->variables.at(id).when.reset();
        }
    }
}

// -- what reaches the consumer --------------------------------------------------------------------

void hub_model::repeat_definition_event() {
    auto& connection = *m_consumer.attached;
    ++m_counts.definition_updates;
    static_cast<void>(read(connection, connection.fingerprint, {}));
}

void hub_model::receive_quality_alone(new_quality const& change) {
    auto const& [id, quality] = change;
    auto& variable = m_consumer.attached->variables.at(id);
    variable.quality = quality;
    variable.when = timestamp{};
}

// The event carries the definition whether the registry has accepted it or not.
void hub_model::receive_definition_event() {
    auto const& connection = m_consumer.attached;
    if (!connection || !connection->is_live()) {
        return;
    }
    if (connection->state == provider_connection_state::provider_unavailable) {
        m_uncertain = true;
        return;
    }
    adopt(*connection, m_provider.list->fingerprint);
    static_cast<void>(read(*connection, connection->fingerprint, {}));
    ++m_counts.definition_updates;
}

void hub_model::receive_changes(std::set<variable_id> const& ids, std::optional<timestamp> when) {
    auto const& connection = m_consumer.attached;
    if (!connection || !connection->is_live()
        || connection->fingerprint != m_provider.list->fingerprint) {
        return;
    }
    for (auto const id : ids) {
        auto const& sent = m_provider.list->variables.at(id);
        connection->variables.at(id) = {sent.value, sent.quality, when};
    }
    if (ids.empty()) {
        ++m_counts.empty_changes;
    }
}

// -- what can be seen -----------------------------------------------------------------------------

hub_model::provider_state const& hub_model::get_provider() const {
    return m_provider;
}

hub_model::registry_state const& hub_model::get_registry() const {
    return m_registry;
}

hub_model::consumer_state const& hub_model::get_consumer() const {
    return m_consumer;
}

hub_model::callback_counts const& hub_model::get_counts() const {
    return m_counts;
}

std::shared_ptr<connection_model> const& hub_model::get_connection() const {
    return m_connection;
}

bool hub_model::attaching_takes_long() const {
    return m_consumer.is_connected && !m_consumer.attached && m_registry.known
        && m_provider.is_connected && !m_provider.list;
}

bool hub_model::take_uncertainty() {
    return std::exchange(m_uncertain, false);
}

} // namespace arvenhold::corvel::hub::reliability
