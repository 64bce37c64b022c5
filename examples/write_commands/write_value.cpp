// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Writes one variable of a provider and prints the value that the provider then publishes.

#include <hub/hub.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace {

namespace hub = arvenhold::corvel::hub;

constexpr std::chrono::seconds answer_limit{2};
constexpr std::chrono::milliseconds pause{20};

// Reads a value of the same type as the variable's present one, because the hub converts nothing:
// a provider refuses an integer for a variable of type double.
class value_reader {
public:
    explicit value_reader(std::string text)
        : m_text{std::move(text)} {}

    hub::variable_value operator()(std::string const&) const {
        return m_text;
    }

    hub::variable_value operator()(std::chrono::nanoseconds) const {
        return std::chrono::nanoseconds{read<std::int64_t>()};
    }

    hub::variable_value operator()(hub::timestamp) const {
        return hub::timestamp{std::chrono::nanoseconds{read<std::int64_t>()}};
    }

    // Booleans, integers and floating-point numbers.
    template <class Value>
    hub::variable_value operator()(Value) const {
        return read<Value>();
    }

private:
    std::string const m_text;

    template <class Value>
    Value read() const {
        std::istringstream stream{m_text};
        Value value{};
        if (!(stream >> std::boolalpha >> value) || stream.peek() != EOF) {
            throw std::invalid_argument{"'" + m_text + "' is not of the variable's type"};
        }
        return value;
    }
};

// Returns whether the variable has received that many updates in time.
bool wait_for_updates(hub::consumer_variable& variable, std::uint64_t count) {
    auto const deadline = std::chrono::steady_clock::now() + answer_limit;
    while (variable.get_update_count() < count) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void write(std::vector<std::string> const& arguments) {
    hub::consumer consumer{"writer", false, nullptr, nullptr};
    consumer.connect(arguments.at(0), arguments.at(1), arguments.at(2), arguments.at(3));
    auto const connection = consumer.attach_to_provider(arguments.at(4));
    auto const current = connection->get_current_variables();
    auto const variable = current.find(arguments.at(5));
    if (!variable) {
        throw std::invalid_argument{"the provider has no variable '" + arguments.at(5) + "'"};
    }
    std::cout << "before:  " << *variable << '\n';

    // Writing takes two steps, so that one command can carry several values: set the values here,
    // then send them. The fingerprint names the definition that the ids belong to.
    auto const updates = variable->get_update_count();
    auto const present = std::get<hub::variable_value>(variable->get_value_with_timestamp());
    variable->set_value(
        std::visit(value_reader{arguments.at(6)}, present), std::chrono::system_clock::now());
    connection->write_variables(current.fingerprint, {variable->get_id()});
    std::cout << "written: " << *variable << '\n';

    // The provider does not answer; our copy shows the written value as good even if the provider
    // refuses it. Most providers publish the variable after a command, perhaps with another value
    // than the written one. The first update is our own.
    if (!wait_for_updates(*variable, updates + 2)) {
        throw std::runtime_error{"the provider has not published the variable since"};
    }
    std::cout << "now:     " << *variable << '\n';
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(std::next(argv), std::next(argv, argc));
    if (arguments.size() != 7) {
        std::cerr << "usage: write_value <nats-url> <token-url> <client-id> <client-secret> "
                     "<provider> <path> <value>\n"
                     "Durations and points in time are written in nanoseconds.\n";
        return 2;
    }
    try {
        write(arguments);
    } catch (std::exception const& error) {
        std::cerr << "write_value: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
