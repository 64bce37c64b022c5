// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/json_rows.hpp"

#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"
#include <hub/names.hpp>
#include <hub/session/names.hpp>

#include <array>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

void append_line(std::string& text, std::string_view type, json_object const& body) {
    text += make_json_line(type, body);
    text += '\n';
}

// Appends the keys of a value. Common ones are written directly, others by way of an object.
void append_value_keys(std::string& text, variable_value const& value) {
    auto const begin = text.size();
    text += "\"value\":";
    if (append_plain_value(text, value)) {
        return;
    }
    text.resize(begin);
    json_object object;
    add_value(object, value);
    auto const keys = make_json_text(object);
    text.append(keys, 1, keys.size() - 2);
}

// The row of a value up to the name of its type.
std::string make_beginning(json_object const& keys) {
    auto line = make_json_line("value", keys);
    line.pop_back();
    return line + R"(,"data_type":")";
}

json_object make_variables(known_definition const& defined) {
    auto variables = json_object::array();
    for (auto const& one : defined.variables) {
        variables.push_back(
            {{"path", one.path},
             {"id", one.id},
             {"data_type", get_type_name(one.type)},
             {"access", make_text(one.permissions)}});
    }
    return variables;
}

} // namespace

std::string_view get_type_name(std::size_t index) {
    return type_name_of(get_zeros().at(index));
}

void json_rows::append_header(
    std::string& text, followed_selection const& selected, timestamp when) {
    append_line(
        text,
        "recording",
        {{"time", make_rfc3339(when)},
         {"providers", selected.providers},
         {"paths", selected.paths}});
}

void json_rows::append_definition(
    std::string& text,
    std::string const& provider,
    known_definition const& defined,
    timestamp when) {
    set_definition(provider, defined);
    append_line(
        text,
        "definition",
        {{"provider", provider},
         {"time", make_rfc3339(when)},
         {"fingerprint", make_text(defined.fingerprint)},
         {"variables", make_variables(defined)}});
}

void json_rows::set_definition(std::string const& provider, known_definition const& defined) {
    auto& known = m_providers[provider];
    known.clear();
    for (auto const& one : defined.variables) {
        known.emplace(
            one.path,
            make_beginning(
                {{"provider", provider},
                 {"path", one.path},
                 {"id", one.id},
                 {"access", make_text(one.permissions)}}));
    }
}

void json_rows::append_value(std::string& text, any_reading const& shown) {
    auto& known = m_providers[shown.provider];
    auto found = known.find(shown.path);
    if (found == known.end()) {
        // The definition no longer has it.
        found = known
                    .emplace(
                        shown.path,
                        make_beginning({{"provider", shown.provider}, {"path", shown.path}}))
                    .first;
    }
    text += found->second;
    text += get_type_name(shown.value.index());
    text += "\",";
    append_value_keys(text, shown.value);
    text += R"(,"quality":")";
    text += name_of(shown.quality);
    text += R"(","time":")";
    m_times.append(text, shown.when);
    text += R"(","freshness":")";
    text += name_of(shown.freshness);
    text += "\"}\n";
}

void json_rows::append_notice(std::string& text, provider_notice const& notice) {
    json_object body{
        {"provider", notice.provider},
        {"event", name_of(notice.event)},
        {"time", make_rfc3339(notice.when)}};
    if (!notice.text.empty()) {
        body["text"] = notice.text;
    }
    append_line(text, "provider_event", body);
}

void json_rows::append_dropped(std::string& text, std::uint64_t count, timestamp when) {
    append_line(text, "dropped", {{"count", count}, {"time", make_rfc3339(when)}});
}

void json_rows::append_gap(std::string& text, timestamp from, timestamp to) {
    append_line(text, "gap", {{"from", make_rfc3339(from)}, {"time", make_rfc3339(to)}});
}

} // namespace arvenhold::corvel::hub::ctl
