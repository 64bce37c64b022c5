// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A terminal whose whole screen belongs to the program for a time.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Takes the screen over while it lives: what was on it returns afterwards. One object a process.
class terminal_screen {
public:
    struct size {
        std::size_t columns = 0;
        std::size_t lines = 0;
    };

    terminal_screen();

    terminal_screen(terminal_screen const&) = delete;
    terminal_screen& operator=(terminal_screen const&) = delete;

    ~terminal_screen();

    /// The size that the terminal has now; 80 by 24 if it does not say.
    [[nodiscard]] static size get_size();

    /// Replaces what the screen shows.
    ///
    /// @param lines  As many lines as the screen has or less, none wider than it.
    ///
    /// @throws output_closed  The terminal is gone.
    static void draw(std::vector<std::string> const& lines);
};

/// Gives the screen back; does nothing if it was not taken. For ends of the program that run no
/// destructor; any thread.
void restore_terminal() noexcept;

/// Whether the terminal shows characters beyond ASCII, by the environment's locale.
[[nodiscard]] bool has_unicode();

} // namespace arvenhold::corvel::hub::ctl
