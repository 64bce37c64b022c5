// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/held_values.hpp"

#include "reliability/world.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

namespace {

constexpr std::size_t variables_of_a_pace = 12;
constexpr std::size_t type_count = std::variant_size_v<variable_value>;

std::vector<provided_variable> make_plain() {
    std::vector<provided_variable> made;
    for (std::size_t position = 0; position < variables_of_a_pace; ++position) {
        made.push_back({"busy/" + std::to_string(position), pace::busy, position});
    }
    for (std::size_t position = 0; position < variables_of_a_pace; ++position) {
        made.push_back(
            {"calm/" + std::to_string(position), pace::calm, variables_of_a_pace + position});
    }
    return made;
}

// Ids follow the order of declaration.
std::vector<provided_variable> make_swapped() {
    auto made = make_plain();
    for (std::size_t position = 0; position < type_count; ++position) {
        std::swap(made[position], made[position + type_count]);
        std::swap(
            made[variables_of_a_pace + position],
            made[variables_of_a_pace + position + type_count]);
    }
    return made;
}

std::vector<provided_variable> make_changed() {
    auto made = make_plain();
    ++made[0].content;
    made[1].path = "busy/new";
    return made;
}

} // namespace

shared_file::shared_file()
    : m_descriptor{::memfd_create("shared", MFD_CLOEXEC)} {
    if (m_descriptor < 0) {
        throw std::system_error{errno, std::generic_category(), "memfd_create"};
    }
}

shared_file::~shared_file() {
    ::close(m_descriptor);
}

std::string shared_file::get_path() const {
    return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(m_descriptor);
}

void shared_file::write(std::string const& text) const {
    if (::pwrite(m_descriptor, text.data(), text.size(), 0) < 0) {
        throw std::system_error{errno, std::generic_category(), "pwrite"};
    }
}

std::string shared_file::read_from(std::size_t offset) const {
    std::string all;
    std::array<char, 4096> piece{};
    for (;;) {
        auto const count = ::pread(
            m_descriptor, piece.data(), piece.size(), static_cast<off_t>(offset + all.size()));
        if (count <= 0) {
            return all;
        }
        all.append(piece.data(), static_cast<std::size_t>(count));
    }
}

round_number round_of(std::chrono::steady_clock::time_point when) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
}

round_number round_of(timestamp when) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
}

timestamp time_of(round_number round) {
    return timestamp{std::chrono::milliseconds{round}};
}

std::vector<provided_variable> const& variables_of(provider_shape shape) {
    static auto const plain = make_plain();
    static auto const swapped = make_swapped();
    static auto const changed = make_changed();
    switch (shape) {
    case provider_shape::swapped:
        return swapped;
    case provider_shape::changed:
        return changed;
    case provider_shape::plain:
        break;
    }
    return plain;
}

variable_value value_in(provided_variable const& variable, round_number round) {
    return value_for(variable.content, static_cast<std::uint64_t>(round));
}

variable_quality quality_in(round_number round) {
    return round % 2 == 0 ? variable_quality::good : variable_quality::uncertain;
}

void append(std::string const& file, set_round const& entry) {
    std::array<char, sizeof entry> bytes{};
    std::memcpy(bytes.data(), &entry, sizeof entry);
    std::ofstream{file, std::ios::binary | std::ios::app}.write(bytes.data(), bytes.size());
}

void round_history::read(shared_file const& file) {
    auto const bytes = file.read_from(m_offset);
    set_round entry{};
    for (std::size_t at = 0; at + sizeof entry <= bytes.size(); at += sizeof entry) {
        std::memcpy(&entry, bytes.data() + at, sizeof entry);
        m_rounds.at(static_cast<std::size_t>(entry.changes)).push_back(entry.round);
        m_offset += sizeof entry;
    }
}

std::vector<round_number> const& round_history::get(pace changes) const {
    return m_rounds.at(static_cast<std::size_t>(changes));
}

} // namespace arvenhold::corvel::hub::reliability
