// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/token_probe.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {
namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

token_reply parse(std::string_view body) {
    token_reply reply;
    parse_token_reply(reply, body, {"hidden"});
    return reply;
}

TEST(token_request, contains_the_secret_in_these_forms) {
    connection_settings settings;
    settings.client_id = "me";
    settings.client_secret = "a b";

    EXPECT_THAT(list_secrets(settings), testing::ElementsAre("a b", "a%20b", "bWU6YSUyMGI="));
}

TEST(token_reply, has_the_fields_of_the_body) {
    auto const reply = parse(R"({"access_token":"abc","expires_in":3600,"scope":"a b"})");

    EXPECT_EQ(reply.token, "abc");
    EXPECT_EQ(reply.lifetime, seconds{3600});
    EXPECT_EQ(reply.scope, "a b");
    EXPECT_EQ(reply.expires_at, std::nullopt);
    EXPECT_TRUE(reply.is_readable_by_library);
}

TEST(token_reply, has_the_claims_of_a_web_token) {
    // {"exp":1700000000,"scope":"x"} without padding
    auto const reply =
        parse(R"({"access_token":"e30.eyJleHAiOjE3MDAwMDAwMDAsInNjb3BlIjoieCJ9.sig"})");

    EXPECT_EQ(reply.scope, "x");
    EXPECT_EQ(reply.expires_at, system_clock::time_point{seconds{1'700'000'000}});
}

TEST(token_reply, keeps_the_refusal_without_the_secret) {
    auto const reply = parse(R"({"error":"invalid_client","error_description":"not hidden"})");

    EXPECT_EQ(reply.token, "");
    EXPECT_EQ(reply.refusal, "invalid_client: not ***");
}

TEST(token_reply, survives_anything) {
    for (auto const* const body :
         {"",
          "[]",
          "{",
          "null",
          R"({"access_token":1})",
          R"({"access_token":"a.b.c"})",
          R"({"access_token":"..","expires_in":"x","scope":1})",
          R"({"access_token":"a.W10.c","expires_in":1e3})"}) {
        EXPECT_EQ(parse(body).expires_at, std::nullopt) << body;
    }
}

TEST(token_reply, ignores_times_that_no_clock_can_express) {
    for (auto const* const number :
         {"1e300", "-1e300", "18446744073709551615", "9223372036854775807"}) {
        auto const reply =
            parse(R"({"access_token":"abc","expires_in":)" + std::string{number} + '}');
        EXPECT_EQ(reply.lifetime, std::nullopt) << number;
    }
    // {"exp":9223372036854775807}
    EXPECT_EQ(
        parse(R"({"access_token":"e30.eyJleHAiOjkyMjMzNzIwMzY4NTQ3NzU4MDd9.sig"})").expires_at,
        std::nullopt);
}

TEST(token_reply, is_not_readable_by_the_library_with_white_space_or_another_first_field) {
    EXPECT_FALSE(parse(R"({"access_token": "abc"})").is_readable_by_library);
    EXPECT_FALSE(parse(R"({"scope":"a","access_token":"abc"})").is_readable_by_library);
}

TEST(date_of_http, is_read_in_utc) {
    EXPECT_EQ(
        parse_http_date("Tue, 14 Nov 2023 22:13:20 GMT"),
        system_clock::time_point{seconds{1'700'000'000}});
    EXPECT_EQ(parse_http_date("2023-11-14"), std::nullopt);
    EXPECT_EQ(parse_http_date("Tue, 14 Nov 2023 22:13:20 GMT+1"), std::nullopt);
    EXPECT_EQ(parse_http_date(""), std::nullopt);
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
