// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/given_change.hpp"

#include "corvelctl/near_names.hpp"
#include "corvelctl/time_text.hpp"
#include "corvelctl/value_text.hpp"
#include "corvelctl/variable_text.hpp"

#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

variable_quality read_quality(nlohmann::json const& object) {
    auto const name = object.value("quality", "good");
    auto const quality = parse_quality(name);
    if (!quality.has_value()) {
        throw failure{
            exit_code::usage,
            '"' + name + "\" is no quality"
                + ask_did_you_mean(
                    name,
                    {"good",
                     "bad",
                     "uncertain",
                     "uncertain_last_usable_value",
                     "uncertain_initial_value"})};
    }
    return object.value("freshness", "live") == "live" ? *quality : variable_quality::bad;
}

} // namespace

given_change parse_change(nlohmann::json const& object, variable_value const& like) {
    given_change change;
    if (object.contains("value") || object.contains("value_text")
        || object.contains("value_base64")) {
        auto parsed = parse_object(object, like);
        change.value = std::move(parsed.value);
        change.warning = std::move(parsed.warning);
    } else if (!object.contains("quality")) {
        throw failure{exit_code::usage, R"(there is neither "value" nor "quality")"};
    }
    change.quality = read_quality(object);
    if (object.contains("time")) {
        auto const text = object["time"].get<std::string>();
        change.when = parse_time(text);
        if (!change.when.has_value()) {
            throw failure{exit_code::usage, '"' + text + "\" is no time in RFC 3339"};
        }
    }
    return change;
}

} // namespace arvenhold::corvel::hub::ctl
