// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/world.hpp"

#include "support/await.hpp"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

namespace {

constexpr std::size_t type_count = std::variant_size_v<variable_value>;
constexpr std::size_t writable_position = 2; // an int64

timestamp now() {
    return std::chrono::system_clock::now();
}

} // namespace

variable_value value_for(std::size_t position, std::uint64_t round) {
    auto const number = static_cast<std::int64_t>(round * 1000 + position);
    switch (position % type_count) {
    case 0:
        return number % 2 == 0;
    case 1:
        return static_cast<double>(number) / 3;
    case 2:
        return number;
    case 3:
        return "text " + std::to_string(number);
    case 4:
        return timestamp{std::chrono::nanoseconds{number}};
    default:
        return std::chrono::nanoseconds{std::chrono::microseconds{number}};
    }
}

void fill(provider_definition& definition, std::size_t variables) {
    for (std::size_t position = 0; position < variables; ++position) {
        definition.add_variable_definition(
            "group/variable-" + std::to_string(position),
            value_for(position, 0),
            variable_permissions::read_write);
    }
    definition.finalize();
}

bool is_equal(variable_list& provided, provider_connection& consumed) {
    auto const current = consumed.get_current_variables();
    if (!current.variables || current.variables->size() != provided.get_variables().size()) {
        return false;
    }
    return std::ranges::all_of(provided.get_variables(), [&current](auto const& entry) {
        auto const& [id, original] = entry;
        auto const copy = current.variables->find(id);
        return copy != current.variables->end()
            && original->get_quality() == copy->second->get_quality()
            && original->get_value_with_timestamp() == copy->second->get_value_with_timestamp();
    });
}

providing_application::providing_application(
    dev::dev_hub& hub, std::string const& identifier, std::size_t variables)
    : m_hub{hub}
    , m_variables{variables}
    , m_fingerprint{variables}
    , m_provider{identifier} {
    m_provider.set_variables_written_callback(&apply_command, nullptr);
    await([this] { return start(); }, patience);
}

bool providing_application::start() {
    provider_definition definition{m_fingerprint};
    fill(definition, m_variables);
    try {
        m_list = m_provider.register_provider_definition(definition);
        connect(m_provider, m_hub);
    } catch (std::exception const&) {
        return false;
    }
    return true;
}

void providing_application::apply_command(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* /*user_data*/) {
    // One time for both: consumers see the event's time as that of the value.
    auto const when = now();
    auto const list = receiver.get_variable_list();
    for (auto const& [id, value] : command.entries) {
        list->write_variable(id, value, when);
    }
    receiver.publish(when);
}

bool providing_application::publish_all() {
    ++m_round;
    std::vector<std::tuple<variable_id, variable_value>> values;
    std::size_t position = 0;
    for (auto const& [id, variable] : m_list->get_variables()) {
        values.emplace_back(id, value_for(position, m_round));
        ++position;
    }
    try {
        m_list->bulk_publish(std::move(values), now());
        return true;
    } catch (std::exception const&) {
        m_provider.disconnect();
        ++m_recoveries;
        start();
        return false;
    }
}

provider& providing_application::get_provider() {
    return m_provider;
}

variable_list& providing_application::get_list() {
    return *m_list;
}

std::uint64_t providing_application::get_recoveries() const {
    return m_recoveries;
}

consuming_application::consuming_application(
    dev::dev_hub& hub, std::string const& name, std::string provider_identifier)
    : m_hub{hub}
    , m_provider_identifier{std::move(provider_identifier)}
    , m_consumer{name, false, nullptr, nullptr} {
    await([this] { return start(); }, patience);
}

bool consuming_application::start() {
    try {
        connect(m_consumer, m_hub);
        m_connection = m_consumer.attach_to_provider(m_provider_identifier);
    } catch (std::exception const&) {
        return false;
    }
    return true;
}

bool consuming_application::read_and_write() {
    try {
        auto const current = m_connection->get_current_variables();
        m_connection->update_all_variables();
        auto const chosen = std::next(current.variables->begin(), writable_position);
        chosen->second->set_value(++m_written, now());
        m_connection->write_variables(current.fingerprint, {chosen->first});
        return true;
    } catch (std::exception const&) {
        auto const state = m_connection->get_state();
        if (state == provider_connection_state::faulted
            || state == provider_connection_state::disconnected) {
            m_consumer.disconnect();
            ++m_recoveries;
            start();
        }
        return false;
    }
}

consumer& consuming_application::get_consumer() {
    return m_consumer;
}

provider_connection& consuming_application::get_connection() {
    return *m_connection;
}

std::uint64_t consuming_application::get_recoveries() const {
    return m_recoveries;
}

} // namespace arvenhold::corvel::hub::reliability
