// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/case_name.hpp"
#include <hub/errors.hpp>
#include <hub/provider_definition.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace arvenhold::corvel::hub {

namespace {

constexpr auto provider_kind = client_kind::provider;
constexpr auto consumer_kind = client_kind::consumer;

struct message_case {
    char const* name;
    std::string composed;
    char const* expected; // written out in full, never built from the library's own words
};

class error_message : public testing::TestWithParam<message_case> {};

TEST_P(error_message, reads_exactly) {
    EXPECT_EQ(GetParam().composed, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    authentication_failed,
    error_message,
    testing::Values(
        message_case{
            "transfer_failed",
            authentication_failed::transfer_failed("https://127.0.0.1/token", 7).what(),
            "Authentication failed:\n"
            "Endpoint: https://127.0.0.1/token\n"
            "CURL call failed, returned 7\n"},
        message_case{
            "token_refused",
            authentication_failed::token_refused(
                "https://127.0.0.1/token", "press", "s3cr3t", "{\"error\":\"invalid_client\"}")
                .what(),
            "Authentication failed:\n"
            "Endpoint: https://127.0.0.1/token\n"
            "Client ID: press\n"
            "Secret: s3cr3t\n"
            "Reply from auth endpoint: {\"error\":\"invalid_client\"}\n"},
        message_case{
            "token_refused_without_a_description",
            authentication_failed::token_refused(
                "https://127.0.0.1/token", "press", "s3cr3t", "< no error description available >")
                .what(),
            "Authentication failed:\n"
            "Endpoint: https://127.0.0.1/token\n"
            "Client ID: press\n"
            "Secret: s3cr3t\n"
            "Reply from auth endpoint: < no error description available >\n"},
        message_case{
            "token_refused_for_invalid_parameters",
            authentication_failed::token_refused("< invalid >", "< invalid >", "< invalid >", "")
                .what(),
            "Authentication failed:\n"
            "Endpoint: < invalid >\n"
            "Client ID: < invalid >\n"
            "Secret: < invalid >\n"
            "Reply from auth endpoint: \n"},
        message_case{
            "without_credentials",
            authentication_failed::without_credentials("https://127.0.0.1/token", "no vault")
                .what(),
            "Authentication failed:\n"
            "Endpoint: https://127.0.0.1/token\n"
            "Credentials callback failed: no vault\n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    connection_failed,
    error_message,
    testing::Values(
        message_case{
            "on_subject_of_a_provider",
            connection_failed::on_subject(
                provider_kind, "press-4", "publish variables", 26, "Timeout", "v1.loc.press-4.vars")
                .what(),
            "Provider press-4: failed to publish variables (related sujbect: v1.loc.press-4.vars), "
            "NATS returns: 26 = Timeout\n"},
        message_case{
            "on_subject_of_a_consumer",
            connection_failed::on_subject(
                consumer_kind, "panel", "request a provider definition", 34, "No responders", "a.b")
                .what(),
            "Consumer panel: failed to request a provider definition (related sujbect: a.b), NATS "
            "returns: 34 = No responders\n"},
        message_case{
            "on_an_empty_subject",
            connection_failed::on_subject(
                provider_kind, "press-4", "publish variables", 26, "Timeout", "")
                .what(),
            "Provider press-4: failed to publish variables (related sujbect: ), NATS returns: 26 = "
            "Timeout\n"},
        message_case{
            "on_subject_with_an_empty_operation",
            connection_failed::on_subject(provider_kind, "press-4", "", 26, "Timeout", "a.b")
                .what(),
            "Provider press-4: failed to  (related sujbect: a.b), NATS returns: 26 = Timeout\n"},
        message_case{
            "without_subject_of_a_provider",
            connection_failed::without_subject(
                provider_kind,
                "press-4",
                "subscribe to the read request subject",
                2,
                "Connection Closed")
                .what(),
            "Provider press-4: failed to subscribe to the read request subject, NATS returns: 2 = "
            "Connection Closed\n"},
        message_case{
            "without_subject_of_a_consumer",
            connection_failed::without_subject(consumer_kind, "panel", "", -1, "").what(),
            "Consumer panel: failed to , NATS returns: -1 = \n"},
        message_case{
            "not_connected_of_a_provider",
            connection_failed::not_connected(provider_kind, "press-4", "publish variables").what(),
            "Provider press-4: failed to publish variables: not connected to the NATS server\n"},
        message_case{
            "not_connected_of_a_consumer",
            connection_failed::not_connected(consumer_kind, "panel", "").what(),
            "Consumer panel: failed to : not connected to the NATS server\n"},
        message_case{
            "connection_lost_of_a_provider",
            connection_failed::connection_lost(provider_kind, "press-4", "publish variables")
                .what(),
            "Provider press-4: failed to publish variables: connection to the NATS server has "
            "failed, attempt to disconnect and re-connect to re-establish the connection.\n"},
        message_case{
            "connection_lost_of_a_consumer",
            connection_failed::connection_lost(consumer_kind, "panel", "").what(),
            "Consumer panel: failed to : connection to the NATS server has failed, attempt to "
            "disconnect and re-connect to re-establish the connection.\n"},
        message_case{
            "while_connecting_a_provider",
            connection_failed::while_connecting(
                provider_kind,
                "press-4",
                "connect to",
                "nats://127.0.0.1:4222",
                22,
                "No server available for connection")
                .what(),
            "Provider press-4: failed to connect to the NATS server at nats://127.0.0.1:4222, NATS "
            "returns: 22 = No server available for connection\n"},
        message_case{
            "while_connecting_a_consumer",
            connection_failed::while_connecting(consumer_kind, "panel", "", "", 0, "").what(),
            "Consumer panel: failed to  the NATS server at , NATS returns: 0 = \n"}),
    case_name);

TEST(connection_failed_status, is_the_number_that_the_nats_client_returned) {
    auto const no_server =
        connection_failed::while_connecting(provider_kind, "press-4", "connect to", "nats", 6, "");
    auto const too_large =
        connection_failed::on_subject(provider_kind, "press-4", "publish variables", 21, "", "a.b");
    auto const closed = connection_failed::without_subject(provider_kind, "press-4", "", 5, "");

    EXPECT_EQ(no_server.get_nats_status(), 6);
    EXPECT_EQ(too_large.get_nats_status(), 21);
    EXPECT_EQ(closed.get_nats_status(), 5);
}

TEST(connection_failed_status, is_not_mistaken_for_a_number_in_a_name_or_a_subject) {
    auto const* const odd = "a, NATS returns: 6 = b";
    auto const while_connecting =
        connection_failed::while_connecting(provider_kind, odd, "connect to", odd, 11, "");
    auto const on_subject = connection_failed::on_subject(provider_kind, odd, "", 26, "", odd);
    auto const not_connected = connection_failed::not_connected(consumer_kind, odd, "");
    auto const lost = connection_failed::connection_lost(consumer_kind, odd, "");

    EXPECT_EQ(while_connecting.get_nats_status(), 11);
    EXPECT_EQ(on_subject.get_nats_status(), 26);
    EXPECT_EQ(not_connected.get_nats_status(), 0);
    EXPECT_EQ(lost.get_nats_status(), 0);
}

TEST(connection_failed_status, is_zero_when_no_call_of_the_nats_client_failed) {
    auto const not_connected = connection_failed::not_connected(consumer_kind, "panel", "");
    auto const lost = connection_failed::connection_lost(consumer_kind, "panel", "");
    auto const without_token =
        connection_failed::while_connecting(consumer_kind, "panel", "connect to", "nats", 0, "OK");

    EXPECT_EQ(not_connected.get_nats_status(), 0);
    EXPECT_EQ(lost.get_nats_status(), 0);
    EXPECT_EQ(without_token.get_nats_status(), 0);
}

TEST(connection_failed_subject, is_that_of_the_failed_message_even_with_odd_characters) {
    auto const plain =
        connection_failed::on_subject(provider_kind, "press-4", "publish variables", 21, "", "a.b");
    auto const odd = connection_failed::on_subject(
        consumer_kind, "a (related sujbect: b)", "", 26, "), NATS", "c), NATS returns: (d)");

    EXPECT_EQ(plain.get_subject(), "a.b");
    EXPECT_EQ(odd.get_subject(), "c), NATS returns: (d)");
}

TEST(connection_failed_subject, is_empty_for_a_failure_without_one) {
    auto const* const odd = "a (related sujbect: b)";

    EXPECT_EQ(
        connection_failed::while_connecting(provider_kind, odd, "connect to", "nats", 26, "")
            .get_subject(),
        "");
    EXPECT_EQ(connection_failed::not_connected(consumer_kind, odd, "").get_subject(), "");
    EXPECT_EQ(connection_failed::connection_lost(consumer_kind, odd, "").get_subject(), "");
    EXPECT_EQ(connection_failed::without_subject(consumer_kind, odd, "", 5, "").get_subject(), "");
}

INSTANTIATE_TEST_SUITE_P(
    incompatible_data_type,
    error_message,
    testing::Values(
        message_case{
            "integer_into_a_double",
            incompatible_data_type{7, "set_value(): incompatible source data type", 2, 1}.what(),
            "[         7] set_value(): incompatible source data type (source type index: 2, dest "
            "type index: 1)"},
        message_case{
            "widest_id",
            incompatible_data_type{4294967295U, "set_value(): incompatible source data type", 0, 5}
                .what(),
            "[4294967295] set_value(): incompatible source data type (source type index: 0, dest "
            "type index: 5)"},
        message_case{
            "valueless_source_and_an_empty_message",
            incompatible_data_type{7, "", std::variant_npos, 3}.what(),
            "[         7]  (source type index: 4294967295, dest type index: 3)"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    invalid_provider_definition,
    error_message,
    testing::Values(message_case{
        "with_the_greatest_fingerprint",
        invalid_provider_definition{"press-4", 18446744073709551615U}.what(),
        "Provider press-4: published an invalid provider definition with fingerprint: "
        "18446744073709551615. Check variable identifier syntax rules and try again\n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    operational_state_invalid,
    error_message,
    testing::Values(
        message_case{
            "for_a_connection",
            operational_state_invalid::for_connection("panel", "press-4", "not connected").what(),
            "Consumer panel -> connection to provider press-4: not connected"},
        message_case{
            "for_a_connection_without_a_detail",
            operational_state_invalid::for_connection("panel", "press-4", "").what(),
            "Consumer panel -> connection to provider press-4: "},
        message_case{
            "for_a_provider",
            operational_state_invalid::for_client(provider_kind, "press-4", "nothing to do").what(),
            "Provider press-4: nothing to do\n"},
        message_case{
            "for_a_consumer",
            operational_state_invalid::for_client(consumer_kind, "panel", "nothing to do").what(),
            "Consumer panel: nothing to do\n"},
        message_case{
            "for_a_client_without_a_detail",
            operational_state_invalid::for_client(consumer_kind, "", "").what(),
            "Consumer : \n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    provider_definition_mismatch,
    error_message,
    testing::Values(message_case{
        "with_the_greatest_fingerprint",
        provider_definition_mismatch{"panel", "press-4", 11, 18446744073709551615U}.what(),
        "Consumer panel -> connection to provider press-4: provider definition mismatch.\n"
        "Expected fingerprint: 11, got 18446744073709551615 instead."}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    serialization_fault,
    error_message,
    testing::Values(
        message_case{
            "in_a_message_for_a_provider",
            serialization_fault::in_message(
                provider_kind,
                "press-4",
                "deserialize_write_command",
                "items node in variables data is missing")
                .what(),
            "Provider press-4: encountered invalid serialized data for operation: "
            "deserialize_write_command: items node in variables data is missing\n"},
        message_case{
            "in_a_message_for_a_consumer",
            serialization_fault::in_message(
                consumer_kind, "panel", "de-serialize provider list", "message data nullptr")
                .what(),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data nullptr\n"},
        message_case{
            "in_a_message_without_operation_and_detail",
            serialization_fault::in_message(consumer_kind, "panel", "", "").what(),
            "Consumer panel: encountered invalid serialized data for operation: : \n"},
        message_case{
            "in_a_variable_for_a_provider",
            serialization_fault::in_variable(
                provider_kind, "press-4", "serialize_write_command()", 7)
                .what(),
            "Provider press-4: encountered invalid serialized data for operation: "
            "serialize_write_command(): variable index [7] is out of bounds\n"},
        message_case{
            "in_a_variable_for_a_consumer",
            serialization_fault::in_variable(
                consumer_kind, "panel", "de-serialize variable update", 4294967295U)
                .what(),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable update: variable index [4294967295] is out of bounds\n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    variable_index_invalid,
    error_message,
    testing::Values(
        message_case{
            "of_one_digit",
            variable_index_invalid{7, "publish()"}.what(),
            "[         7] used in function publish(): this variable index is invalid"},
        message_case{
            "of_ten_digits",
            variable_index_invalid{4294967295U, "write_variable()"}.what(),
            "[4294967295] used in function write_variable(): this variable index is invalid"},
        message_case{
            "without_a_function",
            variable_index_invalid{0, ""}.what(),
            "[         0] used in function : this variable index is invalid"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    variable_list_outdated,
    error_message,
    testing::Values(message_case{
        "with_the_greatest_fingerprint",
        variable_list_outdated{"press-4", 11, 18446744073709551615U}.what(),
        "Provider press-4: variable list is outdated:\n"
        "Associated fingerprint: 11\n"
        "Provider's current fingerprint: 18446744073709551615\n"
        "Replace this variable list with the new one that is now current for the associated "
        "provider\n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    variable_read_only,
    error_message,
    testing::Values(
        message_case{
            "for_a_consumer",
            variable_read_only::for_consumer("panel", "press-4").what(),
            "Consumer panel -> connection to provider press-4: cannot write variable data to "
            "provider, this consumer has read-only permissions"},
        message_case{
            "for_a_variable",
            variable_read_only::for_variable(7).what(),
            "[         7] cannot write new value: this variable is read-only"},
        message_case{
            "for_a_variable_of_ten_digits",
            variable_read_only::for_variable(1234567890).what(),
            "[1234567890] cannot write new value: this variable is read-only"}),
    case_name);

TEST(error_about_a_definition, names_its_address) {
    provider_definition const definition{11};
    std::ostringstream address;
    address << static_cast<void const*>(&definition);

    auto const error = operational_state_invalid::for_definition(definition, "not this way");

    EXPECT_EQ(
        std::string{error.what()}, "Provider definition @" + address.str() + ": not this way\n");
}

// -- what all ten classes share -------------------------------------------------------------------

template <class Error>
class every_error : public testing::Test {};

using all_errors = testing::Types<
    authentication_failed,
    connection_failed,
    incompatible_data_type,
    invalid_provider_definition,
    operational_state_invalid,
    provider_definition_mismatch,
    serialization_fault,
    variable_index_invalid,
    variable_list_outdated,
    variable_read_only>;
TYPED_TEST_SUITE(every_error, all_errors);

TYPED_TEST(every_error, is_a_standard_exception_with_nothing_but_its_message) {
    struct like_every_error : std::exception {
        std::string message;
    };

    EXPECT_TRUE((std::is_convertible_v<TypeParam*, std::exception*>));
    EXPECT_EQ(sizeof(TypeParam), sizeof(like_every_error));
}

TYPED_TEST(every_error, never_fails_to_tell_its_message) {
    EXPECT_TRUE(noexcept(std::declval<TypeParam const&>().what()));
}

// Keeps a copy of the error as a thrown one.
template <class Error>
std::exception_ptr copy_of(Error const& error) {
    return std::make_exception_ptr(error);
}

std::string message_of(std::exception_ptr const& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (std::exception const& error) {
        return error.what();
    }
}

struct copied_error_case {
    char const* name;
    std::exception_ptr copy;
    char const* expected;
};

class copied_error : public testing::TestWithParam<copied_error_case> {};

TEST_P(copied_error, has_the_message_of_the_original_which_is_gone) {
    EXPECT_EQ(message_of(GetParam().copy), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_class,
    copied_error,
    testing::Values(
        copied_error_case{
            "authentication_failed",
            copy_of(authentication_failed::transfer_failed("https://127.0.0.1/token", 28)),
            "Authentication failed:\nEndpoint: https://127.0.0.1/token\nCURL call failed, returned "
            "28\n"},
        copied_error_case{
            "connection_failed",
            copy_of(connection_failed::not_connected(consumer_kind, "panel", "write")),
            "Consumer panel: failed to write: not connected to the NATS server\n"},
        copied_error_case{
            "incompatible_data_type",
            copy_of(incompatible_data_type{7, "message", 2, 1}),
            "[         7] message (source type index: 2, dest type index: 1)"},
        copied_error_case{
            "invalid_provider_definition",
            copy_of(invalid_provider_definition{"press-4", 11}),
            "Provider press-4: published an invalid provider definition with fingerprint: 11. "
            "Check variable identifier syntax rules and try again\n"},
        copied_error_case{
            "operational_state_invalid",
            copy_of(operational_state_invalid::for_client(provider_kind, "press-4", "detail")),
            "Provider press-4: detail\n"},
        copied_error_case{
            "provider_definition_mismatch",
            copy_of(provider_definition_mismatch{"panel", "press-4", 11, 12}),
            "Consumer panel -> connection to provider press-4: provider definition mismatch.\n"
            "Expected fingerprint: 11, got 12 instead."},
        copied_error_case{
            "serialization_fault",
            copy_of(serialization_fault::in_variable(provider_kind, "press-4", "operation", 7)),
            "Provider press-4: encountered invalid serialized data for operation: operation: "
            "variable index [7] is out of bounds\n"},
        copied_error_case{
            "variable_index_invalid",
            copy_of(variable_index_invalid{7, "publish()"}),
            "[         7] used in function publish(): this variable index is invalid"},
        copied_error_case{
            "variable_list_outdated",
            copy_of(variable_list_outdated{"press-4", 11, 12}),
            "Provider press-4: variable list is outdated:\n"
            "Associated fingerprint: 11\n"
            "Provider's current fingerprint: 12\n"
            "Replace this variable list with the new one that is now current for the associated "
            "provider\n"},
        copied_error_case{
            "variable_read_only",
            copy_of(variable_read_only::for_variable(7)),
            "[         7] cannot write new value: this variable is read-only"}),
    case_name);

// An application that groups digits wherever it writes a number.
class grouping_application : public testing::Test {
protected:
    void SetUp() override {
        m_before = std::locale::global(std::locale{std::locale::classic(), new thousands});
    }

    void TearDown() override {
        std::locale::global(m_before);
    }

private:
    struct thousands : std::numpunct<char> {
        char do_thousands_sep() const override {
            return '.';
        }

        std::string do_grouping() const override {
            return "\3";
        }
    };

    std::locale m_before;
};

TEST_F(grouping_application, gets_messages_without_grouping) {
    EXPECT_EQ(
        std::string{variable_index_invalid(1234567, "publish()").what()},
        "[   1234567] used in function publish(): this variable index is invalid");
    EXPECT_EQ(
        std::string{provider_definition_mismatch("panel", "press-4", 1234, 5678901).what()},
        "Consumer panel -> connection to provider press-4: provider definition mismatch.\n"
        "Expected fingerprint: 1234, got 5678901 instead.");
    EXPECT_EQ(
        std::string{authentication_failed::transfer_failed("a", 1000).what()},
        "Authentication failed:\nEndpoint: a\nCURL call failed, returned 1000\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
