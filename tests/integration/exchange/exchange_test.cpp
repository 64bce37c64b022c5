// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_test.hpp"

#include <algorithm>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

// The default verdict is fast enough to come before a provider on a busy machine waits for it.
dev::dev_hub_options unhurried_hub(std::chrono::milliseconds probe_interval) {
    dev::dev_hub_options options;
    options.registry.verdict_delay = std::chrono::milliseconds{50};
    options.registry.probe_interval = probe_interval;
    return options;
}

void apply(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* user_data) {
    auto& list = static_cast<offering*>(user_data)->list;
    for (auto const& [id, value] : command.entries) {
        list->write_variable(id, value, at_noon);
    }
    receiver.publish(at_noon);
}

} // namespace

exchange_test::exchange_test(std::chrono::milliseconds probe_interval)
    : hub{unhurried_hub(probe_interval)} {}

offering::offering(
    std::string const& identifier,
    definition_fingerprint fingerprint,
    std::vector<variable_definition_entry> const& entries)
    : sender{identifier} {
    offer(fingerprint, entries);
}

void offering::offer(
    definition_fingerprint fingerprint, std::vector<variable_definition_entry> const& entries) {
    provider_definition definition{fingerprint};
    definition.bulk_add_variable_definitions(entries);
    definition.finalize();
    list = sender.register_provider_definition(definition);
}

void offering::apply_writes() {
    sender.set_variables_written_callback(&apply, this);
}

variable_id offering::id_of(std::string const& path) const {
    auto const& variables = list->get_variables();
    auto const found = std::find_if(variables.begin(), variables.end(), [&](auto const& entry) {
        return entry.second->get_path() == path;
    });
    return found->first;
}

watcher::watcher(std::string const& name, bool read_only)
    : receiver{
        name,
        read_only,
        [](auto identifiers, consumer& /*receiver*/, void* user_data) {
            static_cast<watcher*>(user_data)->lists.add(*identifiers);
        },
        this} {}

std::shared_ptr<provider_connection> watcher::attach(std::string const& provider_id) {
    auto connection = receiver.attach_to_provider(provider_id);
    connection->set_event_callback(
        [](event what, provider_connection& /*connection*/, void* user_data) {
            static_cast<watcher*>(user_data)->events.add(what);
        },
        this);
    connection->set_variables_changed_callback(
        [](auto fingerprint, auto changed, provider_connection& /*connection*/, void* user_data) {
            static_cast<watcher*>(user_data)->changes.add({fingerprint, changed});
        },
        this);
    return connection;
}

consumer_variable& variable(provider_connection& connection, std::string const& path) {
    auto const variables = connection.get_current_variables().variables;
    for (auto const& [id, candidate] : *variables) {
        if (candidate->get_path() == path) {
            return *candidate;
        }
    }
    throw std::runtime_error{"the connection has no variable " + path};
}

variable_value value_of(provider_connection& connection, std::string const& path) {
    return std::get<variable_value>(variable(connection, path).get_value_with_timestamp());
}

std::vector<variable_quality> qualities(provider_connection& connection) {
    std::vector<variable_quality> found;
    for (auto const& [id, variable] : connection.get_current_variables()) {
        found.push_back(variable->get_quality());
    }
    return found;
}

} // namespace arvenhold::corvel::hub
