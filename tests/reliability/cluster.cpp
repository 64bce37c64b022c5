// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/load.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"
#include "support/free_port.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <fstream>
#include <optional>
#include <sstream>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_cluster(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t variable_count = 60;

// A request in flight through the killed server takes 5 s to fail; then the application connects
// and attaches again.
constexpr std::chrono::seconds failover_limit{10};

// How many clients of this machine are connected to the server, as the kernel reports: the third
// word of a line is the peer's address, the fourth the state, 01 for an established connection.
std::size_t count_clients(dev::nats_server const& server) {
    auto const url = server.get_url();
    std::ostringstream peer;
    peer << "0100007F:" << std::hex << std::uppercase << std::stoi(url.substr(url.rfind(':') + 1));
    std::ifstream table{"/proc/net/tcp"};
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words{line};
        std::array<std::string, 4> word;
        for (auto& next : word) {
            words >> next;
        }
        if (word[2] == peer.str() && word[3] == "01") {
            ++count;
        }
    }
    return count;
}

// A hub whose server is one of three.
class cluster {
public:
    cluster()
        : m_ports{find_free_port(), find_free_port(), find_free_port()}
        , m_hub{make_hub_options()} {
        auto options = make_hub_options().nats_server;
        options.token = m_hub.get_nats_server().get_token();
        for (auto* const server : {&m_second, &m_third}) {
            std::rotate(
                options.cluster_ports.begin(),
                options.cluster_ports.begin() + 1,
                options.cluster_ports.end());
            server->emplace(options, m_hub.get_log());
        }
    }

    [[nodiscard]] dev::dev_hub& get_hub() {
        return m_hub;
    }

    [[nodiscard]] std::array<dev::nats_server*, 3> get_servers() {
        return {&m_hub.get_nats_server(), &*m_second, &*m_third};
    }

    [[nodiscard]] std::vector<std::string> get_urls() {
        std::vector<std::string> urls;
        for (auto const* const server : get_servers()) {
            urls.push_back(server->get_url());
        }
        return urls;
    }

    // The server with the most of the three clients: registry, provider and consumer.
    [[nodiscard]] dev::nats_server& get_server_in_use() {
        return *std::ranges::max(
            get_servers(), {}, [](auto const* server) { return count_clients(*server); });
    }

private:
    std::vector<std::uint16_t> const m_ports;
    dev::dev_hub m_hub;
    std::optional<dev::nats_server> m_second;
    std::optional<dev::nats_server> m_third;

    [[nodiscard]] dev::dev_hub_options make_hub_options() const {
        dev::dev_hub_options options;
        options.nats_server.cluster_ports = m_ports;
        return options;
    }
};

class cluster_world {
public:
    void kill_server_in_use() {
        auto& server = m_cluster.get_server_in_use();
        {
            load const busy{m_providing, m_consuming};
            demand(await([&busy] { return busy.has_moved_on(0, 0); }, patience), "no load");
            auto const begin = steady_clock::now();
            server.kill();
            auto const published = busy.published();
            auto const read = busy.read();
            demand(
                await([&] { return busy.has_moved_on(published, read); }, failover_limit),
                "publishing and reading did not continue with another server");
            m_longest_failover = std::max(
                m_longest_failover,
                std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin));
        }
        demand_equality();
        server.start();
        demand(
            await([&] { return is_reached_through(server); }, patience),
            "the restarted server has not joined the cluster");
    }

    [[nodiscard]] std::string to_text() const {
        std::ostringstream text;
        text << "longest from the kill to publishing and reading " << m_longest_failover.count()
             << " ms; provider recovered by its application " << m_providing.get_recoveries()
             << " times, consumer " << m_consuming.get_recoveries() << " times";
        return text.str();
    }

private:
    cluster m_cluster;
    providing_application m_providing{
        m_cluster.get_hub(), "boiler", variable_count, m_cluster.get_urls()};
    consuming_application m_consuming{
        m_cluster.get_hub(), "monitor", "boiler", m_cluster.get_urls()};
    milliseconds m_longest_failover{};

    // Everything changes once more, and the registry knows it all.
    void demand_equality() {
        demand(
            become_equal(m_providing, m_consuming),
            "the values, qualities and time stamps do not become equal");
        auto const& registry = m_cluster.get_hub().get_registry();
        demand(
            registry.wait_until_provider_listed("boiler", patience)
                && registry.get_definition("boiler").has_value(),
            "the registry does not know the provider");
    }

    // Whether a consumer of this server finds the registry and the provider.
    [[nodiscard]] bool is_reached_through(dev::nats_server const& server) {
        try {
            consumer visitor{"visitor", true, nullptr, nullptr};
            known_servers{m_cluster.get_hub(), {server.get_url()}}.connect(visitor);
            return is_equal(m_providing.get_list(), *visitor.attach_to_provider("boiler"));
        } catch (std::exception const&) {
            return false;
        }
    }
};

} // namespace

std::string run_cluster(effort how_much) {
    auto const kills = how_much == effort::full ? 20U : 5U;
    cluster_world world;
    for (unsigned kill = 0; kill < kills; ++kill) {
        world.kill_server_in_use();
    }
    return std::to_string(kills) + " kills of the server that most clients used; "
         + world.to_text();
}

} // namespace arvenhold::corvel::hub::reliability
