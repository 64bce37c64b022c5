// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Well-formed messages in which fields are absent, in every combination: decoding them returns
// values or throws a fault, and never crashes.

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

// Decides by the bits of a number which fields are present: one bit for each field.
class presence {
public:
    explicit presence(unsigned bits)
        : m_bits{bits} {}

    template <class Field>
    std::optional<Field> some(Field field) {
        auto const is_present = (m_bits >> m_questions & 1U) != 0;
        ++m_questions;
        return is_present ? std::optional{std::move(field)} : std::nullopt;
    }

    unsigned questions() const {
        return m_questions;
    }

private:
    unsigned m_bits;
    unsigned m_questions = 0;
};

// Decodes a message and returns the outcome, without the beginning that all faults share.
template <class Read>
std::string outcome_of(std::string const& message, Read const& read) {
    std::string const preamble =
        "Consumer panel: encountered invalid serialized data for operation: test: ";
    auto const text = thrown_message<serialization_fault>([&] {
        read(message, decode_context{client_kind::consumer, "panel", "test"});
    });
    return text.compare(0, preamble.size(), preamble) == 0
             ? text.substr(preamble.size(), text.size() - preamble.size() - 1)
             : text;
}

// -- variables ------------------------------------------------------------------------------------

constexpr unsigned variables_fields = 10;

struct variables_shape {
    std::optional<wire::variable_list_table> list;
    bool has_text_value_without_text = false;
};

wire::value_field value_of(std::uint8_t tag) {
    switch (tag) {
    case 1:
        return true;
    case 3:
        return 1.5;
    case 4:
        return std::int64_t{-42};
    case 5:
        return std::string{"on"};
    default:
        return wire::time_struct{1, 2};
    }
}

variables_shape variables_of(unsigned bits, std::uint8_t tag) {
    presence fields{bits};
    wire::variable_table item;
    item.value_type = fields.some(tag);
    wire::value_table value;
    value.value = fields.some(value_of(tag));
    item.value = fields.some(value);
    item.id = fields.some(std::uint32_t{7});
    item.timestamp = fields.some(wire::time_struct{3, 4});
    item.quality = fields.some(std::uint8_t{192});
    wire::variable_list_table list;
    list.fingerprint = fields.some(std::uint64_t{5});
    list.timestamp = fields.some(wire::time_struct{5, 6});
    list.items = fields.some(std::vector{item, item});
    variables_shape shape;
    shape.list = fields.some(list);
    shape.has_text_value_without_text =
        tag == 5 && item.value_type && item.value && !item.value->value;
    EXPECT_EQ(fields.questions(), variables_fields);
    return shape;
}

template <class Read>
std::string outcome_of_variables(std::string const& message, Read const& read) {
    return outcome_of(message, [&](std::string_view held, decode_context const& context) {
        auto variables = read(held, context);
        variables.fingerprint();
        for (std::size_t position = 0; position < variables.size(); ++position) {
            variables.item(position);
        }
    });
}

class variables_with_dropped_fields : public testing::TestWithParam<int> {
protected:
    // Calls `check` with every combination of present and absent fields.
    template <class Check>
    void for_every_shape(Check const& check) {
        for (unsigned bits = 0; bits < 1U << variables_fields; ++bits) {
            SCOPED_TRACE(bits);
            check(variables_of(bits, static_cast<std::uint8_t>(GetParam())));
        }
    }
};

TEST_P(variables_with_dropped_fields, are_read_as_change_event_or_fault) {
    for_every_shape([](variables_shape const& shape) {
        auto const fingerprint = shape.list ? shape.list->fingerprint.value_or(0) : 0;
        auto const outcome = outcome_of_variables(
            wire::variables_changed_event(shape.list),
            [fingerprint](std::string_view message, decode_context const& context) {
                return decode_change_event(message, fingerprint, context).value();
            });

        EXPECT_EQ(
            outcome,
            !shape.list                         ? "variable data nullptr"
            : !shape.list->items                ? "variable data (items) nullptr"
            : shape.has_text_value_without_text ? "string value nullptr"
                                                : "<nothing was thrown>");
    });
}

TEST_P(variables_with_dropped_fields, are_read_as_read_reply_or_fault) {
    for_every_shape([](variables_shape const& shape) {
        auto const outcome = outcome_of_variables(
            wire::read_variables_query_response(shape.list), decode_read_reply);

        EXPECT_EQ(
            outcome,
            !shape.list                         ? "variable data nullptr"
            : !shape.list->items                ? "variable data (items) nullptr"
            : shape.has_text_value_without_text ? "string value nullptr"
                                                : "<nothing was thrown>");
    });
}

TEST_P(variables_with_dropped_fields, are_read_as_write_command_or_fault) {
    for_every_shape([](variables_shape const& shape) {
        auto const outcome =
            outcome_of_variables(wire::write_variables_command(shape.list), decode_write_command);

        EXPECT_EQ(
            outcome,
            !shape.list                         ? "variables node is missing"
            : !shape.list->items                ? "items node in variables data is missing"
            : shape.has_text_value_without_text ? "string value nullptr"
                                                : "<nothing was thrown>");
    });
}

INSTANTIATE_TEST_SUITE_P(tag, variables_with_dropped_fields, testing::Range(0, 9));

// -- definitions ----------------------------------------------------------------------------------

constexpr unsigned definition_fields = 8;

std::optional<wire::provider_definition_table> definition_of(unsigned bits) {
    presence fields{bits};
    wire::variable_definition_table variable;
    variable.path = fields.some(std::string{"pump/speed"});
    variable.id = fields.some(std::uint32_t{7});
    variable.data_type = fields.some(std::uint8_t{3});
    variable.access = fields.some(std::uint8_t{2});
    wire::provider_definition_table definition;
    definition.fingerprint = fields.some(std::uint64_t{5});
    definition.variable_definitions = fields.some(std::vector{variable, variable});
    definition.valid = fields.some(std::uint8_t{1});
    auto whole = fields.some(definition);
    EXPECT_EQ(fields.questions(), definition_fields);
    return whole;
}

void read_variables_of(received_definition definition, decode_context const& context) {
    definition.fingerprint();
    for (std::size_t position = 0; position < definition.size(); ++position) {
        definition.deserialize_variable_definition(position, context);
    }
}

std::string expected_of_variables(wire::provider_definition_table const& definition) {
    if (!definition.variable_definitions) {
        return "message data (variable_definitions) nullptr";
    }
    auto const& variable = definition.variable_definitions->front();
    if (!variable.path) {
        return "variable path nullptr";
    }
    if (!variable.data_type) {
        return variable.id ? "variable index [7] is out of bounds"
                           : "variable index [0] is out of bounds";
    }
    return "<nothing was thrown>";
}

void read_whole_reply(std::string_view message, decode_context const& context) {
    read_variables_of(decode_definition_reply(message, context), context);
}

void read_whole_event(std::string_view message, decode_context const& context) {
    if (auto definition = decode_definition_event(message, context)) {
        read_variables_of(*definition, context);
    }
}

TEST(definition_with_dropped_fields, is_read_as_reply_or_fault) {
    for (unsigned bits = 0; bits < 1U << definition_fields; ++bits) {
        auto const definition = definition_of(bits);

        auto const outcome =
            outcome_of(wire::read_provider_definition_query_response(definition), read_whole_reply);

        EXPECT_EQ(
            outcome,
            definition ? expected_of_variables(*definition)
                       : "message data (provider_definition_reply) nullptr")
            << bits;
    }
}

TEST(definition_with_dropped_fields, is_read_as_event_or_fault) {
    for (unsigned bits = 0; bits < 1U << definition_fields; ++bits) {
        auto const definition = definition_of(bits);

        auto const outcome =
            outcome_of(wire::provider_definition_changed_event(definition), read_whole_event);

        EXPECT_EQ(outcome, definition ? expected_of_variables(*definition) : "<nothing was thrown>")
            << bits;
    }
}

TEST(definition_with_dropped_fields, is_read_as_verdict_or_fault) {
    for (unsigned bits = 0; bits < 1U << definition_fields; ++bits) {
        auto const definition = definition_of(bits);

        auto const outcome =
            outcome_of(wire::provider_definition_changed_event(definition), decode_verdict);

        EXPECT_EQ(outcome, definition ? "<nothing was thrown>" : "definition data is nullptr")
            << bits;
    }
}

// -- provider lists -------------------------------------------------------------------------------

constexpr unsigned provider_list_fields = 3;

std::optional<wire::provider_list_table> provider_list_of(unsigned bits) {
    presence fields{bits};
    wire::provider_table provider;
    provider.id = fields.some(std::string{"boiler"});
    wire::provider_list_table list;
    list.items = fields.some(std::vector{provider, provider});
    auto whole = fields.some(list);
    EXPECT_EQ(fields.questions(), provider_list_fields);
    return whole;
}

std::string expected_of_list(
    std::optional<wire::provider_list_table> const& list, std::string const& no_items) {
    if (!list || !list->items) {
        return no_items;
    }
    return list->items->front().id ? "<nothing was thrown>" : "provider identifier nullptr";
}

TEST(provider_list_with_dropped_fields, is_read_as_reply_or_fault) {
    for (unsigned bits = 0; bits < 1U << provider_list_fields; ++bits) {
        auto const list = provider_list_of(bits);

        auto const outcome =
            outcome_of(wire::read_providers_query_response(list), decode_provider_list_reply);

        EXPECT_EQ(
            outcome,
            expected_of_list(
                list, "message data (providers_query_response/providers/items) nullptr"))
            << bits;
    }
}

TEST(provider_list_with_dropped_fields, is_read_as_event_or_fault) {
    for (unsigned bits = 0; bits < 1U << provider_list_fields; ++bits) {
        auto const list = provider_list_of(bits);

        auto const outcome =
            outcome_of(wire::providers_changed_event(list), decode_provider_list_event);

        EXPECT_EQ(
            outcome,
            expected_of_list(
                list, "message data (providers_changed_event/providers/items) nullptr"))
            << bits;
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
