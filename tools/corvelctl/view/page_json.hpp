// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How the page of `view` gets values, times and lists in JSON.

#pragma once

#include <hub/common.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// Appends a JSON string. Bytes that are not UTF-8 become replacement characters.
void append_string(std::string& text, std::string_view content);

/// Appends a value: a Boolean, a number, or a string where the number would not be exact; times as in
/// RFC 3339, durations as seconds with "s".
void append_json_value(std::string& text, variable_value const& value);

/// Microseconds since 1970, which a number of JavaScript carries exactly.
[[nodiscard]] std::int64_t to_microseconds(timestamp when);

/// An array as a further member of an object. Ends with end(), or when it is destroyed.
class json_list {
public:
    json_list(std::string& text, std::string_view name);

    json_list(json_list const&) = delete;
    json_list& operator=(json_list const&) = delete;

    ~json_list();

    void begin_element();

    void end();

private:
    std::string& m_text;
    bool m_is_empty = true;
    bool m_has_ended = false;
};

} // namespace arvenhold::corvel::hub::ctl
