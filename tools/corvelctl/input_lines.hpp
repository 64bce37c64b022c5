// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Lines of standard input, for a command that does other things meanwhile.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct input_line {
    std::uint64_t number = 0; ///< Counts from 1.
    std::string text;         ///< Without the line end.
};

class input_lines {
public:
    /// Returns a descriptor that is readable when read() returns something; -1 after the end.
    [[nodiscard]] int get_descriptor() const;

    /// Returns the lines that are there, without waiting for more. Empty ones are left out.
    [[nodiscard]] std::vector<input_line> read();

    /// Whether read() has returned the last line.
    [[nodiscard]] bool has_ended() const;

private:
    void split(std::vector<input_line>& lines);

    std::string m_waiting; // the beginning of a line whose end has not arrived
    std::uint64_t m_number = 0;
    bool m_has_ended = false;
};

} // namespace arvenhold::corvel::hub::ctl
