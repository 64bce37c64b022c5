// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A hub of two servers, the second one with further lines of configuration if they are given. Prints how
// to connect as a line of JSON, kills the second server at the first line of input, and ends at the end
// of the input.

#include "dev_hub/dev_hub.hpp"
#include "support/free_port.hpp"

#include <exception>
#include <iostream>
#include <string>
#include <utility>

namespace {

namespace dev = arvenhold::corvel::hub::dev;

dev::dev_hub_options make_options(std::string const& client, std::string const& secret) {
    using arvenhold::corvel::hub::find_free_port;
    dev::dev_hub_options options;
    options.nats_server.cluster_ports = {find_free_port(), find_free_port()};
    options.token_endpoint.accepted_clients = {{client, secret}};
    return options;
}

void run(std::string const& client, std::string const& secret, std::string const& configuration) {
    auto options = make_options(client, secret);
    dev::dev_hub hub{options};
    auto& first = hub.get_nats_server();
    options.nats_server.token = first.get_token();
    options.nats_server.more_configuration = configuration;
    std::swap(options.nats_server.cluster_ports.front(), options.nats_server.cluster_ports.back());
    dev::nats_server second{options.nats_server, hub.get_log()};
    std::cout << R"({"first":")" << first.get_url() << R"(","second":")" << second.get_url()
              << R"(","token_url":")" << hub.get_token_endpoint().get_url() << "\"}" << std::endl;
    if (std::string line; std::getline(std::cin, line)) {
        second.kill();
        std::cout << "killed" << std::endl;
        std::getline(std::cin, line);
    }
}

} // namespace

int main(int count, char** given) {
    if (count != 3 && count != 4) {
        return 2;
    }
    try {
        run(given[1], given[2], count == 4 ? given[3] : "");
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
