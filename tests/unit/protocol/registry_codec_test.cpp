// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/registry_codec.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr decode_context state_reader{
    client_kind::provider, "press-4", "deserialize_registry_state"};
constexpr decode_context list_reader{client_kind::consumer, "panel", "de-serialize provider list"};

bool is_ready(std::optional<std::uint8_t> state) {
    auto const message = wire::registry_state_changed_event(state);
    return decode_registry_state(message, state_reader);
}

wire::provider_list_table list_of(std::vector<std::string> const& identifiers) {
    wire::provider_list_table list{.items = std::vector<wire::provider_table>{}};
    for (auto const& identifier : identifiers) {
        list.items->push_back({.id = identifier});
    }
    return list;
}

TEST(registry_state, is_ready_only_with_1) {
    EXPECT_TRUE(is_ready(1));
    EXPECT_FALSE(is_ready(0));
    EXPECT_FALSE(is_ready(2));
    EXPECT_FALSE(is_ready(255));
}

TEST(registry_state, is_not_ready_when_absent) {
    EXPECT_FALSE(is_ready(std::nullopt));
}

TEST(registry_state, is_one_byte) {
    // Offset of the root and padding; a vtable with one slot; the offset back to it, the state, and
    // bytes that do not belong to the state.
    constexpr std::string_view message{
        "\x0C\0\0\0\0\0"
        "\x06\0\x08\0\x04\0"
        "\x06\0\0\0\x01\xFF\xFF\xFF",
        20};

    EXPECT_TRUE(decode_registry_state(message, state_reader));
}

TEST(registry_state, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_registry_state("", state_reader); }),
        "Provider press-4: encountered invalid serialized data for operation: "
        "deserialize_registry_state: state changed event data is nullptr\n");
}

TEST(provider_list_reply, yields_the_identifiers_in_ascending_order) {
    auto const message = wire::read_providers_query_response(list_of({"press-4", "boiler", ""}));

    EXPECT_THAT(
        decode_provider_list_reply(message, list_reader), ElementsAre("", "boiler", "press-4"));
}

TEST(provider_list_reply, collapses_duplicates) {
    auto const message = wire::read_providers_query_response(list_of({"boiler", "boiler"}));

    EXPECT_THAT(decode_provider_list_reply(message, list_reader), ElementsAre("boiler"));
}

TEST(provider_list_reply, may_be_empty) {
    auto const message = wire::read_providers_query_response(list_of({}));

    EXPECT_THAT(decode_provider_list_reply(message, list_reader), IsEmpty());
}

TEST(provider_list_reply, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_provider_list_reply("", list_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider list: message data nullptr\n");
}

TEST(provider_list_reply, faults_without_list_or_items) {
    auto const* const fault = "Consumer panel: encountered invalid serialized data for operation: "
                              "de-serialize provider list: "
                              "message data (providers_query_response/providers/items) nullptr\n";
    auto const no_list = wire::read_providers_query_response(std::nullopt);
    auto const no_items = wire::read_providers_query_response(wire::provider_list_table{});

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_reply(no_list, list_reader); }),
        fault);
    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_reply(no_items, list_reader); }),
        fault);
}

TEST(provider_list_reply, faults_on_an_entry_without_identifier) {
    auto list = list_of({"boiler"});
    list.items->push_back({});
    auto const message = wire::read_providers_query_response(list);

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_reply(message, list_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider list: provider identifier nullptr\n");
}

TEST(provider_list_event, yields_the_identifiers_in_ascending_order) {
    auto const message = wire::providers_changed_event(list_of({"press-4", "boiler"}));

    EXPECT_THAT(decode_provider_list_event(message, list_reader), ElementsAre("boiler", "press-4"));
}

TEST(provider_list_event, may_be_empty) {
    auto const message = wire::providers_changed_event(list_of({}));

    EXPECT_THAT(decode_provider_list_event(message, list_reader), IsEmpty());
}

TEST(provider_list_event, faults_without_data) {
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_provider_list_event("", list_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider list: message data nullptr\n");
}

TEST(provider_list_event, faults_without_list_or_items) {
    auto const* const fault = "Consumer panel: encountered invalid serialized data for operation: "
                              "de-serialize provider list: "
                              "message data (providers_changed_event/providers/items) nullptr\n";
    auto const no_list = wire::providers_changed_event(std::nullopt);
    auto const no_items = wire::providers_changed_event(wire::provider_list_table{});

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_event(no_list, list_reader); }),
        fault);
    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_event(no_items, list_reader); }),
        fault);
}

TEST(provider_list_event, faults_on_an_entry_without_identifier) {
    auto const message = wire::providers_changed_event(
        wire::provider_list_table{.items = std::vector<wire::provider_table>(1)});

    EXPECT_EQ(
        thrown_message<serialization_fault>(
            [&] { decode_provider_list_event(message, list_reader); }),
        "Consumer panel: encountered invalid serialized data for operation: "
        "de-serialize provider list: provider identifier nullptr\n");
}

TEST(provider_list_request, is_an_empty_table_with_neither_file_identifier_nor_size_prefix) {
    message_builder builder;

    serialize_provider_list_request(builder);

    // The offset of the root, a vtable of its own size and the table's, the offset back to it.
    EXPECT_EQ(finished_bytes(builder), (std::string_view{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
}

} // namespace

} // namespace arvenhold::corvel::hub
