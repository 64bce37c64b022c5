// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_on_hub.hpp"
#include "support/odd_messages.hpp"
#include "support/thrown_message.hpp"

#include <algorithm>
#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::uint8_t truth_tag = 1; // the tags of VariableValue
constexpr std::uint8_t number_tag = 3;

// Items of write commands.
wire::variable_table number_for(variable_id id) {
    return {.value_type = number_tag, .value = wire::value_table{30.0}, .id = id};
}

wire::variable_table truth_for(variable_id id) {
    return {.value_type = truth_tag, .value = wire::value_table{true}, .id = id};
}

class written_oven : public oven_on_hub {
protected:
    // Waits until a new consumer sees the value.
    bool reads(std::string const& path, variable_value const& value) {
        return await([&] {
            auto const seen = read(path);
            return seen && seen->value == value;
        });
    }

    bool is_refused(std::string const& reason) {
        return diagnostics.texts.wait_for("oven: refused to write \"set_point\": " + reason);
    }

    // The number of change events that carry the value.
    recorded<variable_value> published;

    void record_events(raw_peer& peer) {
        peer.on_message("v1.loc.oven.vars.evt.changed", [this](peer_message const& message) {
            for (auto const& item : change_event_in(message.bytes).items) {
                published.add(item.value);
            }
        });
    }
};

TEST_F(written_oven, takes_a_value_that_its_handler_accepts) {
    auto const set_point = oven->declare<double>(
        "set_point", 150.0, writable, [](double wanted) { return wanted <= 300.0; });
    start();

    write("set_point", 200.0);

    EXPECT_TRUE(reads("set_point", 200.0));
    EXPECT_EQ(read("set_point")->quality, good);
    EXPECT_EQ(set_point.get(), 200.0);
}

TEST_F(written_oven, refuses_a_value_and_publishes_the_present_one_again) {
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    record_events(peer);
    auto const set_point = oven->declare<double>(
        "set_point", 150.0, writable, [](double wanted) { return wanted <= 300.0; });
    start();

    write("set_point", 301.0);

    EXPECT_TRUE(is_refused("the application does not accept the value"));
    EXPECT_TRUE(published.wait_for(150.0));
    EXPECT_EQ(set_point.get(), 150.0);
}

TEST_F(written_oven, takes_the_nearest_allowed_value) {
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [](write_request<double> request) {
            request.accept_as(std::min(request.get_wanted(), 300.0));
            request.refuse("too late, it is answered");
        }));
    start();

    write("set_point", 1'000.0);

    EXPECT_TRUE(reads("set_point", 300.0));
}

TEST_F(written_oven, refuses_with_the_reason_of_the_handler_in_one_line) {
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [](write_request<double> request) {
            request.refuse("the door is open\nreally");
        }));
    start();

    write("set_point", 160.0);

    EXPECT_TRUE(is_refused("the door is open"));
}

TEST_F(written_oven, answers_later_and_on_another_thread) {
    recorded<std::shared_ptr<write_request<double>>> requests;
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [&](write_request<double> request) {
            requests.add(std::make_shared<write_request<double>>(std::move(request)));
        }));
    start();
    write("set_point", 160.0);
    ASSERT_TRUE(requests.wait_for_count(1));
    EXPECT_EQ(read("set_point")->value, variable_value{150.0});

    std::thread{[&] {
        requests.get()[0]->accept();
    }}.join();

    EXPECT_TRUE(reads("set_point", 160.0));
}

TEST_F(written_oven, answers_by_the_object_that_took_the_request_over) {
    recorded<std::string> refusals;
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [&](write_request<double> request) {
            auto taken = std::move(request);
            refusals.add(thrown_message<std::logic_error>([&] { request.accept(); }));
            refusals.add(thrown_message<std::logic_error>([&] { request.refuse("too late"); }));
            refusals.add(thrown_message<std::logic_error>([&] { request.get_wanted(); }));
            taken.accept();
        }));
    start();

    write("set_point", 160.0);

    EXPECT_TRUE(reads("set_point", 160.0));
    EXPECT_THAT(
        refusals.get(),
        testing::AllOf(
            testing::SizeIs(3), testing::Each("the write request was moved to another object")));
}

TEST_F(written_oven, refuses_what_nobody_answers) {
    static_cast<void>(
        oven->declare<double>("set_point", 150.0, writable, [](write_request<double>) {}));
    start();

    write("set_point", 160.0);

    EXPECT_TRUE(is_refused("it was not answered"));
}

TEST_F(written_oven, refuses_and_reports_when_a_handler_throws) {
    static_cast<void>(oven->declare<double>(
        "set_point", 150.0, writable, [](double) -> bool { throw std::runtime_error{"oops"}; }));
    start();

    write("set_point", 160.0);

    EXPECT_TRUE(is_refused("it was not answered"));
    EXPECT_TRUE(diagnostics.texts.wait_for("oven: a handler threw an exception: oops"));
    EXPECT_EQ(oven->get_status().state, session_state::ready);
}

TEST_F(written_oven, refuses_everything_without_a_handler) {
    static_cast<void>(oven->declare<double>("set_point", 150.0, writable));
    start();

    write("set_point", 160.0);

    EXPECT_TRUE(is_refused("it has no handler for write requests"));
}

TEST_F(written_oven, has_one_handler_for_all_variables_without_their_own) {
    oven->set_write_handler([](any_write_request request) {
        request.accept_as(request.get_path() + "=" + std::get<std::string>(request.get_wanted()));
    });
    static_cast<void>(oven->declare<std::string>("recipe", "", writable));
    start();

    write("recipe", std::string{"bread"});

    EXPECT_TRUE(reads("recipe", std::string{"recipe=bread"}));
}

// As the documents say: a command is taken whole while fewer requests are waiting.
TEST_F(written_oven, drops_commands_while_very_many_requests_wait) {
    constexpr std::size_t most = 10'000;
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    auto announcements = peer.listen("v1.loc.oven.def.evt.changed");
    std::promise<void> released;
    std::atomic<std::size_t> handled{0};
    static_cast<void>(oven->declare<double>(
        "set_point", 150.0, writable, [&, release = released.get_future().share()](double) {
            release.wait();
            return ++handled > 0;
        }));
    start();
    auto const announced = announcement_in(announcements.take().bytes);
    auto const id = announced.variables.at(0).id;
    auto const write_times = [&](std::size_t count) {
        wire::variable_list_table command{.fingerprint = announced.fingerprint};
        command.items.emplace(count, number_for(id));
        peer.publish("v1.loc.oven.vars.cmd.write", wire::write_variables_command(command));
    };

    write_times(most + 1);
    write_times(1);

    EXPECT_TRUE(diagnostics.texts.wait_for(
        "oven: dropped a write command, because 10,000 write requests are waiting"));
    released.set_value();
    EXPECT_TRUE(await([&] { return handled == most + 1; }));
    write_times(1);
    EXPECT_TRUE(await([&] { return handled == most + 2; }));
}

// What a consumer of the core would refuse by itself.
TEST_F(written_oven, refuses_read_only_variables_other_types_and_unknown_ids) {
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    auto announcements = peer.listen("v1.loc.oven.def.evt.changed");
    oven->set_write_handler([](any_write_request request) { request.accept(); });
    auto const temperature = oven->declare<double>("temperature", 20.0);
    auto const set_point = oven->declare<double>("set_point", 150.0, writable);
    start();
    auto const announced = announcement_in(announcements.take().bytes);
    auto const first = announced.variables.at(0).id;

    wire::variable_list_table command{.fingerprint = announced.fingerprint};
    command.items = {
        number_for(first), truth_for(first + 1), number_for(first + 2), number_for(first + 1)};
    peer.publish("v1.loc.oven.vars.cmd.write", wire::write_variables_command(command));

    EXPECT_TRUE(reads("set_point", 30.0));
    EXPECT_EQ(temperature.get(), 20.0);
    EXPECT_TRUE(is_refused("it cannot have a value of type bool"));
    EXPECT_TRUE(
        diagnostics.texts.wait_for("oven: refused to write \"temperature\": it is read-only"));
    EXPECT_TRUE(diagnostics.texts.wait_for(
        "oven: a consumer writes to variable " + std::to_string(first + 2)
        + ", which does not exist"));
}

} // namespace

} // namespace arvenhold::corvel::hub
