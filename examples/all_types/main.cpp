// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Provides a variable of each type, and follows all of them. Each line of the input becomes the
// string. Ends with its standard input.

#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <chrono>
#include <cstdint>
#include <exception>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

// One function for each type; the compiler reports a missing one.
struct value_writer {
    void operator()(bool value) const {
        std::cout << (value ? "yes" : "no");
    }
    void operator()(double value) const {
        std::cout << value;
    }
    void operator()(std::int64_t value) const {
        std::cout << value;
    }
    void operator()(std::string const& value) const {
        std::cout << '"' << value << '"';
    }
    void operator()(hub::timestamp value) const {
        std::cout << value.time_since_epoch().count() << " ns since 1970";
    }
    void operator()(std::chrono::nanoseconds value) const {
        std::cout << value.count() << " ns";
    }
};

void show(hub::any_reading const& now) {
    std::cout << now.path << ": " << hub::type_name_of(now.value) << ' ';
    std::visit(value_writer{}, now.value);
    std::cout << (now.is_good() ? "" : " (do not use)") << std::endl;
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const access(argv, std::next(argv, argc));
    if (access.size() != 5) {
        std::cerr << "usage: all_types <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::hub_access const where{access[1], access[2], access[3], access[4], {}};

    // The type of a variable is fixed. Its initial value is not good until it has been set once.
    hub::provider_session sampler{"sampler", where};
    auto const running = sampler.declare<bool>("running", false);
    auto const level = sampler.declare<double>("level", 0.0);
    auto const count = sampler.declare<std::int64_t>("count", 0);
    auto const label = sampler.declare<std::string>("label", "none");
    auto const started = sampler.declare<hub::timestamp>("started", {});
    auto const uptime = sampler.declare<std::chrono::nanoseconds>("uptime", {});
    sampler.start();
    sampler.update([&](hub::update_cycle& cycle) { // one event, with one time for all
        cycle.set(running, true);
        cycle.set(level, 0.25);
        cycle.set(count, std::numeric_limits<std::int64_t>::max());
        cycle.set(started, hub::timestamp{std::chrono::hours{24}});
        cycle.set(uptime, std::chrono::minutes{1});
    });

    hub::consumer_session reader{"sampler-reader", where};
    auto everything = reader.follow_all("sampler", "*");
    everything.on_change(show);
    reader.start();
    for (std::string line; std::getline(std::cin, line);) {
        label.set(line);
    }
} catch (std::exception const& error) {
    std::cerr << "all_types: " << error.what() << '\n';
    return 1;
}
