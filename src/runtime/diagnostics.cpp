// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/diagnostics.hpp"

#include <iostream>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

void write_line(std::ostream& os, std::initializer_list<std::string_view> pieces) noexcept {
    try {
        std::string line;
        for (auto const piece : pieces) {
            line.append(piece);
        }
        line.push_back('\n');
        os.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    } catch (...) { // NOLINT(bugprone-empty-catch): nobody is left to tell
    }
}

} // namespace

void write_error_line(std::initializer_list<std::string_view> pieces) noexcept {
    write_line(std::cerr, pieces);
}

void write_output_line(std::initializer_list<std::string_view> pieces) noexcept {
    write_line(std::cout, pieces);
}

} // namespace arvenhold::corvel::hub
