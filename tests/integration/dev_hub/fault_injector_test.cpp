// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "connect_attempt.hpp"
#include "dev_hub/dev_hub.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/fault_injector.hpp"
#include "support/raw_peer.hpp"
#include "support/thrown_message.hpp"
#include "token_attempt.hpp"
#include "wire_messages.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using namespace std::chrono_literals;

constexpr auto whole_test = 10min;

class fault_injector_test : public testing::Test {
protected:
    dev_hub hub;
    fault_injector& faults = hub.get_faults();

    [[nodiscard]] natsStatus connect() {
        auto& server = hub.get_nats_server();
        return try_to_connect(server.get_url(), server.get_token()).status;
    }

    // "developer:developer-secret"
    [[nodiscard]] int fetch_token(std::chrono::milliseconds limit = patience) {
        return request_token(
            hub.get_token_endpoint().get_url(),
            "Basic ZGV2ZWxvcGVyOmRldmVsb3Blci1zZWNyZXQ=",
            limit);
    }

    void begin(fault_kind kind) {
        faults.begin({kind, whole_test});
    }

    // Gives an active fault a duration that is over at once, and waits for its end.
    void end(fault_kind kind) {
        faults.begin({kind, 1ms, whole_test});
        ASSERT_TRUE(wait_until_ended(kind));
    }

    [[nodiscard]] bool wait_until_ended(fault_kind kind) {
        return hub.get_log().wait_until_recorded(
            event_kind::fault_ended, get_name(kind), 1, patience);
    }

    [[nodiscard]] bool has_ended(fault_kind kind) {
        return hub.get_log().get_count(event_kind::fault_ended, get_name(kind)) > 0;
    }
};

TEST_F(fault_injector_test, takes_the_server_away) {
    begin(fault_kind::nats_down);

    EXPECT_EQ(connect(), NATS_NO_SERVER);
    EXPECT_FALSE(hub.get_nats_server().has_crashed());
}

TEST_F(fault_injector_test, brings_the_server_back_on_its_port) {
    begin(fault_kind::nats_down);

    end(fault_kind::nats_down);

    EXPECT_EQ(connect(), NATS_OK);
}

TEST_F(fault_injector_test, freezes_the_server) {
    begin(fault_kind::freeze);

    EXPECT_EQ(connect(), NATS_TIMEOUT);
}

TEST_F(fault_injector_test, thaws_the_server) {
    begin(fault_kind::freeze);

    end(fault_kind::freeze);

    EXPECT_EQ(connect(), NATS_OK);
}

TEST_F(fault_injector_test, has_restarted_the_server_when_it_returns) {
    auto const before = hub.get_nats_server().get_pid();

    begin(fault_kind::server_restart);

    EXPECT_NE(hub.get_nats_server().get_pid(), before);
    EXPECT_EQ(connect(), NATS_OK);
    EXPECT_TRUE(has_ended(fault_kind::server_restart));
}

TEST_F(fault_injector_test, closes_the_token_endpoint) {
    begin(fault_kind::token_down);

    EXPECT_EQ(fetch_token(), 0);
}

TEST_F(fault_injector_test, opens_the_token_endpoint_again) {
    begin(fault_kind::token_down);

    end(fault_kind::token_down);

    EXPECT_EQ(fetch_token(), 200);
}

TEST_F(fault_injector_test, answers_late_by_the_given_delay) {
    auto const before = std::chrono::steady_clock::now();

    faults.begin({fault_kind::token_slow, whole_test, 200ms});

    EXPECT_EQ(fetch_token(), 200);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 200ms);
}

TEST_F(fault_injector_test, answers_at_once_again) {
    faults.begin({fault_kind::token_slow, whole_test, whole_test});
    ASSERT_EQ(fetch_token(100ms), -1);

    end(fault_kind::token_slow);

    EXPECT_EQ(fetch_token(), 200);
}

TEST_F(fault_injector_test, refuses_tokens) {
    begin(fault_kind::token_refuse);

    EXPECT_EQ(fetch_token(), 401);
}

TEST_F(fault_injector_test, grants_tokens_again) {
    begin(fault_kind::token_refuse);

    end(fault_kind::token_refuse);

    EXPECT_EQ(fetch_token(), 200);
}

class silent_registry : public fault_injector_test {
protected:
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};

    [[nodiscard]] natsStatus request_list(std::chrono::milliseconds limit) {
        return peer.request("v1.loc.registry.providers.qry.read", make_list_query(), limit).status;
    }
};

TEST_F(silent_registry, does_not_answer) {
    begin(fault_kind::registry_silent);

    EXPECT_EQ(request_list(100ms), NATS_TIMEOUT);
}

TEST_F(silent_registry, answers_again) {
    begin(fault_kind::registry_silent);

    end(fault_kind::registry_silent);

    EXPECT_EQ(request_list(patience), NATS_OK);
}

TEST_F(fault_injector_test, ends_a_fault_when_its_time_is_up) {
    auto const before = std::chrono::steady_clock::now();

    faults.begin({fault_kind::token_refuse, 200ms});

    EXPECT_TRUE(wait_until_ended(fault_kind::token_refuse));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 200ms);
}

TEST_F(fault_injector_test, ends_an_earlier_fault_of_the_same_service) {
    begin(fault_kind::token_down);

    begin(fault_kind::token_refuse);

    EXPECT_TRUE(has_ended(fault_kind::token_down));
    EXPECT_EQ(fetch_token(), 401);
}

TEST_F(fault_injector_test, keeps_a_fault_of_another_service) {
    begin(fault_kind::token_refuse);

    begin(fault_kind::nats_down);

    EXPECT_FALSE(has_ended(fault_kind::token_refuse));
    EXPECT_EQ(fetch_token(), 401);
}

TEST_F(fault_injector_test, prolongs_a_fault_that_begins_again) {
    faults.begin({fault_kind::nats_down, whole_test});

    faults.begin({fault_kind::nats_down, whole_test});

    EXPECT_FALSE(has_ended(fault_kind::nats_down));
    EXPECT_EQ(connect(), NATS_NO_SERVER);
}

TEST_F(fault_injector_test, records_what_it_does) {
    faults.begin({fault_kind::registry_silent, 1ms});
    ASSERT_TRUE(wait_until_ended(fault_kind::registry_silent));

    std::string records;
    for (auto const& event : hub.get_log().get_events()) {
        if (event.kind == event_kind::fault_begun || event.kind == event_kind::fault_ended) {
            records += event.subject + ": " + event.detail + "\n";
        }
    }
    EXPECT_EQ(
        records,
        "registry-silent: the registry does not answer for 1 ms\n"
        "registry-silent: the registry answers again\n");
}

class taken_port : public fault_injector_test {
protected:
    std::optional<nats_server> other;

    void SetUp() override {
        begin(fault_kind::nats_down);
        nats_server_options options;
        options.port = hub.get_nats_server().get_port();
        options.token = hub.get_nats_server().get_token();
        other.emplace(options, hub.get_log());
    }
};

TEST_F(taken_port, makes_the_fault_last_until_it_is_free) {
    faults.begin({fault_kind::nats_down, 1ms});
    ASSERT_TRUE(
        hub.get_log().wait_until_recorded(event_kind::fault_lasts, "nats-down", 1, patience));
    ASSERT_FALSE(has_ended(fault_kind::nats_down));

    other.reset();

    EXPECT_TRUE(wait_until_ended(fault_kind::nats_down));
    EXPECT_EQ(connect(), NATS_OK);
}

TEST_F(taken_port, keeps_another_fault_of_the_service_from_beginning) {
    auto const message = thrown_message<dev_hub_failure>([&] { begin(fault_kind::freeze); });

    EXPECT_EQ(
        message,
        "nats-server cannot use port " + std::to_string(hub.get_nats_server().get_port())
            + ": another program listens there");
    EXPECT_FALSE(has_ended(fault_kind::nats_down));
    EXPECT_EQ(hub.get_log().get_count(event_kind::fault_begun, "freeze"), 0U);
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
