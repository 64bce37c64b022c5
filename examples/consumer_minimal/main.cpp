// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The smallest useful consumer: attaches to a provider, shows its variables, and then every change
// until Ctrl-C.

#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

// Called on a thread of the NATS client after the library has applied a change event. An event may
// have no ids; never take the first one unchecked.
void show_changes(
    hub::definition_fingerprint fingerprint,
    std::vector<hub::variable_id> changed, // NOLINT(performance-unnecessary-value-param): as given
    hub::provider_connection& connection,
    void*) {
    auto const current = connection.get_current_variables();
    if (current.fingerprint != fingerprint) {
        return; // the provider has just replaced its variables; the ids belong to the old ones
    }
    for (auto const id : changed) {
        std::cout << *current.find(id) << std::endl;
    }
}

void consume(std::vector<std::string> const& arguments) {
    // Read-only, and without a callback for changes of the list of providers.
    hub::consumer consumer{"minimal-consumer", true, nullptr, nullptr};
    consumer.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    std::cout << "providers on the hub:\n";
    auto const identifiers = consumer.get_provider_identifiers(); // named: see the header
    for (auto const& identifier : *identifiers) {
        std::cout << "  " << identifier << '\n';
    }

    // Attaching reads the definition and the current values; from now on they follow the changes.
    auto const connection = consumer.attach_to_provider(arguments.at(4));
    std::cout << "variables of " << arguments.at(4) << ":\n";
    for (auto const& [id, variable] : connection->get_current_variables()) {
        std::cout << *variable << '\n';
    }
    std::cout << "changes, until Ctrl-C:" << std::endl;
    connection->set_variables_changed_callback(show_changes, nullptr);
    while (stop_requested == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds{200});
    }
} // the consumer disconnects when it is destroyed

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 5) {
        std::cerr << "usage: consumer_minimal <nats-url> <token-url> <client-id> <client-secret> "
                     "<provider>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    try {
        consume(arguments);
    } catch (std::exception const& error) {
        std::cerr << "consumer_minimal: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
