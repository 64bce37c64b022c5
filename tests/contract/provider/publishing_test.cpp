// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/case_name.hpp"
#include "support/lists.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

namespace arvenhold::corvel::hub {

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class publishing : public boiler_test {
protected:
    sent_variables last_event() const {
        return change_event_in(last_published(subjects::change_event));
    }

    // Marks the provider failed.
    void fail() {
        nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
        static_cast<void>(thrown_message<connection_failed>([&] { boiler.publish(noon); }));
        nats.forget_calls();
    }
};

TEST_F(publishing, sends_one_event_for_each_call_and_flushes_nothing) {
    auto const list = start();

    list->publish(speed_of(*list), 1.5, noon);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Publish v1.loc.boiler.vars.evt.changed "
            + std::to_string(last_published(subjects::change_event).size())));
    EXPECT_EQ(last_event().fingerprint, 7U);
    EXPECT_EQ(last_event().when, (sent_time{43'200, 0}));
    EXPECT_THAT(
        last_event().items, ElementsAre(sent_variable{speed_of(*list), 1.5, 192, std::nullopt}));
}

TEST_F(publishing, sends_an_event_without_items_when_nothing_is_pending) {
    static_cast<void>(start());

    boiler.publish(noon + 1ns);

    ASSERT_THAT(nats.calls(), SizeIs(1));
    EXPECT_EQ(last_event().fingerprint, 7U);
    EXPECT_EQ(last_event().when, (sent_time{43'200, 1}));
    EXPECT_THAT(last_event().items, IsEmpty());
}

TEST_F(publishing, leaves_out_and_forgets_ids_that_the_list_does_not_have) {
    auto const list = start();
    list->lock();
    list->get_modification_tracker()->insert(4711);
    list->unlock();

    list->publish(speed_of(*list), 1.5, noon);

    EXPECT_THAT(last_event().ids(), ElementsAre(speed_of(*list)));
    EXPECT_THAT(*list->get_modification_tracker(), IsEmpty());
}

TEST_F(publishing, sends_a_change_once) {
    auto const list = start();
    list->write_variable(speed_of(*list), 1.5, noon);

    boiler.publish(noon);
    boiler.publish(noon);

    auto const events = nats.published(subjects::change_event);
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_THAT(change_event_in(events[1].bytes).ids(), ElementsAre(speed_of(*list)));
    EXPECT_THAT(change_event_in(events[2].bytes).ids(), IsEmpty());
}

TEST_F(publishing, sends_a_quality_with_the_next_value_of_any_variable) {
    auto const list = start();
    list->set_quality(running_of(*list), variable_quality::uncertain_last_usable_value, noon);
    EXPECT_THAT(nats.calls(), IsEmpty());

    list->publish(speed_of(*list), 1.5, noon);

    EXPECT_THAT(
        last_event().items,
        UnorderedElementsAre(
            sent_variable{speed_of(*list), 1.5, 192, std::nullopt},
            sent_variable{running_of(*list), false, 67, std::nullopt}));
}

TEST_F(publishing, sends_all_values_of_a_bulk_in_one_event) {
    auto const list = start();

    list->bulk_publish({{speed_of(*list), 1.5}, {running_of(*list), true}}, noon);

    ASSERT_THAT(nats.calls(), SizeIs(1));
    EXPECT_THAT(
        last_event().items,
        UnorderedElementsAre(
            sent_variable{speed_of(*list), 1.5, 192, std::nullopt},
            sent_variable{running_of(*list), true, 192, std::nullopt}));
}

TEST_F(publishing, sends_every_type) {
    connect();
    finalized_definition definition{
        7,
        {{"a/bool", true, variable_permissions::read_write},
         {"b/double", -1.5, variable_permissions::read_write},
         {"c/int64", std::int64_t{-42}, variable_permissions::read_write},
         {"d/string", std::string{"hand"}, variable_permissions::read_write},
         {"e/time", noon - 24h, variable_permissions::read_write},
         {"f/duration", nanoseconds{-1500ms}, variable_permissions::read_write}}};
    auto const list = with_verdict(
        verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); });

    boiler.publish(noon);

    auto const lowest = list->get_variables().begin()->first;
    EXPECT_THAT(
        last_event().items,
        UnorderedElementsAre(
            sent_variable{lowest, true, 192, std::nullopt},
            sent_variable{lowest + 1, -1.5, 192, std::nullopt},
            sent_variable{lowest + 2, std::int64_t{-42}, 192, std::nullopt},
            sent_variable{lowest + 3, std::string{"hand"}, 192, std::nullopt},
            sent_variable{lowest + 4, noon - 24h, 192, std::nullopt},
            sent_variable{lowest + 5, nanoseconds{-1500ms}, 192, std::nullopt}));
}

TEST_F(publishing, sends_known_qualities_as_they_are_and_any_other_as_uncertain) {
    auto const list = start();
    auto const sent_as = [&](std::uint32_t quality) {
        list->bulk_set_quality({{speed_of(*list), variable_quality{quality}}}, noon);
        return last_event().items.at(0).quality;
    };

    EXPECT_EQ(sent_as(0), 0);
    EXPECT_EQ(sent_as(64), 64);
    EXPECT_EQ(sent_as(67), 67);
    EXPECT_EQ(sent_as(68), 68);
    EXPECT_EQ(sent_as(192), 192);
    EXPECT_EQ(sent_as(65), 64);
    EXPECT_EQ(sent_as(193), 64);
    EXPECT_EQ(sent_as(0xFFFFFFFF), 64);
}

TEST_F(publishing, splits_a_time_before_the_epoch_toward_zero) {
    static_cast<void>(start());

    boiler.publish(timestamp{-1'500'000'001ns});
    EXPECT_EQ(last_event().when, (sent_time{-1, -500'000'001}));

    boiler.publish(timestamp{-1ns});
    EXPECT_EQ(last_event().when, (sent_time{0, -1}));

    boiler.publish(timestamp{-2s});
    EXPECT_EQ(last_event().when, (sent_time{-2, 0}));
}

TEST_F(publishing, sends_a_thousand_changes_in_one_event) {
    constexpr std::size_t count = 1000;
    connect();
    std::vector<variable_definition_entry> entries;
    for (std::size_t number = 0; number < count; ++number) {
        entries.emplace_back(
            "pump/" + std::to_string(number), 0.0, variable_permissions::read_write);
    }
    finalized_definition definition{7, entries};
    static_cast<void>(with_verdict(
        verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); }));

    boiler.publish(noon);

    EXPECT_THAT(nats.published(subjects::change_event), SizeIs(1));
    EXPECT_THAT(last_event().items, SizeIs(count));
}

TEST_F(publishing, fails_no_later_session_when_it_fails_late) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_CONNECTION_CLOSED);
    nats.when_called("natsConnection_Publish", [this] {
        boiler.disconnect();
        connect();
    });

    EXPECT_THROW(boiler.publish(noon), connection_failed);

    EXPECT_TRUE(boiler.is_connected());
    static_cast<void>(register_boiler(8));
    EXPECT_NO_THROW(boiler.publish(noon));
}

TEST_F(publishing, marks_the_provider_failed_and_loses_what_was_pending_when_sending_fails) {
    auto const list = start();
    nats.fail_next("natsConnection_Publish", NATS_INSUFFICIENT_BUFFER);

    auto const message =
        thrown_message<connection_failed>([&] { list->publish(speed_of(*list), 1.5, noon); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish updated variables (related sujbect: "
        "v1.loc.boiler.vars.evt.changed), NATS returns: 23 = Insufficient Buffer\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(pending_of(*list), IsEmpty());
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_value(), variable_value{1.5});
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
}

// Both operations, with the words of each.
struct publishing_operation {
    char const* name;
    void (provider::*run)(timestamp);
    char const* not_connected;
    char const* connection_lost;
    char const* not_registered;
};

std::ostream& operator<<(std::ostream& os, publishing_operation const& printed) {
    return os << printed.name;
}

class refusing_to_publish : public publishing,
                            public testing::WithParamInterface<publishing_operation> {
protected:
    void run() {
        (boiler.*GetParam().run)(noon);
    }
};

TEST_P(refusing_to_publish, asks_for_a_connection_first) {
    EXPECT_EQ(thrown_message<connection_failed>([&] { run(); }), GetParam().not_connected);
}

TEST_P(refusing_to_publish, leaves_everything_pending_without_a_connection) {
    auto const list = register_boiler(7);
    forget_pending(*list);
    list->set_quality(speed_of(*list), variable_quality::bad, noon);

    EXPECT_EQ(thrown_message<connection_failed>([&] { run(); }), GetParam().not_connected);

    EXPECT_THAT(pending_of(*list), ElementsAre(speed_of(*list)));
}

TEST_P(refusing_to_publish, asks_to_connect_again_after_a_failure) {
    auto const list = start();
    fail();
    list->set_quality(speed_of(*list), variable_quality::bad, noon);

    EXPECT_EQ(thrown_message<connection_failed>([&] { run(); }), GetParam().connection_lost);

    EXPECT_THAT(pending_of(*list), ElementsAre(speed_of(*list)));
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_P(refusing_to_publish, asks_for_a_registration_second) {
    connect();
    nats.forget_calls();

    EXPECT_EQ(thrown_message<operational_state_invalid>([&] { run(); }), GetParam().not_registered);

    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_P(refusing_to_publish, asks_for_a_registration_after_a_rejection) {
    connect();
    boiler_definition definition{7};
    EXPECT_THROW(
        with_verdict(
            verdict_on(7, 0), [&] { return boiler.register_provider_definition(definition); }),
        invalid_provider_definition);
    forget_pending(*boiler.get_variable_list());

    EXPECT_EQ(thrown_message<operational_state_invalid>([&] { run(); }), GetParam().not_registered);

    EXPECT_THAT(pending_of(*boiler.get_variable_list()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    both_ways,
    refusing_to_publish,
    testing::Values(
        publishing_operation{
            "publish",
            &provider::publish,
            "Provider boiler: failed to publish variables: not connected to the NATS server\n",
            "Provider boiler: failed to publish variables: connection to the NATS server has "
            "failed, attempt to disconnect and re-connect to re-establish the connection.\n",
            "Provider boiler: cannot publish, no provider definition registered\n"},
        publishing_operation{
            "force_publish_all",
            &provider::force_publish_all,
            "Provider boiler: failed to force-publish variables: not connected to the NATS "
            "server\n",
            "Provider boiler: failed to force-publish variables: connection to the NATS server has "
            "failed, attempt to disconnect and re-connect to re-establish the connection.\n",
            "Provider boiler: cannot force-publish, no provider definition registered\n"}),
    case_name);

using forced_publishing = publishing;

TEST_F(forced_publishing, sends_every_variable_in_one_event) {
    auto const list = start();

    boiler.force_publish_all(noon + 1s);

    ASSERT_THAT(nats.calls(), SizeIs(1));
    EXPECT_EQ(last_event().when, (sent_time{43'201, 0}));
    EXPECT_THAT(
        last_event().items,
        UnorderedElementsAre(
            sent_variable{speed_of(*list), 0.5, 192, std::nullopt},
            sent_variable{running_of(*list), false, 192, std::nullopt}));
    EXPECT_THAT(pending_of(*list), IsEmpty());
}

TEST_F(forced_publishing, reports_a_failure_as_publishing_does) {
    auto const list = start();
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    auto const message = thrown_message<connection_failed>([&] { boiler.force_publish_all(noon); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish updated variables (related sujbect: "
        "v1.loc.boiler.vars.evt.changed), NATS returns: 3 = IO Error\n");
    EXPECT_THAT(pending_of(*list), IsEmpty());
}

} // namespace

} // namespace arvenhold::corvel::hub
