// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Shows an oven's temperature through every outage. Each line of the input is a new set point.

#include <hub/session/consumer_session.hpp>

#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace hub = arvenhold::corvel::hub;

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: consumer_session <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::consumer_session watcher{"watcher", {access[1], access[2], access[3], access[4], {}}};
    auto shown = watcher.follow<double>("oven", "temperature");
    shown.on_change([](hub::reading<double> const& now) {
        std::cout << now.value << (now.is_good() ? "" : " (do not use)") << std::endl;
    });
    watcher.start();
    for (double wanted = 0; std::cin >> wanted;) { // the end of the input ends the program
        try {
            auto const outcome =
                watcher.write_and_confirm("oven", "set_point", wanted, std::chrono::seconds{2});
            std::cout << (outcome == hub::write_outcome::confirmed ? "" : "not ") << "confirmed\n";
        } catch (hub::write_refused const& refused) {
            std::cout << refused.what() << std::endl;
        }
    }
} catch (std::exception const& error) {
    std::cerr << "consumer_session: " << error.what() << '\n';
    return 1;
}
