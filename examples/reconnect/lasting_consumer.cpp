// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A consumer that never gives up, whatever happens to the hub and to its providers.
//
// The library reconnects by itself. This program does the rest:
// - A request that fails leaves the connection to its provider `faulted` for good. The program
//   replaces that connection alone; the others live on. It therefore creates its connections with
//   provider_connection::create(): attach_to_provider() returns the faulted one again until the
//   whole consumer disconnects.
// - Such a connection is not notified when its provider is lost or returns. Once a second the
//   program compares the registry's list with the state of each connection.
// - An event that is lost in an outage is missing without notice. Once a second the program
//   requests the definition and all values, which is also its sign of life. Once a second shows the
//   effect soon; in production, choose an interval of 10 s or more.
// - An outage of more than about two minutes ends the session for good, and only requests that fail
//   show it. If no provider has answered for a while, the program starts over with a new consumer.

#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

using std::chrono::steady_clock;

constexpr std::chrono::seconds look_interval{1};
constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds pause_between_attempts{2};
constexpr std::size_t access_arguments = 4; // providers follow

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

void print_event(
    hub::provider_connection_event event, hub::provider_connection& connection, void*) {
    std::cout << connection.get_associated_provider_identifier();
    switch (event) {
    case hub::provider_connection_event::provider_lost:
        std::cout << " is lost" << std::endl;
        break;
    case hub::provider_connection_event::provider_returned:
        std::cout << " has returned" << std::endl;
        break;
    case hub::provider_connection_event::definition_updated:
        std::cout << " has announced its variables" << std::endl;
        break;
    }
}

// The connection to one provider, replaced whenever it has faulted.
class followed_provider {
public:
    followed_provider(hub::consumer& consumer, std::string identifier)
        : m_consumer{consumer}
        , m_identifier{std::move(identifier)} {}

    std::string const& get_identifier() const {
        return m_identifier;
    }

    // Brings the connection up to date, once a second. Returns whether the provider has answered.
    bool update(bool is_listed) {
        try {
            return is_listed ? request_everything() : mark_lost();
        } catch (std::exception const& trouble) {
            std::cerr << m_identifier << ": " << trouble.what() << std::endl;
            return false; // the connection has faulted, or there is none; the next call replaces it
        }
    }

private:
    hub::consumer& m_consumer;
    std::string m_identifier;
    std::shared_ptr<hub::provider_connection> m_connection;

    bool mark_lost() {
        using state = hub::provider_connection_state;
        if (m_connection && m_connection->get_state() == state::connected) {
            m_connection->set_provider_availability(
                hub::provider_connection_event::provider_lost); // all its values become bad
        }
        return false;
    }

    bool request_everything() {
        using state = hub::provider_connection_state;
        if (!m_connection || m_connection->get_state() == state::faulted) {
            m_connection.reset(); // ends the faulted connection's subscriptions first
            m_connection = hub::provider_connection::create(m_identifier, m_consumer);
            m_connection->set_event_callback(print_event, nullptr);
            std::cout << "attached to " << m_identifier << std::endl;
        } else {
            if (m_connection->get_state() == state::provider_unavailable) {
                m_connection->set_provider_availability(
                    hub::provider_connection_event::provider_returned);
            }
            m_connection->request_provider_definition();
        }
        for (auto const& [id, variable] : m_connection->get_current_variables()) {
            std::cout << *variable << std::endl;
        }
        return true;
    }
};

std::vector<followed_provider> follow_all(
    hub::consumer& consumer, std::vector<std::string> const& arguments) {
    std::vector<followed_provider> providers;
    for (auto position = access_arguments; position < arguments.size(); ++position) {
        providers.emplace_back(consumer, arguments.at(position));
    }
    return providers;
}

// Returns whether any provider has answered.
bool update_all(std::vector<followed_provider>& providers, std::set<std::string> const& listed) {
    bool has_answer = false;
    for (auto& provider : providers) {
        has_answer |= provider.update(listed.count(provider.get_identifier()) != 0);
    }
    return has_answer;
}

// Returns when the program is to end; throws on a failure that needs a new consumer.
void consume(std::vector<std::string> const& arguments) {
    hub::consumer consumer{"lasting-consumer", true, nullptr, nullptr};
    consumer.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    // Destroyed before the consumer, which would not disconnect these connections.
    auto providers = follow_all(consumer, arguments);
    auto last_answer = steady_clock::now();
    while (stop_requested == 0) {
        auto const listed = consumer.get_provider_identifiers();
        if (update_all(providers, *listed)) {
            last_answer = steady_clock::now();
        } else if (steady_clock::now() - last_answer > patience) {
            throw std::runtime_error{"no provider has answered; perhaps the hub is away"};
        }
        std::this_thread::sleep_for(look_interval);
    }
}

void consume_for_ever(std::vector<std::string> const& arguments) {
    while (stop_requested == 0) {
        try {
            consume(arguments);
        } catch (std::exception const& trouble) {
            std::cerr << trouble.what() << "\ntrying again" << std::endl;
            std::this_thread::sleep_for(pause_between_attempts);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() <= access_arguments) {
        std::cerr << "usage: lasting_consumer <nats-url> <token-url> <client-id> <client-secret> "
                     "<provider>...\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    consume_for_ever(arguments);
    return 0;
}
