// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the processes of the end-to-end comparisons agree on.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>

namespace arvenhold::corvel::hub::bench {

inline constexpr char const* control_subject = "bench.control";
inline constexpr char const* raw_subject = "v1.loc.raw-1000.vars.evt.changed";
inline constexpr char const* echo_subject = "v1.loc.raw-1000.vars.qry.read";

/// The provider with `size` variables; `at_once` for the one that sends immediately.
inline std::string provider_with(std::size_t size, bool at_once = false) {
    return (at_once ? "now-" : "press-") + std::to_string(size);
}

/// One like it that only a session follows; there are those with 1 and 1,000 variables.
inline std::string followed_provider_with(std::size_t size, bool at_once = false) {
    return "followed-" + provider_with(size, at_once);
}

/// Both processes run on one machine and share its clock.
inline std::int64_t now_in_nanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// How long to measure.
struct effort {
    int rounds = 1; ///< Each gives a figure of every row.
    int turns = 1;  ///< Of both sides of a rate, in each round.
};

/// Prints one figure as bench/run reads it.
inline void print(std::string const& row, std::string const& variant, double figure) {
    std::cout << row << '\t' << variant << '\t' << figure << std::endl;
}

} // namespace arvenhold::corvel::hub::bench
