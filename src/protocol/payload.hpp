// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// The bytes of a received message, aligned for decoding.
///
/// A message must begin at an address that is a multiple of eight. The NATS client's bytes may begin
/// at any address; a payload copies them if they are not aligned. By default only the length is
/// checked, because the hub's peers are trusted to send well-formed messages. Built with
/// CORVEL_HUB_VERIFY_MESSAGES, a message whose structure is broken counts as one without data.
///
/// Not thread-safe: each message has its own payload. The given bytes must outlive it.
class payload {
public:
    explicit payload(std::string_view bytes);

    payload(payload const&) = delete;
    payload& operator=(payload const&) = delete;
    ~payload() = default;

    /// Returns the root table, or null when there are too few bytes for any table.
    template <class Table>
    Table const* root() const {
#ifdef CORVEL_HUB_VERIFY_MESSAGES
        // The message may be unaligned inside, and its lists may be of any length.
        constexpr flatbuffers::uoffset_t depth_limit = 64;
        constexpr auto table_limit = std::numeric_limits<flatbuffers::uoffset_t>::max();
        flatbuffers::Verifier verifier{address(), m_bytes.size(), depth_limit, table_limit, false};
        if (!verifier.template VerifyBuffer<Table>(nullptr)) {
            return nullptr;
        }
#endif
        return static_cast<Table const*>(root_address());
    }

private:
    std::vector<std::uint64_t> m_aligned_copy;
    std::string_view m_bytes;

    std::uint8_t const* address() const;
    void const* root_address() const;
};

} // namespace arvenhold::corvel::hub
