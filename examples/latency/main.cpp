// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Measures how long a change takes from set() in a provider session to the handler of a consumer
// session, through the hub, one change at a time. Both are in one process and so use one clock.

#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

using clock = std::chrono::steady_clock;

// Sends the next number when the one before has arrived. All of it runs on one thread, that of the
// consumer session, and so needs no lock.
struct run {
    static constexpr std::int64_t changes = 1000;

    std::vector<double> microseconds;
    std::promise<void> done;
    clock::time_point begin;
    std::int64_t awaited = 0; // the initial value; it is not measured

    void receive(
        hub::reading<std::int64_t> const& now, hub::variable_handle<std::int64_t> const& sent) {
        if (!now.is_good() || now.value != awaited) {
            return;
        }
        std::chrono::duration<double, std::micro> const taken = clock::now() - begin;
        if (awaited > 0) {
            microseconds.push_back(taken.count());
        }
        if (awaited++ == changes) {
            done.set_value();
        } else {
            begin = clock::now();
            sent.set(awaited);
        }
    }
};

void measure(std::string const& name, hub::hub_access const& access) {
    run measured; // declared first, because the handler uses it
    hub::provider_session source{"latency-source", access};
    auto const sent = source.declare<std::int64_t>("number", 0);
    sent.set(0);
    source.start();
    hub::consumer_session target{"latency-target", access};
    auto received = target.follow<std::int64_t>("latency-source", "number");
    received.on_change([&](auto const& now) { measured.receive(now, sent); });
    target.start();
    if (measured.done.get_future().wait_for(std::chrono::seconds{60})
        != std::future_status::ready) {
        throw std::runtime_error{target.get_status().text};
    }
    target.stop();
    auto& taken = measured.microseconds;
    std::sort(taken.begin(), taken.end());
    std::cout << name << ": " << taken.size() << " changes, median " << taken[taken.size() / 2]
              << " us, 99 % within " << taken[taken.size() * 99 / 100] << " us" << std::endl;
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const given(argv, std::next(argv, argc));
    if (given.size() != 5) {
        std::cerr << "usage: latency <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    hub::hub_access access{given[1], given[2], given[3], given[4], {}};
    measure("collected for up to 1 ms", access);
    access.options.set_send_immediately(true);
    measure("sent immediately", access);
} catch (std::exception const& error) {
    std::cerr << "latency: " << error.what() << '\n';
    return 1;
}
