// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The screen of `watch --table`: a row for each variable, as far as they fit.

#pragma once

#include "corvelctl/followed_hub.hpp"
#include "corvelctl/table.hpp"
#include "corvelctl/terminal_screen.hpp"

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Returns a line of eight heights, the latest value at the right; a space for each value that is not
/// finite.
///
/// @param values   In the order of their times.
/// @param unicode  Whether blocks may be used, or else only ASCII.
[[nodiscard]] std::string make_sparkline(std::deque<double> const& values, bool unicode);

/// How old something is, in at most five columns: "0.4s", "45s", "12min", "5h", "3d"; "0.0s" for what
/// is not over yet.
[[nodiscard]] std::string make_age(std::chrono::milliseconds age);

/// Shortens a text to a number of columns; shows that its beginning is left out.
[[nodiscard]] std::string shorten_beginning(std::string const& text, std::size_t columns);

/// Shortens a text to a number of columns; shows that its end is left out.
[[nodiscard]] std::string shorten_end(std::string const& text, std::size_t columns);

class value_table {
public:
    /// @param title    What is watched.
    /// @param unicode  Whether the terminal shows characters beyond ASCII.
    /// @param utc      Whether points in time are shown in UTC.
    value_table(std::string title, bool unicode, bool utc)
        : m_title{std::move(title)}
        , m_unicode{unicode}
        , m_utc{utc} {}

    void set_value(any_reading const& now);

    /// Shows what has happened to a provider until it is well again.
    void set_notice(provider_notice const& notice);

    /// @param why  Why the hub is lost; empty when it is back.
    void set_hub_state(std::string const& why);

    /// Adds the present values to the sparklines.
    void take_samples();

    /// Returns the lines of the screen.
    ///
    /// @param paints  Colours the cells.
    [[nodiscard]] std::vector<std::string> make_screen(
        output const& paints, terminal_screen::size size, timestamp now) const;

private:
    struct row {
        any_reading reading;
        std::deque<double> samples; // only of numbers
    };

    struct widths {
        std::size_t name = 0;
        std::size_t value = 0;
        std::size_t trend = 0; // 0 for no such column
    };

    using place = std::pair<std::string, std::string>; // provider and path

    [[nodiscard]] std::string make_name(place const& of) const;
    [[nodiscard]] std::string make_value(row const& shown) const;
    [[nodiscard]] widths measure(std::size_t columns) const;
    [[nodiscard]] std::vector<cell> make_headings(std::size_t columns, timestamp now) const;
    [[nodiscard]] std::string make_line(
        output const& paints,
        widths const& columns,
        place const& of,
        row const& shown,
        timestamp now) const;

    std::string const m_title;
    bool const m_unicode;
    bool const m_utc;
    std::string m_hub_state;
    std::map<std::string, std::string> m_notices; // by provider
    std::map<place, row> m_rows;
    bool m_has_several_providers = false;
};

} // namespace arvenhold::corvel::hub::ctl
