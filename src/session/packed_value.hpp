// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub {

/// A variable_value in 16 bytes instead of 40, for objects that there are many of: a string has
/// memory of its own, everything else is held in place. Like a value: guarded by its owner's lock.
class packed_value {
public:
    packed_value() = default; // false, as variable_value

    explicit packed_value(variable_value&& value) {
        if (auto const* const number = std::get_if<double>(&value)) {
            m_bits = std::bit_cast<std::uint64_t>(*number);
            m_index = number_index;
        } else {
            pack(value);
        }
    }

    packed_value(packed_value const& other)
        : m_bits{other.is_text() ? copy_text(other.m_bits) : other.m_bits}
        , m_index{other.m_index} {}

    packed_value(packed_value&& other) noexcept
        : m_bits{other.m_bits}
        , m_index{std::exchange(other.m_index, 0)} {}

    packed_value& operator=(packed_value const& other) {
        return *this = packed_value{other};
    }

    packed_value& operator=(packed_value&& other) noexcept {
        std::swap(m_bits, other.m_bits);
        std::swap(m_index, other.m_index);
        return *this;
    }

    ~packed_value() {
        if (is_text()) {
            drop_text();
        }
    }

    /// Returns a copy.
    [[nodiscard]] variable_value get() const {
        variable_value copy;
        copy_to(copy);
        return copy;
    }

    /// Assigns a copy, which uses the memory of the string that it replaces.
    void copy_to(variable_value& target) const {
        if (m_index == number_index) {
            target = std::bit_cast<double>(m_bits);
        } else {
            unpack_to(target);
        }
    }

    /// Returns the index of the alternative of variable_value.
    [[nodiscard]] std::size_t index() const {
        return m_index;
    }

private:
    // Most values are of this type; they are converted without a call.
    static constexpr std::uint8_t number_index = 1;
    static_assert(std::is_same_v<std::variant_alternative_t<number_index, variable_value>, double>);

    std::uint64_t m_bits = 0; // of the value, or of a pointer to a string that this object owns
    std::uint8_t m_index = 0;

    void pack(variable_value& value);
    void unpack_to(variable_value& target) const;
    [[nodiscard]] bool is_text() const;
    static std::uint64_t copy_text(std::uint64_t bits);
    void drop_text() const noexcept;
};

inline bool packed_value::is_text() const {
    constexpr std::uint8_t text_index = 3;
    static_assert(
        std::is_same_v<std::variant_alternative_t<text_index, variable_value>, std::string>);
    return m_index == text_index;
}

} // namespace arvenhold::corvel::hub
