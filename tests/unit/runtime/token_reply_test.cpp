// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_reply.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using namespace std::string_view_literals;
using namespace std::string_literals;

token_reply reply_of(std::initializer_list<std::string_view> chunks) {
    token_reply reply;
    for (auto const chunk : chunks) {
        parse_chunk(reply, chunk);
    }
    return reply;
}

TEST(token_reply, has_neither_token_nor_description_before_anything_has_arrived) {
    token_reply const reply;

    EXPECT_FALSE(reply.failed);
    EXPECT_EQ(reply.token, "< invalid >");
    EXPECT_EQ(reply.error_reply, "< no error description available >");
}

struct accepted_case {
    char const* name;
    std::string_view chunk;
    std::string_view token;
};

class accepted_token_reply : public testing::TestWithParam<accepted_case> {};

TEST_P(accepted_token_reply, yields_the_token) {
    auto const reply = reply_of({GetParam().chunk});

    EXPECT_FALSE(reply.failed);
    EXPECT_EQ(reply.token, GetParam().token);
    EXPECT_EQ(reply.error_reply, "< no error description available >");
}

INSTANTIATE_TEST_SUITE_P(
    compact_form,
    accepted_token_reply,
    testing::Values(
        accepted_case{"alone", R"({"access_token":"abc"})", "abc"},
        accepted_case{
            "followed_by_other_members",
            R"({"access_token":"abc","token_type":"Bearer","expires_in":3600})",
            "abc"},
        accepted_case{"empty", R"({"access_token":""})", ""},
        accepted_case{"with_signs", R"({"access_token":"a.b-c_d~e+f/g=="})", "a.b-c_d~e+f/g=="},
        accepted_case{
            "with_an_escape_that_is_not_read", R"({"access_token":"a\u0062\")", "a\\u0062\\"},
        accepted_case{"with_a_zero_byte", "{\"access_token\":\"a\0b\""sv, "a\0b"sv},
        accepted_case{"ending_with_the_quote", R"({"access_token":"abc")", "abc"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    bytes_that_are_not_looked_at,
    accepted_token_reply,
    testing::Values(
        accepted_case{"before_the_key", R"(??access_token":"abc")", "abc"},
        accepted_case{"zero_bytes_before_the_key", "\0\0access_token\":\"abc\""sv, "abc"},
        accepted_case{"behind_the_key", R"({"access_token???abc")", "abc"},
        accepted_case{"a_quote_behind_the_key", R"({"access_token"""abc")", "abc"},
        accepted_case{"a_longer_key", R"({"access_tokens":abc")", "abc"}),
    case_name);

struct refused_case {
    char const* name;
    std::string_view chunk;
};

class refused_token_reply : public testing::TestWithParam<refused_case> {};

TEST_P(refused_token_reply, fails_with_the_whole_chunk_and_a_zero_byte) {
    auto const reply = reply_of({GetParam().chunk});

    EXPECT_TRUE(reply.failed);
    EXPECT_EQ(reply.token, "< invalid >");
    EXPECT_EQ(reply.error_reply, std::string{GetParam().chunk} + '\0');
}

INSTANTIATE_TEST_SUITE_P(
    another_form,
    refused_token_reply,
    testing::Values(
        refused_case{"a_blank_after_the_brace", R"({ "access_token":"abc"})"},
        refused_case{"a_line_end_after_the_brace", "{\n\"access_token\":\"abc\"}"},
        refused_case{"nothing_before_the_key", R"(access_token":"abc")"},
        refused_case{"one_byte_before_the_key", R"("access_token":"abc")"},
        refused_case{"another_first_key", R"({"token_type":"Bearer","access_token":"abc"})"},
        refused_case{"capital_letters", R"({"Access_Token":"abc"})"},
        refused_case{"an_error_document", R"({"error":"invalid_client"})"},
        refused_case{"a_web_page", "<!DOCTYPE html><html><body>Bad gateway</body></html>"},
        refused_case{"zero_bytes", "\0\0\0"sv},
        refused_case{"one_byte", "{"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    no_closing_quote,
    refused_token_reply,
    testing::Values(
        refused_case{"up_to_the_key", R"({"access_token)"},
        refused_case{"a_quote_behind_the_key", R"({"access_token")"},
        refused_case{"a_colon_behind_it", R"({"access_token":)"},
        refused_case{"no_token", R"({"access_token":")"},
        refused_case{"some_of_the_token", R"({"access_token":"abc)"},
        refused_case{"a_number_for_a_token", R"({"access_token":12345})"}),
    case_name);

TEST(token_reply_split_in_two, fails_with_the_later_chunk_wherever_it_is_split) {
    constexpr auto whole = R"({"access_token":"abc","token_type":"Bearer"})"sv;
    for (std::size_t at = 1; at < whole.size(); ++at) {
        auto const reply = reply_of({whole.substr(0, at), whole.substr(at)});

        EXPECT_TRUE(reply.failed) << at;
        EXPECT_EQ(reply.error_reply, std::string{whole.substr(at)} + '\0') << at;
    }
}

TEST(token_reply_split_in_two, keeps_the_token_of_the_first_chunk_although_it_fails) {
    auto const reply = reply_of({R"({"access_token":"abc",)", R"("token_type":"Bearer"})"});

    EXPECT_TRUE(reply.failed);
    EXPECT_EQ(reply.token, "abc");
    EXPECT_EQ(reply.error_reply, "\"token_type\":\"Bearer\"}\0"s);
}

TEST(token_reply_split_in_two, still_fails_when_the_later_chunk_has_a_token) {
    auto const reply = reply_of({"HTTP/1.0 200 OK\n", R"({"access_token":"abc"})"});

    EXPECT_TRUE(reply.failed);
    EXPECT_EQ(reply.token, "abc");
    EXPECT_EQ(reply.error_reply, "HTTP/1.0 200 OK\n\0"s);
}

TEST(token_reply_split_in_two, takes_the_later_of_two_tokens) {
    auto const reply = reply_of({R"({"access_token":"abc"})", R"({"access_token":"def"})"});

    EXPECT_FALSE(reply.failed);
    EXPECT_EQ(reply.token, "def");
}

TEST(token_reply_cut_short, never_reads_past_the_chunk) {
    constexpr auto whole = R"({"access_token":"abc"})"sv;
    for (std::size_t size = 1; size <= whole.size(); ++size) {
        // A copy of exactly this size, so that the address sanitizer sees a step too far.
        std::vector<char> const chunk{whole.begin(), whole.begin() + static_cast<long>(size)};

        auto const reply = reply_of({std::string_view{chunk.data(), chunk.size()}});

        EXPECT_EQ(reply.failed, size <= whole.find("\"}")) << size;
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
