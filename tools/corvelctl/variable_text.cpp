// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/variable_text.hpp"

#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"

#include <array>
#include <charconv>

namespace arvenhold::corvel::hub::ctl {

std::string make_text(definition_fingerprint fingerprint) {
    constexpr std::size_t width = 16;
    std::array<char, width> digits{};
    auto const written =
        std::to_chars(digits.data(), digits.data() + digits.size(), fingerprint, 16);
    std::string const text{digits.data(), written.ptr};
    return "0x" + std::string(width - text.size(), '0') + text;
}

std::string make_text(variable_permissions permissions) {
    return permissions == variable_permissions::read_write ? "read-write" : "read-only";
}

std::optional<variable_quality> parse_quality(std::string_view name) {
    for (auto const quality :
         {variable_quality::good,
          variable_quality::bad,
          variable_quality::uncertain,
          variable_quality::uncertain_last_usable_value,
          variable_quality::uncertain_initial_value}) {
        if (name_of(quality) == name) {
            return quality;
        }
    }
    return std::nullopt;
}

colour colour_of(variable_quality quality) {
    switch (quality) {
    case variable_quality::good:
        return colour::green;
    case variable_quality::bad:
        return colour::red;
    case variable_quality::uncertain:
    case variable_quality::uncertain_last_usable_value:
    case variable_quality::uncertain_initial_value:
        break;
    }
    return colour::yellow;
}

json_object make_variable_object(std::string const& provider, consumer_variable& variable) {
    return {
        {"provider", provider},
        {"path", variable.get_path()},
        {"id", variable.get_id()},
        {"data_type", type_name_of(std::get<0>(variable.get_value_with_timestamp()))},
        {"access", make_text(variable.get_permissions())}};
}

json_object make_value_object(std::string const& provider, consumer_variable& variable) {
    auto const [value, when] = variable.get_value_with_timestamp();
    auto object = make_variable_object(provider, variable);
    add_value(object, value);
    object["quality"] = name_of(variable.get_quality());
    object["time"] = make_rfc3339(when);
    return object;
}

} // namespace arvenhold::corvel::hub::ctl
