// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "set_point_trial.hpp"

#include "display.hpp"

#include <cmath>
#include <memory>
#include <stdexcept>
#include <variant>

namespace {

constexpr std::chrono::seconds watching_time{5};
constexpr double lower_set_point = 120;
constexpr double higher_set_point = 150;

constexpr char const* set_point_path = "set_point_celsius";
constexpr char const* temperature_path = "temperature_celsius";

double number_of(hub::consumer_variable& variable) {
    return std::get<double>(std::get<hub::variable_value>(variable.get_value_with_timestamp()));
}

} // namespace

set_point_trial::set_point_trial(hub::provider_connection& connection, display& display)
    : m_connection{connection}
    , m_display{display} {}

void set_point_trial::advance(news const& latest) {
    m_change_events += latest.change_events;
    switch (m_phase) {
    case phase::watching:
        watch();
        break;
    case phase::written:
        // The provider does not answer a command; it publishes the variable instead.
        check_answer(latest);
        break;
    case phase::taken:
        follow();
        break;
    case phase::over:
        break;
    }
}

void set_point_trial::watch() {
    auto const watched = std::chrono::steady_clock::now() - m_start;
    if (watched >= watching_time
        && m_connection.get_state() == hub::provider_connection_state::connected) {
        m_display.say(
            std::to_string(m_change_events) + " change events in "
            + to_text(std::chrono::duration_cast<std::chrono::nanoseconds>(watched)));
        write();
        m_phase = phase::written;
    }
}

// Values are set locally first, then sent together in one command.
void set_point_trial::write() {
    // Looked up now, because a provider may replace its variables at any time.
    auto const current = m_connection.get_current_variables();
    auto const set_point = current.find(set_point_path);
    auto const temperature = current.find(temperature_path);
    if (!set_point || !temperature) {
        throw std::runtime_error{"the provider lacks the set point or the temperature"};
    }
    auto const present = number_of(*set_point);
    m_wanted = present < higher_set_point ? higher_set_point : lower_set_point;
    m_first_temperature = number_of(*temperature);
    set_point->set_value(m_wanted, std::chrono::system_clock::now());
    m_connection.write_variables(current.fingerprint, {set_point->get_id()});
    m_display.say("writing the set point: " + to_text(present) + " -> " + to_text(m_wanted));
}

// A provider may publish another value than the written one.
void set_point_trial::check_answer(news const& latest) {
    auto const set_point = m_connection.get_current_variables().find(set_point_path);
    if (!set_point || latest.changed.count(set_point->get_id()) == 0) {
        return;
    }
    auto const present = number_of(*set_point);
    bool const is_taken = present == m_wanted;
    m_display.say(
        (is_taken ? "the boiler has taken the set point: " : "the boiler has another set point: ")
        + to_text(present));
    m_phase = is_taken ? phase::taken : phase::over;
}

void set_point_trial::follow() {
    auto const variable = m_connection.get_current_variables().find(temperature_path);
    if (!variable) {
        return;
    }
    auto const temperature = number_of(*variable);
    if (std::abs(m_wanted - temperature) < std::abs(m_wanted - m_first_temperature) / 2) {
        m_display.say(
            "the temperature follows: " + to_text(m_first_temperature) + " -> "
            + to_text(temperature));
        m_phase = phase::over;
    }
}
