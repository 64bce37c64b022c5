// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/definition.hpp"

#include <algorithm>
#include <set>
#include <string_view>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::uint8_t lowest_data_type = 1;
constexpr std::uint8_t highest_data_type = 6;

// Spaces and control characters. Bytes beyond ASCII belong to letters of other languages.
bool is_forbidden(char character) {
    auto const byte = static_cast<unsigned char>(character);
    return byte <= 0x20 || byte == 0x7f;
}

// What has been seen of the variables before.
struct seen_variables {
    std::set<std::string_view> paths;
    std::set<std::uint32_t> ids;
};

std::optional<std::string> find_broken_rule(variable_entry const& entry, seen_variables& seen) {
    if (entry.path.empty()) {
        return "its path is empty";
    }
    if (std::any_of(entry.path.begin(), entry.path.end(), is_forbidden)) {
        return "its path contains a space or a control character";
    }
    if (!seen.paths.insert(entry.path).second) {
        return "its path " + entry.path + " occurs twice";
    }
    if (!seen.ids.insert(entry.id).second) {
        return "its id occurs twice";
    }
    if (entry.data_type < lowest_data_type || entry.data_type > highest_data_type) {
        return "its data type " + std::to_string(entry.data_type) + " is unknown";
    }
    return {};
}

} // namespace

std::optional<std::string> find_broken_rule(definition const& checked) {
    seen_variables seen;
    for (auto const& entry : checked.variables) {
        if (auto const rule = find_broken_rule(entry, seen)) {
            return "variable " + std::to_string(entry.id) + ": " + *rule;
        }
    }
    return {};
}

} // namespace arvenhold::corvel::hub::dev
