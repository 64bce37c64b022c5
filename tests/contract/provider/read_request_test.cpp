// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/lists.hpp"
#include "support/odd_messages.hpp"
#include "support/provider_messages.hpp"

#include <atomic>
#include <map>

namespace arvenhold::corvel::hub {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr variable_id unknown_id = 0xFFFFFFFF;

std::string up_to_first_zero(std::string const& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

class delivered_read_request : public boiler_test {
protected:
    void ask(std::string const& bytes) {
        nats.deliver({.subject = subjects::read_request, .bytes = bytes, .reply = "inbox"});
    }

    sent_variables reply() const {
        return read_reply_in(last_published("inbox"));
    }

    sent_variables reply_to(std::string const& bytes) {
        ask(bytes);
        return reply();
    }
};

TEST_F(delivered_read_request, is_answered_with_everything_when_it_names_nothing) {
    auto const list = start();
    auto const everything = ElementsAre(speed_of(*list), running_of(*list));

    EXPECT_THAT(reply_to(wire::read_variables_query({{}})).ids(), everything);
    EXPECT_THAT(reply_to(wire::read_variables_query(std::nullopt)).ids(), everything);
    EXPECT_THAT(reply_to("").ids(), everything);
}

TEST_F(delivered_read_request, is_answered_in_ascending_id_when_it_names_nothing) {
    constexpr std::size_t count = 100;
    connect();
    std::vector<variable_definition_entry> const entries(
        count, {"pump/speed", 0.0, variable_permissions::read_write});
    finalized_definition definition{7, entries};
    static_cast<void>(with_verdict(
        verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); }));

    auto const ids = reply_to(request_for_all()).ids();

    EXPECT_THAT(ids, SizeIs(count));
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
}

TEST_F(delivered_read_request, is_answered_in_its_own_order_twice_for_what_it_names_twice) {
    auto const list = start();
    auto const speed = speed_of(*list);
    auto const running = running_of(*list);

    EXPECT_THAT(
        reply_to(wire::read_variables_query({{running, speed, running}})).ids(),
        ElementsAre(running, speed, running));
}

// The values named would take 4 GiB, which no message can hold.
TEST_F(delivered_read_request, is_not_answered_at_full_length_when_that_cannot_be_sent) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20U;
    connect();
    finalized_definition definition{
        7, {{"log", std::string(mebibyte, 'x'), variable_permissions::read_only}}};
    auto const list = with_verdict(
        verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); });
    auto const id = list->get_variables().begin()->first;

    ask(wire::read_variables_query(std::vector<variable_id>(4096, id)));

    EXPECT_GT(last_published("inbox").size(), 64 * mebibyte);
    EXPECT_LT(last_published("inbox").size(), 67 * mebibyte);
}

TEST_F(delivered_read_request, is_answered_without_what_does_not_exist) {
    auto const list = start();

    EXPECT_THAT(
        reply_to(wire::read_variables_query({{unknown_id, speed_of(*list)}})).ids(),
        ElementsAre(speed_of(*list)));
    EXPECT_THAT(reply_to(wire::read_variables_query({{unknown_id}})).ids(), IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(delivered_read_request, is_read_at_any_address) {
    auto const list = start();
    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.deliver(
            {.subject = subjects::read_request,
             .bytes = wire::read_variables_query({{running_of(*list)}}),
             .reply = "inbox",
             .misalignment = misalignment});

        EXPECT_THAT(reply().ids(), ElementsAre(running_of(*list)));
    }
}

TEST_F(delivered_read_request, is_answered_with_values_and_the_times_of_their_updates) {
    auto const list = start();
    list->write_variable(speed_of(*list), 1.5, timestamp{-1ns});
    list->set_quality(running_of(*list), variable_quality{65}, noon + 1ns);
    auto const before = std::chrono::system_clock::now();

    auto const answer = reply_to(request_for_all());

    auto const after = std::chrono::system_clock::now();
    EXPECT_EQ(answer.fingerprint, 7U);
    timestamp const when{
        std::chrono::seconds{answer.when.seconds} + std::chrono::nanoseconds{answer.when.nanos}};
    EXPECT_GE(when, before);
    EXPECT_LE(when, after);
    EXPECT_THAT(
        answer.items,
        ElementsAre(
            sent_variable{speed_of(*list), 1.5, 192, sent_time{0, -1}},
            sent_variable{running_of(*list), false, 64, sent_time{43'200, 1}}));
}

TEST_F(delivered_read_request, leaves_pending_what_is_pending) {
    auto const list = start();
    list->write_variable(speed_of(*list), 1.5, noon);

    ask(request_for_all());
    boiler.publish(noon);

    EXPECT_THAT(
        change_event_in(last_published(subjects::change_event)).ids(),
        ElementsAre(speed_of(*list)));
}

TEST_F(delivered_read_request, is_answered_after_a_failure) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
    EXPECT_THROW(boiler.publish(noon), connection_failed);

    ask(request_for_all());

    EXPECT_THAT(reply().items, SizeIs(2));
}

TEST_F(delivered_read_request, is_answered_after_a_rejection) {
    connect();
    boiler_definition definition{7};
    EXPECT_THROW(
        with_verdict(
            verdict_on(7, 0), [&] { return boiler.register_provider_definition(definition); }),
        invalid_provider_definition);

    ask(request_for_all());

    EXPECT_EQ(reply().fingerprint, 7U);
    EXPECT_THAT(reply().items, SizeIs(2));
}

// Registering again does not wait for the registry then.
class read_request_during_a_registration : public delivered_read_request {
protected:
    read_request_during_a_registration() {
        lists[7] = start();
        nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
        EXPECT_THROW(boiler.publish(noon), connection_failed);
    }

    void register_anew(definition_fingerprint fingerprint) {
        boiler_definition definition{fingerprint};
        lists[fingerprint] = boiler.register_provider_definition(definition);
    }

    std::map<definition_fingerprint, std::shared_ptr<variable_list>> lists;
};

TEST_F(read_request_during_a_registration, is_answered_from_the_list_that_it_found) {
    nats.when_called("natsMsg_GetDataLength", [this] { register_anew(8); });

    ask(request_for_all());

    EXPECT_EQ(reply().fingerprint, 7U);
    EXPECT_EQ(reply().ids(), ids_of(*lists[7]));
}

TEST_F(read_request_during_a_registration, never_pairs_a_list_with_another_fingerprint) {
    constexpr int requests = 3'000;
    std::atomic<bool> is_through{false};
    auto registering = std::async(std::launch::async, [&] {
        for (definition_fingerprint fingerprint = 8; !is_through; ++fingerprint) {
            register_anew(fingerprint);
        }
    });

    for (int request = 0; request < requests; ++request) {
        ask(request_for_all());
    }

    is_through = true;
    registering.get();
    for (auto const& [subject, bytes] : nats.published("inbox")) {
        auto const answer = read_reply_in(bytes);
        EXPECT_EQ(answer.ids(), ids_of(*lists.at(answer.fingerprint)));
    }
}

TEST_F(delivered_read_request, is_not_answered_without_a_list) {
    connect();

    ask(request_for_all());

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: failed to assemble reply for read request: variable list unavailable\n");
    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(delivered_read_request, without_a_message_is_reported) {
    connect();

    nats.deliver_null(subjects::read_request);

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to assemble reply for read request: request message unavailable\n");
}

TEST_F(delivered_read_request, without_a_reply_subject_is_reported_and_marks_the_provider_failed) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_INVALID_SUBJECT);

    nats.deliver({.subject = subjects::read_request, .bytes = request_for_all()});

    auto const bytes = last_published("");
    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boilerFailed to publish reply to read request (" + std::to_string(bytes.size())
            + " bytes @" + up_to_first_zero(bytes)
            + ") to subject : NATS returns 15 = Invalid Subject\n");
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(
    delivered_read_request,
    is_reported_when_the_reply_cannot_be_sent_and_marks_the_provider_failed) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_MAX_PAYLOAD);

    ask(request_for_all());

    auto const bytes = last_published("inbox");
    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boilerFailed to publish reply to read request (" + std::to_string(bytes.size())
            + " bytes @" + up_to_first_zero(bytes)
            + ") to subject inbox: NATS returns 21 = Maximum Payload Exceeded\n");
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(delivered_read_request, is_flushed_when_it_is_the_only_one) {
    static_cast<void>(start());

    ask(request_for_all());

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Publish inbox " + std::to_string(last_published("inbox").size()),
            "natsSubscription_GetPending v1.loc.boiler.vars.qry.read",
            "natsConnection_FlushTimeout 500"));
}

TEST_F(delivered_read_request, is_not_flushed_while_another_one_waits) {
    static_cast<void>(start());
    nats.hold_deliveries();
    for (auto const* const inbox : {"inbox.1", "inbox.2", "inbox.3"}) {
        nats.deliver(
            {.subject = subjects::read_request, .bytes = request_for_all(), .reply = inbox},
            fake_nats::run_on::own_thread);
    }

    nats.release_deliveries();

    ASSERT_TRUE(nats.wait_until_delivered());
    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            StartsWith("natsConnection_Publish inbox.1 "),
            "natsSubscription_GetPending v1.loc.boiler.vars.qry.read",
            StartsWith("natsConnection_Publish inbox.2 "),
            "natsSubscription_GetPending v1.loc.boiler.vars.qry.read",
            StartsWith("natsConnection_Publish inbox.3 "),
            "natsSubscription_GetPending v1.loc.boiler.vars.qry.read",
            "natsConnection_FlushTimeout 500"));
}

TEST_F(delivered_read_request, is_answered_all_the_same_when_the_flush_fails) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    ask(request_for_all());

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(errors.text(), IsEmpty());
    EXPECT_THAT(reply().items, SizeIs(2));
}

} // namespace

} // namespace arvenhold::corvel::hub
