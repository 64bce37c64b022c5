// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/load.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

std::string run_server_restarts(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t variable_count = 60;

// How one consumer came out of the restarts.
struct comparison_counts {
    unsigned compared = 0;
    unsigned held_older_as_good = 0; // required: which side reconnects first decides
};

// A provider and the consumer that follows it.
class application_pair {
public:
    application_pair(
        dev::dev_hub& hub, std::string const& identifier, std::string const& consumer_name)
        : m_hub{hub}
        , m_identifier{identifier}
        , m_providing{hub, identifier, variable_count}
        , m_consuming{hub, consumer_name, identifier} {}

    [[nodiscard]] providing_application& get_providing();
    [[nodiscard]] consuming_application& get_consuming();

    // How often the registry has accepted the provider's definition.
    [[nodiscard]] std::size_t count_registrations();

    // Waits until a message of the consumer has reached the provider and a message of the provider
    // the consumer. Changes no value.
    void wait_until_both_are_back();

    // Compares both sides without another change, and again after the definition was requested.
    void compare(comparison_counts& counts);

private:
    dev::dev_hub& m_hub;
    std::string const m_identifier;
    std::atomic<unsigned> m_empty_events{0}; // outlives the consumer, whose callback counts
    providing_application m_providing;
    consuming_application m_consuming;

    static void count_empty_events(
        definition_fingerprint fingerprint,
        std::vector<variable_id> changed,
        provider_connection& connection,
        void* user_data);
    bool exchange_nothing();
    bool is_equal();
    bool holds_older_value_as_good();
};

providing_application& application_pair::get_providing() {
    return m_providing;
}

consuming_application& application_pair::get_consuming() {
    return m_consuming;
}

std::size_t application_pair::count_registrations() {
    return m_hub.get_log().get_count(dev::event_kind::definition_accepted, m_identifier);
}

void application_pair::count_empty_events(
    definition_fingerprint /*fingerprint*/,
    std::vector<variable_id> changed,
    provider_connection& /*connection*/,
    void* user_data) {
    if (changed.empty()) {
        ++static_cast<application_pair*>(user_data)->m_empty_events;
    }
}

bool application_pair::exchange_nothing() {
    auto const before = m_empty_events.load();
    // Again each time: a recovery replaces the connection.
    m_consuming.get_connection().set_variables_changed_callback(&count_empty_events, this);
    return m_consuming.write_nothing()
        && await([&] { return m_empty_events != before; }, milliseconds{100});
}

void application_pair::wait_until_both_are_back() {
    demand(
        await([this] { return exchange_nothing(); }, patience),
        "provider and consumer did not reach each other after the restart");
}

bool application_pair::is_equal() {
    return reliability::is_equal(m_providing.get_list(), m_consuming.get_connection());
}

bool application_pair::holds_older_value_as_good() {
    auto const current = m_consuming.get_connection().get_current_variables();
    auto const& provided = m_providing.get_list().get_variables();
    return current.variables && std::ranges::any_of(*current.variables, [&](auto const& entry) {
               auto const& [id, copy] = entry;
               auto const original = provided.find(id);
               return copy->get_quality() == variable_quality::good
                   && (original == provided.end()
                       || copy->get_value_with_timestamp()
                              != original->second->get_value_with_timestamp());
           });
}

void application_pair::compare(comparison_counts& counts) {
    constexpr milliseconds arrival{500}; // of what both sides have sent
    ++counts.compared;
    if (!await([this] { return is_equal(); }, arrival) && holds_older_value_as_good()) {
        ++counts.held_older_as_good;
    }
    demand(
        await([this] { return m_consuming.request_definition(); }, patience),
        "the definition could not be requested after the restart");
    demand(is_equal(), "a value, quality or time stamp differs after the definition was requested");
}

class restart_world {
public:
    void restart_after(milliseconds outage);
    [[nodiscard]] std::string describe_figures();

private:
    dev::dev_hub m_hub;
    application_pair m_busy{m_hub, "boiler", "monitor"};
    application_pair m_quiet{m_hub, "tank", "display"}; // nothing is read, changes are rare
    steady_clock::duration m_longest_recovery{};
    comparison_counts m_busy_counts;
    comparison_counts m_quiet_counts;

    void restart_under_load(milliseconds outage);
};

void restart_world::restart_after(milliseconds outage) {
    auto const busy_registrations = m_busy.count_registrations();
    auto const quiet_registrations = m_quiet.count_registrations();
    restart_under_load(outage);
    m_quiet.wait_until_both_are_back();
    demand(
        await(
            [&] {
                return m_busy.count_registrations() > busy_registrations
                    && m_quiet.count_registrations() > quiet_registrations;
            },
            patience),
        "a definition was not registered again");
    m_quiet.compare(m_quiet_counts);
    m_busy.compare(m_busy_counts);
}

void restart_world::restart_under_load(milliseconds outage) {
    load const busy{m_busy.get_providing(), m_busy.get_consuming()};
    demand(await([&busy] { return busy.has_moved_on(0, 0); }, patience), "no load");
    m_hub.get_nats_server().kill();
    std::this_thread::sleep_for(outage); // the length of the outage is what is tested
    demand(m_quiet.get_providing().publish_all(), "a publication during the outage failed");
    auto const published = busy.published();
    auto const read = busy.read();
    auto const begin = steady_clock::now();
    m_hub.get_nats_server().start();
    demand(
        await([&] { return busy.has_moved_on(published, read); }, patience),
        "publishing and reading did not continue after the restart");
    m_longest_recovery = std::max(m_longest_recovery, steady_clock::now() - begin);
}

std::string restart_world::describe_figures() {
    std::ostringstream figures;
    figures
        << m_quiet_counts.compared << " restarts; longest from the restart to publishing and "
        << "reading " << std::chrono::duration_cast<milliseconds>(m_longest_recovery).count()
        << " ms; provider recovered by its application " << m_busy.get_providing().get_recoveries()
        << " times, consumer " << m_busy.get_consuming().get_recoveries()
        << " times; restarts after which a consumer held an older value as good until it changed "
           "or the definition was requested: "
        << m_quiet_counts.held_older_as_good << " for the one that only listens and "
        << m_busy_counts.held_older_as_good
        << " for the one that reads; all values equal after request_provider_definition(): "
        << m_quiet_counts.compared << " of " << m_quiet_counts.compared << " restarts";
    return figures.str();
}

} // namespace

std::string run_server_restarts(effort how_much) {
    std::array const outages{milliseconds{200}, milliseconds{2'000}, milliseconds{20'000}};
    auto const restarts = how_much == effort::full ? 100U : 2U;
    restart_world world;
    for (unsigned restart = 0; restart < restarts; ++restart) {
        world.restart_after(outages.at(restart % outages.size()));
    }
    return world.describe_figures();
}

} // namespace arvenhold::corvel::hub::reliability
