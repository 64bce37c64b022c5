// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/callback_entrances.hpp"
#include "support/captured_stream.hpp"
#include "support/case_name.hpp"
#include "support/fake_nats.hpp"

#include <gmock/gmock.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Owns callbacks in the manner of a role.
template <client_kind role>
struct entrance_owner {
    static constexpr auto kind = role;

    std::string name{"boiler"};
    std::vector<std::string> calls;

    std::string const& get_client_name() const {
        return name;
    }

    void handle(received_message message) {
        calls.push_back("message " + std::string{message.bytes()} + " " + message.reply_subject());
    }

    void react_to_nothing() {
        calls.emplace_back("nothing");
    }

    void nats_recon_callback() {}
    void nats_dcon_callback() {}
};

using provider_owner = entrance_owner<client_kind::provider>;
using consumer_owner = entrance_owner<client_kind::consumer>;

struct entrance_case {
    char const* name;
    natsMsgHandler entrance;
    char const* without_message;
    char const* without_owner;
    char const* without_both;
};

template <subscription_kind const& kind>
constexpr natsMsgHandler entrance_of = &message_entrance<kind, &provider_owner::handle, nullptr>;

class message_entrance_of : public testing::TestWithParam<entrance_case> {
protected:
    captured_stream errors{std::cerr};
    fake_nats nats; // complains about messages that are not released
    std::shared_ptr<provider_owner> const owner = std::make_shared<provider_owner>();
    callback_registration_of<provider_owner> registration{std::make_shared<callback_gate>(), owner};
    natsMsgHandler const entrance = GetParam().entrance;
};

TEST_P(message_entrance_of, hands_the_message_to_the_handler_and_releases_it) {
    auto* const message = nats.make_message({.subject = "tick", .bytes = "abc", .reply = "inbox"});

    entrance(nullptr, nullptr, message, registration.closure());

    EXPECT_THAT(owner->calls, ElementsAre("message abc inbox"));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_P(message_entrance_of, reports_a_missing_message) {
    entrance(nullptr, nullptr, nullptr, registration.closure());

    EXPECT_THAT(owner->calls, IsEmpty());
    EXPECT_EQ(errors.flushed_text(), GetParam().without_message);
}

TEST_P(message_entrance_of, reports_a_missing_owner_and_releases_the_message) {
    entrance(nullptr, nullptr, nats.make_message({.subject = "tick"}), nullptr);

    EXPECT_EQ(errors.flushed_text(), GetParam().without_owner);
}

TEST_P(message_entrance_of, reports_one_of_two_missing_things) {
    entrance(nullptr, nullptr, nullptr, nullptr);

    EXPECT_EQ(errors.flushed_text(), GetParam().without_both);
}

TEST_P(message_entrance_of, releases_a_message_silently_after_its_owner_has_withdrawn) {
    registration.withdraw();

    entrance(nullptr, nullptr, nats.make_message({.subject = "tick"}), registration.closure());
    entrance(nullptr, nullptr, nullptr, registration.closure());

    EXPECT_THAT(owner->calls, IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    every_kind,
    message_entrance_of,
    testing::Values(
        entrance_case{
            "read_request",
            entrance_of<read_request_subscription>,
            "Failed to assemble reply for read request: request message unavailable\n",
            "Failed to assemble reply for read request: unable to resolve associated provider\n",
            "Failed to assemble reply for read request: request message unavailable\n"},
        entrance_case{
            "write_command",
            entrance_of<write_command_subscription>,
            "Failed to process write command: command message unavailable\n",
            "Failed to process write command: unable to resolve associated provider\n",
            "Failed to process write command: command message unavailable\n"},
        entrance_case{
            "registry_state",
            entrance_of<registry_state_subscription>,
            "Failed to process registry state event: registry state message unavailable\n",
            "Failed to process registry state event: unable to resolve associated provider\n",
            "Failed to process registry state event: registry state message unavailable\n"},
        entrance_case{
            "verdict",
            entrance_of<verdict_subscription>,
            "Failed to process provider definition changed event: provider definition message "
            "unavailable\n",
            "Failed to process provider definition changed event: unable to resolve associated "
            "provider\n",
            "Failed to process provider definition changed event: unable to resolve associated "
            "provider\n"},
        entrance_case{
            "providers_changed",
            entrance_of<providers_changed_subscription>,
            "Failed to process providers changed event: event message unavailable\n",
            "Failed to process providers changed event: unable to resolve associated consumer\n",
            "Failed to process providers changed event: event message unavailable\n"},
        entrance_case{
            "definition_changed",
            entrance_of<definition_changed_subscription>,
            "Failed to process provider definition changed event: event message unavailable\n",
            "Failed to process provider definition changed event: unable to resolve associated "
            "provider connection\n",
            "Failed to process provider definition changed event: unable to resolve associated "
            "provider connection\n"},
        entrance_case{
            "variables_changed",
            entrance_of<variables_changed_subscription>,
            "Failed to process variables changed event: event message unavailable\n",
            "Failed to process variables changed event: unable to resolve associated provider "
            "connection\n",
            "Failed to process variables changed event: unable to resolve associated provider "
            "connection\n"}),
    case_name);

TEST(message_entrance, lets_its_owner_react_to_a_missing_message) {
    captured_stream const errors{std::cerr};
    auto const owner = std::make_shared<provider_owner>();
    callback_registration_of<provider_owner> const registration{
        std::make_shared<callback_gate>(), owner};

    message_entrance<
        verdict_subscription,
        &provider_owner::handle,
        &provider_owner::react_to_nothing>(nullptr, nullptr, nullptr, registration.closure());

    EXPECT_THAT(owner->calls, ElementsAre("nothing"));
}

TEST(connection_event_entrance, reports_a_missing_owner) {
    captured_stream const errors{std::cerr};
    auto const of_provider = connection_events_of<provider_owner>();
    auto const of_consumer = connection_events_of<consumer_owner>();

    of_provider.reconnected(nullptr, nullptr);
    of_provider.disconnected(nullptr, nullptr);
    of_consumer.reconnected(nullptr, nullptr);
    of_consumer.disconnected(nullptr, nullptr);

    EXPECT_EQ(
        errors.flushed_text(),
        "provider::nats_recon_callback(): Received empty class instance\n"
        "provider::nats_dcon_callback(): Received empty class instance\n"
        "consumer::nats_recon_callback(): Received empty class instance\n"
        "consumer::nats_dcon_callback(): Received empty class instance\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
