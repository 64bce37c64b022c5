// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/definition_codec.hpp"
#include "protocol/hub_messages_generated.h"
#include "protocol/payload.hpp"
#include "protocol/variables_codec.hpp"
#include "support/odd_messages.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

// Bytes at a chosen distance from a multiple of eight, in a block of just their size, so that the
// address sanitizer sees every byte read beyond them.
class placed_bytes {
public:
    placed_bytes(std::string_view bytes, std::size_t distance)
        : m_distance{distance}
        , m_block(distance + bytes.size()) {
        bytes.copy(&m_block.at(distance), bytes.size());
    }

    std::string_view view() const {
        return std::string_view{m_block.data(), m_block.size()}.substr(m_distance);
    }

private:
    std::size_t m_distance;
    std::vector<char> m_block;
};

// A table without fields: the offset of the root, a vtable of its own size and the table's, and the
// root's offset back to it.
constexpr std::string_view smallest_message{
    "\x08\0\0\0"
    "\x04\0\x04\0"
    "\x04\0\0\0",
    12};

wire::variable_list_table one_of_each() {
    return {
        .fingerprint = 0x0123456789ABCDEF,
        .timestamp = wire::time_struct{1'700'000'000, 5},
        .items = std::vector<wire::variable_table>{
            {.value_type = 1, .value = wire::value_table{true}, .id = 1, .quality = 192},
            {.value_type = 2,
             .value = wire::value_table{wire::time_struct{2, 3'000}},
             .id = 2,
             .quality = 192},
            {.value_type = 3, .value = wire::value_table{1.5}, .id = 3, .quality = 192},
            {.value_type = 4,
             .value = wire::value_table{std::int64_t{-42}},
             .id = 4,
             .timestamp = wire::time_struct{-1, -7},
             .quality = 192},
            {.value_type = 5, .value = wire::value_table{"on"}, .id = 5, .quality = 192},
            {.value_type = 6,
             .value = wire::value_table{wire::time_struct{6, 7}},
             .id = 0xFFFFFFFF,
             .quality = 192}}};
}

TEST(payload, has_no_root_without_bytes) {
    EXPECT_EQ(payload{std::string_view{}}.root<ReadVariablesQuery>(), nullptr);
    EXPECT_EQ(payload{""}.root<ReadVariablesQuery>(), nullptr);
}

TEST(payload, has_no_root_in_fewer_bytes_than_the_smallest_message) {
    for (std::size_t size = 1; size < smallest_message.size(); ++size) {
        for (std::size_t distance = 0; distance < 8; ++distance) {
            placed_bytes const bytes{smallest_message.substr(0, size), distance};

            EXPECT_EQ(payload{bytes.view()}.root<ReadVariablesQuery>(), nullptr)
                << size << " bytes at " << distance;
        }
    }
}

TEST(payload, has_a_root_in_the_smallest_message) {
    for (std::size_t distance = 0; distance < 8; ++distance) {
        placed_bytes const bytes{smallest_message, distance};

        EXPECT_TRUE(decode_read_request(payload{bytes.view()}).empty()) << distance;
        EXPECT_NE(payload{bytes.view()}.root<ReadVariablesQuery>(), nullptr) << distance;
    }
}

TEST(payload, is_read_in_place_from_a_multiple_of_eight_only) {
    for (std::size_t distance = 0; distance < 8; ++distance) {
        placed_bytes const bytes{smallest_message, distance};
        payload const message{bytes.view()};

        auto const* const root = static_cast<void const*>(message.root<ReadVariablesQuery>());

        EXPECT_EQ(root == bytes.view().data() + 8, distance == 0) << distance;
    }
}

class payload_at_any_address : public testing::TestWithParam<std::size_t> {};

TEST_P(payload_at_any_address, yields_variables) {
    placed_bytes const bytes{wire::variables_changed_event(one_of_each()), GetParam()};
    payload const message{bytes.view()};
    decode_context const context{client_kind::consumer, "panel", "de-serialize variable update"};

    auto const event = decode_change_event(message, 0x0123456789ABCDEFU, context);

    ASSERT_TRUE(event);
    auto const& variables = *event;
    ASSERT_EQ(variables.size(), 6U);
    EXPECT_EQ(variables.item(0).value, variable_value{true});
    EXPECT_EQ(variables.item(1).value, variable_value{nanoseconds{2'000'003'000}});
    EXPECT_EQ(variables.item(2).value, variable_value{1.5});
    EXPECT_EQ(variables.item(3).value, variable_value{std::int64_t{-42}});
    EXPECT_EQ(variables.item(3).when, timestamp{nanoseconds{-1'000'000'007}});
    EXPECT_EQ(variables.item(4).value, variable_value{std::string{"on"}});
    EXPECT_EQ(variables.item(4).when, timestamp{nanoseconds{1'700'000'000'000'000'005}});
    EXPECT_EQ(variables.item(5).value, variable_value{timestamp{nanoseconds{6'000'000'007}}});
    EXPECT_EQ(variables.item(5).id, 0xFFFFFFFFU);
}

TEST_P(payload_at_any_address, yields_a_definition) {
    placed_bytes const bytes{
        wire::read_provider_definition_query_response(wire::provider_definition_table{
            .fingerprint = 0x0123456789ABCDEF,
            .variable_definitions =
                std::vector<wire::variable_definition_table>{
                    {.path = "pump/speed", .id = 7, .data_type = 3, .access = 2}}}),
        GetParam()};
    payload const message{bytes.view()};
    decode_context const context{
        client_kind::consumer, "panel", "de-serialize provider definition"};

    auto const definition = decode_definition_reply(message, context);

    EXPECT_EQ(definition.fingerprint(), 0x0123456789ABCDEFU);
    ASSERT_EQ(definition.size(), 1U);
    EXPECT_EQ(definition.deserialize_variable_definition(0, context).path, "pump/speed");
    EXPECT_EQ(definition.deserialize_variable_definition(0, context).id, 7U);
}

TEST_P(payload_at_any_address, yields_a_read_request) {
    placed_bytes const bytes{wire::read_variables_query({{3, 1, 2}}), GetParam()};
    payload const message{bytes.view()};

    EXPECT_EQ(decode_read_request(message), (std::vector<variable_id>{3, 1, 2}));
}

INSTANTIATE_TEST_SUITE_P(
    distance_from_a_multiple_of_eight,
    payload_at_any_address,
    testing::Range(std::size_t{0}, std::size_t{8}));

} // namespace

} // namespace arvenhold::corvel::hub
