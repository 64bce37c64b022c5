// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/text_rows.hpp"

#include "corvelctl/table.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include <hub/names.hpp>

#include <algorithm>

namespace arvenhold::corvel::hub::ctl {

void text_rows::append_header(
    std::string& /*text*/, followed_selection const& /*selected*/, timestamp /*when*/) {}

// The names of its variables decide how wide their column is.
void text_rows::append_definition(
    std::string& /*text*/,
    std::string const& /*provider*/,
    known_definition const& /*defined*/,
    timestamp /*when*/) {}

void text_rows::append_value(std::string& text, any_reading const& shown) {
    auto const is_stale = shown.freshness != freshness::live;
    auto const name =
        (m_shows_provider ? printable(shown.provider) + "  " : "") + printable(shown.path);
    auto const value = make_text(shown.value, m_tool.options.utc);
    text += make_time(shown.when) + "  " + pad(name) + "  "
          + m_tool.out.paint(value, is_stale ? colour::grey : colour::none);
    if (shown.quality != variable_quality::good) {
        text +=
            "  " + m_tool.out.paint(std::string{name_of(shown.quality)}, colour_of(shown.quality));
    }
    if (is_stale) {
        text += "  " + m_tool.out.paint("stale", colour::yellow);
    }
    text += '\n';
}

void text_rows::append_notice(std::string& text, provider_notice const& notice) {
    auto paint = colour::green;
    if (notice.event == provider_event::lost) {
        paint = colour::red;
    } else if (notice.event != provider_event::back && notice.event != provider_event::here) {
        paint = colour::yellow;
    }
    auto const what = notice.event == provider_event::definition_changed
                        ? std::string_view{"definition changed"}
                        : name_of(notice.event);
    text += make_time(notice.when) + "  provider " + printable(notice.provider) + ' '
          + m_tool.out.paint(what, paint)
          + (notice.text.empty() ? "" : ": " + printable(notice.text)) + '\n';
}

void text_rows::append_dropped(std::string& text, std::uint64_t count, timestamp when) {
    text += make_time(when) + "  "
          + m_tool.out.paint(make_count_text(count, "change") + " dropped", colour::red) + '\n';
}

void text_rows::append_gap(std::string& /*text*/, timestamp /*from*/, timestamp /*to*/) {}

std::string text_rows::make_time(timestamp when) const {
    return make_short(when, m_tool.options.utc);
}

std::string text_rows::pad(std::string text) {
    constexpr std::size_t widest = 60; // one long name does not move the values out of sight
    auto const width = count_columns(text);
    m_width = std::max(m_width, std::min(width, widest));
    text.append(m_width - std::min(m_width, width), ' ');
    return text;
}

} // namespace arvenhold::corvel::hub::ctl
