// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider whose definition the test chooses: after the access an identifier, a fingerprint and paths,
// each with "=" and the name of a type, bool or double. Values are as old as the last argument says, in
// seconds. Runs until standard input ends.

#include <hub/hub.hpp>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

void fill(hub::provider_definition& definition, std::vector<std::string> const& given) {
    for (std::size_t index = 7; index + 1 < given.size(); ++index) {
        auto const equals = given[index].find('=');
        hub::variable_value zero = 0.0;
        if (given[index].substr(equals + 1) == "bool") {
            zero = false;
        }
        definition.add_variable_definition(
            given[index].substr(0, equals), zero, hub::variable_permissions::read_only);
    }
    definition.finalize();
}

void publish(hub::provider& fixed, hub::provider_definition& definition, std::string const& age) {
    auto const list = fixed.register_provider_definition(definition);
    auto const when = std::chrono::system_clock::now() - std::chrono::seconds{std::stoi(age)};
    for (auto const& [id, variable] : list->get_variables()) {
        list->publish(id, std::get<0>(variable->get_value_with_timestamp()), when);
    }
}

} // namespace

int main(int count, char** access) {
    std::vector<std::string> const given(access, access + count);
    if (count < 9) {
        return 2;
    }
    try {
        hub::provider fixed{given[5]};
        hub::provider_definition definition{std::stoull(given[6])};
        fill(definition, given);
        fixed.connect(given[1], given[2], given[3], given[4]);
        publish(fixed, definition, given.back());
        std::cout << "ready" << std::endl;
        std::cin.get();
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
