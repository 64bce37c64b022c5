// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/dev_hub.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/registry.hpp"
#include "support/await.hpp"
#include "support/free_port.hpp"
#include "support/raw_peer.hpp"
#include "support/thrown_message.hpp"
#include "wire_messages.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
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
    raw_peer m_peer;

public:
    raw_provider(nats_server const& server, std::string id)
        : m_id{std::move(id)}
        , m_peer{server.get_url(), server.get_token()} {}

    peer_inbox reads = m_peer.listen("v1.loc." + m_id + ".vars.qry.read");
    peer_inbox verdicts = m_peer.listen("v1.loc.registry.providers." + m_id + ".def.evt.changed");

    void publish(std::string const& event) {
        m_peer.publish("v1.loc." + m_id + ".def.evt.changed", event);
    }

    // Publishes a definition and returns the registry's verdict.
    std::optional<carried_definition> get_verdict_on(definition const& published) {
        publish(make_definition_event(published));
        return read_definition_changed(verdicts.take().bytes);
    }

    // Waits for the next look of the registry, and answers it.
    void answer_probe(std::string const& bytes) {
        m_peer.publish(reads.take().reply_subject, bytes);
    }
};

class registry_test : public testing::Test {
protected:
    dev_hub hub{make_options()};
    nats_server& server = hub.get_nats_server();
    registry& tested = hub.get_registry();
    event_log& log = hub.get_log();
    raw_peer consumer{server.get_url(), server.get_token()};
    peer_inbox lists = consumer.listen("v1.loc.registry.providers.evt.changed");
    peer_inbox states = consumer.listen("v1.loc.registry.state.evt.changed");

    std::vector<std::string> take_list() {
        return read_changed_providers(lists.take().bytes);
    }

    // Lists the provider, and lets it go.
    void introduce(std::string const& provider, definition const& published) {
        std::ignore = raw_provider{server, provider}.get_verdict_on(published);
        EXPECT_TRUE(tested.wait_until_provider_gone(provider, patience));
    }

    std::optional<carried_definition> request_definition(std::string const& provider) {
        auto const subject = "v1.loc.registry.providers." + provider + ".def.qry.read";
        auto const answer = consumer.request(subject, make_definition_query());
        EXPECT_EQ(answer.status, NATS_OK);
        return read_definition_answer(answer.bytes);
    }

    // Asked by a client of its own, which no restart of the server has disconnected.
    peer_answer request_list(std::chrono::milliseconds limit = patience) const {
        raw_peer peer{server.get_url(), server.get_token()};
        return peer.request("v1.loc.registry.providers.qry.read", make_list_query(), limit);
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
                &hub_event::detail,
                "variable 1: its path contains a space or a control character"))));
}

TEST_F(registry_test, keeps_a_good_definition_when_a_later_one_is_rejected) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    std::ignore = boiler.get_verdict_on({8, {{"", 1, 3, 1}}});

    EXPECT_THAT(tested.get_definition("boiler"), Optional(make_definition(7)));
    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
}

TEST_F(registry_test, stores_the_newest_definition_even_with_the_same_fingerprint) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));
    definition const newest{7, {{"boiler/pressure", 101, 3, 1}}};

    std::ignore = boiler.get_verdict_on(newest);

    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{newest, 1}));
}

TEST_F(registry_test, tells_consumers_of_a_new_provider) {
    raw_provider boiler{server, "boiler"};
    raw_provider pump{server, "pump"};

    std::ignore = boiler.get_verdict_on(make_definition(7));
    EXPECT_THAT(take_list(), ElementsAre("boiler"));
    std::ignore = pump.get_verdict_on(make_definition(8));
    EXPECT_THAT(take_list(), ElementsAre("boiler", "pump"));
}

TEST_F(registry_test, does_not_repeat_the_list_when_a_listed_provider_publishes_again) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    std::ignore = boiler.get_verdict_on(make_definition(8));

    EXPECT_EQ(log.get_count(event_kind::providers_published), 1U);
}

TEST_F(registry_test, answers_queries_for_the_list) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    auto const answer = request_list();

    EXPECT_EQ(answer.status, NATS_OK);
    EXPECT_THAT(read_answered_providers(answer.bytes), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::providers_requested), 1U);
    // Its own publications came before this request, and did not come back to it.
    EXPECT_EQ(log.get_count(event_kind::message_ignored), 0U);
}

TEST_F(registry_test, answers_queries_for_an_empty_list) {
    auto const answer = request_list();

    EXPECT_EQ(answer.status, NATS_OK);
    EXPECT_THAT(read_answered_providers(answer.bytes), IsEmpty());
}

TEST_F(registry_test, answers_queries_for_a_definition) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

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

    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, patience));
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
    EXPECT_NO_THROW(provider.answer_probe(make_read_reply(7)));
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
        patience));
    EXPECT_EQ(log.get_count(event_kind::definition_received), 0U);
}

TEST_F(registry_test, ignores_bytes_that_are_no_message) {
    raw_provider boiler{server, "boiler"};

    boiler.publish("\x7f\x7f\x7f\x7f no message");
    boiler.publish("");

    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 2, patience));
    EXPECT_EQ(log.get_count(event_kind::definition_received), 0U);
}

TEST_F(registry_test, ignores_a_definition_event_without_a_definition) {
    raw_provider boiler{server, "boiler"};

    boiler.publish(make_empty_definition_event());

    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 1, patience));
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
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, patience));
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
    EXPECT_EQ(read_definition_changed(second.bytes), first);
    EXPECT_THAT(take_list(), ElementsAre("boiler"));
}

TEST_F(registry_test, keeps_its_verdict_back_on_request) {
    tested.set_verdict_copies(0);
    tested.set_verdict_delay(0ms);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, patience));

    // Answering probes does not bring it into the list either.
    boiler.answer_probe(make_read_reply(7));
    boiler.answer_probe(make_read_reply(7));

    EXPECT_EQ(log.get_count(event_kind::definition_accepted), 0U);
    EXPECT_THAT(tested.get_providers(), IsEmpty());
    EXPECT_EQ(boiler.verdicts.waiting(), 0U);
}

TEST_F(registry_test, lets_requests_time_out_while_it_is_silent) {
    raw_provider boiler{server, "boiler"};
    tested.go_silent();

    boiler.publish(make_definition_event(make_definition(7)));
    auto const answer = request_list(100ms);

    EXPECT_EQ(answer.status, NATS_TIMEOUT);
    EXPECT_TRUE(log.wait_until_recorded(
        event_kind::message_ignored, "v1.loc.boiler.def.evt.changed", 1, patience));
    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
    EXPECT_EQ(log.get_count(event_kind::registry_silent), 1U);
}

TEST_F(registry_test, drops_a_verdict_that_is_due_while_it_is_silent) {
    tested.set_verdict_delay(50ms);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, patience));

    tested.go_silent();

    EXPECT_THROW(boiler.verdicts.take(200ms), peer_failure);
    EXPECT_EQ(log.get_count(event_kind::definition_accepted), 0U);
}

TEST_F(registry_test, answers_again_when_it_speaks_again) {
    tested.go_silent();

    tested.speak_again();

    EXPECT_EQ(request_list().status, NATS_OK);
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
    std::ignore = boiler.get_verdict_on(make_definition(7));

    tested.withdraw_definition("boiler");

    auto const event = boiler.verdicts.take();
    EXPECT_EQ(read_definition_changed(event.bytes), std::nullopt);
    EXPECT_EQ(request_definition("boiler"), std::nullopt);
    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::definition_withdrawn, "boiler"), 1U);
}

TEST_F(registry_test, forgets_a_provider) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));
    ASSERT_THAT(take_list(), ElementsAre("boiler"));

    tested.forget_provider("boiler");

    EXPECT_THAT(take_list(), IsEmpty());
    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
}

TEST_F(registry_test, lists_a_forgotten_provider_when_it_publishes_again) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));
    tested.forget_provider("boiler");

    std::ignore = boiler.get_verdict_on(make_definition(7));

    EXPECT_TRUE(tested.wait_until_provider_listed("boiler", patience));
}

TEST_F(registry_test, announces_itself_after_a_restart_and_has_forgotten_everything) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    tested.restart();

    EXPECT_EQ(decode_registry_state(states.take().bytes), 1);
    EXPECT_EQ(request_definition("boiler"), std::nullopt);
    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, collects_returning_providers_after_a_restart_before_it_publishes_the_list) {
    raw_provider boiler{server, "boiler"};
    raw_provider pump{server, "pump"};
    std::ignore = boiler.get_verdict_on(make_definition(7));
    std::ignore = pump.get_verdict_on(make_definition(8));
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
    std::ignore = boiler.get_verdict_on(make_definition(7));
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
        message, "cannot connect to " + server.get_url() + ": No server available for connection");
    EXPECT_EQ(request_list().status, NATS_OK);
}

TEST_F(registry_test, looks_for_providers_with_a_request_for_one_impossible_variable) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    auto const probe = boiler.reads.take();

    EXPECT_THAT(read_requested_ids(probe.bytes), ElementsAre(4'294'967'295U));
}

TEST_F(registry_test, keeps_a_provider_that_listens_without_answering) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    std::ignore = boiler.reads.take();
    std::ignore = boiler.reads.take();
    std::ignore = boiler.reads.take();

    EXPECT_THAT(tested.get_providers(), ElementsAre("boiler"));
    EXPECT_EQ(log.get_count(event_kind::provider_gone), 0U);
}

TEST_F(registry_test, notices_that_a_provider_is_gone) {
    std::optional<raw_provider> boiler{std::in_place, server, "boiler"};
    std::ignore = boiler->get_verdict_on(make_definition(7));
    ASSERT_THAT(take_list(), ElementsAre("boiler"));

    boiler.reset();

    EXPECT_THAT(take_list(), IsEmpty());
    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", patience));
    EXPECT_THAT(tested.get_definition("boiler"), Optional(make_definition(7)));
    EXPECT_EQ(log.get_count(event_kind::provider_gone, "boiler"), 1U);
}

TEST_F(registry_test, lists_a_gone_provider_again_that_answers_with_the_known_fingerprint) {
    introduce("boiler", make_definition(7));
    ASSERT_THAT(take_list(), ElementsAre("boiler"));
    ASSERT_THAT(take_list(), IsEmpty());

    raw_provider returned{server, "boiler"};
    returned.answer_probe(make_read_reply(7));

    EXPECT_THAT(take_list(), ElementsAre("boiler"));
}

TEST_F(registry_test, does_not_list_a_gone_provider_that_answers_with_another_fingerprint) {
    introduce("boiler", make_definition(7));

    raw_provider returned{server, "boiler"};
    returned.answer_probe(make_read_reply(8));
    returned.answer_probe("");
    std::ignore = returned.reads.take();

    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, lists_a_gone_provider_again_that_publishes) {
    introduce("boiler", make_definition(7));

    raw_provider returned{server, "boiler"};
    std::ignore = returned.get_verdict_on(make_definition(8));

    EXPECT_TRUE(tested.wait_until_provider_listed("boiler", patience));
    EXPECT_THAT(request_definition("boiler"), Optional(carried_definition{make_definition(8), 1}));
}

TEST_F(registry_test, does_not_list_a_returned_provider_before_its_verdict) {
    introduce("boiler", make_definition(7));
    tested.set_verdict_delay(1h);
    raw_provider returned{server, "boiler"};

    returned.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 2, patience));
    returned.answer_probe(make_read_reply(7));
    returned.answer_probe(make_read_reply(7));
    std::ignore = returned.reads.take();

    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, does_not_list_a_gone_provider_whose_definition_is_rejected) {
    introduce("boiler", make_definition(7));
    raw_provider returned{server, "boiler"};

    std::ignore = returned.get_verdict_on({8, {{"", 1, 3, 1}}});

    EXPECT_THAT(tested.get_providers(), IsEmpty());
}

TEST_F(registry_test, does_not_repeat_the_list_when_it_forgets_an_unlisted_provider) {
    tested.set_verdict_delay(1h);
    raw_provider boiler{server, "boiler"};
    boiler.publish(make_definition_event(make_definition(7)));
    ASSERT_TRUE(log.wait_until_recorded(event_kind::definition_received, "boiler", 1, patience));

    tested.forget_provider("boiler");

    EXPECT_EQ(tested.get_definition("boiler"), std::nullopt);
    EXPECT_EQ(log.get_count(event_kind::providers_published), 0U);
}

TEST_F(registry_test, does_not_wait_longer_than_asked_for_a_provider) {
    EXPECT_FALSE(tested.wait_until_provider_listed("boiler", 1ms));
    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", 1ms));
}

TEST_F(registry_test, announces_itself_when_the_server_was_restarted) {
    server.restart();

    EXPECT_TRUE(log.wait_until_recorded(event_kind::registry_ready, {}, 2, patience));
    EXPECT_EQ(request_list().status, NATS_OK);
}

TEST_F(registry_test, keeps_a_provider_for_a_while_that_has_not_reconnected_yet) {
    std::optional<raw_provider> boiler{std::in_place, server, "boiler"};
    std::ignore = boiler->get_verdict_on(make_definition(7));
    server.kill();
    boiler.reset();

    server.start();

    ASSERT_TRUE(log.wait_until_recorded(event_kind::registry_ready, {}, 2, patience));
    EXPECT_FALSE(tested.wait_until_provider_gone("boiler", 500ms));
}

TEST_F(registry_test, notices_a_provider_that_does_not_come_back_after_a_restart_of_the_server) {
    std::optional<raw_provider> boiler{std::in_place, server, "boiler"};
    std::ignore = boiler->get_verdict_on(make_definition(7));
    server.kill();
    boiler.reset();

    server.start();

    EXPECT_TRUE(tested.wait_until_provider_gone("boiler", patience));
}

TEST_F(registry_test, takes_nobody_for_lost_while_the_server_is_away) {
    raw_provider boiler{server, "boiler"};
    std::ignore = boiler.get_verdict_on(make_definition(7));

    server.kill();

    EXPECT_FALSE(tested.wait_until_provider_gone("boiler", 200ms));
}

TEST(registry_in_a_cluster, moves_to_another_server_when_its_own_is_killed) {
    auto options = make_options();
    options.nats_server.token = "common";
    options.nats_server.cluster_ports = {find_free_port(), find_free_port()};
    dev_hub hub{options};
    std::swap(options.nats_server.cluster_ports[0], options.nats_server.cluster_ports[1]);
    nats_server const other{options.nats_server, hub.get_log()};
    raw_peer peer{other.get_url(), "common"};
    auto const ask = [&peer] {
        return peer.request("v1.loc.registry.providers.qry.read", make_list_query());
    };
    ASSERT_TRUE(await([&] { return ask().status == NATS_OK; }));

    hub.get_nats_server().kill();

    EXPECT_TRUE(hub.get_log().wait_until_recorded(event_kind::registry_ready, {}, 2, patience));
    EXPECT_TRUE(await([&] { return ask().status == NATS_OK; }));
}

TEST(dev_hub, admits_clients_with_its_token_and_writes_a_line_per_event) {
    std::ostringstream lines;
    dev_hub_options options = make_options();
    options.lines = &lines;
    {
        dev_hub hub{options};
        raw_provider boiler{hub.get_nats_server(), "boiler"};
        std::ignore = boiler.get_verdict_on(make_definition(7));
        ASSERT_TRUE(hub.get_registry().wait_until_provider_listed("boiler", patience));
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
