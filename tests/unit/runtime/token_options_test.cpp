// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a token request gives to libcurl, whose functions are replaced here.

#include "runtime/token_fetch.hpp"
#include "support/thrown_message.hpp"

#include <curl/curl.h>
#include <gmock/gmock.h>

#include <cstdarg>
#include <stdexcept>
#include <string>
#include <vector>

// libcurl's header defines macros of these names, which check types.
#undef curl_easy_setopt

namespace {

struct recorded_transfer {
    std::vector<std::string> options; // those with a number or a text, with their value
    decltype(&arvenhold::corvel::hub::receive_token_chunk) receive = nullptr;
    void* user = nullptr;
};

recorded_transfer& transfer() {
    static recorded_transfer recorded;
    return recorded;
}

std::string value_of(CURLoption option, std::va_list& arguments) {
    if (option == CURLOPT_WRITEFUNCTION) {
        transfer().receive = va_arg(arguments, decltype(transfer().receive));
        return "";
    }
    if (option == CURLOPT_WRITEDATA) {
        transfer().user = va_arg(arguments, void*);
        return "";
    }
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        return " " + std::to_string(va_arg(arguments, long));
    }
    if (option == CURLOPT_HTTPHEADER) {
        std::string lines;
        for (auto* line = va_arg(arguments, curl_slist*); line != nullptr; line = line->next) {
            lines.append(" [").append(line->data).append("]");
        }
        return lines;
    }
    auto const* const text = va_arg(arguments, char const*);
    return text == nullptr ? " (null)" : " '" + std::string{text} + "'";
}

} // namespace

extern "C" CURLcode curl_easy_setopt(CURL* /*handle*/, CURLoption option, ...) {
    std::va_list arguments;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs" // the signature is libcurl's
    va_start(arguments, option);
#pragma GCC diagnostic pop
    auto const value = value_of(option, arguments);
    va_end(arguments);
    transfer().options.push_back(curl_easy_option_by_id(option)->name + value);
    return CURLE_OK;
}

extern "C" CURLcode curl_easy_perform(CURL* /*handle*/) {
    std::string const reply = R"({"access_token":"abc"})";
    transfer().receive(reply.data(), 1, reply.size(), transfer().user);
    return CURLE_OK;
}

namespace arvenhold::corvel::hub {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

class token_options : public testing::Test {
protected:
    token_options() {
        transfer() = {};
    }

    void fetch() const {
        EXPECT_EQ(fetch_token(parameters), "abc");
    }

    token_parameters parameters{
        .client_name = "boiler",
        .endpoint = "http://hub/token",
        .client_id = "id",
        .secret = "secret",
        .scope = "hub.variables.provide",
        .options = {},
        .on_failure = {}};
};

TEST_F(token_options, are_these_in_this_order_by_default) {
    fetch();

    EXPECT_THAT(
        transfer().options,
        ElementsAre(
            "WRITEFUNCTION",
            "WRITEDATA",
            "URL 'http://hub/token'",
            "POSTFIELDSIZE 57",
            "COPYPOSTFIELDS 'grant_type=client_credentials&scope=hub.variables.provide'",
            "SSL_VERIFYPEER 0",
            "SSL_VERIFYHOST 0",
            "TIMEOUT 5",
            "HTTPHEADER [Content-Type: application/x-www-form-urlencoded] "
            "[Authorization: Basic aWQ6c2VjcmV0]",
            "PROXY ''",
            "NOSIGNAL 1",
            "QUICK_EXIT 1"));
}

TEST_F(token_options, check_the_endpoint_with_the_authorities_of_the_system) {
    parameters.options.set_token_endpoint_check(true);

    fetch();

    EXPECT_THAT(transfer().options, IsSupersetOf({"SSL_VERIFYPEER 1", "SSL_VERIFYHOST 2"}));
    EXPECT_THAT(transfer().options, Not(Contains(testing::StartsWith("CA"))));
}

TEST_F(token_options, check_the_endpoint_with_given_authorities_only) {
    parameters.options.set_token_endpoint_check(true, "/ca.pem");

    fetch();

    EXPECT_THAT(
        transfer().options,
        IsSupersetOf(
            {"SSL_VERIFYPEER 1", "SSL_VERIFYHOST 2", "CAINFO '/ca.pem'", "CAPATH (null)"}));
}

TEST_F(token_options, have_the_chosen_time_limit) {
    parameters.options.set_token_time_limit(std::chrono::seconds{9});

    fetch();

    EXPECT_THAT(transfer().options, Contains("TIMEOUT 9"));
}

TEST_F(token_options, have_the_chosen_proxy_without_exceptions_from_the_environment) {
    parameters.options.set_token_proxy("http://proxy:3128");

    fetch();

    EXPECT_THAT(transfer().options, IsSupersetOf({"PROXY 'http://proxy:3128'", "NOPROXY ''"}));
}

TEST_F(token_options, take_the_credentials_of_the_callback_for_each_token) {
    int secrets = 0;
    parameters.options.set_credentials_callback(
        [](void* user_data) {
            auto& count = *static_cast<int*>(user_data);
            return client_credentials{"id", "secret-" + std::to_string(++count)};
        },
        &secrets);

    fetch();
    fetch();

    EXPECT_THAT(
        transfer().options,
        IsSupersetOf(
            {"HTTPHEADER [Content-Type: application/x-www-form-urlencoded] "
             "[Authorization: Basic aWQ6c2VjcmV0LTE=]",
             "HTTPHEADER [Content-Type: application/x-www-form-urlencoded] "
             "[Authorization: Basic aWQ6c2VjcmV0LTI=]"}));
}

TEST_F(token_options, request_nothing_when_the_callback_for_credentials_throws) {
    parameters.options.set_credentials_callback(
        [](void* /*user_data*/) -> client_credentials { throw std::runtime_error{"no vault"}; },
        nullptr);

    EXPECT_EQ(
        thrown_message<authentication_failed>([&] { fetch_token(parameters); }),
        "Authentication failed:\nEndpoint: http://hub/token\nCredentials callback failed: no "
        "vault\n");

    EXPECT_THAT(transfer().options, IsEmpty());
}

TEST_F(token_options, request_nothing_when_the_callback_for_credentials_throws_a_number) {
    parameters.options.set_credentials_callback(
        [](void* /*user_data*/) -> client_credentials { throw 7; }, nullptr);

    EXPECT_EQ(
        thrown_message<authentication_failed>([&] { fetch_token(parameters); }),
        "Authentication failed:\nEndpoint: http://hub/token\nCredentials callback failed: an "
        "exception that is not a std::exception\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
