// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Shows a provider's temperature, and whether it may be believed, through every outage of the hub.
// Each line of the standard input is written as the set point; its end ends the program.

#include <hub/session/consumer_session.hpp>

#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace hub = arvenhold::corvel::hub;

int main(int argc, char** argv) try {
    std::vector<std::string> const arguments(argv, std::next(argv, argc));
    if (arguments.size() != 5) {
        std::cerr << "usage: consumer_session <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::consumer_session watcher{
        "oven-watcher", {arguments[1], arguments[2], arguments[3], arguments[4], {}}};
    auto shown = watcher.follow<double>("oven", "temperature");
    shown.on_change([](hub::reading<double> const& now) {
        std::cout << now.value << (now.is_good() ? "" : " (do not use)") << std::endl;
    });
    watcher.start();

    for (double wanted = 0; std::cin >> wanted;) {
        try {
            auto const outcome =
                watcher.write_and_confirm("oven", "set_point", wanted, std::chrono::seconds{2});
            std::cout << (outcome == hub::write_outcome::confirmed ? "" : "not ") << "confirmed\n";
        } catch (hub::write_refused const& refused) {
            std::cout << refused.what() << std::endl;
        }
    }
    return 0;
} catch (std::exception const& error) {
    std::cerr << "consumer_session: " << error.what() << '\n';
    return 1;
}
