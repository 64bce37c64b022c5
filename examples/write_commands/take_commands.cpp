// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider that accepts and refuses commands: a valve whose opening consumers can write, between
// 0 and 100 per cent. Try it with write_value.

#include <hub/hub.hpp>

#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): for the signal handler
volatile std::sig_atomic_t stop_requested = 0;

void request_stop(int) {
    stop_requested = 1;
}

// Applies one value of a command. The library has checked nothing in it: write_variable() throws for
// an unknown id, a read-only variable and a value of the wrong type. The range is the application's
// to check, before the value is stored. The opening is the only writable variable.
void apply(hub::variable_list& list, hub::variable_id id, hub::variable_value const& value) {
    auto const now = std::chrono::system_clock::now();
    auto const* const opening = std::get_if<double>(&value);
    if (opening != nullptr && !(*opening >= 0 && *opening <= 100)) { // also refuses "not a number"
        std::cout << "refused: " << *opening << " is not between 0 and 100" << std::endl;
        return;
    }
    try {
        list.write_variable(id, value, now);
    } catch (std::exception const& refusal) {
        std::cout << "refused: " << refusal.what() << std::endl;
        return;
    }
    std::cout << "the opening is now " << std::get<double>(value) << std::endl;
}

// Called on a thread of the NATS client, one command after the other.
void handle_command(
    hub::definition_fingerprint,
    hub::variable_write_command const& command,
    hub::provider& receiver,
    void*) {
    auto const list = receiver.get_variable_list();
    for (auto const& [id, value] : command.entries) {
        apply(*list, id, value);
    }
    // The writer gets no answer. This change event shows it the result, also that of a refusal.
    receiver.force_publish_all(std::chrono::system_clock::now());
}

void provide(std::vector<std::string> const& arguments) {
    hub::provider_definition definition{hub::make_fingerprint(1)};
    definition.add_variable_definition(
        "serial_number", std::string{"V-1077"}, hub::variable_permissions::read_only);
    definition.add_variable_definition(
        "opening_percent", 0.0, hub::variable_permissions::read_write);
    definition.finalize();

    hub::provider provider{"valve"};
    provider.register_provider_definition(definition);
    provider.set_variables_written_callback(handle_command, nullptr);
    provider.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    std::cout << "taking commands; Ctrl-C ends it" << std::endl;
    while (stop_requested == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds{200});
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 4) {
        std::cerr << "usage: take_commands <nats-url> <token-url> <client-id> <client-secret>\n";
        return 2;
    }
    std::ignore = std::signal(SIGINT, request_stop);
    std::ignore = std::signal(SIGTERM, request_stop);
    try {
        provide(arguments);
    } catch (std::exception const& error) {
        std::cerr << "take_commands: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
