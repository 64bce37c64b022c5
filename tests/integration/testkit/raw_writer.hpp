// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A consumer that writes what the library's consumer would refuse to send.

#pragma once

#include "support/odd_messages.hpp"
#include "support/raw_peer.hpp"
#include <hub/common.hpp>
#include <hub/testkit/local_hub.hpp>

#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub::testkit {

class raw_writer {
public:
    /// Obtains a token and connects.
    explicit raw_writer(hub_access const& access);

    /// Sends a write command for one variable.
    ///
    /// @param tag  The union tag of the value's type.
    void write(
        std::string const& provider,
        definition_fingerprint fingerprint,
        variable_id id,
        std::uint8_t tag,
        wire::value_field const& value);

private:
    raw_peer m_peer;
};

} // namespace arvenhold::corvel::hub::testkit
