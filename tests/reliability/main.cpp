// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Runs one row of the reliability evidence and prints what the document about it needs, in a line.

#include "reliability/row.hpp"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

namespace {

using namespace arvenhold::corvel::hub::reliability;

constexpr std::string_view seed_prefix = "seed=";

bool can_run(row const& chosen, std::string const& how_much) {
    return how_much == "quick" || how_much == "full"
        || (chosen.run_seed != nullptr && how_much.starts_with(seed_prefix));
}

std::string get_figures(row const& chosen, std::string const& how_much) {
    if (how_much.starts_with(seed_prefix)) {
        return chosen.run_seed(std::stoull(how_much.substr(seed_prefix.size())));
    }
    return chosen.run(how_much == "full" ? effort::full : effort::quick);
}

int run(row const& chosen, std::string const& how_much) {
    try {
        auto const figures = get_figures(chosen, how_much);
        std::cout << "| " << chosen.number << " | " << chosen.title << " | " << chosen.fault
                  << " | " << chosen.must_hold << " | " << figures << " |" << std::endl;
        return EXIT_SUCCESS;
    } catch (std::exception const& failure) {
        std::cout << "row " << chosen.number << " failed: " << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
}

} // namespace

int main(int argument_count, char** arguments) {
    std::vector<std::string> const words{arguments + 1, arguments + argument_count};
    if (words.size() == 2) {
        for (auto const& candidate : all_rows()) {
            if (std::to_string(candidate.number) == words[0] && can_run(candidate, words[1])) {
                return run(candidate, words[1]);
            }
        }
    }
    std::cerr << "usage: reliability ROW quick|full|seed=NUMBER\n"
                 "A seed runs one sequence of row 13, 24 or 25 alone.\nrows:\n";
    for (auto const& candidate : all_rows()) {
        std::cerr << "  " << candidate.number << "  " << candidate.fault << '\n';
    }
    return 2;
}
