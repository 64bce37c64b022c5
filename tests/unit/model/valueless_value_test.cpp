// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Dump and type name of a value that a failed assignment has left empty. GCC's standard library
// never leaves a variant of these types empty, so this is built with the other one, for which there
// is no test framework.

#include "model/value_text.hpp"
#include <hub/names.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace arvenhold::corvel::hub;

struct failing_text {
    operator std::string() const {
        throw std::runtime_error{"no text"};
    }
};

variable_value valueless_value() {
    variable_value value{true};
    try {
        value.emplace<std::string>(failing_text{});
    } catch (std::runtime_error const&) {
    }
    return value;
}

bool same(std::string const& actual, std::string const& expected) {
    if (actual != expected) {
        std::cerr << "expected '" << expected << "', got '" << actual << "'\n";
    }
    return actual == expected;
}

bool is_the_label_alone() {
    std::ostringstream text;

    write_value(text, valueless_value(), 32);

    return same(text.str(), "?????? ");
}

bool is_the_label_alone_in_the_dump_of_a_variable() {
    auto const value = valueless_value();
    std::ostringstream text;

    write_variable_line(
        text,
        {7,
         "boiler/pressure",
         variable_permissions::read_write,
         variable_quality::good,
         value,
         3,
         12,
         timestamp{}});

    return same(
        text.str(),
        "[         7] boiler/pressure                  rw <      good       > ?????? "
        "[           3 @ 0]");
}

bool is_the_name_of_no_type() {
    return same(std::string{type_name_of(valueless_value())}, "none");
}

} // namespace

int main() {
    try {
        if (is_the_label_alone() && is_the_label_alone_in_the_dump_of_a_variable()
            && is_the_name_of_no_type()) {
            return EXIT_SUCCESS;
        }
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
    }
    return EXIT_FAILURE;
}
