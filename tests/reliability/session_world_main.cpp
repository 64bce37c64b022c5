// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Runs a fault as often as asked, in a process of its own, because all sessions of a process share
// the pace of their connects. Prints its progress on standard error, and at the end one line with
// the longest recovery, the longest delay and the documented one, in milliseconds.

#include "reliability/row.hpp"
#include "reliability/session_faults.hpp"
#include "reliability/session_world.hpp"
#include "reliability/world.hpp"
#include <hub/diagnostics.hpp>

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

namespace {

using std::chrono::milliseconds;

// The full rows demand what is promised for a quiet machine.
world_limits limits_for(std::string_view how_much) {
    if (how_much == "full") {
        return {std::chrono::seconds{10}, std::chrono::seconds{1}, milliseconds{500}};
    }
    return {patience, std::chrono::seconds{20}, std::chrono::seconds{1}};
}

class repetitions {
public:
    repetitions(session_fault const& fault, world_limits const& limits)
        : m_fault{fault}
        , m_limits{limits} {}

    void run(milliseconds outage, unsigned times, std::uint64_t seed) {
        for (unsigned time = 0; time < times; ++time) {
            if (m_world == nullptr || m_fault.needs_new_hub) {
                renew(seed + time);
            }
            try {
                m_fault.run(*m_world, outage);
                m_world->demand_recovery(m_fault.documented(m_limits));
            } catch (std::exception const& error) {
                throw row_failure{
                    std::string{m_fault.name} + ", repetition " + std::to_string(time) + " of seed "
                    + std::to_string(seed) + ": " + error.what()};
            }
            note();
            std::cerr << m_fault.name << ' ' << time + 1 << '/' << times << ": live after at most "
                      << m_recovery.count() << " ms" << std::endl;
        }
        std::cout << "held " << m_recovery.count() << ' ' << m_delay.count() << ' '
                  << m_fault.documented(m_limits).count() << std::endl;
    }

private:
    session_fault const& m_fault;
    world_limits const m_limits;
    std::unique_ptr<session_world> m_world;
    milliseconds m_recovery{};
    milliseconds m_delay{};

    void renew(std::uint64_t seed) {
        m_world.reset();
        m_world = std::make_unique<session_world>(m_limits, m_fault.size, seed);
        if (m_fault.needs_clients) {
            m_world->start_clients();
            m_world->demand_recovery(m_fault.documented(m_limits));
        }
    }

    void note() {
        m_recovery = std::max(m_recovery, m_world->get_longest_recovery());
        m_delay = std::max(m_delay, m_world->get_longest_delay());
    }
};

} // namespace

} // namespace arvenhold::corvel::hub::reliability

int main(int argc, char** argv) {
    using namespace arvenhold::corvel::hub::reliability;
    std::vector<std::string> const words{argv + 1, argv + argc};
    if (words.size() != 5) {
        std::cerr << "usage: session_world quick|full <fault> <outage in ms> <times> <seed>\n"
                     "faults:\n";
        for (auto const& fault : all_session_faults()) {
            std::cerr << "  " << fault.name << '\n';
        }
        return 2;
    }
    using arvenhold::corvel::hub::set_diagnostics_callback;
    try {
        set_diagnostics_callback([](auto const& /*line*/, void* /*user_data*/) {}, nullptr);
        repetitions{find_session_fault(words[1]), limits_for(words[0])}.run(
            milliseconds{std::stoi(words[2])},
            static_cast<unsigned>(std::stoul(words[3])),
            std::stoull(words[4]));
        return 0;
    } catch (std::exception const& error) {
        std::cout << "failed: " << error.what() << std::endl;
        return 1;
    }
}
