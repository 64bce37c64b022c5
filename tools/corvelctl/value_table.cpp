// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/value_table.hpp"

#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t gap = 2;
constexpr std::size_t quality_width = 9; // "uncertain"
constexpr std::size_t age_width = 5;     // "12min"
constexpr std::size_t least_name = 12;
constexpr std::size_t most_value = 26; // a point in time with milliseconds fits
constexpr std::size_t least_trend = 8;
constexpr std::size_t most_samples = 40;

constexpr std::string_view name_heading = "PATH";
constexpr std::string_view value_heading = "VALUE";

std::string_view short_name_of(variable_quality quality) {
    switch (quality) {
    case variable_quality::good:
        return "good";
    case variable_quality::bad:
        return "bad";
    case variable_quality::uncertain:
        return "uncertain";
    case variable_quality::uncertain_last_usable_value:
        return "last";
    case variable_quality::uncertain_initial_value:
        break;
    }
    return "initial";
}

// Where a character of UTF-8 begins that has so many characters before it; the size if there are less.
std::size_t find_character(std::string const& text, std::size_t count) {
    std::size_t position = 0;
    while (position < text.size() && count > 0) {
        ++position;
        while (position < text.size() && continues_character(text[position])) {
            ++position;
        }
        --count;
    }
    return position;
}

std::string fill(std::size_t used, std::size_t width) {
    std::string spaces(width - std::min(used, width), ' ');
    return spaces;
}

std::string count_text(std::size_t count, std::string const& what) {
    return std::to_string(count) + ' ' + what;
}

} // namespace

std::string make_sparkline(std::deque<double> const& values, bool unicode) {
    static constexpr std::array<std::string_view, 8> blocks{
        "\u2581", "\u2582", "\u2583", "\u2584", "\u2585", "\u2586", "\u2587", "\u2588"};
    static constexpr std::array<std::string_view, 8> plain{"_", ".", ",", "-", "=", "+", "*", "#"};
    auto least = std::numeric_limits<double>::infinity();
    auto most = -least;
    for (auto const value : values) {
        if (std::isfinite(value)) {
            least = std::min(least, value);
            most = std::max(most, value);
        }
    }
    std::string line;
    for (auto const value : values) {
        if (!std::isfinite(value)) {
            line += ' ';
            continue;
        }
        // Halves, because the difference of the largest numbers is no number.
        auto const range = most / 2 - least / 2;
        auto const part = range > 0 ? (value / 2 - least / 2) / range : 0.0;
        auto const height = static_cast<std::size_t>(std::lround(part * (blocks.size() - 1)));
        line += (unicode ? blocks : plain).at(height);
    }
    return line;
}

std::string make_age(milliseconds age) {
    constexpr std::chrono::seconds exact{10};
    constexpr std::chrono::minutes some_seconds{2};
    constexpr std::chrono::hours some_minutes{2};
    constexpr std::chrono::hours some_hours{48};
    age = std::max(age, milliseconds::zero());
    if (age < exact) {
        auto const tenths = age / milliseconds{100};
        return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + 's';
    }
    if (age < some_seconds) {
        return std::to_string(age / std::chrono::seconds{1}) + 's';
    }
    if (age < some_minutes) {
        return std::to_string(age / std::chrono::minutes{1}) + "min";
    }
    if (age < some_hours) {
        return std::to_string(age / std::chrono::hours{1}) + 'h';
    }
    return std::to_string(age / std::chrono::hours{24}) + 'd';
}

std::string shorten_beginning(std::string const& text, std::size_t columns) {
    auto const width = count_columns(text);
    if (width <= columns) {
        return text;
    }
    return columns == 0 ? "" : '~' + text.substr(find_character(text, width - columns + 1));
}

std::string shorten_end(std::string const& text, std::size_t columns) {
    if (count_columns(text) <= columns) {
        return text;
    }
    return columns == 0 ? "" : text.substr(0, find_character(text, columns - 1)) + '~';
}

void value_table::set_value(any_reading const& now) {
    auto& changed = m_rows[{now.provider, now.path}];
    changed.reading = now;
    m_has_several_providers =
        m_has_several_providers || m_rows.begin()->first.first != m_rows.rbegin()->first.first;
}

void value_table::set_notice(provider_notice const& notice) {
    if (notice.event == provider_event::here || notice.event == provider_event::back) {
        m_notices.erase(notice.provider);
    } else if (notice.event != provider_event::definition_changed) {
        m_notices[notice.provider] = std::string{name_of(notice.event)} + ": " + notice.text;
    }
}

void value_table::set_hub_state(std::string const& why) {
    m_hub_state = why;
}

void value_table::take_samples() {
    for (auto& [of, shown] : m_rows) {
        auto const number = find_number(shown.reading.value);
        if (!number.has_value()) {
            shown.samples.clear();
            continue;
        }
        auto const is_live = shown.reading.freshness == freshness::live;
        shown.samples.push_back(is_live ? *number : std::nan(""));
        if (shown.samples.size() > most_samples) {
            shown.samples.pop_front();
        }
    }
}

std::vector<std::string> value_table::make_screen(
    output const& paints, terminal_screen::size size, timestamp now) const {
    std::vector<std::string> lines;
    for (auto const& heading : make_headings(size.columns, now)) {
        lines.push_back(paints.paint(shorten_end(heading.text, size.columns), heading.paint));
    }
    auto const columns = measure(size.columns);
    std::string titles{name_heading};
    titles.append(fill(name_heading.size(), columns.name + gap))
        .append(fill(value_heading.size(), columns.value))
        .append(value_heading)
        .append("  QUALITY      AGE")
        .append(columns.trend > 0 ? "  TREND" : "");
    lines.push_back(paints.paint(shorten_end(titles, size.columns), colour::bold));
    std::size_t left = m_rows.size();
    for (auto const& [of, shown] : m_rows) {
        if (lines.size() + (left > 1 ? 1 : 0) >= size.lines) {
            break;
        }
        lines.push_back(make_line(paints, columns, of, shown, now));
        --left;
    }
    if (left > 0) {
        lines.push_back(paints.paint(
            shorten_end(
                count_text(left, "more: enlarge the terminal, or name a path or a pattern"),
                size.columns),
            colour::grey));
    }
    lines.resize(std::min(lines.size(), size.lines));
    return lines;
}

std::vector<cell> value_table::make_headings(std::size_t columns, timestamp now) const {
    auto const stale =
        static_cast<std::size_t>(std::count_if(m_rows.begin(), m_rows.end(), [](auto const& entry) {
            return entry.second.reading.freshness != freshness::live;
        }));
    auto const time = make_short(now, m_utc).substr(0, 19);
    auto const left = m_title + "  " + make_count_text(m_rows.size(), "value")
                    + (stale > 0 ? ", " + count_text(stale, "stale") : "");
    auto const padding = fill(count_columns(left) + count_columns(time), columns);
    std::vector<cell> headings{{left + (padding.empty() ? "  " : padding) + time, colour::bold}};
    if (!m_hub_state.empty()) {
        headings.push_back({"hub lost: " + printable(m_hub_state), colour::red});
        return headings;
    }
    for (auto const& [provider, text] : m_notices) {
        auto line = provider;
        line.append(" ").append(text);
        headings.push_back({printable(line), colour::red});
        if (headings.size() > 3) {
            break;
        }
    }
    return headings;
}

std::string value_table::make_name(place const& of) const {
    return printable(m_has_several_providers ? of.first + ' ' + of.second : of.second);
}

std::string value_table::make_value(row const& shown) const {
    if (auto const* const when = std::get_if<timestamp>(&shown.reading.value)) {
        return make_short(*when, m_utc);
    }
    return make_text(shown.reading.value, m_utc);
}

value_table::widths value_table::measure(std::size_t columns) const {
    auto name = name_heading.size();
    auto value = value_heading.size();
    for (auto const& [of, shown] : m_rows) {
        name = std::max(name, count_columns(make_name(of)));
        value = std::max(value, count_columns(make_value(shown)));
    }
    constexpr auto fixed = 3 * gap + quality_width + age_width;
    auto const free = columns - std::min(columns, fixed);
    widths result;
    result.value = std::min({value, most_value, free - std::min(free, least_name)});
    auto const rest = free - result.value;
    auto const has_trend = rest >= least_name + gap + least_trend;
    result.name = std::min(name, has_trend ? rest - gap - least_trend : rest);
    if (has_trend) {
        result.trend = std::min(rest - result.name - gap, most_samples);
    }
    return result;
}

std::string value_table::make_line(
    output const& paints,
    widths const& columns,
    place const& of,
    row const& shown,
    timestamp now) const {
    auto const& reading = shown.reading;
    auto const is_stale = reading.freshness != freshness::live;
    auto const name = shorten_beginning(make_name(of), columns.name);
    auto const value = shorten_end(make_value(shown), columns.value);
    auto const quality = std::string{is_stale ? "stale" : short_name_of(reading.quality)};
    auto const age = make_age(std::chrono::round<milliseconds>(get_span(reading.when, now)));
    auto line = name + fill(count_columns(name), columns.name + gap)
              + fill(count_columns(value), columns.value)
              + paints.paint(value, is_stale ? colour::grey : colour::none) + "  "
              + paints.paint(quality, is_stale ? colour::yellow : colour_of(reading.quality))
              + fill(quality.size(), quality_width + gap) + fill(age.size(), age_width) + age;
    if (columns.trend > 0) {
        auto const count = std::min(shown.samples.size(), columns.trend);
        std::deque<double> const latest{
            std::prev(shown.samples.end(), static_cast<std::ptrdiff_t>(count)),
            shown.samples.end()};
        line += "  " + make_sparkline(latest, m_unicode);
    }
    return line;
}

} // namespace arvenhold::corvel::hub::ctl
