// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider in a process of its own, whose values show the round in which it was started. It runs
// until it is killed.

#include "reliability/world.hpp"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>

namespace arvenhold::corvel::hub::reliability {

namespace {

[[noreturn]] void run(
    std::string const& nats_url,
    std::string const& token_url,
    std::string const& identifier,
    std::uint64_t round) {
    provider_definition definition{1};
    fill(definition, 60, round);
    provider served{identifier};
    served.register_provider_definition(definition);
    served.connect(nats_url, token_url, "developer", "developer-secret");
    std::cout << "the provider runs" << std::endl;
    for (;;) {
        ::pause();
    }
}

} // namespace

} // namespace arvenhold::corvel::hub::reliability

int main(int argc, char** argv) {
    try {
        if (argc != 5) {
            std::cerr << "usage: provider_process <NATS URL> <token URL> <identifier> <round>\n";
            return 2;
        }
        arvenhold::corvel::hub::reliability::run(argv[1], argv[2], argv[3], std::stoull(argv[4]));
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
