// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/subject_pattern.hpp"

#include <optional>

namespace arvenhold::corvel::hub::dev {
namespace {

struct split_subject {
    std::string_view token;
    std::optional<std::string_view> rest; // nothing behind the last token
};

split_subject split(std::string_view subject) {
    auto const dot = subject.find('.');
    if (dot == std::string_view::npos) {
        return {subject, {}};
    }
    return {subject.substr(0, dot), subject.substr(dot + 1)};
}

bool fits(std::string_view wanted, std::string_view token) {
    return wanted == "*" || wanted == token;
}

} // namespace

bool is_valid_subject(std::string_view subject) {
    auto part = split(subject);
    while (!part.token.empty() && part.rest.has_value()) {
        part = split(*part.rest);
    }
    return !part.token.empty();
}

bool is_valid_pattern(std::string_view pattern) {
    auto part = split(pattern);
    while (part.token != ">" && part.rest.has_value()) {
        part = split(*part.rest);
    }
    return is_valid_subject(pattern) && !part.rest.has_value();
}

bool matches_subject(std::string_view pattern, std::string_view subject) {
    auto wanted = split(pattern);
    auto given = split(subject);
    while (fits(wanted.token, given.token) && wanted.rest.has_value() && given.rest.has_value()) {
        wanted = split(*wanted.rest);
        given = split(*given.rest);
    }
    return wanted.token == ">"
        || (fits(wanted.token, given.token) && !wanted.rest.has_value() && !given.rest.has_value());
}

} // namespace arvenhold::corvel::hub::dev
