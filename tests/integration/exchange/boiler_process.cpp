// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider "boiler" in a process of its own: applies what consumers write until it receives
// SIGTERM.

#include <hub/hub.hpp>

#include <pthread.h>

#include <csignal>
#include <iostream>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

void apply(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& receiver,
    void* /*user_data*/) {
    auto const now = std::chrono::system_clock::now();
    auto const list = receiver.get_variable_list();
    for (auto const& [id, value] : command.entries) {
        list->write_variable(id, value, now);
    }
    receiver.publish(now);
}

int run(
    std::string const& nats_url, std::string const& token_url, definition_fingerprint fingerprint) {
    sigset_t end_requested;
    sigemptyset(&end_requested);
    sigaddset(&end_requested, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &end_requested, nullptr); // for the threads that begin below as well

    provider_definition definition{fingerprint};
    definition.add_variable_definition("temperature", 20.5, variable_permissions::read_only);
    definition.add_variable_definition("set_point", 60.0, variable_permissions::read_write);
    definition.finalize();
    provider boiler{"boiler"};
    boiler.set_variables_written_callback(&apply, nullptr);
    boiler.register_provider_definition(definition);
    boiler.connect(nats_url, token_url, "developer", "developer-secret");
    std::cout << "the boiler runs" << std::endl;

    int received = 0;
    sigwait(&end_requested, &received);
    return 0;
}

} // namespace

} // namespace arvenhold::corvel::hub

int main(int argc, char** argv) {
    try {
        if (argc != 4) {
            std::cerr << "usage: boiler_process <NATS URL> <token URL> <fingerprint>\n";
            return 2;
        }
        return arvenhold::corvel::hub::run(argv[1], argv[2], std::stoull(argv[3]));
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
