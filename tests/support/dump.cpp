// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dump.hpp"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

flushed_pieces::flushed_pieces()
    : std::ostream{static_cast<std::stringbuf*>(this)} {}

std::vector<std::string> flushed_pieces::pieces() const {
    auto pieces = m_pieces;
    pieces.push_back(std::stringbuf::str());
    return pieces;
}

int flushed_pieces::sync() {
    m_pieces.push_back(std::stringbuf::str());
    std::stringbuf::str({});
    return 0;
}

std::string without_addresses(std::string const& dump) {
    auto masked = dump;
    for (auto start = masked.find("0x"); start != std::string::npos; start = masked.find("0x")) {
        auto const end = masked.find_first_not_of("0123456789abcdef", start + 2);
        masked.replace(start, end - start, "<address>");
    }
    return masked;
}

std::string golden_dump(std::string const& name) {
    auto const path = std::filesystem::path{CORVEL_HUB_GOLDEN_DIRECTORY} / name;
    std::ifstream const file{path, std::ios::binary};
    if (!file) {
        throw std::runtime_error{"cannot read " + path.string()};
    }
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

} // namespace arvenhold::corvel::hub
