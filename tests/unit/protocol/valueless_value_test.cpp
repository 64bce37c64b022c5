// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How a value that a failed assignment has left empty is sent. GCC's standard library never leaves
// a variant of these types empty, so this is built with libc++, for which no test framework is
// installed.

#include "protocol/definition_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "raw_table.hpp"

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

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

bool holds(bool condition, char const* sentence) {
    if (!condition) {
        std::cerr << "does not hold: " << sentence << '\n';
    }
    return condition;
}

bool is_an_item_with_tag_0_and_without_value() {
    message_builder builder;
    variables_writer writer{builder};

    writer.add_change(7, valueless_value(), variable_quality::good);
    writer.finish_change_event(5, timestamp{});

    auto const item = raw_table::root_of(finished_bytes(builder)).table(0).tables(2).at(0);
    return holds(item.slots() == std::vector{0, 2, 4}, "all fields but value and time are sent")
        && holds(item.number<std::uint8_t>(0) == 0, "the tag is 0");
}

bool is_a_definition_with_type_0() {
    message_builder builder;
    definition_writer writer{builder};

    writer.add(7, "a", valueless_value(), variable_permissions::read_only);
    writer.finish(5);

    auto const variable = raw_table::root_of(finished_bytes(builder)).table(0).tables(1).at(0);
    return holds(variable.slots() == std::vector{0, 1, 2, 3}, "all fields are sent")
        && holds(variable.number<std::uint8_t>(2) == 0, "the type is 0");
}

} // namespace

int main() {
    return is_an_item_with_tag_0_and_without_value() && is_a_definition_with_type_0()
             ? EXIT_SUCCESS
             : EXIT_FAILURE;
}
