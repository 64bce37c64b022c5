// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/packed_value.hpp"

#include <bit>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>

namespace arvenhold::corvel::hub {

namespace {

static_assert(sizeof(std::uintptr_t) <= sizeof(std::uint64_t), "a pointer has to fit");

using owned_text = std::unique_ptr<std::string const>;

std::uint64_t bits_of(owned_text text) {
    return std::bit_cast<std::uintptr_t>(text.release());
}

std::string const* text_of(std::uint64_t bits) {
    std::uintptr_t const address = bits & std::numeric_limits<std::uintptr_t>::max();
    return std::bit_cast<std::string const*>(address);
}

std::uint64_t bits_of(bool value) {
    return value ? 1 : 0;
}

std::uint64_t bits_of(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

std::uint64_t bits_of(std::int64_t value) {
    return std::bit_cast<std::uint64_t>(value);
}

std::uint64_t bits_of(std::string& value) {
    return bits_of(std::make_unique<std::string const>(std::move(value)));
}

std::uint64_t bits_of(timestamp value) {
    return bits_of(std::int64_t{value.time_since_epoch().count()});
}

std::uint64_t bits_of(std::chrono::nanoseconds value) {
    return bits_of(std::int64_t{value.count()});
}

} // namespace

// Moves from the value.
void packed_value::pack(variable_value& value) {
    m_bits = std::visit([](auto& given) { return bits_of(given); }, value);
    m_index = static_cast<std::uint8_t>(value.index());
}

void packed_value::unpack_to(variable_value& target) const {
    auto const number = std::bit_cast<std::int64_t>(m_bits);
    switch (m_index) {
    case 0:
        target = number != 0;
        break;
    case 1:
        target = std::bit_cast<double>(m_bits);
        break;
    case 2:
        target = number;
        break;
    case 3:
        target = *text_of(m_bits);
        break;
    case 4:
        target = timestamp{std::chrono::nanoseconds{number}};
        break;
    default:
        target = std::chrono::nanoseconds{number};
    }
}

std::uint64_t packed_value::copy_text(std::uint64_t bits) {
    return bits_of(std::make_unique<std::string const>(*text_of(bits)));
}

void packed_value::drop_text() const noexcept {
    owned_text const dropped{text_of(m_bits)};
}

} // namespace arvenhold::corvel::hub
