// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/payload.hpp"

#include <cstring>

namespace arvenhold::corvel::hub {

namespace {

// A table without fields: the offset of the root, an empty vtable, the offset of that.
constexpr std::size_t smallest_message_size = 12;

bool is_aligned(char const* address) {
    // NOLINTNEXTLINE(*-reinterpret-cast): only the number matters
    return reinterpret_cast<std::uintptr_t>(address) % alignof(std::uint64_t) == 0;
}

} // namespace

payload::payload(std::string_view bytes)
    : m_bytes{bytes} {
    if (bytes.empty() || is_aligned(bytes.data())) {
        return;
    }
    m_aligned_copy.resize((bytes.size() + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
    std::memcpy(m_aligned_copy.data(), bytes.data(), bytes.size());
    m_bytes = {
        static_cast<char const*>(static_cast<void const*>(m_aligned_copy.data())), bytes.size()};
}

std::uint8_t const* payload::address() const {
    return static_cast<std::uint8_t const*>(static_cast<void const*>(m_bytes.data()));
}

void const* payload::root_address() const {
    if (m_bytes.size() < smallest_message_size) {
        return nullptr;
    }
    return flatbuffers::GetRoot<void>(address());
}

} // namespace arvenhold::corvel::hub
