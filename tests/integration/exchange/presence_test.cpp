// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "exchange_test.hpp"
#include "support/thrown_message.hpp"

#include <csignal>
#include <future>
#include <optional>

namespace arvenhold::corvel::hub {

namespace {

using testing::Contains;
using testing::Each;
using testing::IsNull;
using testing::Not;
using testing::SizeIs;

// A consumer here and a provider in another process.
class other_process : public exchange_test {
protected:
    explicit other_process(std::chrono::milliseconds probe_interval = std::chrono::milliseconds{50})
        : exchange_test{probe_interval} {
        start_boiler(77);
        connect(panel.receiver);
        connection = panel.attach("boiler");
    }

    void start_boiler(definition_fingerprint fingerprint) {
        boiler.emplace(
            CORVEL_HUB_BOILER_PROCESS,
            std::vector<std::string>{
                hub.get_nats_server().get_url(),
                hub.get_token_endpoint().get_url(),
                std::to_string(fingerprint)});
        if (!boiler->wait_until_output_contains("the boiler runs", patience)) {
            throw std::runtime_error{"the boiler does not run: " + boiler->get_output()};
        }
    }

    void end_boiler(int signal_number) {
        boiler->send_signal(signal_number);
        ASSERT_TRUE(boiler->wait_until_ended(patience));
    }

    [[nodiscard]] bool all_values_become_good() {
        return await([this] {
            auto const found = qualities(*connection);
            return std::count(found.begin(), found.end(), variable_quality::good) == 2;
        });
    }

    watcher panel{"panel"};
    std::optional<dev::child_process> boiler;
    std::shared_ptr<provider_connection> connection;
};

TEST_F(other_process, exchanges_values_with_this_one) {
    EXPECT_EQ(value_of(*connection, "temperature"), variable_value{20.5});
    auto& set_point = variable(*connection, "set_point");
    set_point.set_value(70.0, at_noon);

    connection->write_variables(77, {set_point.get_id()});

    ASSERT_TRUE(panel.changes.wait_for({77, {set_point.get_id()}}));
    EXPECT_EQ(value_of(*connection, "set_point"), variable_value{70.0});
    EXPECT_NE(set_point.get_last_publish_timestamp(), at_noon);
    connection->update_all_variables();
    EXPECT_EQ(value_of(*connection, "set_point"), variable_value{70.0});
}

TEST_F(other_process, is_lost_when_it_is_killed) {
    end_boiler(SIGKILL);

    ASSERT_TRUE(panel.events.wait_for(event::provider_lost));
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_EQ(value_of(*connection, "temperature"), variable_value{20.5});
    EXPECT_THROW(connection->update_all_variables(), operational_state_invalid);
    EXPECT_TRUE(panel.lists.wait_for({}));
}

TEST_F(other_process, is_lost_when_it_ends_by_itself) {
    end_boiler(SIGTERM);

    EXPECT_TRUE(panel.events.wait_for(event::provider_lost));
    EXPECT_EQ(boiler->get_exit_code(), 0);
}

TEST_F(other_process, returns_with_its_values_when_it_is_started_again) {
    end_boiler(SIGKILL);
    ASSERT_TRUE(panel.events.wait_for(event::provider_lost));
    auto const before = connection->get_current_variables().variables;

    start_boiler(77);

    ASSERT_TRUE(panel.events.wait_for(event::provider_returned));
    EXPECT_TRUE(all_values_become_good());
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(connection->get_current_variables().variables, before);
    auto& set_point = variable(*connection, "set_point");
    set_point.set_value(75.0, at_noon);
    connection->write_variables(77, {set_point.get_id()});
    EXPECT_TRUE(panel.changes.wait_for({77, {set_point.get_id()}}));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(other_process, returns_with_other_variables_when_it_has_another_definition) {
    end_boiler(SIGKILL);
    ASSERT_TRUE(panel.events.wait_for(event::provider_lost));

    start_boiler(78);

    ASSERT_TRUE(panel.events.wait_for(event::provider_returned));
    EXPECT_TRUE(await([this] { return connection->get_current_variables().fingerprint == 78; }));
    EXPECT_TRUE(all_values_become_good());
    EXPECT_EQ(connection->get_state(), state::connected);
}

// Nobody looks whether the provider is still there.
class unwatched_process : public other_process {
protected:
    unwatched_process()
        : other_process{std::chrono::hours{1}} {}
};

TEST_F(unwatched_process, faults_the_connection_when_it_does_not_answer_any_more) {
    end_boiler(SIGKILL);
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    // The server does not notice at once that the process is gone.
    constexpr std::chrono::milliseconds probe_limit{200};
    ASSERT_TRUE(await([&peer, probe_limit] {
        auto const answer = peer.request("v1.loc.boiler.vars.qry.read", "", probe_limit);
        return answer.status == NATS_NO_RESPONDERS;
    }));

    auto const message =
        thrown_message<connection_failed>([this] { connection->update_all_variables(); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to read variables from a provider (related sujbect: "
        "v1.loc.boiler.vars.qry.read), NATS returns: 34 = No responders available for request\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
}

// What a restart of a part of the hub does to an exchange.
class restart : public exchange_test {
protected:
    explicit restart(std::chrono::milliseconds probe_interval = std::chrono::milliseconds{50})
        : exchange_test{probe_interval} {
        boiler.apply_writes();
        connect(boiler.sender);
        connect(panel.receiver);
        connection = panel.attach("boiler");
    }

    void expect_exchange() {
        boiler.list->publish(boiler.id_of("set_point"), 99.0, at_noon);
        EXPECT_TRUE(
            await([this] { return value_of(*connection, "set_point") == variable_value{99.0}; }));
        connection->update_all_variables();
        EXPECT_EQ(connection->get_state(), state::connected);
        EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    }

    offering boiler{"boiler", 77, {{"set_point", 60.0, variable_permissions::read_write}}};
    watcher panel{"panel"};
    std::shared_ptr<provider_connection> connection;
};

// The registry takes its time after a restart, which is as long as its probe interval.
class registry_restart : public restart {
protected:
    registry_restart()
        : restart{std::chrono::seconds{2}} {}
};

TEST_F(registry_restart, brings_the_definition_again_and_loses_nobody) {
    hub.get_registry().restart();

    EXPECT_TRUE(panel.events.wait_for(event::definition_updated));
    EXPECT_TRUE(panel.lists.wait_for({"boiler"}));
    EXPECT_THAT(panel.events.get(), Not(Contains(event::provider_lost)));
    expect_exchange();
    EXPECT_EQ(error_output.text(), "");
}

// Nobody takes a provider for lost that has not yet reconnected.
class server_restart : public restart {
protected:
    server_restart()
        : restart{std::chrono::hours{1}} {}
};

TEST_F(server_restart, is_survived_by_everybody) {
    hub.get_nats_server().restart();

    EXPECT_TRUE(output.wait_until_flushed("Consumer has reconnected to NATS server!\n", patience));
    EXPECT_TRUE(output.wait_until_flushed("Provider has reconnected to NATS server!\n", patience));
    EXPECT_TRUE(error_output.wait_until_flushed(
        "Warning: Consumer has lost connection to NATS server!\n", patience));
    EXPECT_TRUE(panel.receiver.is_connected());
    EXPECT_TRUE(boiler.sender.is_connected());
    expect_exchange();
}

TEST_F(restart, of_the_provider_s_connection_is_followed) {
    boiler.sender.disconnect();
    ASSERT_TRUE(panel.events.wait_for(event::provider_lost));

    boiler.offer(78, {{"set_point", 65.0, variable_permissions::read_write}});
    connect(boiler.sender);

    ASSERT_TRUE(panel.events.wait_for(event::provider_returned));
    EXPECT_TRUE(await([this] { return connection->get_current_variables().fingerprint == 78; }));
    expect_exchange();
}

TEST_F(restart, of_the_consumer_s_connection_makes_a_new_one) {
    panel.receiver.disconnect();
    EXPECT_THAT(panel.receiver.get_provider_identifiers(), IsNull());
    connect(panel.receiver);

    auto const old = std::exchange(connection, panel.attach("boiler"));

    EXPECT_EQ(old->get_state(), state::disconnected);
    expect_exchange();
}

class many_providers : public exchange_test {
protected:
    static constexpr int count = 100;

    static std::string name_of(int number) {
        return "line." + std::to_string(number);
    }

    // Ten at a time, because each waits for the registry's verdict.
    void connect_all() {
        std::vector<std::future<void>> workers;
        for (int first = 0; first < 10; ++first) {
            workers.push_back(std::async(std::launch::async, [this, first] {
                for (int number = first; number < count; number += 10) {
                    connect(providers.at(static_cast<std::size_t>(number))->sender);
                }
            }));
        }
        for (auto& worker : workers) {
            worker.get();
        }
    }

    std::vector<std::unique_ptr<offering>> providers;
    watcher panel{"panel"};
};

TEST_F(many_providers, are_listed_and_exchange_values) {
    for (int number = 0; number < count; ++number) {
        providers.push_back(std::make_unique<offering>(
            name_of(number),
            number + 1,
            std::vector<variable_definition_entry>{
                {"number", std::int64_t{number}, variable_permissions::read_only}}));
    }
    connect_all();
    connect(panel.receiver);

    EXPECT_THAT(*panel.receiver.get_provider_identifiers(), SizeIs(count));
    for (int number = 0; number < count; ++number) {
        auto const connection = panel.attach(name_of(number));
        EXPECT_EQ(value_of(*connection, "number"), variable_value{std::int64_t{number}});
    }
    for (auto const& one : providers) {
        one->list->publish(one->id_of("number"), std::int64_t{-1}, at_noon);
    }
    EXPECT_TRUE(panel.changes.wait_for_count(count));
    for (int number = 0; number < count; ++number) {
        auto const connection = panel.receiver.attach_to_provider(name_of(number));
        EXPECT_EQ(value_of(*connection, "number"), variable_value{std::int64_t{-1}});
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
