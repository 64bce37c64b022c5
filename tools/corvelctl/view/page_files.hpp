// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The files of the page, which are part of the program.

#pragma once

#include <string_view>

namespace arvenhold::corvel::hub::ctl {

struct page_file {
    std::string_view name; ///< Without a folder.
    std::string_view content;
    char const* type; ///< As in a Content-Type header.
};

/// @return null if there is no such file.
[[nodiscard]] page_file const* find_page_file(std::string_view name);

} // namespace arvenhold::corvel::hub::ctl
