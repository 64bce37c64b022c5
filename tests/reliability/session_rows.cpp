// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The rows about sessions. Repetitions mostly wait, so several worlds run side by side, each in a
// process of its own.

#include "dev_hub/child_process.hpp"
#include "reliability/row.hpp"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_sessions_without_server(effort how_much);
std::string run_sessions_without_token(effort how_much);
std::string run_sessions_on_half_open_links(effort how_much);
std::string run_sessions_without_provider(effort how_much);
std::string run_sessions_without_registry(effort how_much);
std::string run_sessions_without_anything(effort how_much);
std::string run_sessions_without_anything_for_seed(std::uint64_t seed);
std::string run_session_sequences(effort how_much);
std::string run_session_sequence(std::uint64_t seed);

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::minutes longest_row{20};
constexpr unsigned recovery_limit = 10'000; // in milliseconds, that of the worlds in full

// A fault of a row, and how often it is repeated in full.
struct planned_fault {
    std::string_view words; // in the results
    std::string_view name;  // of the fault, as the program session_world knows it
    milliseconds outage;
    unsigned times;       // for each world
    unsigned worlds;      // side by side
    bool is_quick = true; // whether a quick row has it, once
};

// The figures of all worlds of one planned fault.
struct longest_times {
    unsigned times = 0;
    std::uint64_t recovery = 0;
    std::uint64_t delay = 0;
    std::uint64_t documented = 0;
};

class running_world {
public:
    running_world(planned_fault const& plan, effort how_much, unsigned times, std::uint64_t seed)
        : m_times{times}
        , m_process{
              CORVEL_HUB_SESSION_WORLD,
              {how_much == effort::full ? "full" : "quick",
               std::string{plan.name},
               std::to_string(plan.outage.count()),
               std::to_string(times),
               std::to_string(seed)}} {}

    // Waits for the end and shows the progress meanwhile.
    void add_to(longest_times& all) {
        auto const deadline = std::chrono::steady_clock::now() + longest_row;
        while (!m_process.wait_until_ended(std::chrono::seconds{20})) {
            demand(std::chrono::steady_clock::now() < deadline, "a world does not end");
            std::cerr << get_last_line() << std::endl;
        }
        std::istringstream line{get_last_line()};
        std::string word;
        std::uint64_t recovery = 0;
        std::uint64_t delay = 0;
        line >> word >> recovery >> delay >> all.documented;
        demand(m_process.get_exit_code() == 0 && word == "held", m_process.get_output());
        std::cerr << line.str() << std::endl;
        all.times += m_times;
        all.recovery = std::max(all.recovery, recovery);
        all.delay = std::max(all.delay, delay);
    }

private:
    unsigned const m_times;
    dev::child_process m_process;

    [[nodiscard]] std::string get_last_line() const {
        auto output = m_process.get_output();
        output.resize(output.find_last_not_of('\n') + 1);
        return output.substr(output.rfind('\n') + 1);
    }
};

struct running_fault {
    planned_fault const* plan;
    std::vector<std::unique_ptr<running_world>> worlds{};
};

std::vector<running_fault> start(
    std::vector<planned_fault> const& plans, effort how_much, std::uint64_t seed) {
    std::vector<running_fault> running;
    for (auto const& plan : plans) {
        if (how_much == effort::full) {
            auto& fault = running.emplace_back(running_fault{&plan});
            for (unsigned world = 0; world < plan.worlds; ++world) {
                fault.worlds.push_back(std::make_unique<running_world>(
                    plan, how_much, plan.times, seed + world * plan.times));
            }
        } else if (plan.is_quick) {
            running.emplace_back(running_fault{&plan})
                .worlds.push_back(std::make_unique<running_world>(plan, how_much, 1, seed));
        }
    }
    return running;
}

std::string run_all(std::vector<planned_fault> const& plans, effort how_much, std::uint64_t seed) {
    auto const running = start(plans, how_much, seed);
    std::ostringstream recoveries;
    std::ostringstream delays;
    for (auto const& fault : running) {
        longest_times longest;
        for (auto const& world : fault.worlds) {
            world->add_to(longest);
        }
        recoveries << ", " << fault.plan->words << " (" << longest.times << " times) "
                   << longest.recovery << '/' << recovery_limit;
        delays << ", " << fault.plan->words << ' ' << longest.delay << '/' << longest.documented;
    }
    return "ms from the end of the last cause until everything is live and equal: longest/limit"
         + recoveries.str()
         + "; ms from the moment when a provider replaces or loses a value until it is no longer "
           "live: "
           "longest/documented"
         + delays.str();
}

std::string run_all(std::vector<planned_fault> const& plans, effort how_much) {
    return run_all(plans, how_much, std::random_device{}());
}

} // namespace

std::string run_sessions_without_server(effort how_much) {
    return run_all(
        {{"hub absent at start", "hub-absent", milliseconds{1'000}, 50, 1},
         {"down for 1 s", "server-down", milliseconds{1'000}, 50, 1},
         {"down for 20 s", "server-down", milliseconds{20'000}, 13, 4, false},
         {"down for 125 s", "server-down", milliseconds{125'000}, 3, 2, false},
         {"down for 200 s", "server-down", milliseconds{200'000}, 2, 2, false}},
        how_much);
}

std::string run_sessions_without_token(effort how_much) {
    constexpr milliseconds brief{2'000};
    constexpr milliseconds longer{5'000};
    constexpr milliseconds lasting{60'000};
    return run_all(
        {{"endpoint down for 2 s", "token-down", brief, 25, 2},
         {"endpoint down for 5 s", "token-down", longer, 25, 2, false},
         {"endpoint down for 60 s", "token-down", lasting, 6, 1, false},
         {"tokens 3 s late for 2 s", "token-slow", brief, 25, 2, false},
         {"tokens 3 s late for 5 s", "token-slow", longer, 25, 2, false},
         {"tokens 3 s late for 60 s", "token-slow", lasting, 6, 1, false},
         {"tokens refused for 2 s", "token-refused", brief, 25, 2},
         {"tokens refused for 5 s", "token-refused", longer, 25, 2, false},
         {"tokens refused for 60 s", "token-refused", lasting, 6, 1, false},
         {"secret rotated 3 s before the sessions know",
          "secret-rotated",
          milliseconds{3'000},
          50,
          1}},
        how_much);
}

std::string run_sessions_on_half_open_links(effort how_much) {
    constexpr milliseconds outage{5'000}; // longer than three pings
    return run_all(
        {{"server frozen for 5 s", "server-frozen", outage, 25, 2},
         {"packets of the consumers dropped for 5 s", "watchers-cut", outage, 25, 2},
         {"packets of the providers dropped for 9 s",
          "providers-cut",
          milliseconds{9'000},
          25,
          2,
          false}},
        how_much);
}

std::string run_sessions_without_provider(effort how_much) {
    return run_all(
        {{"one of three killed for up to 2 s", "provider-killed", milliseconds{2'000}, 50, 1},
         {"one of three replaced within 2 s", "provider-changed", milliseconds{2'000}, 50, 1},
         {"one of three hangs for 8 s", "provider-hung", milliseconds{8'000}, 13, 4, false}},
        how_much);
}

std::string run_sessions_without_registry(effort how_much) {
    return run_all(
        {{"registry restarts", "registry-restarts", milliseconds{500}, 50, 1},
         {"registry hangs for 5 s while the server restarts",
          "registry-silent",
          milliseconds{5'000},
          13,
          4,
          false}},
        how_much);
}

namespace {

std::vector<planned_fault> everything(effort how_much, unsigned worlds) {
    milliseconds const outage{how_much == effort::full ? 8'000 : 2'000};
    return {{"all at once", "everything", outage, 13, worlds}};
}

} // namespace

std::string run_sessions_without_anything(effort how_much) {
    auto const seed = std::random_device{}();
    return run_all(everything(how_much, 4), how_much, seed) + "; seeds from " + std::to_string(seed)
         + " on";
}

std::string run_sessions_without_anything_for_seed(std::uint64_t seed) {
    auto plan = everything(effort::full, 1);
    plan.front().times = 1;
    return run_all(plan, effort::full, seed) + "; seed " + std::to_string(seed);
}

} // namespace arvenhold::corvel::hub::reliability
