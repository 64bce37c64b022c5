// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/dev_hub.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/registry.hpp"
#include "raw_client.hpp"
#include "support/thrown_message.hpp"
#include "wire_messages.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;

definition make_definition(std::uint64_t fingerprint) {
    return {fingerprint, {{"boiler/pressure", 1, 3, 1}, {"boiler/setpoint", 2, 3, 2}}};
}

dev_hub_options make_options() {
    dev_hub_options options;
    options.registry.probe_interval = 50ms;
    return options;
}

// A provider that listens to everything a provider listens to, and does nothing by itself.
class raw_provider {
    std::string const m_id;
    raw_client m_client;

public:
    listener reads = m_client.listen("v1.loc." + m_id + ".vars.qry.read");
    listener verdicts = m_client.listen("v1.loc.registry.providers." + m_id + ".def.evt.changed");

    raw_provider(
        nats_server const& server,
        std::string id,
        std::chrono::milliseconds reconnect_wait = std::chrono::milliseconds{20})
        : m_id{std::move(id)}
        , m_client{server, reconnect_wait} {}

    void publish(wire_bytes const& event) {
        m_client.publish("v1.loc." + m_id + ".def.evt.changed", event);
    }

    // Publishes a definition and returns the registry's verdict.
    std::optional<carried_definition> get_verdict_on(definition const& published) {
        publish(make_definition_event(published));
        auto const event = verdicts.take();
        return event.has_value() ? read_definition_changed(*event) : std::nullopt;
    }

    void leave() {
        m_client.close();
    }
};

class registry_test : public testing::Test {
protected:
    dev_hub hub{make_options()};
    nats_server& server = hub.get_nats_server();
    registry& tested = hub.get_registry();
    event_log& log = hub.get_log();
    raw_client consumer{server};
    listener lists = consumer.listen("v1.loc.registry.providers.evt.changed");
    listener states = consumer.listen("v1.loc.registry.state.evt.changed");

    std::vector<std::string> take_list() {
        auto const event = lists.take();
        return event.has_value() ? read_changed_providers(*event)
                                 : std::vector<std::string>{"<no list came>"};
    }

    std::optional<carried_definition> request_definition(std::string const& id) {
        auto const subject = "v1.loc.registry.providers." + id + ".def.qry.read";
        auto const reply = consumer.request(subject, make_definition_query());
        EXPECT_EQ(reply.status, NATS_OK);
        return read_definition_answer(reply.bytes);
    }

    // From a client of its own, which no restart of the server has disconnected.
    natsStatus request_list(std::chrono::milliseconds limit = time_limit) {
        raw_client client{server};
        auto const query = make_list_query();
        return client.request("v1.loc.registry.providers.qry.read", query, limit).status;
    }
};

TEST_F(registry_test, accepts_a_good_definition_and_passes_it_on) {
    raw_provider boiler{server, "boiler"};

    auto const verdict = boiler.get_verdict_on(make_definition(7));

    EXPECT_THAT(verdict, Optional(carried_definition{make_definition(7), 1}));
    EXPECT_EQ(log.get_count(event_kind::definition_received, "boiler"), 1U);
    EXPECT_EQ(log.get_count(event_kind::definition_accepted, "boiler"), 1U);
}

TEST_F(registry_test, accepts_a_definition_without_fingerprint_and_variables) {
    raw_provider boiler{server, "boiler"};

    auto const verdict = boiler.get_verdict_on({0, {}});

    EXPECT_THAT(verdict, Optional(carried_definition{{0, {}}, 1}));
}

TEST_F(registry_test, rejects_a_definition_that_breaks_a_rule_and_does_not_store_it) {
    raw_provider boiler{server, "boiler"};
    definition const broken{7, {{"boiler pressure", 1, 3, 1}}};

    auto const verdict = boiler.get_verdict_on(broken);

    EXPECT_THAT(verdict, Optional(carried_definition{broken, 0}));
    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
    EXPECT_THAT(tested.get_providers(), IsEmpty());
    EXPECT_THAT(
        log.get_events(),
        testing::Contains(testing::AllOf(
            testing::Field(&hub_event::kind, event_kind::definition_rejected),
            testing::Field(&hub_event::subject, "boiler"),
            testing::Field(
                &hub_event::detail, "variable 1: its path has a blank or a control character"))));
}

TEST_F(registry_test, keeps_a_good_definition_when_a_later_one_is_rejected) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    ASSERT_TRUE(boiler.get_verdict_on({8, {{"", 1, 3, 1}}}).has_value());

    EXPECT_THAT(tested.get_definition("boiler"), Optional(make_definition(7)));
    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
}

TEST_F(registry_test, stores_the_newest_definition_even_with_the_same_fingerprint) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    definition const newest{7, {{"boiler/pressure", 101, 3, 1}}};

    ASSERT_TRUE(boiler.get_verdict_on(newest).has_value());

    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{newest, 1}));
}

TEST_F(registry_test, tells_consumers_of_a_new_provider) {
    raw_provider boiler{server, "boiler"};
    raw_provider pump{server, "pump"};

    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    EXPECT_THAT(take_list(), ElementsAre("boiler"));
    ASSERT_TRUE(pump.get_verdict_on(make_definition(8)).has_value());
    EXPECT_THAT(take_list(), ElementsAre("boiler", "pump"));
}

TEST_F(registry_test, does_not_repeat_the_list_when_a_listed_provider_publishes_again) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    ASSERT_TRUE(boiler.get_verdict_on(make_definition(8)).has_value());

    EXPECT_EQ(log.get_count(event_kind::providers_published), 1U);
}

TEST_F(registry_test, answers_queries_for_the_list) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    auto const reply = consumer.request("v1.loc.registry.providers.qry.read", make_list_query());

    EXPECT_EQ(reply.status, NATS_OK);
    EXPECT_THAT(read_answered_providers(reply.bytes), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::providers_requested), 1U);
}

TEST_F(registry_test, answers_queries_for_an_empty_list) {
    auto const reply = consumer.request("v1.loc.registry.providers.qry.read", make_list_query());

    EXPECT_EQ(reply.status, NATS_OK);
    EXPECT_THAT(read_answered_providers(reply.bytes), IsEmpty());
}

TEST_F(registry_test, answers_queries_for_a_definition) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{make_definition(7), 1}));
    EXPECT_EQ(log.get_count(event_kind::definition_requested, "boiler"), 1U);
}

TEST_F(registry_test, answers_queries_for_an_unknown_provider_without_a_definition) {
    EXPECT_EQ(request_definition("nobody"), std::nullopt);
}

TEST_F(registry_test, knows_a_definition_before_its_verdict) {
    tested.set_verdict_delay(1h);
    raw_provider boiler{server, "boiler"};

    boiler.publish(make_definition_event(make_definition(7)));

    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, time_limit));
    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{make_definition(7), 1}));
    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

class dotted_identifier : public registry_test, public testing::WithParamInterface<char const*> {};

TEST_P(dotted_identifier, is_served_like_any_other) {
    std::string const id = GetParam();
    raw_provider provider{server, id};

    auto const verdict = provider.get_verdict_on(make_definition(7));

    EXPECT_THAT(verdict, Optional(carried_definition{make_definition(7), 1}));
    EXPECT_THAT(take_list(), ElementsAre(id));
    EXPECT_THAT(request_definition(id), Optional(carried_definition{make_definition(7), 1}));
    EXPECT_TRUE(provider.reads.answer_next(make_read_reply(7)));
}

INSTANTIATE_TEST_SUITE_P(
    identifiers,
    dotted_identifier,
    testing::Values("plant.boiler", "registry.boiler", "a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p"),
    [](auto const& given) { return "identifier_" + std::to_string(given.index); });

TEST_F(registry_test, does_not_take_another_registrys_verdict_for_a_definition) {
    raw_provider impostor{server, "registry.providers.boiler"};

    impostor.publish(make_definition_event(make_definition(7)));

    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored,
        "v1.loc.registry.providers.boiler.def.evt.changed",
        1,
        time_limit));
    EXPECT_EQ(log.get_count(event_kind::definition_received), 0U);
}

TEST_F(registry_test, ignores_bytes_that_are_no_message) {
    raw_provider boiler{server, "boiler"};

    boiler.publish({0xff, 0xff, 0xff, 0x7f, 1, 2, 3, 4});
    boiler.publish({});

    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 2, time_limit));
    EXPECT_EQ(log.get_count(event_kind::definition_received), 0U);
}

TEST_F(registry_test, ignores_a_definition_event_without_a_definition) {
    raw_provider boiler{server, "boiler"};

    boiler.publish(make_empty_definition_event());

    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 1, time_limit));
}

TEST_F(registry_test, gives_its_verdict_after_the_delay) {
    tested.set_verdict_delay(200ms);
    raw_provider boiler{server, "boiler"};
    auto const start = std::chrono::steady_clock::now();

    auto const verdict = boiler.get_verdict_on(make_definition(7));

    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
    EXPECT_TRUE(verdict.has_value());
}

TEST_F(registry_test, answers_others_while_a_verdict_is_delayed) {
    tested.set_verdict_delay(1h);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, time_limit));
    tested.set_verdict_delay(0ms);
    raw_provider pump{server, "pump"};

    auto const verdict = pump.get_verdict_on(make_definition(8));

    EXPECT_TRUE(verdict.has_value());
    EXPECT_EQ(log.get_count(event_kind::definition_accepted, "boiler"), 0U);
}

TEST_F(registry_test, repeats_its_verdict_on_request) {
    tested.set_verdict_copies(2);
    raw_provider boiler{server, "boiler"};

    auto const first = boiler.get_verdict_on(make_definition(7));
    auto const second = boiler.verdicts.take();

    EXPECT_TRUE(first.has_value());
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(read_definition_changed(*second), first);
    EXPECT_THAT(take_list(), ElementsAre("boiler"));
}

TEST_F(registry_test, keeps_its_verdict_back_on_request) {
    tested.set_verdict_copies(0);
    tested.set_verdict_delay(0ms);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, time_limit));

    // Answering probes does not bring it into the list either.
    ASSERT_TRUE(boiler.reads.answer_next(make_read_reply(7)));
    ASSERT_TRUE(boiler.reads.answer_next(make_read_reply(7)));

    EXPECT_EQ(log.get_count(event_kind::definition_accepted), 0U);
    EXPECT_THAT(tested.get_providers(), IsEmpty());
    EXPECT_FALSE(boiler.verdicts.take(0ms).has_value());
}

TEST_F(registry_test, lets_requests_time_out_while_it_is_silent) {
    raw_provider boiler{server, "boiler"};
    tested.go_silent();

    boiler.publish(make_definition_event(make_definition(7)));
    auto const status = request_list(100ms);

    EXPECT_EQ(status, NATS_TIMEOUT);
    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 1, time_limit));
    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
    EXPECT_EQ(log.get_count(event_kind::registry_silent), 1U);
}

TEST_F(registry_test, drops_a_verdict_that_is_due_while_it_is_silent) {
    tested.set_verdict_delay(50ms);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, time_limit));

    tested.go_silent();

    EXPECT_FALSE(boiler.verdicts.take(200ms).has_value());
    EXPECT_EQ(log.get_count(event_kind::definition_accepted), 0U);
}

TEST_F(registry_test, answers_again_when_it_speaks_again) {
    tested.go_silent();

    tested.speak_again();

    EXPECT_EQ(request_list(), NATS_OK);
}

TEST_F(registry_test, rejects_one_provider_on_request) {
    tested.reject("boiler");
    raw_provider boiler{server, "boiler"};
    raw_provider pump{server, "pump"};

    auto const boiler_verdict = boiler.get_verdict_on(make_definition(7));
    auto const pump_verdict = pump.get_verdict_on(make_definition(8));

    EXPECT_THAT(boiler_verdict, Optional(carried_definition{make_definition(7), 0}));
    EXPECT_THAT(pump_verdict, Optional(carried_definition{make_definition(8), 1}));
}

TEST_F(registry_test, rejects_all_providers_on_request) {
    tested.reject_all();
    raw_provider boiler{server, "boiler"};

    auto const verdict = boiler.get_verdict_on(make_definition(7));

    EXPECT_THAT(verdict, Optional(carried_definition{make_definition(7), 0}));
}

TEST_F(registry_test, judges_normally_again_on_request) {
    tested.reject("boiler");
    tested.reject_all();

    tested.judge_normally();

    raw_provider boiler{server, "boiler"};
    auto const verdict = boiler.get_verdict_on(make_definition(7));
    EXPECT_THAT(verdict, Optional(carried_definition{make_definition(7), 1}));
}

TEST_F(registry_test, withdraws_a_definition_and_keeps_the_provider_in_the_list) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    tested.withdraw_definition("boiler");

    auto const event = boiler.verdicts.take();
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(read_definition_changed(*event), std::nullopt);
    EXPECT_EQ(request_definition("boiler"), std::nullopt);
    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::definition_withdrawn, "boiler"), 1U);
}

TEST_F(registry_test, forgets_a_provider) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    ASSERT_THAT(take_list(), ElementsAre("boiler"));

    tested.forget_provider("boiler");

    EXPECT_THAT(take_list(), IsEmpty());
    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
}

TEST_F(registry_test, lists_a_forgotten_provider_when_it_publishes_again) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    tested.forget_provider("boiler");

    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    EXPECT_TRUE(tested.wait_until_provider_listed("boiler", time_limit));
}

TEST_F(registry_test, announces_itself_after_a_restart_and_has_forgotten_everything) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    tested.restart();

    auto const state = states.take();
    ASSERT_TRUE(state.has_value());
    EXPECT_EQ(read_registry_state(*state), 1);
    EXPECT_EQ(request_definition("boiler"), std::nullopt);
    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, collects_returning_providers_after_a_restart_before_it_publishes_the_list) {
    raw_provider boiler{server, "boiler"};
    raw_provider pump{server, "pump"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    ASSERT_TRUE(pump.get_verdict_on(make_definition(8)).has_value());
    ASSERT_THAT(take_list(), ElementsAre("boiler"));
    ASSERT_THAT(take_list(), ElementsAre("boiler", "pump"));
    tested.set_verdict_delay(0ms);

    tested.restart();
    boiler.publish(make_definition_event(make_definition(7)));
    pump.publish(make_definition_event(make_definition(8)));

    EXPECT_THAT(take_list(), ElementsAre("boiler", "pump"));
}

TEST_F(registry_test, publishes_the_list_after_a_restart_even_if_nobody_returns) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    ASSERT_THAT(take_list(), ElementsAre("boiler"));

    tested.restart();

    EXPECT_THAT(take_list(), IsEmpty());
}

TEST_F(registry_test, is_away_after_a_restart_without_a_server_and_can_be_restarted_again) {
    server.stop();

    auto const message = thrown_message<dev_hub_failure>([&] { tested.restart(); });
    server.start();
    tested.restart();

    EXPECT_EQ(
        message,
        "the registry failed to connect to " + server.get_url()
            + ": No server available for connection");
    EXPECT_EQ(request_list(), NATS_OK);
}

TEST_F(registry_test, looks_for_providers_with_a_request_for_one_impossible_variable) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    auto const probe = boiler.reads.take();

    ASSERT_TRUE(probe.has_value());
    EXPECT_THAT(read_requested_ids(*probe), ElementsAre(4'294'967'295U));
}

TEST_F(registry_test, keeps_a_provider_that_listens_without_answering) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    ASSERT_TRUE(boiler.reads.take().has_value());
    ASSERT_TRUE(boiler.reads.take().has_value());
    ASSERT_TRUE(boiler.reads.take().has_value());

    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::provider_gone), 0U);
}

TEST_F(registry_test, notices_that_a_provider_is_gone) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    ASSERT_THAT(take_list(), ElementsAre("boiler"));

    boiler.leave();

    EXPECT_THAT(take_list(), IsEmpty());
    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", time_limit));
    EXPECT_THAT(tested.get_definition("boiler"), Optional(make_definition(7)));
    EXPECT_EQ(log.get_count(event_kind::provider_gone, "boiler"), 1U);
}

TEST_F(registry_test, lists_a_gone_provider_again_that_answers_with_the_known_fingerprint) {
    raw_provider{server, "boiler"}.get_verdict_on(make_definition(7));
    ASSERT_TRUE(tested.wait_until_provider_gone("boiler", time_limit));
    ASSERT_THAT(take_list(), ElementsAre("boiler"));
    ASSERT_THAT(take_list(), IsEmpty());

    raw_provider returned{server, "boiler"};
    ASSERT_TRUE(returned.reads.answer_next(make_read_reply(7)));

    EXPECT_THAT(take_list(), ElementsAre("boiler"));
}

TEST_F(registry_test, does_not_list_a_gone_provider_that_answers_with_another_fingerprint) {
    raw_provider{server, "boiler"}.get_verdict_on(make_definition(7));
    ASSERT_TRUE(tested.wait_until_provider_gone("boiler", time_limit));

    raw_provider returned{server, "boiler"};
    ASSERT_TRUE(returned.reads.answer_next(make_read_reply(8)));
    ASSERT_TRUE(returned.reads.answer_next({}));
    ASSERT_TRUE(returned.reads.take().has_value());

    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, lists_a_gone_provider_again_that_publishes) {
    raw_provider{server, "boiler"}.get_verdict_on(make_definition(7));
    ASSERT_TRUE(tested.wait_until_provider_gone("boiler", time_limit));

    raw_provider returned{server, "boiler"};
    ASSERT_TRUE(returned.get_verdict_on(make_definition(8)).has_value());

    EXPECT_TRUE(tested.wait_until_provider_listed("boiler", time_limit));
    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{make_definition(8), 1}));
}

TEST_F(registry_test, does_not_wait_longer_than_asked_for_a_provider) {
    EXPECT_FALSE(tested.wait_until_provider_listed("boiler", 1ms));
    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", 1ms));
}

TEST_F(registry_test, announces_itself_when_the_server_was_restarted) {
    server.restart();

    EXPECT_TRUE(log.wait_until_recorded(event_kind::registry_ready, {}, 2, time_limit));
    EXPECT_EQ(request_list(), NATS_OK);
}

TEST_F(registry_test, keeps_a_provider_that_reconnects_later_than_itself) {
    raw_provider boiler{server, "boiler", 1s};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    server.restart();
    ASSERT_TRUE(log.wait_until_recorded(event_kind::registry_ready, {}, 2, time_limit));
    while (boiler.reads.take(0ms).has_value()) {
        // Probes from before the restart.
    }

    ASSERT_TRUE(boiler.reads.answer_next(make_read_reply(7)));

    EXPECT_EQ(log.get_count(event_kind::provider_gone), 0U);
}

TEST_F(registry_test, notices_a_provider_that_does_not_come_back_after_a_restart_of_the_server) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
    server.kill();
    boiler.leave();

    server.start();

    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", time_limit));
}

TEST_F(registry_test, takes_nobody_for_lost_while_the_server_is_away) {
    raw_provider boiler{server, "boiler"};
    ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());

    server.kill();

    EXPECT_FALSE(tested.wait_until_provider_gone("boiler", 200ms));
}

TEST(dev_hub, admits_clients_with_its_token_and_writes_a_line_per_event) {
    std::ostringstream lines;
    dev_hub_options options = make_options();
    options.lines = &lines;
    {
        dev_hub hub{options};
        raw_provider boiler{hub.get_nats_server(), "boiler"};
        ASSERT_TRUE(boiler.get_verdict_on(make_definition(7)).has_value());
        ASSERT_TRUE(hub.get_registry().wait_until_provider_listed("boiler", time_limit));
    }

    EXPECT_THAT(
        lines.str(),
        testing::ContainsRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} nats-server started: "
                               "nats://127\\.0\\.0\\.1:[0-9]+\n"));
    EXPECT_THAT(
        lines.str(), HasSubstr(" definition received: boiler  fingerprint 7, 2 variables\n"));
    EXPECT_THAT(lines.str(), HasSubstr(" provider listed: boiler\n"));
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
