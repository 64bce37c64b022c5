// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Many providers in one process: a gateway with one provider for each device behind it. Each is on
// the hub by itself, so consumers see which devices are there. Each line of the input is the number
// of a device and what it has measured; a number alone takes the device off the hub.

#include <hub/session/provider_session.hpp>

#include <exception>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

struct device {
    hub::provider_session session;
    hub::variable_handle<double> measured;

    device(std::string const& name, hub::hub_access const& access)
        : session{name, access}
        , measured{session.declare<double>("measured", 0.0)} {
        session.set_status_handler([name](hub::session_status const& status) {
            std::cout << name << ": " + status.text + "\n" << std::flush;
        });
        session.start(); // returns at once; the sessions of a process connect one after the other
    }
};

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: many_providers <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::map<int, device> devices;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words{line};
        int number = 0;
        double measured = 0;
        if (!(words >> number)) {
            std::cerr << "not a number: " << line << std::endl;
        } else if (words >> measured) {
            auto const there = devices.try_emplace(
                number,
                "device-" + std::to_string(number),
                hub::hub_access{access[1], access[2], access[3], access[4], {}});
            there.first->second.measured.set(measured);
        } else {
            devices.erase(number); // its destructor ends the session, and waits until it has ended
        }
    }
} catch (std::exception const& error) {
    std::cerr << "many_providers: " << error.what() << '\n';
    return 1;
}
