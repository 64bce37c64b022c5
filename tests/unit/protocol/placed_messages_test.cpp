// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/definition_codec.hpp"
#include "protocol/hub_messages_generated.h"
#include "protocol/variables_codec.hpp"
#include "support/odd_messages.hpp"
#include "support/placed_bytes.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

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

class message_at_any_address : public testing::TestWithParam<std::size_t> {};

TEST_P(message_at_any_address, yields_variables) {
    placed_bytes const bytes{wire::variables_changed_event(one_of_each()), GetParam()};
    decode_context const context{client_kind::consumer, "panel", "de-serialize variable update"};

    auto event = decode_change_event(bytes.view(), 0x0123456789ABCDEFU, context);

    ASSERT_TRUE(event);
    auto& variables = *event;
    ASSERT_EQ(variables.size(), 6U);
    EXPECT_EQ(variables.item(0).value, value_view{true});
    EXPECT_EQ(variables.item(1).value, value_view{nanoseconds{2'000'003'000}});
    EXPECT_EQ(variables.item(2).value, value_view{1.5});
    EXPECT_EQ(variables.item(3).value, value_view{std::int64_t{-42}});
    EXPECT_EQ(variables.item(3).when, timestamp{nanoseconds{-1'000'000'007}});
    EXPECT_EQ(variables.item(4).value, value_view{"on"});
    EXPECT_EQ(variables.item(4).when, timestamp{nanoseconds{1'700'000'000'000'000'005}});
    EXPECT_EQ(variables.item(5).value, value_view{timestamp{nanoseconds{6'000'000'007}}});
    EXPECT_EQ(variables.item(5).id, 0xFFFFFFFFU);
}

TEST_P(message_at_any_address, yields_a_definition) {
    placed_bytes const bytes{
        wire::read_provider_definition_query_response(wire::provider_definition_table{
            .fingerprint = 0x0123456789ABCDEF,
            .variable_definitions =
                std::vector<wire::variable_definition_table>{
                    {.path = "pump/speed", .id = 7, .data_type = 3, .access = 2}}}),
        GetParam()};
    decode_context const context{
        client_kind::consumer, "panel", "de-serialize provider definition"};

    auto definition = decode_definition_reply(bytes.view(), context);

    EXPECT_EQ(definition.fingerprint(), 0x0123456789ABCDEFU);
    ASSERT_EQ(definition.size(), 1U);
    EXPECT_EQ(definition.deserialize_variable_definition(0, context).path, "pump/speed");
    EXPECT_EQ(definition.deserialize_variable_definition(0, context).id, 7U);
}

TEST_P(message_at_any_address, yields_a_read_request) {
    placed_bytes const bytes{wire::read_variables_query({{3, 1, 2}}), GetParam()};

    EXPECT_EQ(decode_read_request(bytes.view()), (std::vector<variable_id>{3, 1, 2}));
}

INSTANTIATE_TEST_SUITE_P(
    distance_from_a_multiple_of_eight,
    message_at_any_address,
    testing::Range(std::size_t{0}, std::size_t{8}));

} // namespace

} // namespace arvenhold::corvel::hub
