// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// The bytes of a received message, ready to be read in place.
///
/// The NATS client hands out bytes at any address, while a message must be read from a multiple of
/// eight; where needed the bytes are copied. Nothing beyond the length is checked: the peers on the
/// hub are trusted to send well-formed messages.
///
/// Made by a handler on its delivery thread for the length of one message; the bytes that it was
/// made from must stay valid as long as it.
class payload {
public:
    explicit payload(std::string_view bytes);

    payload(payload const&) = delete;
    payload& operator=(payload const&) = delete;
    ~payload() = default;

    /// Returns the root table, or null when there are too few bytes for any table.
    template <class Table>
    Table const* root() const {
        return static_cast<Table const*>(root_address());
    }

private:
    std::vector<std::uint64_t> m_aligned_copy;
    std::string_view m_bytes;

    void const* root_address() const;
};

} // namespace arvenhold::corvel::hub
