// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// An oven that survives every outage of the hub, and ends with its standard input.

#include <hub/session/provider_session.hpp>

#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace hub = arvenhold::corvel::hub;

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: provider_session <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::provider_session oven{"oven", {access[1], access[2], access[3], access[4], {}}};
    auto const temperature = oven.declare<double>("temperature", 20.0);
    auto const set_point = oven.declare<double>(
        "set_point", 150.0, hub::writable, [](double wanted) { return wanted <= 300.0; });
    oven.set_status_handler(
        [](hub::session_status const& status) { std::cout << status.text << std::endl; });
    oven.start();

    // Each line of the input is a measured temperature.
    for (double measured = 0; std::cin >> measured;) {
        temperature.set(measured);
        std::cout << "heating: " << (measured < set_point.get() ? "on" : "off") << std::endl;
    }
} catch (std::exception const& error) {
    std::cerr << "provider_session: " << error.what() << '\n';
    return 1;
}
