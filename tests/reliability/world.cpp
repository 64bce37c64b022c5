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
constexpr std::uint32_t definition_version = 1;

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

void fill(provider_definition& definition, std::size_t variables, std::uint64_t round) {
    for (std::size_t position = 0; position < variables; ++position) {
        definition.add_variable_definition(
            "group/variable-" + std::to_string(position),
            value_for(position, round),
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

longest_calls::measurement::measurement(std::chrono::milliseconds& longest)
    : m_longest{longest} {}

longest_calls::measurement::~measurement() {
    m_longest = std::max(
        m_longest,
        std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - m_begin));
}

known_servers::known_servers(dev::dev_hub& hub, std::vector<std::string> urls)
    : m_hub{hub}
    , m_urls{urls.empty() ? std::vector{hub.get_nats_server().get_url()} : std::move(urls)} {}

providing_application::providing_application(
    dev::dev_hub& hub,
    std::string const& identifier,
    std::size_t variables,
    std::vector<std::string> servers)
    : m_servers{hub, std::move(servers)}
    , m_variables{variables}
    , m_provider{identifier} {
    m_provider.set_variables_written_callback(&apply_command, nullptr);
    await([this] { return start(); }, patience);
}

bool providing_application::start() {
    provider_definition definition{make_fingerprint(definition_version)};
    fill(definition, m_variables);
    try {
        m_list = m_provider.register_provider_definition(definition);
        m_calls.measure("provider::connect", [this] { m_servers.connect(m_provider); });
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
    // One time stamp for both: consumers give the value the time stamp of the event.
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
        m_calls.measure("publish", [&] { m_list->bulk_publish(std::move(values), now()); });
        return true;
    } catch (std::exception const&) {
        m_calls.measure("provider::disconnect", [this] { m_provider.disconnect(); });
        m_recoveries += start() ? 1U : 0U;
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

longest_calls const& providing_application::get_longest_calls() const {
    return m_calls;
}

consuming_application::consuming_application(
    dev::dev_hub& hub,
    std::string const& name,
    std::string provider_identifier,
    std::vector<std::string> servers)
    : m_servers{hub, std::move(servers)}
    , m_provider_identifier{std::move(provider_identifier)}
    , m_consumer{name, false, nullptr, nullptr} {
    await([this] { return start(); }, patience);
}

bool consuming_application::start() {
    try {
        m_calls.measure("consumer::connect", [this] { m_servers.connect(m_consumer); });
        m_connection = m_calls.measure(
            "attach", [this] { return m_consumer.attach_to_provider(m_provider_identifier); });
    } catch (std::exception const&) {
        return false;
    }
    return true;
}

// Recovers if `work` fails and leaves the connection in a final state.
template <class Work>
bool consuming_application::attempt(Work work) {
    try {
        work();
        return true;
    } catch (std::exception const&) {
        auto const state = m_connection->get_state();
        if (state == provider_connection_state::faulted
            || state == provider_connection_state::disconnected) {
            m_calls.measure("consumer::disconnect", [this] { m_consumer.disconnect(); });
            m_recoveries += start() ? 1U : 0U;
        }
        return false;
    }
}

bool consuming_application::read_and_write() {
    return attempt([this] {
        auto const current = m_connection->get_current_variables();
        read_or_follow_definition();
        auto const chosen = std::next(current.variables->begin(), writable_position);
        chosen->second->set_value(++m_written, now());
        m_calls.measure(
            "write", [&] { m_connection->write_variables(current.fingerprint, {chosen->first}); });
    });
}

// The consumer may have missed the event about a new definition.
void consuming_application::read_or_follow_definition() {
    try {
        m_calls.measure("read", [this] { m_connection->update_all_variables(); });
    } catch (provider_definition_mismatch const&) {
        m_connection->request_provider_definition();
        throw;
    }
}

bool consuming_application::request_definition() {
    return attempt([this] { m_connection->request_provider_definition(); });
}

bool consuming_application::write_nothing() {
    return attempt([this] {
        m_connection->write_variables(m_connection->get_current_variables().fingerprint, {});
    });
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

longest_calls const& consuming_application::get_longest_calls() const {
    return m_calls;
}

bool become_equal(providing_application& providing, consuming_application& consuming) {
    // Everything in flight arrives within this time, unless one side has to recover again.
    constexpr std::chrono::milliseconds arrival{500};
    auto const is_equal_soon = [&] {
        return await(
            [&] { return is_equal(providing.get_list(), consuming.get_connection()); }, arrival);
    };
    return await(
        [&] { return providing.publish_all() && consuming.read_and_write() && is_equal_soon(); },
        patience);
}

} // namespace arvenhold::corvel::hub::reliability
