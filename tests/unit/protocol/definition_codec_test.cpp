// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/definition_codec.hpp"
#include "raw_table.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// -- announcing -----------------------------------------------------------------------------------

class definition_announcement : public testing::Test {
protected:
    message_builder builder;
    definition_writer writer{builder};

    raw_table definition() const {
        return raw_table::root_of(finished_bytes(builder)).table(0);
    }

    std::vector<raw_table> variables() const {
        return definition().tables(1);
    }
};

TEST_F(definition_announcement, holds_fingerprint_and_variables_in_their_slots) {
    writer.add(0xFEDCBA98, "pump/speed", 0.0, variable_permissions::read_only);
    writer.finish(0xFEDCBA9876543210);

    EXPECT_THAT(raw_table::root_of(finished_bytes(builder)).slots(), ElementsAre(0));
    EXPECT_EQ(definition().number<std::uint64_t>(0), 0xFEDCBA9876543210U);
    ASSERT_THAT(variables(), SizeIs(1));
    EXPECT_THAT(variables()[0].slots(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(variables()[0].text(0), "pump/speed");
    EXPECT_EQ(variables()[0].number<std::uint32_t>(1), 0xFEDCBA98U);
    EXPECT_EQ(variables()[0].number<std::uint8_t>(2), 3);
    EXPECT_EQ(variables()[0].number<std::uint8_t>(3), 1);
}

TEST_F(definition_announcement, does_not_say_whether_it_is_valid) {
    writer.add(1, "pump/speed", 0.0, variable_permissions::read_only);
    writer.finish(5);

    EXPECT_THAT(definition().slots(), ElementsAre(0, 1));
}

TEST_F(definition_announcement, really_writes_an_id_and_a_fingerprint_of_zero) {
    writer.add(0, "", 0.0, variable_permissions::read_only);
    writer.finish(0);

    EXPECT_THAT(definition().slots(), ElementsAre(0, 1));
    EXPECT_EQ(definition().number<std::uint64_t>(0), 0U);
    EXPECT_THAT(variables()[0].slots(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(variables()[0].text(0), "");
    EXPECT_EQ(variables()[0].number<std::uint32_t>(1), 0U);
}

TEST_F(definition_announcement, numbers_the_types_of_the_values) {
    std::vector<variable_value> const values{
        true, nanoseconds{1}, 1.5, std::int64_t{1}, std::string{"x"}, timestamp{}};
    for (auto const& value : values) {
        writer.add(1, "a", value, variable_permissions::read_only);
    }
    writer.finish(5);

    std::vector<int> types;
    for (auto const& variable : variables()) {
        types.push_back(variable.number<std::uint8_t>(2));
    }
    EXPECT_THAT(types, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(definition_announcement, numbers_the_permissions) {
    writer.add(1, "a", true, variable_permissions::read_write);
    writer.add(2, "b", true, variable_permissions::read_only);
    writer.add(3, "c", true, variable_permissions{2});
    writer.finish(5);

    EXPECT_EQ(variables()[0].number<std::uint8_t>(3), 2);
    EXPECT_EQ(variables()[1].number<std::uint8_t>(3), 1);
    EXPECT_EQ(variables()[2].number<std::uint8_t>(3), 0);
}

TEST_F(definition_announcement, keeps_order_and_duplicates) {
    writer.add(9, "b", true, variable_permissions::read_only);
    writer.add(2, "a", true, variable_permissions::read_only);
    writer.add(9, "b", true, variable_permissions::read_only);
    writer.finish(5);

    ASSERT_THAT(variables(), SizeIs(3));
    EXPECT_EQ(variables()[0].number<std::uint32_t>(1), 9U);
    EXPECT_EQ(variables()[1].number<std::uint32_t>(1), 2U);
    EXPECT_EQ(variables()[2].number<std::uint32_t>(1), 9U);
    EXPECT_EQ(variables()[2].text(0), "b");
}

TEST_F(definition_announcement, of_no_variables_has_an_empty_list) {
    writer.finish(5);

    EXPECT_THAT(definition().slots(), ElementsAre(0, 1));
    EXPECT_THAT(variables(), IsEmpty());
}

TEST_F(definition_announcement, is_complete_in_a_builder_that_was_used_before) {
    writer.add(7, "first", true, variable_permissions::read_only);
    writer.finish(5);
    builder.Clear();

    definition_writer second{builder};
    second.add(0, "second", true, variable_permissions::read_only);
    second.finish(0);

    EXPECT_THAT(definition().slots(), ElementsAre(0, 1));
    ASSERT_THAT(variables(), SizeIs(1));
    EXPECT_EQ(variables()[0].text(0), "second");
    EXPECT_THAT(variables()[0].slots(), ElementsAre(0, 1, 2, 3));
}

// -- verdict --------------------------------------------------------------------------------------

constexpr decode_context verdict_reader{
    client_kind::provider, "press-4", "deserialize_provider_definition_validity"};

definition_verdict verdict_of(std::optional<wire::provider_definition_table> const& definition) {
    auto const message = wire::provider_definition_changed_event(definition);
    return decode_verdict(message, verdict_reader);
}

TEST(verdict, is_valid_only_with_1) {
    EXPECT_TRUE(verdict_of({{.fingerprint = 5, .valid = 1}}).is_valid);
    EXPECT_FALSE(verdict_of({{.fingerprint = 5, .valid = 0}}).is_valid);
    EXPECT_FALSE(verdict_of({{.fingerprint = 5, .valid = 2}}).is_valid);
    EXPECT_FALSE(verdict_of({{.fingerprint = 5, .valid = 255}}).is_valid);
}

TEST(verdict, is_invalid_without_the_mark) {
    auto const verdict = verdict_of({{.fingerprint = 0xFEDCBA9876543210}});

    EXPECT_FALSE(verdict.is_valid);
    EXPECT_EQ(verdict.fingerprint, 0xFEDCBA9876543210U);
}

TEST(verdict, does_not_need_the_variables) {
    auto const verdict = verdict_of({{.fingerprint = 5, .valid = 1}});

    EXPECT_TRUE(verdict.is_valid);
    EXPECT_EQ(verdict.fingerprint, 5U);
}

TEST(verdict, without_a_fingerprint_is_about_0) {
    auto const verdict = verdict_of({{.valid = 1}});

    EXPECT_TRUE(verdict.is_valid);
    EXPECT_EQ(verdict.fingerprint, 0U);
}

TEST(verdict, in_a_table_too_short_for_a_fingerprint_is_invalid_and_about_0) {
    auto const verdict = verdict_of(wire::provider_definition_table{});

    EXPECT_FALSE(verdict.is_valid);
    EXPECT_EQ(verdict.fingerprint, 0U);
}

TEST(verdict, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_verdict("", verdict_reader); }),
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_provider_definition_validity: definition changed event data is nullptr\n");
}

TEST(verdict, faults_without_a_definition) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { verdict_of(std::nullopt); }),
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_provider_definition_validity: definition data is nullptr\n");
}

// -- definitions as consumers read them -----------------------------------------------------------

constexpr decode_context definition_reader{
    client_kind::consumer, "panel", "de-serialize provider definition"};
constexpr decode_context variable_reader{
    client_kind::consumer, "panel", "de-serialize variable definition"};

wire::provider_definition_table definition_of(
    std::vector<wire::variable_definition_table> const& variables) {
    return {.fingerprint = 5, .variable_definitions = variables};
}

// With the message that contains the variable's path.
struct received {
    std::string const message;
    received_variable_definition const variable =
        decode_definition_reply(message, definition_reader)
            .deserialize_variable_definition(0, variable_reader);

    explicit received(wire::variable_definition_table const& sent)
        : message{wire::read_provider_definition_query_response(definition_of({sent}))} {}
};

TEST(received_variable, has_id_path_and_permissions) {
    received const message{{.path = "pump/speed", .id = 0xFEDCBA98, .data_type = 3, .access = 2}};
    auto const& variable = message.variable;

    EXPECT_EQ(variable.id, 0xFEDCBA98U);
    EXPECT_EQ(variable.path, "pump/speed");
    EXPECT_EQ(variable.permissions, variable_permissions::read_write);
    EXPECT_EQ(variable.value, variable_value{0.0});
}

TEST(received_variable, begins_with_zero_or_an_empty_text) {
    EXPECT_EQ(received({.path = "a", .data_type = 1}).variable.value, variable_value{false});
    EXPECT_EQ(
        received({.path = "a", .data_type = 2}).variable.value, variable_value{nanoseconds{0}});
    EXPECT_EQ(received({.path = "a", .data_type = 3}).variable.value, variable_value{0.0});
    EXPECT_EQ(
        received({.path = "a", .data_type = 4}).variable.value, variable_value{std::int64_t{0}});
    EXPECT_EQ(
        received({.path = "a", .data_type = 5}).variable.value, variable_value{std::string{}});
}

TEST(received_variable, of_a_point_in_time_begins_with_the_time_of_decoding) {
    timestamp const before = std::chrono::system_clock::now();
    auto const variable = received({.path = "a", .data_type = 6}).variable;
    timestamp const after = std::chrono::system_clock::now();

    EXPECT_GE(std::get<timestamp>(variable.value), before);
    EXPECT_LE(std::get<timestamp>(variable.value), after);
}

TEST(received_variable, is_writable_only_with_access_2) {
    auto const permissions = [](std::optional<std::uint8_t> access) {
        return received({.path = "a", .data_type = 1, .access = access}).variable.permissions;
    };

    EXPECT_EQ(permissions(2), variable_permissions::read_write);
    EXPECT_EQ(permissions(std::nullopt), variable_permissions::read_only);
    EXPECT_EQ(permissions(0), variable_permissions::read_only);
    EXPECT_EQ(permissions(1), variable_permissions::read_only);
    EXPECT_EQ(permissions(3), variable_permissions::read_only);
    EXPECT_EQ(permissions(7), variable_permissions::read_only);
    EXPECT_EQ(permissions(255), variable_permissions::read_only);
}

TEST(received_variable, without_an_id_has_id_0) {
    EXPECT_EQ(received({.path = "a", .data_type = 1, .access = 2}).variable.id, 0U);
}

TEST(received_variable, may_have_an_empty_path) {
    EXPECT_EQ(received({.path = "", .data_type = 1}).variable.path, "");
}

TEST(received_variable, faults_without_a_path) {
    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [] { received({.id = 12, .data_type = 1, .access = 2}); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable definition: variable path nullptr\n");
}

TEST(received_variable, faults_without_a_type) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { received({.path = "a", .id = 12, .access = 2}); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable definition: variable index [12] is out of bounds\n");
}

TEST(received_variable, faults_in_a_table_too_short_for_a_type) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { received({.path = "a"}); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable definition: variable index [0] is out of bounds\n");
}

TEST(received_variable, faults_on_an_unknown_type) {
    auto const* const fault =
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize variable definition: variable index [4294967295] is out of bounds\n";

    for (auto const type : std::initializer_list<std::uint8_t>{0, 7, 9, 255}) {
        EXPECT_EQ(
            thrown_message<serialization_fault>(
                [&] { received({.path = "a", .id = 0xFFFFFFFF, .data_type = type}); }),
            fault)
            << int{type};
    }
}

TEST(definition_reply, keeps_the_order_and_both_of_two_with_one_id) {
    auto const message = wire::read_provider_definition_query_response(definition_of(
        {{.path = "b", .id = 9, .data_type = 1},
         {.path = "a", .id = 2, .data_type = 1},
         {.path = "c", .id = 9, .data_type = 4}}));

    auto definition = decode_definition_reply(message, definition_reader);

    ASSERT_EQ(definition.size(), 3U);
    EXPECT_EQ(definition.deserialize_variable_definition(0, variable_reader).path, "b");
    EXPECT_EQ(definition.deserialize_variable_definition(1, variable_reader).path, "a");
    EXPECT_EQ(definition.deserialize_variable_definition(2, variable_reader).path, "c");
    EXPECT_EQ(definition.deserialize_variable_definition(2, variable_reader).id, 9U);
}

TEST(definition_reply, without_a_fingerprint_has_fingerprint_0) {
    auto const message = wire::read_provider_definition_query_response(
        {{.variable_definitions = std::vector<wire::variable_definition_table>{}}});

    EXPECT_EQ(decode_definition_reply(message, definition_reader).fingerprint(), 0U);
}

TEST(definition_reply, may_have_no_variables) {
    auto const message = wire::read_provider_definition_query_response(definition_of({}));

    EXPECT_EQ(decode_definition_reply(message, definition_reader).size(), 0U);
}

TEST(definition_reply, counts_whatever_the_mark_says) {
    auto table = definition_of({});
    table.valid = 0;
    auto const message = wire::read_provider_definition_query_response(table);

    EXPECT_EQ(decode_definition_reply(message, definition_reader).fingerprint(), 5U);
}

TEST(definition_reply, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_definition_reply("", definition_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider definition: message data nullptr\n");
}

TEST(definition_reply, faults_without_a_definition) {
    auto const message = wire::read_provider_definition_query_response(std::nullopt);

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_definition_reply(message, definition_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider definition: message data (provider_definition_reply) nullptr\n");
}

TEST(definition_reply, faults_without_a_list_of_variables) {
    auto const message = wire::read_provider_definition_query_response(
        wire::provider_definition_table{.fingerprint = 5, .valid = 1});

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_definition_reply(message, definition_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider definition: message data (variable_definitions) nullptr\n");
}

TEST(definition_event, holds_the_definition) {
    auto const message = wire::provider_definition_changed_event(
        definition_of({{.path = "pump/speed", .id = 3, .data_type = 3}}));

    auto definition = decode_definition_event(message, definition_reader);

    ASSERT_TRUE(definition.has_value());
    EXPECT_EQ(definition->fingerprint(), 5U);
    ASSERT_EQ(definition->size(), 1U);
    EXPECT_EQ(definition->deserialize_variable_definition(0, variable_reader).path, "pump/speed");
}

TEST(definition_event, without_a_definition_withdraws_it) {
    auto const message = wire::provider_definition_changed_event(std::nullopt);

    EXPECT_FALSE(decode_definition_event(message, definition_reader).has_value());
}

TEST(definition_event, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_definition_event("", definition_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider definition: message data nullptr\n");
}

TEST(definition_event, faults_without_a_list_of_variables) {
    auto const message = wire::provider_definition_changed_event(
        wire::provider_definition_table{.fingerprint = 5, .valid = 1});

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_definition_event(message, definition_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider definition: message data (variable_definitions) nullptr\n");
}

TEST(definition_request, is_an_empty_table_with_neither_file_identifier_nor_size_prefix) {
    message_builder builder;

    serialize_provider_definition_request(builder);

    // The offset of the root, a vtable of its own size and the table's, the offset back to it.
    EXPECT_EQ(finished_bytes(builder), (std::string_view{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
}

} // namespace

} // namespace arvenhold::corvel::hub
