// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// A table of a finished message, read by hand: without schema and generated code, so that a wrong
/// slot or a wrong width in them shows. Knows well-formed messages on little-endian machines only.
/// Valid as long as the bytes of the message.
class raw_table {
public:
    static raw_table root_of(std::string_view message);

    /// The slots that are present, ascending.
    std::vector<int> slots() const;

    /// The number of slots that the vtable has room for.
    int slot_count() const;

    template <class Number>
    Number number(int slot) const {
        return read<Number>(address_of(slot));
    }

    std::int64_t seconds(int slot) const;
    std::int32_t nanos(int slot) const;
    std::string text(int slot) const;
    std::vector<std::uint32_t> numbers(int slot) const;
    raw_table table(int slot) const;
    std::vector<raw_table> tables(int slot) const;

private:
    std::string_view m_message;
    std::size_t m_position;

    raw_table(std::string_view message, std::size_t position);

    template <class Number>
    Number read(std::size_t address) const {
        Number number{};
        std::memcpy(&number, m_message.substr(address).data(), sizeof(Number));
        return number;
    }

    std::size_t vtable() const;
    std::size_t entry(int slot) const;
    std::size_t address_of(int slot) const;
    std::size_t target_of(std::size_t address) const;
};

} // namespace arvenhold::corvel::hub
