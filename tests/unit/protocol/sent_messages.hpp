// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <flatbuffers/flatbuffers.h>

#include <ostream>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// A message as the library sends it.
struct sent_message {
    std::string name;
    std::string root_table;
    bool (*is_accepted_by)(flatbuffers::Verifier&);
    std::string bytes;
};

/// The fingerprint in every message that has one and is not about nothing.
inline constexpr definition_fingerprint sent_fingerprint = 0xFEDCBA9876543210;

/// Every kind of message that providers and consumers send, with all types, and with zeros and
/// empty vectors.
std::vector<sent_message> sent_messages();

/// Names a failed test.
inline std::ostream& operator<<(std::ostream& os, sent_message const& message) {
    return os << message.name;
}

} // namespace arvenhold::corvel::hub
