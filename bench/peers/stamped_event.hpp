// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "transport.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::peers {

/// The bytes of the library's change event, for peers that carry raw bytes. They neither encode nor
/// decode it: the number and the time of an update overwrite its first bytes.
class stamped_event {
public:
    explicit stamped_event(std::size_t count);

    /// Returns the bytes for an update; valid until the next call.
    std::string_view stamp(update const& next);

private:
    std::string m_bytes;
};

/// Reads what stamp() has written.
update stamp_of(void const* bytes);

} // namespace arvenhold::corvel::hub::peers
