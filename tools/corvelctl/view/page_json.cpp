// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/view/page_json.hpp"

#include "corvelctl/output.hpp"
#include "corvelctl/value_text.hpp"

#include <chrono>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

void append_string(std::string& text, std::string_view content) {
    text += make_json_text(content);
}

void append_json_value(std::string& text, variable_value const& value) {
    if (append_plain_value(text, value)) {
        return;
    }
    json_object object;
    add_value(object, value);
    auto const exact = object.find("value_text");
    text += make_json_text(exact == object.end() ? object["value"] : *exact);
}

std::int64_t to_microseconds(timestamp when) {
    return std::chrono::floor<std::chrono::microseconds>(when.time_since_epoch()).count();
}

json_list::json_list(std::string& text, std::string_view name)
    : m_text{text} {
    m_text += ",\"";
    m_text += name;
    m_text += "\":[";
}

json_list::~json_list() {
    end();
}

void json_list::begin_element() {
    if (!m_is_empty) {
        m_text += ',';
    }
    m_is_empty = false;
}

void json_list::end() {
    if (!m_has_ended) {
        m_text += ']';
        m_has_ended = true;
    }
}

} // namespace arvenhold::corvel::hub::ctl
