// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/event_log.hpp"
#include "dev_hub/token_endpoint.hpp"
#include "runtime/token_callback.hpp"
#include "runtime/token_parameters.hpp"
#include "support/captured_stream.hpp"
#include <hub/diagnostics.hpp>

#include <gmock/gmock.h>

#include <iostream>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class token_callback : public testing::Test {
protected:
    void grant(std::string const& token) {
        endpoint.answer_with({.body = {R"({"access_token":")" + token + R"("})"}});
    }

    void refuse() {
        endpoint.answer_with({.status = 400, .body = {"no"}});
    }

    // The message of a refusal, up to the zero byte that ends it for what().
    std::string refusal() const {
        return "Authentication failed:\nEndpoint: " + endpoint.get_url()
             + "\nClient ID: developer\nSecret: developer-secret\nReply from auth endpoint: no";
    }

    dev::event_log log{nullptr};
    dev::token_endpoint endpoint{{}, "unused", log};
    std::vector<std::string> failures;
    token_parameters parameters{
        .client_name = "boiler",
        .endpoint = endpoint.get_url(),
        .client_id = "developer",
        .secret = "developer-secret",
        .scope = "hub.variables.provide",
        .on_failure = [this](authentication_failed const& error) {
            failures.emplace_back(error.what());
        }};
    captured_stream error_stream{std::cerr};
};

TEST_F(token_callback, returns_the_token) {
    grant("abc");

    EXPECT_STREQ(nats_token_callback(&parameters), "abc");

    EXPECT_EQ(error_stream.text(), "");
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(token_callback, writes_a_line_and_returns_null_without_parameters) {
    EXPECT_EQ(nats_token_callback(nullptr), nullptr);

    EXPECT_EQ(error_stream.flushed_text(), "nats_token_callback(): Received empty params\n");
}

TEST_F(token_callback, writes_a_line_tells_the_owner_and_returns_null_after_a_failure) {
    refuse();

    EXPECT_EQ(nats_token_callback(&parameters), nullptr);

    EXPECT_EQ(
        error_stream.flushed_text(),
        "Failed to receive new NATS authentication token: " + refusal() + "\n");
    EXPECT_THAT(failures, ElementsAre(refusal()));
}

TEST_F(token_callback, ends_the_line_of_a_transfer_failure_with_two_line_ends) {
    endpoint.stop_listening();

    EXPECT_EQ(nats_token_callback(&parameters), nullptr);

    EXPECT_EQ(
        error_stream.flushed_text(),
        "Failed to receive new NATS authentication token: Authentication failed:\nEndpoint: "
            + endpoint.get_url() + "\nCURL call failed, returned 7\n\n");
}

TEST_F(token_callback, reports_a_failure_with_the_name_of_its_client) {
    std::vector<std::string> reports;
    set_diagnostics_callback(
        [](diagnostic const& report, void* user_data) {
            EXPECT_EQ(report.severity, diagnostic_severity::error);
            static_cast<std::vector<std::string>*>(user_data)->push_back(
                std::string{report.client_name}.append(": ").append(report.text));
        },
        &reports);
    endpoint.stop_listening();

    EXPECT_EQ(nats_token_callback(&parameters), nullptr);
    set_diagnostics_callback(nullptr, nullptr);

    EXPECT_THAT(
        reports,
        ElementsAre(
            "boiler: Failed to receive new NATS authentication token: Authentication failed:\n"
            "Endpoint: "
            + endpoint.get_url() + "\nCURL call failed, returned 7"));
    EXPECT_EQ(error_stream.text(), "");
}

TEST_F(token_callback, needs_nobody_to_tell_a_failure) {
    refuse();
    parameters.on_failure = {};

    EXPECT_EQ(nats_token_callback(&parameters), nullptr);

    EXPECT_THAT(failures, IsEmpty());
    EXPECT_NE(error_stream.text(), "");
}

TEST_F(token_callback, keeps_the_previous_token_after_a_failure) {
    grant("abc");
    auto const* const previous = nats_token_callback(&parameters);
    refuse();

    EXPECT_EQ(nats_token_callback(&parameters), nullptr);

    EXPECT_STREQ(previous, "abc");
}

class token_callback_with_an_empty_reply : public token_callback,
                                           public testing::WithParamInterface<int> {};

// Intended: libcurl passes no bytes on, so nothing is found to be wrong, whatever the status.
TEST_P(token_callback_with_an_empty_reply, returns_what_stands_for_a_token_and_reports_nothing) {
    endpoint.answer_with({.status = GetParam(), .body = {}});

    EXPECT_STREQ(nats_token_callback(&parameters), "< invalid >");

    EXPECT_THAT(failures, IsEmpty());
    EXPECT_EQ(error_stream.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    every_status,
    token_callback_with_an_empty_reply,
    testing::Values(200, 204, 302, 401, 404, 500),
    testing::PrintToStringParamName{});

TEST_F(token_callback, leaves_each_thread_the_token_that_it_has_fetched) {
    grant("abc");
    auto const* const mine = nats_token_callback(&parameters);
    grant("another-one-that-is-longer-than-any-short-string");

    std::thread{[this] {
        EXPECT_STREQ(
            nats_token_callback(&parameters), "another-one-that-is-longer-than-any-short-string");
    }}.join();

    EXPECT_STREQ(mine, "abc");
}

TEST_F(token_callback, serves_many_threads_at_once) {
    grant("a-token-that-is-longer-than-any-short-string");
    constexpr int count = 8;
    std::latch begin{count};
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&] {
            begin.arrive_and_wait();
            for (int round = 0; round < 20; ++round) {
                EXPECT_STREQ(
                    nats_token_callback(&parameters),
                    "a-token-that-is-longer-than-any-short-string");
            }
        });
    }
    threads.clear();

    EXPECT_EQ(error_stream.text(), "");
    EXPECT_EQ(endpoint.get_requests().size(), 160);
}

} // namespace

} // namespace arvenhold::corvel::hub
