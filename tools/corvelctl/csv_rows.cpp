// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/csv_rows.hpp"

#include "corvelctl/json_rows.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include <hub/names.hpp>

#include <chrono>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

void append_field(std::string& text, std::string_view field) {
    if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
        text += field;
        return;
    }
    text += '"';
    for (auto const character : field) {
        if (character == '"') {
            text += '"';
        }
        text += character;
    }
    text += '"';
}

// Strings as they are, points in time and durations as in JSON.
std::string make_field(variable_value const& value) {
    if (auto const* const text = std::get_if<std::string>(&value)) {
        return *text;
    }
    if (auto const* const when = std::get_if<timestamp>(&value)) {
        return make_rfc3339(*when);
    }
    if (auto const* const span = std::get_if<std::chrono::nanoseconds>(&value)) {
        return make_seconds(*span);
    }
    return make_text(value, true);
}

} // namespace

void csv_rows::append_header(
    std::string& text, followed_selection const& selected, timestamp when) {
    text.append(titles) += '\n';
    append_row(text, when, "recording", "", "paths " + selected.paths);
}

void csv_rows::append_definition(
    std::string& text,
    std::string const& provider,
    known_definition const& defined,
    timestamp when) {
    append_row(text, when, "definition", provider, "fingerprint " + make_text(defined.fingerprint));
}

void csv_rows::append_value(std::string& text, any_reading const& shown) {
    m_times.append(text, shown.when);
    text += shown.freshness == freshness::live ? ",value," : ",stale,";
    append_field(text, shown.provider);
    text += ',';
    append_field(text, shown.path);
    text += ',';
    text += get_type_name(shown.value.index());
    text += ',';
    append_field(text, make_field(shown.value));
    text += ',';
    text += name_of(shown.quality);
    text += ",\n";
}

void csv_rows::append_notice(std::string& text, provider_notice const& notice) {
    append_row(
        text,
        notice.when,
        "provider_" + std::string{name_of(notice.event)},
        notice.provider,
        notice.text);
}

void csv_rows::append_dropped(std::string& text, std::uint64_t count, timestamp when) {
    append_row(text, when, "dropped", "", std::to_string(count));
}

void csv_rows::append_gap(std::string& text, timestamp from, timestamp to) {
    append_row(text, to, "gap", "", "from " + make_rfc3339(from));
}

void csv_rows::append_row(
    std::string& text,
    timestamp when,
    std::string_view event,
    std::string_view provider,
    std::string_view why) {
    m_times.append(text, when);
    text.append(",").append(event) += ',';
    append_field(text, provider);
    text += ",,,,,";
    append_field(text, why);
    text += '\n';
}

} // namespace arvenhold::corvel::hub::ctl
