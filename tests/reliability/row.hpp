// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// How much is done: as often as fits into every test run, or as often as the evidence asks.
enum class effort {
    quick,
    full
};

/// One kind of fault, load or bad input, and what must hold under it.
struct row {
    int number;
    std::string_view title;
    std::string_view fault;     ///< What is done to the library.
    std::string_view must_hold; ///< What is guaranteed all the same.
    std::string (*run)(effort); ///< Returns the figures; throws row_failure.

    /// The same for a single seed; null for a row that draws nothing.
    std::string (*run_seed)(std::uint64_t) = nullptr;
};

/// Something that must hold does not.
class row_failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws row_failure with `what` unless `holds`.
inline void demand(bool holds, std::string const& what) {
    if (!holds) {
        throw row_failure{what};
    }
}

/// All rows, in the order of their numbers.
std::vector<row> const& all_rows();

} // namespace arvenhold::corvel::hub::reliability
