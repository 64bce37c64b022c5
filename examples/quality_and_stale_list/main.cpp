// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A sensor that says how good its value is, and a list of variables that has become stale. Each
// line of the input is a measured value, or "broken" or "exchange".

#include <hub/hub.hpp>

#include <chrono>
#include <exception>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

using std::chrono::system_clock;
using list_pointer = std::shared_ptr<hub::variable_list>;

// Call it with a new fingerprint for each registration: the variables get new ids each time.
list_pointer register_sensor(hub::provider& sensor) {
    hub::provider_definition definition{hub::make_fingerprint(1)};
    definition.add_variable_definition("celsius", 0.0, hub::variable_permissions::read_only);
    definition.finalize();
    return sensor.register_provider_definition(definition);
}

// Sent with the next publication; a new value alone leaves the quality as it is.
void set_quality(hub::variable_list& list, hub::variable_quality quality) {
    list.set_quality(list.get_variables().begin()->first, quality, system_clock::now());
}

void publish(hub::variable_list& list, double celsius) {
    set_quality(list, hub::variable_quality::good);
    list.publish(list.get_variables().begin()->first, celsius, system_clock::now());
}

// Returns the list to use from now on. Registering again makes the earlier one stale.
list_pointer exchange(hub::provider& sensor, hub::variable_list& earlier) {
    auto current = register_sensor(sensor);
    try {
        publish(earlier, 20);
    } catch (hub::variable_list_outdated const&) {
        std::cout << "the earlier list is stale, and refuses new values" << std::endl;
    }
    return current;
}

void provide(hub::provider& sensor, list_pointer list) {
    for (std::string line; std::cin >> line;) {
        if (line == "broken") {
            set_quality(*list, hub::variable_quality::bad);
            sensor.publish(system_clock::now()); // everything that is pending
        } else if (line == "exchange") {
            list = exchange(sensor, *list);
        } else {
            publish(*list, std::stod(line));
        }
        std::cout << *list << std::flush;
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: quality_and_stale_list <nats-url> <token-url> <client-id> "
                     "<client-secret>\n";
        return 2;
    }
    hub::provider sensor{"sensor"};
    auto const list = register_sensor(sensor);
    // Nothing has been measured yet. Without this line, the 0 would be published as good.
    set_quality(*list, hub::variable_quality::uncertain_initial_value);
    sensor.connect(access[1], access[2], access[3], access[4]);
    std::cout << "ready" << std::endl;
    provide(sensor, list);
} catch (std::exception const& error) {
    std::cerr << "quality_and_stale_list: " << error.what() << '\n';
    return 1;
}
