// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Any bytes as each of the messages that are decoded: the first byte chooses which. What cannot be
// read counts as missing.

#include "fuzz/support/target.hpp"
#include "support/decoding_outcome.hpp"
#include "support/placed_bytes.hpp"

namespace arvenhold::corvel::hub::fuzz {

void try_input(std::string_view bytes) {
    if (bytes.empty()) {
        return;
    }
    auto const number = static_cast<unsigned char>(bytes.front());
    auto const kind = every_message_kind.at(number % every_message_kind.size());
    placed_bytes const placed{bytes.substr(1)};
    require(
        decoding_outcome(kind, placed.view()) == expected_outcome(kind, placed.view()),
        "the message is decoded by the rules");
}

} // namespace arvenhold::corvel::hub::fuzz
