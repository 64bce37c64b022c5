// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/process_figures.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <functional>
#include <sstream>

namespace arvenhold::corvel::hub::reliability {

std::string run_cycles(effort how_much);

namespace {

constexpr std::size_t variable_count = 20;

// Repeats `cycle`; what the process holds must not grow after the first tenth.
std::string repeat(unsigned cycles, std::string const& name, std::function<void()> const& cycle) {
    auto const warm_up = cycles / 10;
    for (unsigned i = 0; i < warm_up; ++i) {
        cycle();
    }
    auto const before = measure_process();
    for (auto i = warm_up; i < cycles; ++i) {
        cycle();
    }
    auto const settled = [&before] {
        auto const now = measure_process();
        return now.threads <= before.threads && now.open_files <= before.open_files;
    };
    demand(await(settled), name + ": threads or files have grown");
    auto const after = measure_process();
    constexpr std::size_t noise_kib = 4096;
    demand(
        !memory_is_meaningful || after.resident_kib <= before.resident_kib + noise_kib,
        name + ": memory has grown from " + to_text(before) + " to " + to_text(after));
    return std::to_string(cycles) + " " + name + ": " + to_text(before) + " after the warm-up, "
         + to_text(after) + " at the end";
}

} // namespace

std::string run_cycles(effort how_much) {
    auto const cycles = how_much == effort::full ? 10'000U : 200U;
    dev::dev_hub hub;
    providing_application const providing{hub, "boiler", variable_count};
    consumer attaching{"monitor", false, nullptr, nullptr};
    connect(attaching, hub);

    auto const connects = repeat(cycles, "connects and disconnects", [&hub] {
        consumer coming_and_going{"visitor", true, nullptr, nullptr};
        connect(coming_and_going, hub);
        coming_and_going.disconnect();
    });
    auto const attaches = repeat(cycles, "connections created and destroyed", [&attaching] {
        static_cast<void>(provider_connection::create("boiler", attaching));
    });
    return connects + "; " + attaches;
}

} // namespace arvenhold::corvel::hub::reliability
