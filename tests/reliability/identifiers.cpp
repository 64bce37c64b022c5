// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/row.hpp"
#include "reliability/world.hpp"

#include <map>
#include <sstream>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

std::string run_identifiers(effort how_much);

namespace {

timestamp now() {
    return std::chrono::system_clock::now();
}

// What an operation ended with: "works", or the exception's class.
template <class Work>
std::string outcome_of(Work work) {
    try {
        work();
        return "works";
    } catch (connection_failed const&) {
        return "connection_failed";
    } catch (operational_state_invalid const&) {
        return "operational_state_invalid";
    } catch (invalid_provider_definition const&) {
        return "invalid_provider_definition";
    }
}

struct odd_identifier {
    char const* name;
    std::string text;
    char const* connecting; ///< How connecting a provider of that name ends.
};

std::vector<odd_identifier> odd_identifiers() {
    return {
        {"dots", "line.1.boiler", "works"},
        {"not UTF-8", "\xff\xfe", "works"},
        {"4 KiB", std::string(4096, 'x'), "connection_failed"},
        {"empty", "", "connection_failed"},
        {"a space", "boiler 1", "connection_failed"},
        {"a quote", "boiler\"1", "connection_failed"},
        {"a backslash at the end", "boiler\\", "connection_failed"},
        {"an asterisk", "*", "works"},
        {"a greater-than sign", ">", "connection_failed"},
    };
}

std::shared_ptr<variable_list> offer(
    provider& server, std::string const& path, std::size_t variables, std::string const& text) {
    provider_definition definition{1};
    for (std::size_t position = 0; position < variables; ++position) {
        auto const suffix = variables == 1 ? "" : std::to_string(position);
        definition.add_variable_definition(path + suffix, text, variable_permissions::read_write);
    }
    definition.finalize();
    return server.register_provider_definition(definition);
}

void demand_outcome(
    std::string const& name, std::string const& actual, std::string const& expected) {
    demand(actual == expected, name + ": " + actual + " instead of " + expected);
}

void try_identifiers(dev::dev_hub& hub) {
    for (auto const& odd : odd_identifiers()) {
        provider server{odd.text};
        demand_outcome(odd.name, outcome_of([&] { connect(server, hub); }), odd.connecting);
    }
}

// The development hub refuses the paths that are marked; the library itself takes any.
void try_paths(dev::dev_hub& hub) {
    std::map<std::string, std::string> const expected{
        {"", "invalid_provider_definition"},
        {"a path", "invalid_provider_definition"},
        {"a\"path\\", "works"},
        {"*", "works"},
        {">", "works"},
        {std::string(4096, 'p'), "works"},
    };
    for (auto const& expectation : expected) {
        auto const& path = expectation.first;
        provider server{"odd-paths"};
        connect(server, hub);
        demand_outcome(
            "path " + path,
            outcome_of([&] { offer(server, path, 1, "text"); }),
            expectation.second);
    }
}

void try_sizes(dev::dev_hub& hub) {
    constexpr std::size_t many = 20'000;
    provider server{"large"};
    connect(server, hub);
    auto const list = offer(server, "v", many, "");
    consumer client{"monitor", true, nullptr, nullptr};
    connect(client, hub);
    auto const connection = client.attach_to_provider("large");
    demand(
        connection->get_current_variables().variables->size() == many,
        "a variable of many is missing");

    auto const first = list->get_variables().begin()->first;
    std::string const above_max_payload(std::size_t{9} * 1024 * 1024, 'x');
    demand_outcome(
        "an event above max_payload",
        outcome_of([&] { list->publish(first, above_max_payload, now()); }),
        "connection_failed");
    demand(!server.is_connected(), "a failed publication did not mark the provider failed");
}

} // namespace

std::string run_identifiers(effort /*how_much*/) {
    dev::dev_hub hub;
    try_identifiers(hub);
    try_paths(hub);
    try_sizes(hub);
    std::ostringstream figures;
    for (auto const& odd : odd_identifiers()) {
        figures << odd.name << ": " << odd.connecting << "; ";
    }
    figures << "six odd paths; 20,000 variables; an event above max_payload: connection_failed";
    return figures.str();
}

} // namespace arvenhold::corvel::hub::reliability
