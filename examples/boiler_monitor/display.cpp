// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "display.hpp"

#include <array>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <variant>

namespace {

constexpr std::chrono::seconds line_interval{1};

// The rows of the terminal that the table takes, for eight variables.
constexpr int table_height = 12;

// Control sequences that every terminal knows.
constexpr char const* clear_screen = "\x1b[2J";
constexpr char const* clear_rest_of_line = "\x1b[K";
constexpr char const* scroll_everything = "\x1b[r";
constexpr char const* go_to_top = "\x1b[H";
constexpr char const* go_to_bottom = "\x1b[999H";
constexpr char const* save_cursor = "\x1b"
                                    "7";
constexpr char const* restore_cursor = "\x1b"
                                       "8";
constexpr char const* bold = "\x1b[1m";
constexpr char const* red = "\x1b[31m";
constexpr char const* plain = "\x1b[0m";

struct text_of {
    std::string operator()(bool value) const {
        return value ? "yes" : "no";
    }

    std::string operator()(std::int64_t value) const {
        return std::to_string(value);
    }

    std::string operator()(double value) const {
        std::ostringstream text;
        text << std::fixed << std::setprecision(2) << value;
        return text.str();
    }

    std::string operator()(std::string const& value) const {
        return value;
    }

    std::string operator()(hub::timestamp value) const {
        auto const age = std::chrono::system_clock::now() - value;
        return std::to_string(std::chrono::duration_cast<std::chrono::hours>(age).count() / 24)
             + " days ago";
    }

    std::string operator()(std::chrono::nanoseconds value) const {
        return (*this)(std::chrono::duration<double>{value}.count()) + " s";
    }
};

std::string to_text(hub::variable_quality quality) {
    switch (quality) {
    case hub::variable_quality::good:
        return "good";
    case hub::variable_quality::bad:
        return "bad";
    case hub::variable_quality::uncertain:
    case hub::variable_quality::uncertain_last_usable_value:
    case hub::variable_quality::uncertain_initial_value:
        break;
    }
    return "uncertain";
}

std::string to_text(hub::provider_connection_state state) {
    switch (state) {
    case hub::provider_connection_state::connected:
        return "connected";
    case hub::provider_connection_state::provider_unavailable:
        return "lost";
    case hub::provider_connection_state::faulted:
        return "faulted";
    case hub::provider_connection_state::disconnected:
        break;
    }
    return "disconnected";
}

std::string type_of(hub::variable_value const& value) {
    static constexpr std::array<char const*, 6> names{
        "Boolean", "number", "integer", "string", "point in time", "duration"};
    return names.at(value.index());
}

hub::variable_value value_of(hub::consumer_variable& variable) {
    return std::get<hub::variable_value>(variable.get_value_with_timestamp());
}

} // namespace

std::string to_text(hub::variable_value const& value) {
    return std::visit(text_of{}, value);
}

display::display(manner chosen)
    : m_manner{chosen} {
    if (m_manner == manner::table) {
        std::cout << clear_screen << "\x1b[" << table_height + 1 << "r" << go_to_bottom
                  << std::flush;
    }
}

display::~display() {
    if (m_manner == manner::table) {
        std::cout << scroll_everything << go_to_bottom << std::flush;
    }
}

std::string display::elapsed() const {
    std::chrono::duration<double> const seconds = steady_clock::now() - m_start;
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << std::setw(5) << seconds.count() << " s  ";
    return text.str();
}

void display::say(std::string const& sentence) const {
    std::cout << elapsed() << sentence << std::endl;
}

void display::show_providers(std::set<std::string> const& identifiers) const {
    std::string list;
    for (auto const& identifier : identifiers) {
        list += " " + identifier;
    }
    say("providers on the hub:" + list);
}

void display::show_definition(hub::provider_connection& connection) const {
    auto const current = connection.get_current_variables();
    say(connection.get_associated_provider_identifier() + " offers "
        + std::to_string(current.size()) + " variables, fingerprint "
        + std::to_string(current.fingerprint) + ":");
    std::ostringstream table;
    table << std::left << "         id  variable            type           consumers may\n";
    for (auto const& [id, variable] : current) {
        bool const writable = variable->get_permissions() == hub::variable_permissions::read_write;
        table << "    " << std::right << std::setw(7) << id << "  " << std::left << std::setw(20)
              << variable->get_path() << std::setw(15) << type_of(value_of(*variable))
              << (writable ? "read and write" : "read") << '\n';
    }
    std::cout << table.str() << std::flush;
}

void display::show_values(hub::provider_connection& connection, news const& latest) {
    m_change_events += latest.change_events;
    m_changed.insert(latest.changed.begin(), latest.changed.end());
    if (m_manner == manner::table) {
        draw_table(connection);
    } else if (!m_changed.empty() && steady_clock::now() >= m_next_line) {
        write_line(connection);
        m_changed.clear();
        m_next_line = steady_clock::now() + line_interval;
    }
}

void display::draw_table(hub::provider_connection& connection) const {
    std::ostringstream table;
    table << save_cursor << go_to_top << bold << connection.get_associated_provider_identifier()
          << ": " << to_text(connection.get_state()) << ", " << m_change_events << " change events"
          << clear_rest_of_line << "\n\n"
          << "variable            value          quality       updates" << plain << '\n';
    for (auto const& [id, variable] : connection.get_current_variables()) {
        auto const quality = variable->get_quality();
        table << std::left << std::setw(20) << variable->get_path() << std::setw(15)
              << to_text(value_of(*variable))
              << (quality == hub::variable_quality::good ? plain : red) << std::setw(10)
              << to_text(quality) << plain << std::right << std::setw(11)
              << variable->get_update_count() << clear_rest_of_line << '\n';
    }
    table << restore_cursor;
    // In one piece, so that nothing else is written between saving and restoring the cursor.
    std::cout << table.str() << std::flush;
}

void display::write_line(hub::provider_connection& connection) {
    auto const current = connection.get_current_variables();
    std::string line;
    for (auto const id : m_changed) {
        auto const variable = current.find(id);
        if (!variable) {
            continue; // of a definition that was replaced meanwhile
        }
        line +=
            (line.empty() ? "" : ", ") + variable->get_path() + " " + to_text(value_of(*variable));
        auto const quality = variable->get_quality();
        if (quality != hub::variable_quality::good) {
            line += " (" + to_text(quality) + ")";
        }
    }
    say(line);
}
