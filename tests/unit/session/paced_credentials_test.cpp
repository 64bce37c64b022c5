// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/paced_credentials.hpp"
#include "support/await.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>

#include <future>

namespace arvenhold::corvel::hub {

namespace {

using clock = std::chrono::steady_clock;
using testing::HasSubstr;

class paced_credentials_test : public testing::Test {
protected:
    static constexpr std::chrono::milliseconds distance{300};

    token_pace pace{distance};
    hub_access access{"nats://hub", "http://hub/token", "developer", "s3cret", {}};

    // As the core does before each token request.
    static client_credentials ask(paced_credentials& asked) {
        connect_options options;
        asked.use_in(options);
        return options.get_credentials_callback()(options.get_credentials_user_data());
    }

    // Reserves the next turn for another session.
    static clock::time_point reserve(token_pace& pace) {
        return pace.reserve_request(clock::now(), clock::time_point::max()).value();
    }
};

TEST_F(paced_credentials_test, are_those_of_the_access) {
    paced_credentials credentials{access, pace};

    auto const given = ask(credentials);

    EXPECT_EQ(given.client_id, "developer");
    EXPECT_EQ(given.client_secret, "s3cret");
}

TEST_F(paced_credentials_test, are_those_that_the_application_returns) {
    client_credentials rotated{"developer", "rotated"};
    access.options.set_credentials_callback(
        [](void* user_data) { return *static_cast<client_credentials*>(user_data); }, &rotated);
    paced_credentials credentials{access, pace};

    auto const given = ask(credentials);

    EXPECT_EQ(given.client_secret, "rotated");
}

TEST_F(paced_credentials_test, come_when_it_is_the_callers_turn) {
    paced_credentials credentials{access, pace};
    paced_credentials others{access, pace};
    auto const begin = clock::now();

    ask(credentials);
    ask(others);
    ask(credentials);

    EXPECT_GE(clock::now() - begin, 2 * distance);
}

TEST_F(paced_credentials_test, are_refused_at_once_if_the_turn_would_come_too_late) {
    token_pace busy{std::chrono::hours{1}};
    paced_credentials credentials{access, busy};
    auto const latest = reserve(busy);

    EXPECT_THAT(
        thrown_message<std::runtime_error>([&] { ask(credentials); }),
        HasSubstr("too many token requests"));

    EXPECT_EQ(reserve(busy), latest + std::chrono::hours{1});
}

TEST_F(paced_credentials_test, are_refused_to_a_caller_that_waits_when_the_session_is_stopped) {
    constexpr std::chrono::hours hour{1};
    token_pace slow{hour};
    paced_credentials credentials{access, slow, 2 * hour};
    auto const earlier = reserve(slow);
    auto waiting = std::async(std::launch::async, [&] { return ask(credentials); });
    ASSERT_TRUE(await([&] { return slow.begin_connect(clock::now()) == earlier + 2 * hour; }));

    credentials.stop();

    EXPECT_THAT(
        thrown_message<std::runtime_error>([&] { waiting.get(); }), HasSubstr("has been stopped"));
}

TEST_F(paced_credentials_test, take_no_turn_once_the_session_has_been_stopped) {
    paced_credentials credentials{access, pace};
    credentials.stop();

    EXPECT_THROW(ask(credentials), std::runtime_error);

    auto const now = clock::now();
    EXPECT_EQ(pace.reserve_request(now, now), now);
}

} // namespace

} // namespace arvenhold::corvel::hub
