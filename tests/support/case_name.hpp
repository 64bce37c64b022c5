// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub {

/// Names the tests of a table after the `name` of each case.
inline constexpr auto case_name = [](auto const& info) {
    return std::string{info.param.name};
};

} // namespace arvenhold::corvel::hub
