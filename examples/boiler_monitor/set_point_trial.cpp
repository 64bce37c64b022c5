// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "set_point_trial.hpp"

#include "display.hpp"

#include <cmath>
#include <stdexcept>
#include <variant>

namespace {

constexpr std::chrono::seconds watching_time{5};
constexpr double lower_set_point = 120;
constexpr double higher_set_point = 150;

// Variables are addressed by ids, so a path has to be looked for.
std::shared_ptr<hub::consumer_variable> find_variable(
    hub::provider_connection& connection, std::string const& path) {
    for (auto const& [id, variable] : *connection.get_current_variables().variables) {
        if (variable->get_path() == path) {
            return variable;
        }
    }
    throw std::runtime_error{"the provider has no variable " + path};
}

double number_of(hub::consumer_variable& variable) {
    return std::get<double>(std::get<hub::variable_value>(variable.get_value_with_timestamp()));
}

} // namespace

set_point_trial::set_point_trial(hub::provider_connection& connection, display& display)
    : m_connection{connection}
    , m_display{display}
    , m_set_point{find_variable(connection, "set_point_celsius")}
    , m_temperature{find_variable(connection, "temperature_celsius")} {}

void set_point_trial::advance(news const& latest) {
    m_change_events += latest.change_events;
    switch (m_phase) {
    case phase::watching:
        watch();
        break;
    case phase::written:
        // The provider does not answer a command; that it has published the variable is the answer.
        if (latest.changed.count(m_set_point->get_id()) != 0) {
            answer();
        }
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

// First the values are set here, then they are sent, as many as there are, in one command.
void set_point_trial::write() {
    auto const present = number_of(*m_set_point);
    m_wanted = present < higher_set_point ? higher_set_point : lower_set_point;
    m_first_temperature = number_of(*m_temperature);
    m_set_point->set_value(m_wanted, std::chrono::system_clock::now());
    m_connection.write_variables(
        m_connection.get_current_variables().fingerprint, {m_set_point->get_id()});
    m_display.say("writing the set point: " + to_text(present) + " -> " + to_text(m_wanted));
}

// What a provider makes of a written value is its own affair.
void set_point_trial::answer() {
    auto const present = number_of(*m_set_point);
    bool const is_taken = present == m_wanted;
    m_display.say(
        (is_taken ? "the boiler has taken the set point: " : "the boiler has another set point: ")
        + to_text(present));
    m_phase = is_taken ? phase::taken : phase::over;
}

void set_point_trial::follow() {
    auto const temperature = number_of(*m_temperature);
    if (std::abs(m_wanted - temperature) < std::abs(m_wanted - m_first_temperature) / 2) {
        m_display.say(
            "the temperature follows: " + to_text(m_first_temperature) + " -> "
            + to_text(temperature));
        m_phase = phase::over;
    }
}
