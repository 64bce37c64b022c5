// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider that never gives up, whatever happens to the hub.
//
// The library repairs a broken connection: it reconnects, publishes the definition again and sends
// what was published meanwhile. Everything else is thrown sooner or later: the hub was away for more
// than about two minutes, no token could be obtained, a message could not be sent, the registry did
// not answer. The cure is always the same: a new provider.

#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

constexpr std::chrono::milliseconds publish_interval{500};
constexpr std::chrono::seconds pause_between_attempts{2};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

// Returns when the program is to end; throws on every failure.
void provide(std::vector<std::string> const& arguments) {
    // The set of variables stays the same, but each registration gives them new ids. By the
    // fingerprint, new with every call, consumers learn that the ids they hold are outdated.
    hub::provider_definition definition{hub::make_fingerprint(1)};
    definition.add_variable_definition(
        "count", std::int64_t{0}, hub::variable_permissions::read_only);
    definition.finalize();

    hub::provider provider{"lasting"};
    auto const list = provider.register_provider_definition(definition);
    provider.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    std::cout << "providing" << std::endl;
    auto const count = list->get_variables().begin()->first;
    for (std::int64_t value = 1; stop_requested == 0; ++value) {
        std::this_thread::sleep_for(publish_interval);
        list->publish(count, value, std::chrono::system_clock::now());
    }
}

void provide_for_ever(std::vector<std::string> const& arguments) {
    while (stop_requested == 0) {
        try {
            provide(arguments);
        } catch (std::exception const& trouble) {
            std::cerr << trouble.what() << "\ntrying again" << std::endl;
            std::this_thread::sleep_for(pause_between_attempts);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 4) {
        std::cerr << "usage: lasting_provider <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    provide_for_ever(arguments);
    return 0;
}
