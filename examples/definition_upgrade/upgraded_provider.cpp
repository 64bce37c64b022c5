// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A tank whose variables change while it runs: each line of the input replaces its set of variables
// by the other one. Ends with its standard input.

#include <hub/session/provider_session.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

// The level is a percentage first, and millimetres afterwards; the alarm is gone, a valve is new.
void declare_first(hub::provider_session& tank) {
    tank.declare<std::int64_t>("level", 0).set(40);
    tank.declare<bool>("alarm", false).set(false);
}

void declare_second(hub::provider_session& tank) {
    tank.declare<double>("level", 0.0).set(712.5);
    tank.declare<bool>("valve_open", false).set(true);
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr
            << "usage: upgraded_provider <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::unique_ptr<hub::provider_session> tank;
    std::string line;
    for (bool first = true; tank == nullptr || std::getline(std::cin, line); first = !first) {
        tank.reset(); // first: two providers must not have one identifier at the same time
        tank = std::make_unique<hub::provider_session>(
            "tank", hub::hub_access{access[1], access[2], access[3], access[4], {}});
        (first ? declare_first : declare_second)(*tank);
        tank->set_status_handler(
            [](hub::session_status const& status) { std::cout << status.text << std::endl; });
        tank->start();
    }
} catch (std::exception const& error) {
    std::cerr << "upgraded_provider: " << error.what() << '\n';
    return 1;
}
