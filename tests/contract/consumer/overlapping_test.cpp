// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What happens while values are being received: the scripts of the NATS client decide the order.

#include "panel_test.hpp"
#include <hub/operational_state_invalid.hpp>

#include <gmock/gmock.h>

#include <functional>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::seconds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto good = variable_quality::good;
constexpr auto bad = variable_quality::bad;

class overlapping : public panel_test {
protected:
    // Runs `action` when the provider is asked for values, before its reply arrives.
    void during_the_read(std::function<void()> action) {
        nats.answer_requests(variables_query, [this, action](std::string const& /*bytes*/) {
            action();
            return fake_nats::request_answer{NATS_OK, reply};
        });
    }

    // Runs `action` when the next event has been received, before its values are applied.
    void before_the_event_is_decoded(std::function<void()> action) {
        nats.when_called("natsMsg_GetDataLength", std::move(action));
    }

    void change_temperature(double value, wire::time_struct const& when) {
        nats.deliver({variables_changed, wire::change_event(77, {wire::item(1, value)}, when)});
    }

    std::shared_ptr<provider_connection> const connection = attach();
    std::string reply = wire::read_reply(77, boiler_values());
};

// A fault in between

using fault_while_receiving = overlapping;

TEST_F(fault_while_receiving, leaves_no_good_value_of_a_read_reply) {
    during_the_read([&] { connection->set_fault_state(); });

    connection->update_all_variables();

    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(bad));
}

TEST_F(fault_while_receiving, leaves_no_good_value_of_a_change_event) {
    before_the_event_is_decoded([&] { connection->set_fault_state(); });

    change_temperature(99.0, wire_noon);

    EXPECT_EQ(content(*connection, 1), held(99.0, bad, at_noon, 2));
    EXPECT_THAT(qualities(*connection), Each(bad));
}

TEST_F(fault_while_receiving, leaves_no_good_value_of_a_new_definition) {
    nats.answer_requests(definition_query, [&](std::string const& /*bytes*/) {
        connection->set_fault_state();
        return fake_nats::request_answer{NATS_OK, wire::definition_reply(78, boiler_variables())};
    });

    EXPECT_THROW(connection->request_provider_definition(), operational_state_invalid);

    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_THAT(qualities(*connection), Each(bad));
}

TEST_F(fault_while_receiving, is_no_reason_to_keep_the_callback_from_what_was_applied) {
    before_the_event_is_decoded([&] { connection->set_fault_state(); });

    change_temperature(99.0, wire_noon);

    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77: 1"));
}

TEST_F(overlapping, a_loss_of_the_provider_leaves_no_good_value_of_a_read_reply) {
    during_the_read([&] { announce_providers({"pump"}); });

    connection->update_all_variables();

    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    EXPECT_THAT(qualities(*connection), Each(bad));
}

// An event that overtakes a read reply

using event_before_a_read_reply = overlapping;

TEST_F(event_before_a_read_reply, stays_when_it_is_newer_than_the_reply) {
    during_the_read([&] { change_temperature(99.0, wire_noon); });

    connection->update_all_variables();

    EXPECT_EQ(content(*connection, 1), held(99.0, good, at_noon, 3));
    EXPECT_EQ(content(*connection, 2), held(60.0, good, timestamp{seconds{1'600'000'002}}, 2));
}

TEST_F(event_before_a_read_reply, gives_way_to_a_newer_reply) {
    reply = wire::read_reply(77, {wire::at({1'700'000'001, 0}, wire::item(1, 21.0))});
    during_the_read([&] { change_temperature(99.0, wire_noon); });

    connection->update_all_variables();

    EXPECT_EQ(content(*connection, 1), held(21.0, good, timestamp{seconds{1'700'000'001}}, 3));
}

// A provider's clock may be set back.
TEST_F(event_before_a_read_reply, gives_way_to_an_older_reply_if_it_came_before_the_request) {
    change_temperature(99.0, wire_noon);

    connection->update_all_variables();

    EXPECT_EQ(content(*connection, 1), held(20.5, good, timestamp{seconds{1'600'000'001}}, 3));
}

// An application that has put null into the map

TEST_F(overlapping, a_null_variable_in_the_map_of_the_application_does_no_harm) {
    auto const current = connection->get_current_variables();
    current.variables->emplace(0, nullptr);
    current.variables->emplace(7, nullptr);

    EXPECT_EQ(current.find("mode"), current.find(3));
    EXPECT_EQ(current.find("nowhere"), nullptr);
    EXPECT_THAT(connection->get_updated_variables_since(77, timestamp{}), ElementsAre(1, 2, 3));
    connection->set_fault_state();

    EXPECT_EQ(current.find(3)->get_quality(), bad);
}

// A callback that is removed

TEST_F(overlapping, a_callback_that_is_removed_before_its_event_is_decoded_is_not_called) {
    before_the_event_is_decoded(
        [&] { connection->set_variables_changed_callback(nullptr, nullptr); });

    change_temperature(99.0, wire_noon);

    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{99.0});
}

TEST_F(overlapping, a_callback_is_not_called_when_the_connection_ends_before_its_event_is_decoded) {
    before_the_event_is_decoded([&] { connection->disconnect(); });

    change_temperature(99.0, wire_noon);

    EXPECT_THAT(journal.get(), IsEmpty());
}

// The end of the consumer in a callback of its own

class consumer_that_ends_in_a_callback : public panel_test {
protected:
    consumer_that_ends_in_a_callback() {
        answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
        answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
        doomed->connect("nats://hub", "http://hub/token", "id", "secret");
        boiler = doomed->attach_to_provider("boiler");
        pump = doomed->attach_to_provider("pump");
        boiler->set_event_callback(&end_it, this);
        pump->set_event_callback(&end_it, this);
    }

    static void end_it_after_a_list(
        std::shared_ptr<std::set<std::string>> /*identifiers*/,
        consumer& /*receiver*/,
        void* user_data) {
        auto& self = *static_cast<consumer_that_ends_in_a_callback*>(user_data);
        self.journal.add("ended by a list");
        self.doomed.reset();
    }

    static void end_it(event /*what*/, provider_connection& connection, void* user_data) {
        auto& self = *static_cast<consumer_that_ends_in_a_callback*>(user_data);
        self.journal.add("ended by " + connection.get_associated_provider_identifier());
        self.doomed.reset();
    }

    static void end_it_after_a_change(
        definition_fingerprint /*fingerprint*/,
        std::vector<variable_id> /*changed*/,
        provider_connection& connection,
        void* user_data) {
        end_it(event::definition_updated, connection, user_data);
    }

    std::unique_ptr<consumer> doomed =
        std::make_unique<consumer>("doomed", false, &end_it_after_a_list, this);
    std::shared_ptr<provider_connection> boiler;
    std::shared_ptr<provider_connection> pump;
};

TEST_F(consumer_that_ends_in_a_callback, calls_no_other_callback_of_the_same_event) {
    announce_providers({});

    EXPECT_THAT(journal.get(), ElementsAre("ended by boiler"));
    EXPECT_EQ(pump->get_state(), state::disconnected);
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(consumer_that_ends_in_a_callback, may_do_so_after_a_change) {
    boiler->set_variables_changed_callback(&end_it_after_a_change, this);

    nats.deliver({variables_changed, wire::change_event(77, {wire::item(1, 99.0)})});

    EXPECT_THAT(journal.get(), ElementsAre("ended by boiler"));
    EXPECT_EQ(boiler->get_state(), state::disconnected);
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(consumer_that_ends_in_a_callback, may_do_so_after_a_list) {
    announce_providers({"boiler", "pump"});

    EXPECT_THAT(journal.get(), ElementsAre("ended by a list"));
    EXPECT_EQ(nats.open_connections(), 0U);
}

} // namespace

} // namespace arvenhold::corvel::hub
