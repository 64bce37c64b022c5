// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A consumer that never gives up, whatever happens to the hub and to the provider.
//
// The library repairs a broken connection, and follows a provider that is lost and returns. What
// it does not repair: a connection to a provider that has faulted, because a request failed, and
// a server that was away for more than about two minutes. The first shows in the state, the second
// only in a request that fails. One cure fits both: a new consumer.

#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

using std::chrono::steady_clock;

constexpr std::chrono::seconds look_interval{1};
constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds pause_between_attempts{2};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

void tell(hub::provider_connection_event event, hub::provider_connection&, void*) {
    switch (event) {
    case hub::provider_connection_event::provider_lost:
        std::cout << "the provider is lost" << std::endl;
        break;
    case hub::provider_connection_event::provider_returned:
        std::cout << "the provider has returned" << std::endl;
        break;
    case hub::provider_connection_event::definition_updated:
        std::cout << "the provider has announced its variables" << std::endl;
        break;
    }
}

void show(hub::provider_connection& connection) {
    for (auto const& [id, variable] : *connection.get_current_variables().variables) {
        std::cout << *variable << std::endl;
    }
}

// Returns when the program is to end; every trouble leaves it as an exception.
void consume(std::vector<std::string> const& arguments) {
    hub::consumer consumer{"lasting-consumer", true, nullptr, nullptr};
    consumer.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    auto const connection = consumer.attach_to_provider(arguments.at(4));
    connection->set_event_callback(tell, nullptr);
    std::cout << "attached" << std::endl;
    auto last_contact = steady_clock::now();
    while (stop_requested == 0) {
        std::this_thread::sleep_for(look_interval);
        auto const state = connection->get_state();
        if (state == hub::provider_connection_state::connected) {
            // Change events keep the values up to date; the request is a sign of life. It throws
            // when there is none, as it does when the provider is lost at this very moment.
            connection->update_all_variables();
            show(*connection);
            last_contact = steady_clock::now();
        } else if (state != hub::provider_connection_state::provider_unavailable) {
            throw std::runtime_error{"the connection to the provider has faulted"};
        } else if (steady_clock::now() - last_contact > patience) {
            throw std::runtime_error{"the provider is away and perhaps the hub, too"};
        }
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
    if (arguments.size() != 5) {
        std::cerr << "usage: lasting_consumer <nats-url> <token-url> <client-id> <client-secret> "
                     "<provider>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    consume_for_ever(arguments);
    return 0;
}
