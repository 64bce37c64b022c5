// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How the program ends. The numbers are part of its interface: scripts compare them.

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

enum class exit_code : std::uint8_t {
    done = 0,
    other = 1,
    usage = 2,
    not_found = 3,
    refused = 4,
    unreachable = 5,
    timed_out = 6,
    refused_locally = 7,
    definition_changed = 8,
    not_confirmed = 9,
    quality_not_good = 10,
    definition_rejected = 11,
    interrupted = 130, ///< By SIGINT.
    terminated = 143,  ///< By SIGTERM.
};

/// Returns the lines of the help text that explain the codes.
std::string describe_exit_codes();

/// Ends a command. Contains no secret.
class failure : public std::runtime_error {
public:
    /// @param code  How the program ends.
    /// @param text  What is wrong, one line: the thing, and what was expected.
    /// @param cure  What to do next, one line; empty if there is nothing to say.
    failure(exit_code code, std::string const& text, std::string cure = {})
        : std::runtime_error{text}
        , m_code{code}
        , m_cure{std::move(cure)} {}

    [[nodiscard]] exit_code get_code() const {
        return m_code;
    }

    [[nodiscard]] std::string const& get_cure() const {
        return m_cure;
    }

private:
    exit_code m_code;
    std::string m_cure;
};

/// Ends the program quietly: the reader of its output has gone.
struct output_closed {};

} // namespace arvenhold::corvel::hub::ctl
