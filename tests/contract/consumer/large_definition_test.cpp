// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What two threads do to one connection at the same time. The definition is large, so that applying
// a message takes long enough for the other thread to come in between.

#include "panel_test.hpp"

#include <algorithm>
#include <future>
#include <thread>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::seconds;

constexpr variable_id variable_count = 5'000;
constexpr wire::time_struct earlier{1'600'000'000, 0};
constexpr double older_value = 20.5;
constexpr double newer_value = 99.0;

class large_definition : public panel_test {
protected:
    large_definition() {
        std::vector<wire::variable_definition_table> variables;
        std::vector<wire::variable_table> older;
        std::vector<wire::variable_table> newer;
        for (variable_id id = 1; id <= variable_count; ++id) {
            variables.push_back(wire::defined(id, std::to_string(id), wire::double_code));
            older.push_back(wire::at(earlier, wire::item(id, older_value)));
            newer.push_back(wire::item(id, newer_value));
        }
        older_reply = wire::read_reply(77, older);
        newer_event = wire::change_event(77, newer, wire_noon);
        answer(definition_query, wire::definition_reply(77, variables));
        answer(variables_query, older_reply);
        connect();
    }

    std::shared_ptr<provider_connection> create_connection() {
        return provider_connection::create("boiler", panel);
    }

    // Runs `receive` in a thread of its own, and faults the connection once the variable has been
    // updated.
    template <class Receive>
    static void fault_in_the_middle(
        provider_connection& connection, variable_id id, Receive receive) {
        auto& watched = variable(connection, id);
        auto const before = watched.get_update_count();
        auto receiving = std::async(std::launch::async, receive);
        while (watched.get_update_count() == before
               && receiving.wait_for(seconds{0}) != std::future_status::ready) {
            std::this_thread::yield();
        }
        connection.set_fault_state();
        receiving.get();
    }

    static std::ptrdiff_t count_good(provider_connection& connection) {
        return std::ranges::count(qualities(connection), variable_quality::good);
    }

    // How many variables do not hold what the newer event brings.
    static std::ptrdiff_t count_older(provider_connection& connection) {
        auto const current = connection.get_current_variables();
        return std::ranges::count_if(*current.variables, [](auto const& entry) {
            return entry.second->get_value_with_timestamp()
                    != std::tuple{variable_value{newer_value}, at_noon}
                || entry.second->get_quality() != variable_quality::good;
        });
    }

    std::string older_reply;
    std::string newer_event;
};

constexpr variable_id faults = 25;
constexpr variable_id variables_between_faults = variable_count / faults;

TEST_F(large_definition, keeps_no_good_value_when_a_fault_meets_a_read_reply) {
    for (variable_id fault = 0; fault < faults; ++fault) {
        auto const connection = create_connection();

        fault_in_the_middle(*connection, 1 + fault * variables_between_faults, [&] {
            connection->update_all_variables();
        });

        EXPECT_EQ(connection->get_state(), state::faulted);
        EXPECT_EQ(count_good(*connection), 0);
    }
}

TEST_F(large_definition, keeps_no_good_value_when_a_fault_meets_a_change_event) {
    for (variable_id fault = 0; fault < faults; ++fault) {
        auto const connection = create_connection();

        fault_in_the_middle(*connection, 1 + fault * variables_between_faults, [&] {
            nats.deliver({variables_changed, newer_event});
        });

        EXPECT_EQ(connection->get_state(), state::faulted);
        EXPECT_EQ(count_good(*connection), 0);
    }
}

TEST_F(large_definition, keeps_a_newer_event_when_it_meets_an_older_read_reply) {
    constexpr unsigned exchanges = 25;
    auto const connection = create_connection();
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        nats.deliver({variables_changed, newer_event}, fake_nats::run_on::own_thread);
        return fake_nats::request_answer{NATS_OK, older_reply};
    });
    for (unsigned exchange = 0; exchange < exchanges; ++exchange) {
        connection->update_all_variables();
        ASSERT_TRUE(nats.wait_until_delivered());

        ASSERT_EQ(count_older(*connection), 0) << "exchange " << exchange;
    }
}

} // namespace

} // namespace arvenhold::corvel::hub
