// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A furnace of 200 zones, whose temperatures change ten times a second and whose set points consumers
// may write. Outages of the hub need no line here. Runs until Ctrl-C or SIGTERM.

#include <hub/session/provider_session.hpp>

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

struct zone {
    hub::variable_handle<double> temperature;
    hub::variable_handle<double> set_point;
    double celsius = 20;
};

zone declare_zone(hub::provider_session& furnace, int number) {
    auto const path = "zones/" + std::to_string(number);
    auto const accepts = [](double wanted) {
        return wanted >= 0 && wanted <= 1200;
    };
    zone declared{
        furnace.declare<double>(path + "/temperature", 20.0),
        furnace.declare<double>(path + "/set_point", 150.0, hub::writable, accepts)};
    declared.set_point.set(150.0); // which is no guess, and so good from the start
    return declared;
}

void advance(std::vector<zone>& zones, hub::update_cycle& cycle) {
    for (auto& zone : zones) {
        zone.celsius += zone.celsius < zone.set_point.get() ? 0.3 : -0.1; // the heater: on or off
        cycle.set(zone.temperature, zone.celsius);
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: furnace <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    static volatile std::sig_atomic_t stop_requested = 0;
    for (auto const number : {SIGINT, SIGTERM}) {
        std::ignore = std::signal(number, [](int) { stop_requested = 1; });
    }
    hub::provider_session furnace{"furnace", {access[1], access[2], access[3], access[4], {}}};
    std::vector<zone> zones;
    for (int number = 1; number <= 200; ++number) {
        zones.push_back(declare_zone(furnace, number));
    }
    furnace.set_status_handler(
        [](hub::session_status const& status) { std::cout << status.text << std::endl; });
    furnace.start();
    for (auto next = std::chrono::steady_clock::now(); stop_requested == 0;) {
        furnace.update([&](auto& cycle) { advance(zones, cycle); }); // one event
        std::this_thread::sleep_until(next += std::chrono::milliseconds{100});
    }
} catch (std::exception const& error) {
    std::cerr << "furnace: " << error.what() << '\n';
    return 1;
}
