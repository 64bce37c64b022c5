// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Whatever arrives, a provider ends in one of the outcomes of docs/messages.md and docs/errors.md
// and remains usable. Only the outcomes are fixed here, not which bytes lead to which.

#include "boiler_test.hpp"
#include "support/case_name.hpp"
#include "support/damaged_messages.hpp"
#include "support/fresh_text.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"
#include "unit/protocol/sent_messages.hpp"

#include <optional>

namespace arvenhold::corvel::hub {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::SizeIs;

constexpr auto no_state = "Provider boiler: encountered invalid serialized data for operation: "
                          "deserialize_registry_state: state changed event data is nullptr\n\n";
constexpr auto no_verdict =
    "Provider boiler: encountered invalid serialized data for operation: "
    "deserialize_provider_definition_validity: definition changed event data is nullptr\n\n";
constexpr auto no_definition =
    "Provider boiler: encountered invalid serialized data for operation: "
    "deserialize_provider_definition_validity: definition data is nullptr\n\n";
constexpr auto no_variables = "Provider boiler: encountered invalid serialized data for operation: "
                              "deserialize_write_command: variables node is missing\n\n";
constexpr auto no_items = "Provider boiler: encountered invalid serialized data for operation: "
                          "deserialize_write_command: items node in variables data is missing\n\n";
constexpr auto no_string = "Provider boiler: encountered invalid serialized data for operation: "
                           "deserialize_write_command: string value nullptr\n\n";
constexpr auto outdated =
    "Provider boiler: peer sent a write variables command with outdated fingerprint. Expected "
    "<number>, got <number> instead from peer. Ignoring.\n";
constexpr auto rejection =
    "Provider boiler: published an invalid provider definition with fingerprint: <number>. Check "
    "variable identifier syntax rules and try again\n";

// A provider whose definition the registry has accepted. Each publication of the definition is
// answered at once, before the provider begins to wait.
class damaged_message : public boiler_test, public testing::WithParamInterface<damage> {
protected:
    damaged_message() {
        boiler.set_variables_written_callback(&record_command, this);
        boiler.connect(
            "nats://hub",
            "http://hub/token",
            "id",
            "secret",
            connect_options{}.set_send_immediately(true));
        nats.when_published(subjects::definition, [this](auto const& /*bytes*/) {
            ++announcements;
            deliver_verdict(verdict, verdict_misalignment);
        });
        register_accepted();
    }

    void register_accepted() {
        verdict = verdict_on(sent_fingerprint, 1);
        verdict_misalignment = 0;
        list = boiler.register_provider_definition(definition);
    }

    // The ids in the provider's only reply to a read request; nothing if it is not that.
    std::optional<std::vector<variable_id>> requested(
        std::string const& bytes, std::size_t misalignment = 0) {
        auto const inbox = "inbox." + std::to_string(++requests);
        nats.deliver(
            {.subject = subjects::read_request,
             .bytes = bytes,
             .reply = inbox,
             .misalignment = misalignment});
        auto const replies = nats.published(inbox);
        if (replies.size() != 1) {
            return std::nullopt;
        }
        auto const reply = read_reply_in(replies.front().bytes);
        EXPECT_EQ(reply.fingerprint, sent_fingerprint);
        return reply.ids();
    }

    void expect_usable() {
        EXPECT_TRUE(boiler.is_connected());
        EXPECT_EQ(boiler.get_fingerprint(), sent_fingerprint);
        EXPECT_EQ(requested(request_for_all()), all_ids());
        EXPECT_EQ(lines.take(), "");
    }

    std::vector<variable_id> all_ids() const {
        return {speed_of(*list), running_of(*list)};
    }

    static void record_command(
        definition_fingerprint fingerprint,
        variable_write_command const& command,
        provider& /*receiver*/,
        void* user_data) {
        EXPECT_EQ(fingerprint, sent_fingerprint);
        static_cast<damaged_message*>(user_data)->commands.push_back(command.entries);
    }

    boiler_definition definition{sent_fingerprint};
    std::string verdict;
    std::size_t verdict_misalignment = 0;
    std::shared_ptr<variable_list> list;
    std::vector<decltype(variable_write_command::entries)> commands;
    int announcements = 0;
    int requests = 0;
    fresh_text lines{errors};
};

TEST_P(damaged_message, as_a_registry_state_announces_the_definition_or_is_none_or_is_reported) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        announcements = 0;

        nats.deliver(
            {.subject = subjects::registry_state, .bytes = bytes, .misalignment = misalignment});

        auto const line = lines.take();
        EXPECT_THAT(announcements, AnyOf(0, 1));
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, no_state);
        }
        EXPECT_THAT(line, AnyOf("", no_state));
        EXPECT_TRUE(line.empty() || announcements == 0);
        expect_usable();
    }
    nats.deliver({.subject = subjects::registry_state, .bytes = ready_registry()});
    EXPECT_EQ(announcements, 1);
}

TEST_P(damaged_message, as_a_verdict_that_nobody_waits_for_changes_nothing) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);

        deliver_verdict(bytes, misalignment);

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, no_verdict);
        }
        EXPECT_THAT(line, AnyOf("", no_verdict, no_definition));
        expect_usable();
    }
}

TEST_P(damaged_message, as_an_awaited_verdict_is_the_one_before_or_rejects_or_accepts) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        verdict = bytes;
        verdict_misalignment = misalignment;

        auto const thrown = thrown_message<invalid_provider_definition>(
            [this] { list = boiler.register_provider_definition(definition); });

        auto const line = lines.take();
        EXPECT_THAT(line, AnyOf("", no_verdict, no_definition));
        if (without_numbers(thrown) == rejection) {
            EXPECT_EQ(line, "");
            EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
            register_accepted();
        } else {
            EXPECT_EQ(thrown, "<nothing was thrown>");
        }
        expect_usable();
    }
}

TEST_P(damaged_message, as_a_read_request_is_answered_with_what_it_asks_for_or_everything) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);

        auto const ids = requested(bytes, misalignment);

        ASSERT_TRUE(ids);
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(*ids, all_ids());
        }
        EXPECT_THAT(*ids, testing::Each(testing::AnyOfArray(all_ids())));
        EXPECT_EQ(lines.take(), "");
        expect_usable();
    }
}

TEST_P(damaged_message, as_a_write_command_reaches_the_application_or_is_reported) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        commands.clear();

        nats.deliver(
            {.subject = subjects::write_command, .bytes = bytes, .misalignment = misalignment});

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, no_variables);
        }
        EXPECT_THAT(line, AnyOf("", no_variables, no_items, no_string, outdated));
        EXPECT_THAT(commands, SizeIs(line.empty() ? 1 : 0));
        expect_usable();
    }
    commands.clear();
    nats.deliver(
        {.subject = subjects::write_command,
         .bytes = command_to_write(sent_fingerprint, speed_of(*list), 1.5)});
    EXPECT_THAT(commands, ElementsAre(SizeIs(1)));
}

INSTANTIATE_TEST_SUITE_P(every, damaged_message, testing::ValuesIn(every_damage()), case_name);

} // namespace

} // namespace arvenhold::corvel::hub
