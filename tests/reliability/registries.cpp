// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"
#include "support/await.hpp"

#include <chrono>
#include <sstream>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_registries(effort how_much);

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

enum class outcome {
    accepted,
    rejected,
    timed_out,
    failed
};

struct judgement {
    outcome result = outcome::failed;
    milliseconds duration{};
};

// Registers a definition with a connected provider and returns how it went.
judgement register_definition(provider& server) {
    static definition_fingerprint last_fingerprint = 0;
    provider_definition definition{++last_fingerprint};
    fill(definition, 6);
    auto const begin = steady_clock::now();
    auto result = outcome::accepted;
    try {
        server.register_provider_definition(definition);
    } catch (invalid_provider_definition const&) {
        result = outcome::rejected;
    } catch (operational_state_invalid const&) {
        result = outcome::timed_out;
    } catch (std::exception const&) {
        result = outcome::failed;
    }
    return {result, std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin)};
}

// A registry's behaviour, and how the provider must react.
struct behaviour {
    char const* name;
    void (*set_up)(dev::registry&);
    outcome expected;
};

std::vector<behaviour> quick_behaviours() {
    return {
        {"answers at once",
         [](dev::registry& registry) { registry.set_verdict_delay(milliseconds{0}); },
         outcome::accepted},
        {"answers twice",
         [](dev::registry& registry) { registry.set_verdict_copies(2); },
         outcome::accepted},
        {"rejects", [](dev::registry& registry) { registry.reject_all(); }, outcome::rejected},
        {"accepts again",
         [](dev::registry& registry) {
             registry.judge_normally();
             registry.set_verdict_copies(1);
         },
         outcome::accepted},
    };
}

std::vector<behaviour> slow_behaviours() {
    return {
        {"answers after 14.9 s",
         [](dev::registry& registry) { registry.set_verdict_delay(milliseconds{14'900}); },
         outcome::accepted},
        {"answers after 15.1 s",
         [](dev::registry& registry) { registry.set_verdict_delay(milliseconds{15'100}); },
         outcome::timed_out},
        {"does not answer",
         [](dev::registry& registry) {
             registry.set_verdict_delay(milliseconds{5});
             registry.go_silent();
         },
         outcome::timed_out},
    };
}

} // namespace

std::string run_registries(effort how_much) {
    dev::dev_hub hub;
    auto& registry = hub.get_registry();
    std::ostringstream figures;
    auto behaviours = quick_behaviours();
    if (how_much == effort::full) {
        for (auto const& slow : slow_behaviours()) {
            behaviours.push_back(slow);
        }
    }
    for (auto const& behaviour : behaviours) {
        provider server{"judged"};
        connect(server, hub);
        behaviour.set_up(registry);
        auto const judged = register_definition(server);
        demand(judged.result == behaviour.expected, std::string{"the registry "} + behaviour.name);
        figures << behaviour.name << ": " << judged.duration.count() << " ms; ";
    }
    registry.speak_again();

    provider server{"judged"};
    connect(server, hub);
    demand(register_definition(server).result == outcome::accepted, "the registry speaks again");
    registry.restart();
    demand(
        registry.wait_until_provider_listed("judged", patience),
        "the definition was not published again after a restart");
    figures << "published again after a restart";
    return figures.str();
}

} // namespace arvenhold::corvel::hub::reliability
