// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "errors/operation_names.hpp"
#include "support/case_name.hpp"

#include <gtest/gtest.h>

#include <string_view>

namespace arvenhold::corvel::hub {

namespace {

struct word_case {
    char const* name;
    std::string_view word;
    char const* expected;
};

class operation_word : public testing::TestWithParam<word_case> {};

TEST_P(operation_word, reads_exactly) {
    EXPECT_EQ(GetParam().word, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    every_operation,
    operation_word,
    testing::Values(
        word_case{"connect_to", operation_name::connect_to, "connect to"},
        word_case{
            "subscribe_read_request",
            operation_name::subscribe_read_request,
            "subscribe to the read request subject"},
        word_case{
            "subscribe_write_command",
            operation_name::subscribe_write_command,
            "subscribe to the write command subject"},
        word_case{
            "subscribe_registry_state",
            operation_name::subscribe_registry_state,
            "subscribe to the registry state subject"},
        word_case{
            "subscribe_verdict",
            operation_name::subscribe_verdict,
            "subscribe to the definition changed subject"},
        word_case{
            "publish_definition",
            operation_name::publish_definition,
            "publish the provider definition"},
        word_case{"publish_variables", operation_name::publish_variables, "publish variables"},
        word_case{
            "publish_updated_variables",
            operation_name::publish_updated_variables,
            "publish updated variables"},
        word_case{
            "force_publish_variables",
            operation_name::force_publish_variables,
            "force-publish variables"},
        word_case{
            "subscribe_providers_changed",
            operation_name::subscribe_providers_changed,
            "subscribe to the providers changed event subject"},
        word_case{
            "request_providers_list",
            operation_name::request_providers_list,
            "request the initial providers list"},
        word_case{
            "request_definition",
            operation_name::request_definition,
            "request a provider definition"},
        word_case{
            "subscribe_definition_changed",
            operation_name::subscribe_definition_changed,
            "subscribe to a provider definition changed event"},
        word_case{
            "subscribe_variables_changed",
            operation_name::subscribe_variables_changed,
            "subscribe to a variables changed event"},
        word_case{
            "read_variables", operation_name::read_variables, "read variables from a provider"},
        word_case{
            "write_variables", operation_name::write_variables, "write variables into a provider"},
        word_case{
            "decode_registry_state",
            operation_name::decode_registry_state,
            "deserialize_registry_state"},
        word_case{
            "decode_verdict",
            operation_name::decode_verdict,
            "deserialize_provider_definition_validity"},
        word_case{
            "decode_write_command",
            operation_name::decode_write_command,
            "deserialize_write_command"},
        word_case{
            "decode_provider_list",
            operation_name::decode_provider_list,
            "de-serialize provider list"},
        word_case{
            "decode_definition",
            operation_name::decode_definition,
            "de-serialize provider definition"},
        word_case{
            "decode_variable_definition",
            operation_name::decode_variable_definition,
            "de-serialize variable definition"},
        word_case{
            "decode_variable_update",
            operation_name::decode_variable_update,
            "de-serialize variable update"},
        word_case{
            "decode_read_reply",
            operation_name::decode_read_reply,
            "de-serialize reply to a read request"}),
    case_name);

} // namespace

} // namespace arvenhold::corvel::hub
