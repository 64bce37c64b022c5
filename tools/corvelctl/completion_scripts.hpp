// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The scripts in completion/, which are part of the program.

#pragma once

#include <cstdint>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

enum class completed_shell : std::uint8_t {
    bash,
    zsh,
    fish
};

[[nodiscard]] std::string_view get_completion_script(completed_shell shell);

} // namespace arvenhold::corvel::hub::ctl
