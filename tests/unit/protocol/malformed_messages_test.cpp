// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Messages of any bytes: what cannot be read counts as missing, and no byte outside is read, which
// the address sanitizer checks.

#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "sent_messages.hpp"
#include "support/decoding_outcome.hpp"
#include "support/odd_messages.hpp"
#include "support/placed_bytes.hpp"
#include "support/thrown_message.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// -- every message, cut and overwritten -----------------------------------------------------------

void expect_rules(message_kind kind, std::string_view message) {
    placed_bytes const placed{message};

    ASSERT_EQ(decoding_outcome(kind, placed.view()), expected_outcome(kind, message));
}

std::vector<std::string> every_message() {
    std::vector<std::string> messages;
    for (auto const& sent : sent_messages()) {
        messages.push_back(sent.bytes);
    }
    wire::variable_list_table const list{
        .fingerprint = 5,
        .items = std::vector<wire::variable_table>{
            {.value_type = 5, .value = wire::value_table{"hand"}, .id = 1, .quality = 192},
            {.value_type = 3, .value = wire::value_table{1.5}, .id = 2},
            {.value_type = 5, .value = wire::value_table{"off"}, .quality = 64},
            {.value_type = 9, .value = wire::value_table{true}, .id = 4}}};
    wire::provider_definition_table const definition{
        .fingerprint = 5,
        .variable_definitions =
            std::vector<wire::variable_definition_table>{
                {.path = "pump/speed", .id = 7, .data_type = 3, .access = 2},
                {.path = "", .data_type = 6}},
        .valid = 1};
    wire::provider_list_table const providers{
        .items = std::vector<wire::provider_table>{{"boiler"}, {"press-4"}}};
    messages.push_back(wire::variables_changed_event(list));
    messages.push_back(wire::provider_definition_changed_event(definition));
    messages.push_back(wire::read_providers_query_response(providers));
    messages.push_back(wire::registry_state_changed_event(1));
    return messages;
}

class malformed : public testing::TestWithParam<message_kind> {
protected:
    std::vector<std::string> const messages = every_message();
};

TEST_P(malformed, message_that_was_cut_short_lacks_what_is_behind_the_cut) {
    for (auto const& message : messages) {
        for (std::size_t size = 0; size <= message.size(); ++size) {
            SCOPED_TRACE(size);
            expect_rules(GetParam(), std::string_view{message}.substr(0, size));
        }
    }
}

TEST_P(malformed, message_with_any_number_anywhere_lacks_what_it_leads_to) {
    for (auto const& message : messages) {
        for (std::size_t position = 0; position + 4 <= message.size(); ++position) {
            for (auto const number :
                 {0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 0U, static_cast<unsigned>(position)}) {
                SCOPED_TRACE(testing::Message() << number << " at " << position);
                auto changed = message;
                std::memcpy(&changed.at(position), &number, sizeof(number));
                expect_rules(GetParam(), changed);
            }
        }
    }
}

TEST_P(malformed, message_of_one_byte_repeated_lacks_everything) {
    for (auto const byte : {'\0', '\x01', '\x04', '\x0C', '\x7F', '\x80', '\xFF'}) {
        for (std::size_t size = 0; size < 64; ++size) {
            expect_rules(GetParam(), std::string(size, byte));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(read_as, malformed, testing::ValuesIn(every_message_kind));

// -- by hand --------------------------------------------------------------------------------------

constexpr decode_context context{client_kind::consumer, "panel", "test"};

constexpr auto no_data = "Consumer panel: encountered invalid serialized data for operation: test: "
                         "message data nullptr\n";

constexpr auto twelve_bytes = "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF";

std::string read_reply_with(std::vector<wire::variable_table> const& items) {
    return wire::read_variables_query_response(
        wire::variable_list_table{.fingerprint = 7, .items = items});
}

template <class Read>
std::string fault_of(std::string_view message, Read const& read) {
    return thrown_message<serialization_fault>([&] { read(message, context); });
}

TEST(root_outside_of_the_message, is_missing_data) {
    EXPECT_EQ(fault_of(twelve_bytes, &decode_read_reply), no_data);
    EXPECT_EQ(fault_of(twelve_bytes, &decode_definition_reply), no_data);
    EXPECT_EQ(fault_of(twelve_bytes, &decode_definition_event), no_data);
    EXPECT_EQ(fault_of(twelve_bytes, &decode_provider_list_reply), no_data);
    EXPECT_EQ(fault_of(twelve_bytes, &decode_provider_list_event), no_data);
    EXPECT_EQ(
        thrown_message<serialization_fault>([] { decode_change_event(twelve_bytes, 7, context); }),
        no_data);
}

TEST(root_outside_of_the_message, has_the_words_of_its_handler) {
    EXPECT_EQ(
        fault_of(twelve_bytes, &decode_write_command),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "variables node is missing\n");
    EXPECT_EQ(
        fault_of(twelve_bytes, &decode_verdict),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "definition changed event data is nullptr\n");
    EXPECT_EQ(
        fault_of(twelve_bytes, &decode_registry_state),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "state changed event data is nullptr\n");
}

TEST(root_outside_of_the_message, of_a_read_request_asks_for_all) {
    EXPECT_TRUE(decode_read_request(twelve_bytes).empty());
}

TEST(unreadable_string, is_missing) {
    auto message =
        read_reply_with({{.id = 1}, {.value_type = 5, .value = wire::value_table{"hand"}}});
    message.at(message.find("hand") - 3) = '\x7F'; // in the string's length

    auto received = decode_read_reply(message, context);

    EXPECT_EQ(received.item(0).id, 1U);
    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { received.item(1); }),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "string value nullptr\n");
}

TEST(unreadable_string, may_be_a_number) {
    auto const message =
        read_reply_with({{.value_type = 5, .value = wire::value_table{std::int64_t{0x7FFFFFFF}}}});

    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { decode_read_reply(message, context).item(0); }),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "string value nullptr\n");
}

TEST(unreadable_item, is_a_missing_one) {
    auto message = read_reply_with({{.id = 1}, {.id = 2}});
    auto const second = message.find(std::string_view{"\x02\0\0\0", 4}); // the number of items
    ASSERT_NE(second, std::string::npos);
    message.at(second + 4 + 4 + 3) = '\x7F'; // the second one's offset

    auto received = decode_read_reply(message, context);

    EXPECT_EQ(received.item(0).id, 1U);
    EXPECT_EQ(
        thrown_message<serialization_fault>([&] { received.item(1); }),
        "Consumer panel: encountered invalid serialized data for operation: test: "
        "variable data (items) nullptr\n");
}

TEST(string, needs_no_zero_at_its_end) {
    auto message = wire::read_providers_query_response(
        wire::provider_list_table{.items = std::vector<wire::provider_table>{{"boiler"}}});
    message.resize(message.find("boiler") + 6);
    placed_bytes const placed{message};

    EXPECT_EQ(decode_provider_list_reply(placed.view(), context), std::set<std::string>{"boiler"});
}

TEST(message, may_have_more_tables_than_a_verifier_allows) {
    constexpr std::size_t many = 1'000'001;
    auto const message =
        read_reply_with(std::vector<wire::variable_table>(many, wire::variable_table{.id = 5}));

    auto received = decode_read_reply(message, context);

    EXPECT_EQ(received.size(), many);
    EXPECT_EQ(received.item(many - 1).id, 5U);
}

TEST(message, may_place_its_parts_at_any_address) {
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

    EXPECT_EQ(decode_read_request(message), std::vector<variable_id>{9});
}

} // namespace

} // namespace arvenhold::corvel::hub
