// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub::ctl {

/// @throws failure  gnuplot is not installed.
void require_gnuplot();

/// Runs gnuplot with a program on its standard input, without the settings of the user.
///
/// @return what it writes to standard output.
///
/// @throws failure  It is not installed, or reports an error.
[[nodiscard]] std::string run_gnuplot(std::string const& program);

} // namespace arvenhold::corvel::hub::ctl
