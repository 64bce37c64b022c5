// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a provider's process sets, and how the process that watches it learns what it held and when.
// Everything about a value follows from its variable and its round, and the round is its time
// stamp, so a value that any other time, variable or provider should have is recognised.

#pragma once

#include <hub/common.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// A file in memory, which is gone with its last user. Not thread-safe.
class shared_file {
public:
    shared_file();
    shared_file(shared_file const&) = delete;
    shared_file& operator=(shared_file const&) = delete;
    ~shared_file();

    /// Opens the file in this and other processes for as long as the object exists.
    [[nodiscard]] std::string get_path() const;

    /// Replaces the first bytes.
    void write(std::string const& text) const;

    /// Returns the bytes from `offset` on.
    [[nodiscard]] std::string read_from(std::size_t offset) const;

private:
    int const m_descriptor;
};

/// Half of the variables change all the time, half of them now and then, so that some outages end
/// without a change.
enum class pace : std::uint32_t {
    busy = 0,
    calm = 1
};

/// The number of a set of values: milliseconds of the steady clock, which all processes share.
using round_number = std::int64_t;

[[nodiscard]] round_number round_of(std::chrono::steady_clock::time_point when);
[[nodiscard]] round_number round_of(timestamp when);
[[nodiscard]] timestamp time_of(round_number round);

/// Which variables a provider has.
enum class provider_shape {
    plain,
    swapped, ///< The same variables, those of one type with each other's ids.
    changed, ///< One is gone, one is new, one has another type.
};

struct provided_variable {
    std::string path;
    pace changes;
    std::size_t content; ///< What is different for each variable: the position for value_for().
};

[[nodiscard]] std::vector<provided_variable> const& variables_of(provider_shape shape);

[[nodiscard]] variable_value value_in(provided_variable const& variable, round_number round);
[[nodiscard]] variable_quality quality_in(round_number round);

/// One entry of the file in which a provider's process notes what it is about to set.
struct set_round {
    pace changes;
    round_number round;
};

/// Appends an entry, which every reader of the file sees at once.
void append(std::string const& file, set_round const& entry);

/// The rounds of both paces, ascending.
class round_history {
public:
    /// Reads what was appended since.
    void read(shared_file const& file);

    [[nodiscard]] std::vector<round_number> const& get(pace changes) const;

private:
    std::array<std::vector<round_number>, 2> m_rounds;
    std::size_t m_offset = 0;
};

} // namespace arvenhold::corvel::hub::reliability
