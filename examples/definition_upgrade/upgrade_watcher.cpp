// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Follows a tank whose variables are replaced while both run, and says what that means for what it
// follows. Ends with its standard input.

#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>
#include <hub/session/names.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

void show_upgrade(hub::definition_change const& change) {
    for (auto const& path : change.vanished) {
        std::cout << path << ": vanished" << std::endl;
    }
    for (auto const& changed : change.changed_types) {
        std::cout << changed.path << ": type " << changed.wanted << " is now type " << changed.given
                  << std::endl;
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: upgrade_watcher <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::consumer_session watcher{"tank-watcher", {access[1], access[2], access[3], access[4], {}}};
    watcher.set_definition_handler(show_upgrade);

    // A variable that is followed with its type is never shown with another one: it becomes stale.
    auto level = watcher.follow<std::int64_t>("tank", "level");
    level.on_change([](hub::reading<std::int64_t> const& now) {
        std::cout << "level: " << now.value << ' ' << hub::name_of(now.freshness) << std::endl;
    });
    // What is followed without a type also shows variables that come later.
    auto all = watcher.follow_all("tank", "*");
    all.on_change([](hub::any_reading const& now) {
        std::cout << "all: " << now.path << ' ' << hub::type_name_of(now.value) << ' '
                  << hub::name_of(now.freshness) << std::endl;
    });
    watcher.start();
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
} catch (std::exception const& error) {
    std::cerr << "upgrade_watcher: " << error.what() << '\n';
    return 1;
}
