// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Runs one row of the reliability evidence and prints its line of the table.

#include "reliability/row.hpp"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace arvenhold::corvel::hub::reliability;

int run(row const& chosen, effort how_much) {
    try {
        auto const figures = chosen.run(how_much);
        std::cout << "| " << chosen.number << " | " << chosen.fault << " | " << chosen.must_hold
                  << " | " << figures << " |" << std::endl;
        return EXIT_SUCCESS;
    } catch (std::exception const& failure) {
        std::cout << "row " << chosen.number << " failed: " << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
}

} // namespace

int main(int argument_count, char** arguments) {
    std::vector<std::string> const words{arguments + 1, arguments + argument_count};
    if (words.size() == 2 && (words[1] == "quick" || words[1] == "full")) {
        for (auto const& candidate : all_rows()) {
            if (std::to_string(candidate.number) == words[0]) {
                return run(candidate, words[1] == "full" ? effort::full : effort::quick);
            }
        }
    }
    std::cerr << "usage: reliability ROW quick|full\nrows:\n";
    for (auto const& candidate : all_rows()) {
        std::cerr << "  " << candidate.number << "  " << candidate.fault << '\n';
    }
    return 2;
}
