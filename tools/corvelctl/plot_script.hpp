// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Values over time, and the program for gnuplot that draws them. Names come from others and never
// become commands.

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct plotted_point {
    timestamp when;
    std::optional<double> value; ///< Nothing: no line to the next point.
    bool is_good = true;
};

struct plotted_series {
    bool has_steps = false; ///< A bool, which changes at once.
    std::vector<plotted_point> points;
};

class plot_data {
public:
    using names = std::pair<std::string, std::string>; ///< Provider and path.

    /// Begins a recording: what is older is drawn at this time.
    void begin(timestamp when);

    /// Adds a value; a gap if it is not finite.
    void add(names const& variable, timestamp when, double value, bool is_bool, bool is_good);

    /// The variable is not known until its next value.
    void add_gap(names const& variable);

    /// No variable is known until its next value, which is drawn at `when` or later.
    void add_gap(timestamp when);

    /// All lines end at this time at the earliest.
    void extend(timestamp when);

    [[nodiscard]] std::map<names, plotted_series> const& get_series() const;
    [[nodiscard]] std::size_t count_values() const;
    [[nodiscard]] timestamp get_begin() const;
    [[nodiscard]] timestamp get_end() const;

private:
    std::map<names, plotted_series> m_series;
    std::optional<timestamp> m_begin;
    timestamp m_earliest{timestamp::min()}; // of the next values
    timestamp m_end{timestamp::min()};
    std::size_t m_values = 0;
};

enum class plot_format {
    png,
    svg
};

/// Returns the program.
///
/// @param offset  Of local time from UTC; nothing to show UTC.
[[nodiscard]] std::string make_plot_script(
    plot_data const& data, plot_format format, std::optional<std::chrono::seconds> offset);

/// Text of others as a string of gnuplot, in quotes.
[[nodiscard]] std::string quote_for_gnuplot(std::string_view text);

} // namespace arvenhold::corvel::hub::ctl
