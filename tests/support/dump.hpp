// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// Returns what `object` writes to a new stream.
template <class Dumped>
std::string dump_of(Dumped&& object) {
    std::ostringstream text;
    text << object;
    return std::move(text).str();
}

/// Collects what is written to it, cut into one piece for every flush.
class flushed_pieces : private std::stringbuf, public std::ostream {
public:
    flushed_pieces();

    /// The pieces in their order, and last what was not flushed.
    std::vector<std::string> pieces() const;

private:
    std::vector<std::string> m_pieces;

    int sync() override;
};

/// Returns `dump` with every address replaced by "<address>".
std::string without_addresses(std::string const& dump);

/// Returns the contents of a file of tests/golden.
std::string golden_dump(std::string const& name);

} // namespace arvenhold::corvel::hub
