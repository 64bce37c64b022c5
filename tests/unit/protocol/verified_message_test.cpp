// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The decoders as built with CORVEL_HUB_VERIFY_MESSAGES: a message with a broken structure counts as
// one without data.

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

constexpr decode_context context{client_kind::consumer, "panel", "test"};

constexpr auto no_data = "Consumer panel: encountered invalid serialized data for operation: test: "
                         "message data nullptr\n";

std::string read_reply_with(std::vector<wire::variable_table> const& items) {
    return wire::read_variables_query_response(
        wire::variable_list_table{.fingerprint = 7, .items = items});
}

std::string short_reply() {
    return read_reply_with(
        {{.value_type = 5, .value = wire::value_table{"hand"}, .id = 1, .quality = 192}});
}

template <class Read>
std::string fault_of(std::string const& message, Read const& read) {
    return thrown_message<serialization_fault>([&] { read(payload{message}, context); });
}

// A message begins with the offset of its root; this one leads far beyond the end.
std::string with_broken_root(std::string message) {
    message.at(2) = '\x7F';
    return message;
}

TEST(verified_message, with_a_broken_root_is_one_without_data) {
    auto const consumer_says = [](auto const& read, std::string const& message) {
        EXPECT_EQ(fault_of(with_broken_root(message), read), no_data);
    };

    consumer_says(&decode_read_reply, short_reply());
    consumer_says(
        &decode_definition_reply,
        wire::read_provider_definition_query_response(wire::provider_definition_table{}));
    consumer_says(
        &decode_definition_event,
        wire::provider_definition_changed_event(wire::provider_definition_table{}));
    consumer_says(
        &decode_provider_list_reply,
        wire::read_providers_query_response(wire::provider_list_table{}));
    consumer_says(
        &decode_provider_list_event, wire::providers_changed_event(wire::provider_list_table{}));
}

TEST(verified_message, with_a_broken_root_has_the_words_of_its_handler) {
    EXPECT_EQ(
        fault_of(
            with_broken_root(wire::write_variables_command(wire::variable_list_table{})),
            &decode_write_command),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "variables node is missing\n");
    EXPECT_EQ(
        fault_of(
            with_broken_root(wire::provider_definition_changed_event(std::nullopt)),
            &decode_verdict),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "definition changed event data is nullptr\n");
    EXPECT_EQ(
        fault_of(with_broken_root(wire::registry_state_changed_event(1)), &decode_registry_state),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "state changed event data is nullptr\n");
}

TEST(verified_message, that_is_a_broken_read_request_asks_for_all) {
    auto const message = with_broken_root(wire::read_variables_query({{1, 2}}));

    EXPECT_TRUE(decode_read_request(payload{message}).empty());
}

TEST(verified_message, that_was_cut_short_is_one_without_data) {
    auto const message = short_reply();

    // The last bytes may be padding behind the string and its zero.
    for (std::size_t size = 0; size < message.size() - 4; ++size) {
        EXPECT_EQ(fault_of(message.substr(0, size), &decode_read_reply), no_data) << size;
    }
}

TEST(verified_message, with_a_broken_text_is_one_without_data) {
    auto message = short_reply();
    message.at(message.find("hand") - 3) = '\x7F'; // in the string's length

    EXPECT_EQ(fault_of(message, &decode_read_reply), no_data);
}

TEST(verified_message, with_a_number_where_a_text_belongs_is_one_without_data) {
    auto const message =
        read_reply_with({{.value_type = 5, .value = wire::value_table{std::int64_t{0x7FFFFFFF}}}});

    EXPECT_EQ(fault_of(message, &decode_read_reply), no_data);
}

TEST(verified_message, may_lack_fields) {
    auto const message = read_reply_with({{}, {.value_type = 5}, {.value_type = 9}});
    payload const held{message};

    auto const received = decode_read_reply(held, context);

    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received.item(0).id, 0U);
    EXPECT_EQ(received.item(1).value, std::nullopt);
}

TEST(verified_message, without_a_part_that_is_needed_names_that_part) {
    EXPECT_EQ(
        fault_of(wire::read_variables_query_response(std::nullopt), &decode_read_reply),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "variable data nullptr\n");
}

TEST(verified_message, may_have_more_tables_than_a_verifier_allows_by_default) {
    constexpr std::size_t many = 1'000'001;
    auto const message =
        read_reply_with(std::vector<wire::variable_table>(many, wire::variable_table{.id = 5}));
    payload const held{message};

    auto const received = decode_read_reply(held, context);

    EXPECT_EQ(received.size(), many);
    EXPECT_EQ(received.item(many - 1).id, 5U);
}

TEST(verified_message, may_place_its_parts_at_any_address) {
    // A root at an odd offset, its vtable right behind the offset of the root, and the ids one byte
    // behind where they would lie.
    constexpr std::string_view message{
        "\x0B\0\0\0"         // the offset of the root
        "\0"                 // moves all that follows
        "\x06\0\x08\0\x04\0" // a vtable with one slot
        "\x06\0\0\0"         // the root: the offset to its vtable,
        "\x04\0\0\0"         // and the offset of the ids
        "\x01\0\0\0"         // one id
        "\x09\0\0\0",
        27};

    EXPECT_EQ(decode_read_request(payload{message}), std::vector<variable_id>{9});
}

} // namespace

} // namespace arvenhold::corvel::hub
