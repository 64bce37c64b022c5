// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider of numbers, 1,000 unless said otherwise, that change together, so many times a second; a
// last argument makes only so many of them change.
// Runs until standard input ends.

#include <hub/hub.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

std::shared_ptr<hub::variable_list> register_numbers(hub::provider& flood, std::size_t variables) {
    hub::provider_definition definition{hub::make_fingerprint(1)};
    for (std::size_t position = 0; position < variables; ++position) {
        definition.add_variable_definition(
            "numbers/" + std::to_string(position), 0.5, hub::variable_permissions::read_only);
    }
    definition.finalize();
    return flood.register_provider_definition(definition);
}

void publish(hub::variable_list& list, std::size_t count, double value) {
    std::vector<std::tuple<hub::variable_id, hub::variable_value>> changes;
    changes.reserve(count);
    for (auto const& [id, variable] : list.get_variables()) {
        if (changes.size() < count) {
            changes.emplace_back(id, value);
        }
    }
    list.bulk_publish(std::move(changes), std::chrono::system_clock::now());
}

} // namespace

int main(int count, char** access) try {
    std::vector<std::string> const given(access, access + count);
    if (given.size() < 6) {
        return 2;
    }
    hub::provider flood{"flood"};
    auto const variables = given.size() > 6 ? std::stoul(given[6]) : 1000;
    auto const changing = given.size() > 7 ? std::stoul(given[7]) : variables;
    auto const list = register_numbers(flood, variables);
    flood.connect(given[1], given[2], given[3], given[4]);
    std::cout << "ready" << std::endl;
    std::atomic<bool> ended{false};
    std::thread reader{[&ended] {
        std::cin.get();
        ended = true;
    }};
    auto const interval = std::chrono::microseconds{1'000'000 / std::stol(given[5])};
    auto next = std::chrono::steady_clock::now();
    for (auto value = 0.5; !ended; value += 1) {
        publish(*list, changing, value);
        next += interval;
        std::this_thread::sleep_until(next);
    }
    reader.join();
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
