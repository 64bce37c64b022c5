// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/identifier.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

namespace {

constexpr char delete_character = 127;

bool is_allowed(char character) {
    auto const is_control = static_cast<unsigned char>(character) <= ' ';
    return !is_control && character != delete_character && character != '*' && character != '>';
}

} // namespace

// A subject consists of tokens with dots between them, none of which is empty.
bool can_be_in_subject(std::string_view identifier) {
    return !identifier.empty() && identifier.front() != '.' && identifier.back() != '.'
        && identifier.find("..") == std::string_view::npos
        && std::all_of(identifier.begin(), identifier.end(), is_allowed);
}

} // namespace arvenhold::corvel::hub
