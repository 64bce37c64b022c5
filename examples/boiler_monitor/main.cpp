// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A consumer: finds the boiler on the hub, shows its measurements, changes its set point once, and
// reports when the boiler is lost and when it returns. Runs until Ctrl-C.

#include "display.hpp"
#include "inbox.hpp"
#include "set_point_trial.hpp"
#include <hub/hub.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using std::chrono::steady_clock;

constexpr char const* provider_name = "boiler";
constexpr std::chrono::milliseconds interval{200};
constexpr std::chrono::seconds listing_limit{10};
constexpr std::chrono::milliseconds worth_mentioning{1500};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

// Reports losses and returns of the boiler, and pauses between its changes.
class watcher {
public:
    watcher(hub::provider_connection& connection, display const& display)
        : m_connection{connection}
        , m_display{display} {}

    void report(news const& latest) {
        for (auto const event : latest.events) {
            report_event(event);
        }
        auto const [good, all] = count_values();
        if (m_has_returned && good == all) {
            m_has_returned = false;
            m_display.say(std::to_string(good) + " of " + std::to_string(all) + " values are good");
        }
        if (latest.change_events > 0) {
            report_change(steady_clock::now());
        }
    }

private:
    hub::provider_connection& m_connection;
    display const& m_display;
    bool m_is_lost = false;
    bool m_has_returned = false;
    steady_clock::time_point m_last_change = steady_clock::now();

    void report_event(hub::provider_connection_event event) {
        switch (event) {
        case hub::provider_connection_event::provider_lost:
            // Repeated with every list of providers that lacks the boiler.
            if (!std::exchange(m_is_lost, true)) {
                auto const [good, all] = count_values();
                m_display.say(
                    "the boiler is lost: " + std::to_string(all - good) + " of "
                    + std::to_string(all) + " values are bad");
            }
            break;
        case hub::provider_connection_event::provider_returned:
            // The library is about to read the values, which makes them good.
            m_is_lost = false;
            m_has_returned = true;
            m_display.say("the boiler has returned");
            break;
        case hub::provider_connection_event::definition_updated:
            m_display.say("the boiler has announced its variables again");
            break;
        }
    }

    void report_change(steady_clock::time_point now) {
        if (now - m_last_change > worth_mentioning) {
            m_display.say("changes arrive again after " + to_text(now - m_last_change));
        }
        m_last_change = now;
    }

    // How many values are good, and how many there are.
    std::pair<std::ptrdiff_t, std::ptrdiff_t> count_values() {
        auto const current = m_connection.get_current_variables();
        auto const good = std::count_if(current.begin(), current.end(), [](auto const& entry) {
            // Until a new variable's first value has arrived, its quality means nothing.
            return entry.second->get_update_count() > 0
                && entry.second->get_quality() == hub::variable_quality::good;
        });
        return {good, static_cast<std::ptrdiff_t>(current.size())};
    }
};

// Returns when the boiler is in the list of providers, or when the program is to end.
void wait_for_boiler(hub::consumer& consumer) {
    auto const deadline = steady_clock::now() + listing_limit;
    while (stop_requested == 0 && consumer.get_provider_identifiers()->count(provider_name) == 0) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error{"there is no boiler on the hub"};
        }
        std::this_thread::sleep_for(interval);
    }
}

void watch(hub::provider_connection& connection, inbox& inbox, display& display) {
    watcher watcher{connection, display};
    set_point_trial trial{connection, display};
    while (stop_requested == 0) {
        std::this_thread::sleep_for(interval);
        auto const latest = inbox.collect();
        watcher.report(latest);
        trial.advance(latest);
        display.show_values(connection, latest);
        if (connection.get_state() == hub::provider_connection_state::faulted) {
            throw std::runtime_error{"the connection to the boiler has faulted"};
        }
    }
}

void run(std::vector<std::string> const& arguments, display::manner manner) {
    // Used by callbacks, so it must outlive the consumer.
    inbox inbox;
    // Not read-only, because it writes.
    hub::consumer consumer{"boiler-monitor", false, nullptr, nullptr};
    consumer.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    wait_for_boiler(consumer);
    if (stop_requested != 0) {
        return;
    }
    auto const connection = consumer.attach_to_provider(provider_name);
    inbox.follow(*connection);
    display display{manner};
    display.show_providers(*consumer.get_provider_identifiers());
    display.show_definition(*connection);
    watch(*connection, inbox, display);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    bool const wants_table = arguments.size() == 5 && arguments.back() == "table";
    if (arguments.size() != 4 && !wants_table) {
        std::cerr << "usage: boiler_monitor <nats-url> <token-url> <client-id> <client-secret> "
                     "[table]\n"
                     "With \"table\" the values stay at the top of the terminal.\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    try {
        run(arguments, wants_table ? display::manner::table : display::manner::lines);
    } catch (std::exception const& error) {
        std::cerr << "boiler_monitor: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
