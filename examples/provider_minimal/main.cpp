// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The smallest useful provider: offers one variable and changes it once a second until Ctrl-C.

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

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

void provide(std::vector<std::string> const& arguments) {
    // What the provider offers. The 1 is the version of this set of variables: change it with the
    // set. The initial value fixes the type of a variable for good.
    hub::provider_definition definition{hub::make_fingerprint(1)};
    definition.add_variable_definition(
        "uptime_seconds", std::int64_t{0}, hub::variable_permissions::read_only);
    definition.finalize();

    // Connecting announces the definition and waits until the hub's registry has accepted it.
    hub::provider provider{"minimal"};
    auto const list = provider.register_provider_definition(definition);
    provider.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    std::cout << "providing; Ctrl-C ends it" << std::endl;

    // Variables are addressed by ids, which the library has assigned in the definition's order.
    auto const uptime = list->get_variables().begin()->first;
    for (std::int64_t seconds = 1; stop_requested == 0; ++seconds) {
        std::this_thread::sleep_for(std::chrono::seconds{1});
        list->publish(uptime, seconds, std::chrono::system_clock::now());
    }
} // the provider disconnects when it is destroyed

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 4) {
        std::cerr << "usage: provider_minimal <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    try {
        provide(arguments);
    } catch (std::exception const& error) {
        std::cerr << "provider_minimal: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
