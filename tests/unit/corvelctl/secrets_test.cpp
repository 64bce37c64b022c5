// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/secrets.hpp"

#include "corvelctl/library_reports.hpp"
#include "corvelctl/output.hpp"

#include <gtest/gtest.h>

#include <string>

namespace arvenhold::corvel::hub::ctl {
namespace {

TEST(removing_secrets, masks_every_occurrence) {
    EXPECT_EQ(remove_secrets("a hush b hush", {"hush"}), "a *** b ***");
    EXPECT_EQ(remove_secrets("a hush b token c", {"token", "hush"}), "a *** b *** c");
    EXPECT_EQ(remove_secrets("a", {}), "a");
}

TEST(removing_secrets, masks_what_json_has_escaped) {
    EXPECT_EQ(remove_secrets(R"({"said":"no a\"b"})", {R"(a"b)"}), R"({"said":"no ***"})");
    EXPECT_EQ(remove_secrets(R"(a\u0022b a\"b a"b a\"c)", {R"(a"b)"}), R"(*** *** *** a\"c)");
    EXPECT_EQ(remove_secrets(R"(a\/b\\c a/b\c a/b\\c)", {R"(a/b\c)"}), "*** *** ***");
    EXPECT_EQ(
        remove_secrets(R"(a\u003Cb a\u003cb \u00e9\ud83d\ude00)", {"a<b", "\u00e9\U0001f600"}),
        "*** *** ***");
    EXPECT_EQ(remove_secrets(R"(a\"b a\" \ud83d \)", {R"(a"b")"}), R"(a\"b a\" \ud83d \)");
}

TEST(removing_secrets, masks_credentials_in_urls) {
    EXPECT_EQ(remove_secrets("at nats://me:pw@plc:4222, or", {}), "at nats://***@plc:4222, or");
    EXPECT_EQ(remove_secrets("a:b@x, nats://me@y?q=z", {}), "***@x, nats://***@y?q=z");
    EXPECT_EQ(remove_secrets("\"me:p@w@plc\" http://u:v@w", {}), "\"***@plc\" http://***@w");
    EXPECT_EQ(remove_secrets("nats://plc:4222 me@here", {}), "nats://plc:4222 me@here");
}

TEST(removing_secrets, drops_tokens) {
    EXPECT_EQ(remove_secrets(R"(got { "access_token" : "abc" })", {}), "got { \"***");
}

TEST(reply_of_a_token_endpoint, is_reduced_to_the_error) {
    EXPECT_EQ(
        describe_token_reply(
            R"({"error":"invalid_client","error_description":"no hush"})", {"hush"}),
        "invalid_client: no ***");
    EXPECT_EQ(describe_token_reply("<html>\nmore", {}), "<html>");
    EXPECT_EQ(describe_token_reply(std::string(200, 'x'), {}), std::string(120, 'x') + "...");
}

TEST(reply_of_a_token_endpoint, is_cut_between_two_characters) {
    auto const fits = std::string(117, 'x') + "\u20ac";

    EXPECT_EQ(describe_token_reply(fits + "\u20ac", {}), fits + "...");
    EXPECT_EQ(describe_token_reply('x' + fits, {}), std::string(118, 'x') + "...");
}

TEST(report_of_the_library, is_read) {
    std::string const begin =
        "Failed to receive new NATS authentication token: Authentication failed:\nEndpoint: "
        "http://plc/token\n";

    auto const transfer = parse_token_failure(begin + "CURL call failed, returned 7\n", {"hush"});
    auto const refusal = parse_token_failure(
        begin + "Client ID: me\nSecret: hush\nReply from auth endpoint: {\"error\":\"no\"}\n",
        {"hush"});

    ASSERT_TRUE(transfer.has_value());
    EXPECT_EQ(transfer->curl_code, 7);
    ASSERT_TRUE(refusal.has_value());
    EXPECT_EQ(refusal->curl_code, 0);
    EXPECT_EQ(refusal->answer, "no");
    EXPECT_FALSE(parse_token_failure("Warning: Consumer has lost connection", {}).has_value());
}

TEST(reports_of_the_library, show_none_of_the_secrets) {
    output_settings settings;
    settings.verbose = true;
    output out{settings};
    library_reports reports{out};
    reports.hide({"hush"});
    reports.hide({"granted"});

    testing::internal::CaptureStderr();
    report_diagnostic(diagnostic_severity::warning, "", "hush was granted");

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "corvelctl: library: *** was ***\n");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
