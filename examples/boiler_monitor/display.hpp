// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the user of the monitor sees.

#pragma once

#include "inbox.hpp"
#include <hub/hub.hpp>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

namespace hub = arvenhold::corvel::hub;

/// Returns a value as people read it, such as `119.84`, `yes` or `41 days ago`.
std::string to_text(hub::variable_value const& value);

/// Shows values on standard output: as a table that stays at the top of the terminal while
/// everything else scrolls below it, or line by line.
class display {
public:
    enum class manner {
        lines,
        table
    };

    explicit display(manner chosen);

    display(display const&) = delete;
    display& operator=(display const&) = delete;

    /// Restores the terminal.
    ~display();

    /// Prints a sentence, with the time since the start.
    void say(std::string const& sentence) const;

    void show_providers(std::set<std::string> const& identifiers) const;

    /// Shows the variables of a provider as a table.
    void show_definition(hub::provider_connection& connection) const;

    /// Shows all values, or those that have changed. Call it several times a second with everything
    /// new.
    void show_values(hub::provider_connection& connection, news const& latest);

private:
    using steady_clock = std::chrono::steady_clock;

    manner const m_manner;
    steady_clock::time_point const m_start = steady_clock::now();
    steady_clock::time_point m_next_line = m_start;
    std::set<hub::variable_id> m_changed; // since the last line
    std::uint64_t m_change_events = 0;    // since the start

    std::string elapsed() const;
    void draw_table(hub::provider_connection& connection) const;
    void write_line(hub::provider_connection& connection);
};
