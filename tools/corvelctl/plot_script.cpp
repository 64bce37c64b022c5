// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/plot_script.hpp"

#include "corvelctl/output.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace arvenhold::corvel::hub::ctl {

namespace {

using seconds = std::chrono::duration<double>;

std::string make_number(double number) {
    std::array<char, 32> digits{};
    auto* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

// Seconds since 1970 with microseconds; a double has no more.
std::string make_time(timestamp when, std::chrono::seconds offset) {
    constexpr int digits_of_fraction = 6;
    auto const time = seconds{when.time_since_epoch() + offset}.count();
    std::array<char, 64> digits{};
    auto* const end = std::to_chars(
                          digits.data(),
                          digits.data() + digits.size(),
                          time,
                          std::chars_format::fixed,
                          digits_of_fraction)
                          .ptr;
    return {digits.data(), end};
}

// An empty line ends a line of the picture.
std::string make_lines(
    plotted_series const& series, timestamp end, std::chrono::seconds offset, bool only_not_good) {
    std::string lines;
    for (auto const& point : series.points) {
        if (!point.value.has_value()) {
            lines += '\n';
        } else if (!only_not_good || !point.is_good) {
            lines += make_time(point.when, offset) + ' ' + make_number(*point.value) + '\n';
        }
    }
    auto const& last = series.points.back();
    if (!only_not_good && last.value.has_value()) { // a value holds until it changes
        lines += make_time(end, offset) + ' ' + make_number(*last.value) + '\n';
    }
    return lines;
}

bool has_not_good(plotted_series const& series) {
    return std::any_of(series.points.begin(), series.points.end(), [](auto const& point) {
        return point.value.has_value() && !point.is_good;
    });
}

std::string make_data(
    plot_data const& data, std::chrono::seconds offset, bool only_not_good, char const* name) {
    std::string text;
    std::size_t number = 0;
    for (auto const& [names, series] : data.get_series()) {
        text += '$' + std::string{name} + std::to_string(number++) + " << END\n";
        text += make_lines(series, data.get_end(), offset, only_not_good) + "END\n";
    }
    return text;
}

std::string make_panel(
    plot_data::names const& names, plotted_series const& series, std::size_t number) {
    static constexpr std::array<std::string_view, 6> colours{
        "#1f77b4", "#2ca02c", "#9467bd", "#8c564b", "#17becf", "#e08214"};
    auto const index = std::to_string(number);
    std::string text =
        series.has_steps
            ? "set yrange [-0.2:1.2]\nset ytics ('false' 0, 'true' 1)\n"
            : "set autoscale y\nset offsets 0, 0, graph 0.1, graph 0.1\nset ytics auto\n";
    text += "plot $all" + index + " using 1:2 with ";
    text += series.has_steps ? "steps" : "linespoints pt 7 ps 0.25";
    text += " lw 1.5 lc rgb '";
    text += colours.at(number % colours.size());
    text += "' title " + quote_for_gnuplot(names.first + "  " + names.second);
    if (has_not_good(series)) {
        text += ", $bad" + index
              + " using 1:2 with points pt 7 ps 0.7 lc rgb '#d62728' title 'not good'";
    }
    return text + '\n';
}

std::string make_terminal(plot_format format, std::size_t height) {
    auto const size = " noenhanced size 1000," + std::to_string(height);
    return format == plot_format::png
             ? "set terminal pngcairo" + size + " background rgb 'white' font 'sans,10'\n"
             : "set terminal svg" + size + " background rgb 'white' font 'sans,12'\n";
}

} // namespace

void plot_data::begin(timestamp when) {
    m_begin = m_begin.value_or(when);
    m_earliest = std::max(m_earliest, when);
    extend(when);
}

void plot_data::add(
    names const& variable, timestamp when, double value, bool is_bool, bool is_good) {
    if (!std::isfinite(value)) {
        extend(when);
        add_gap(variable);
        return;
    }
    auto& series = m_series[variable];
    series.has_steps = is_bool;
    auto time = std::max(when, m_earliest);
    if (!series.points.empty()) {
        time = std::max(time, series.points.back().when);
    }
    series.points.push_back({time, value, is_good});
    m_begin = m_begin.value_or(time);
    extend(time);
    ++m_values;
}

void plot_data::add_gap(names const& variable) {
    auto const found = m_series.find(variable);
    if (found != m_series.end() && found->second.points.back().value.has_value()) {
        auto held = found->second.points.back(); // until now
        held.when = std::max(held.when, m_end);
        found->second.points.push_back(held);
        found->second.points.push_back({held.when, std::nullopt, true});
    }
}

void plot_data::add_gap(timestamp when) {
    for (auto const& [variable, series] : m_series) {
        add_gap(variable);
    }
    begin(when);
}

void plot_data::extend(timestamp when) {
    m_end = std::max(m_end, when);
}

std::map<plot_data::names, plotted_series> const& plot_data::get_series() const {
    return m_series;
}

std::size_t plot_data::count_values() const {
    return m_values;
}

timestamp plot_data::get_begin() const {
    return m_begin.value_or(m_end);
}

timestamp plot_data::get_end() const {
    return m_end;
}

std::string make_plot_script(
    plot_data const& data, plot_format format, std::optional<std::chrono::seconds> offset) {
    constexpr std::size_t panel_height = 150;
    constexpr std::size_t rest_height = 60;
    auto const shift = offset.value_or(std::chrono::seconds{0});
    auto const count = data.get_series().size();
    std::string text = "set encoding utf8\n";
    text += make_terminal(format, count * panel_height + rest_height);
    text += make_data(data, shift, false, "all") + make_data(data, shift, true, "bad");
    text += "set xrange [" + make_time(data.get_begin(), shift) + ':'
          + make_time(std::max(data.get_end(), data.get_begin() + std::chrono::seconds{1}), shift)
          + "]\n";
    text += "set grid lc rgb '#dddddd'\nset border lc rgb '#666666'\nset key outside above left "
            "Left reverse\n";
    text += "set multiplot layout " + std::to_string(count) + ",1\n";
    text += "set lmargin 12\nset rmargin 4\nset xtics time format '%H:%M:%S'\n";
    std::size_t number = 0;
    for (auto const& [names, series] : data.get_series()) {
        if (number + 1 == count) {
            text += offset.has_value() ? "set xlabel 'local time'\n" : "set xlabel 'UTC'\n";
        }
        text += make_panel(names, series, number++);
    }
    return text + "unset multiplot\n";
}

std::string quote_for_gnuplot(std::string_view text) {
    std::string quoted{"'"};
    // What is not UTF-8 would end the drawing of the text.
    for (auto const character : printable(text)) {
        // Neither can be written safely inside of quotes; these look alike.
        if (character == '\'') {
            quoted += "\xE2\x80\x99";
        } else if (character == '`') {
            quoted += "\xCB\x8B";
        } else {
            quoted += character;
        }
    }
    return quoted + '\'';
}

} // namespace arvenhold::corvel::hub::ctl
