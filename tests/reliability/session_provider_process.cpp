// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider session in a process of its own, which changes its values until it is killed and notes
// each change in a file before it makes it.

#include "reliability/held_values.hpp"
#include "reliability/session_access.hpp"
#include <hub/session/provider_session.hpp>

#include <chrono>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds busy_interval{50};
constexpr unsigned longest_calm = 4'000; // in milliseconds

class changing_provider {
public:
    changing_provider(
        std::string const& identifier,
        hub_access const& access,
        session_settings const& settings,
        provider_shape shape,
        std::string notes)
        : m_notes{std::move(notes)}
        , m_variables{variables_of(shape)}
        , m_session{identifier, access, settings} {
        for (auto const& variable : m_variables) {
            m_handles.push_back(m_session.declare_any(variable.path, value_in(variable, 0)));
        }
    }

    [[noreturn]] void run() {
        change(pace::busy);
        change(pace::calm);
        m_session.start();
        std::cout << "the provider runs" << std::endl;
        auto next_calm = clock::now();
        for (;;) {
            std::this_thread::sleep_for(busy_interval); // the pace of the changes
            change(pace::busy);
            if (clock::now() >= next_calm) {
                change(pace::calm);
                next_calm = clock::now() + milliseconds{m_random() % longest_calm};
            }
        }
    }

private:
    std::string const m_notes;
    std::vector<provided_variable> const& m_variables;
    provider_session m_session;
    std::vector<any_variable_handle> m_handles;
    std::mt19937 m_random{std::random_device{}()};

    void change(pace changes) {
        auto const round = round_of(clock::now());
        append(m_notes, {changes, round});
        m_session.update(
            [&](update_cycle& cycle) {
                for (std::size_t position = 0; position < m_variables.size(); ++position) {
                    auto const& variable = m_variables[position];
                    if (variable.changes == changes) {
                        cycle.set(
                            m_handles[position], value_in(variable, round), quality_in(round));
                    }
                }
            },
            time_of(round));
    }
};

} // namespace

} // namespace arvenhold::corvel::hub::reliability

int main(int argc, char** argv) {
    using namespace arvenhold::corvel::hub::reliability;
    try {
        std::vector<std::string> words{argv + 1, argv + argc};
        if (words.size() != 7) {
            std::cerr << "usage: session_provider_process <NATS URL> <token URL> <identifier> "
                         "<secret file> <ping interval in ms> <shape> <notes>\n";
            return 2;
        }
        changing_provider{
            words[2],
            make_session_access(words[0], words[1], words[3]),
            make_session_settings(milliseconds{std::stoi(words[4])}),
            static_cast<provider_shape>(std::stoi(words[5])),
            words[6]}
            .run();
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
