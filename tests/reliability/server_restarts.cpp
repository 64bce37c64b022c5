// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/load.hpp"
#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>
#include <thread>

namespace arvenhold::corvel::hub::reliability {

std::string run_server_restarts(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t variable_count = 60;

struct restart_world {
    dev::dev_hub hub;
    providing_application providing{hub, "boiler", variable_count};
    consuming_application consuming{hub, "monitor", "boiler"};
    steady_clock::duration longest_recovery{};

    void restart_after(milliseconds outage) {
        {
            load const busy{providing, consuming};
            demand(await([&busy] { return busy.has_moved_on(0, 0); }, patience), "no load");
            hub.get_nats_server().kill();
            std::this_thread::sleep_for(outage); // the length of the outage is what is tested
            auto const published = busy.published();
            auto const read = busy.read();
            auto const begin = steady_clock::now();
            hub.get_nats_server().start();
            demand(
                await([&] { return busy.has_moved_on(published, read); }, patience),
                "publishing and reading did not go on after the restart");
            longest_recovery = std::max(longest_recovery, steady_clock::now() - begin);
        }
        // The quiet period: everything changes once more while both sides are there.
        demand(become_equal(providing, consuming), "a value, quality or time stamp differs");
        demand(
            hub.get_registry().get_definition("boiler").has_value(),
            "the definition was not registered again");
    }
};

} // namespace

std::string run_server_restarts(effort how_much) {
    std::array const outages{milliseconds{200}, milliseconds{2'000}, milliseconds{20'000}};
    auto const restarts = how_much == effort::full ? 100U : 2U;
    restart_world world;
    for (unsigned restart = 0; restart < restarts; ++restart) {
        world.restart_after(outages.at(restart % outages.size()));
    }
    std::ostringstream figures;
    figures << restarts << " restarts; longest from the restart to publishing and reading "
            << std::chrono::duration_cast<milliseconds>(world.longest_recovery).count()
            << " ms; provider recovered by its application " << world.providing.get_recoveries()
            << " times, consumer " << world.consuming.get_recoveries() << " times";
    return figures.str();
}

} // namespace arvenhold::corvel::hub::reliability
