// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// An oven that talks only to a server and a token endpoint whose certificates a given authority has
// signed, and that reads its secret from a file. Each line of the input is a measured temperature.

#include <hub/session/provider_session.hpp>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

// Everyone on the machine can see a program's arguments, so the secret is in a file.
std::string read_secret(std::string const& path) {
    std::ifstream file{path};
    std::string secret;
    if (!std::getline(file, secret)) {
        throw std::runtime_error{"cannot read the secret from " + path};
    }
    return secret;
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const given(argv, std::next(argv, argc));
    if (given.size() != 6) {
        std::cerr << "usage: tls <nats-url> <token-url> <client-id> <secret-file> <ca-file>\n";
        return 2;
    }
    // By default the library encrypts only if the server requires it, and does not check who answers
    // in place of the token endpoint and receives the secret.
    auto const options = hub::connect_options{}
                             .set_tls_ca_file(given[5]) // also requires TLS
                             .set_token_endpoint_check(true, given[5]);
    hub::provider_session oven{
        "oven", {given[1], given[2], given[3], read_secret(given[4]), options}};
    auto const temperature = oven.declare<double>("temperature", 20.0);
    oven.set_status_handler(
        [](hub::session_status const& status) { std::cout << status.text << std::endl; });
    oven.start();
    for (double measured = 0; std::cin >> measured;) {
        temperature.set(measured);
    }
} catch (std::exception const& error) {
    std::cerr << "tls: " << error.what() << '\n';
    return 1;
}
