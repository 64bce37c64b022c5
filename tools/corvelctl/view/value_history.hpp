// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the variables of a hub held since `view` was started, in bounded memory.

#pragma once

#include <hub/common.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// How far a value in the history could be used when it arrived.
enum class sample_status : std::uint8_t {
    good = 0,
    uncertain = 1,
    bad = 2,
    stale = 3, ///< From here on it may have had another value.
};

/// A value and the time from which on it held.
struct history_point {
    std::int64_t time = 0; ///< Microseconds since 1970.
    variable_value value;
    sample_status status = sample_status::good;
};

/// Invariants:
/// 1. The samples together take at most the limit; the oldest ones of all variables go first.
/// 2. Of each variable the latest sample that went is known, so that it is known what the variable
///    held at the time of the oldest sample.
/// 3. The times of one variable never go back.
class value_history {
public:
    /// A string is cut after so many bytes, or before the character that goes beyond.
    static constexpr std::size_t longest_text = 256;

    struct query {
        std::vector<std::uint32_t> variables;
        std::int64_t from = std::numeric_limits<std::int64_t>::min();
        std::int64_t to = std::numeric_limits<std::int64_t>::max();
        std::optional<std::uint64_t> after; ///< Only samples behind this sequence number.
        std::size_t most = 0; ///< Points of each variable; those that show extremes are kept.
    };

    explicit value_history(std::uint64_t most_bytes);

    /// Adds a value. One that is equal to the variable's latest one, with the same status, adds
    /// nothing.
    ///
    /// @param variable  Any number; small ones, because there is a place for each smaller one.
    /// @param time      Microseconds since 1970.
    void add(
        std::uint32_t variable,
        std::int64_t time,
        variable_value const& value,
        sample_status status);

    /// Returns the points of each variable of the query, in its order. The first point may be older
    /// than the query asks for: it is what the variable held then.
    [[nodiscard]] std::vector<std::vector<history_point>> find(query const& wanted) const;

    /// The number of samples that were ever added.
    [[nodiscard]] std::uint64_t get_sequence() const;

    /// The time of the oldest sample; nothing if there is none.
    [[nodiscard]] std::optional<std::int64_t> get_oldest_time() const;

    [[nodiscard]] std::size_t get_size_in_bytes() const;

    [[nodiscard]] std::uint64_t get_limit_in_bytes() const;

    [[nodiscard]] std::size_t get_sample_count() const;

private:
    struct sample {
        std::int64_t time;
        std::uint64_t bits; // of the value, or the number of its text
        std::uint32_t variable;
        std::uint8_t type; // index into variable_value
        sample_status status;
    };

    struct known_variable {
        std::optional<history_point> gone; // the latest sample that is no longer there
        std::optional<history_point> latest;
    };

    using positions = std::vector<std::size_t>; // of samples

    struct found_samples {
        std::optional<std::size_t> before; // the latest one before the span
        positions inside;
    };

    [[nodiscard]] std::vector<found_samples> collect(query const& wanted) const;
    [[nodiscard]] std::optional<history_point> find_before(
        query const& wanted, std::uint32_t variable, found_samples const& found) const;
    void drop_oldest();
    [[nodiscard]] std::uint64_t encode(variable_value const& value);
    [[nodiscard]] history_point decode(sample const& stored) const;
    [[nodiscard]] positions reduce(positions const& all, std::size_t most) const;
    void append_extremes(
        positions& kept, positions const& all, std::size_t begin, std::size_t end) const;
    [[nodiscard]] double get_number(std::size_t position) const;

    std::uint64_t const m_limit;
    std::uint64_t m_first = 0; // sequence number of the oldest sample
    std::deque<sample> m_samples;
    std::uint64_t m_first_text = 0;
    std::deque<std::string> m_texts; // of the samples with texts, in their order
    std::size_t m_text_bytes = 0;
    std::vector<known_variable> m_variables;
};

} // namespace arvenhold::corvel::hub::ctl
