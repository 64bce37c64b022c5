// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "raw_table.hpp"

#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

// A vtable begins with its own size and that of the table, 16 bits each.
constexpr std::size_t vtable_head = 4;
constexpr std::size_t vtable_entry = 2;
// Offsets, and the lengths of vectors and strings.
constexpr std::size_t offset_size = 4;

} // namespace

raw_table::raw_table(std::string_view message, std::size_t position)
    : m_message{message}
    , m_position{position} {}

raw_table raw_table::root_of(std::string_view message) {
    raw_table const start{message, 0};
    return {message, start.target_of(0)};
}

std::size_t raw_table::vtable() const {
    // A table begins with the offset to its vtable.
    return static_cast<std::size_t>(
        static_cast<std::int64_t>(m_position) - read<std::int32_t>(m_position));
}

int raw_table::slot_count() const {
    return static_cast<int>((read<std::uint16_t>(vtable()) - vtable_head) / vtable_entry);
}

std::size_t raw_table::entry(int slot) const {
    if (slot >= slot_count()) {
        return 0;
    }
    return read<std::uint16_t>(vtable() + vtable_head + vtable_entry * static_cast<unsigned>(slot));
}

std::vector<int> raw_table::slots() const {
    std::vector<int> present;
    for (int slot = 0; slot < slot_count(); ++slot) {
        if (entry(slot) != 0) {
            present.push_back(slot);
        }
    }
    return present;
}

std::size_t raw_table::address_of(int slot) const {
    if (entry(slot) == 0) {
        throw std::out_of_range{"slot " + std::to_string(slot) + " is absent"};
    }
    return m_position + entry(slot);
}

std::size_t raw_table::target_of(std::size_t address) const {
    return address + read<std::uint32_t>(address);
}

std::int64_t raw_table::seconds(int slot) const {
    return read<std::int64_t>(address_of(slot));
}

std::int32_t raw_table::nanos(int slot) const {
    return read<std::int32_t>(address_of(slot) + sizeof(std::int64_t));
}

std::string raw_table::text(int slot) const {
    auto const start = target_of(address_of(slot));
    return std::string{m_message.substr(start + offset_size, read<std::uint32_t>(start))};
}

std::vector<std::uint32_t> raw_table::numbers(int slot) const {
    auto const start = target_of(address_of(slot));
    std::vector<std::uint32_t> all;
    for (std::uint32_t index = 0; index < read<std::uint32_t>(start); ++index) {
        all.push_back(read<std::uint32_t>(start + offset_size + sizeof(std::uint32_t) * index));
    }
    return all;
}

raw_table raw_table::table(int slot) const {
    return {m_message, target_of(address_of(slot))};
}

std::vector<raw_table> raw_table::tables(int slot) const {
    auto const start = target_of(address_of(slot));
    std::vector<raw_table> all;
    for (std::uint32_t index = 0; index < read<std::uint32_t>(start); ++index) {
        all.push_back(raw_table{
            m_message, target_of(start + offset_size + offset_size * std::size_t{index})});
    }
    return all;
}

} // namespace arvenhold::corvel::hub
