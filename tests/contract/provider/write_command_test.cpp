// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/odd_messages.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

#include <functional>
#include <stdexcept>
#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr variable_id unknown_id = 0xFFFFFFFF;

using written_entry = std::tuple<variable_id, variable_value>;

// What the callback of a test has got, and what it does.
struct application {
    std::vector<definition_fingerprint> fingerprints;
    std::vector<std::vector<written_entry>> commands;
    std::vector<provider*> receivers;
    std::function<void(provider&, variable_write_command const&)> act =
        [](provider& /*receiver*/, variable_write_command const& /*command*/) {
        };
};

void record_command(
    definition_fingerprint fingerprint,
    variable_write_command const& command,
    provider& receiver,
    void* user_data) {
    auto& shared = *static_cast<application*>(user_data);
    shared.fingerprints.push_back(fingerprint);
    shared.commands.push_back(command.entries);
    shared.receivers.push_back(&receiver);
    shared.act(receiver, command);
}

wire::variable_table item(
    variable_id id, std::uint8_t tag, std::optional<wire::value_table> const& value) {
    return {.value_type = tag, .value = value, .id = id};
}

wire::variable_table number(variable_id id, double value) {
    return item(id, 3, wire::value_table{value});
}

class delivered_write_command : public boiler_test {
protected:
    delivered_write_command() {
        boiler.set_variables_written_callback(&record_command, &app);
    }

    void send(std::string const& bytes) {
        nats.deliver({.subject = subjects::write_command, .bytes = bytes, .reply = "inbox"});
    }

    void send_items(std::vector<wire::variable_table> const& items) {
        send(wire::write_variables_command(
            wire::variable_list_table{.fingerprint = 7, .items = items}));
    }

    application app;
};

TEST_F(delivered_write_command, is_handed_over_with_fingerprint_provider_and_entries_in_order) {
    auto const list = start();

    send_items(
        {number(running_of(*list), 1.5),
         number(speed_of(*list), 2.5),
         number(running_of(*list), 3.5)});

    EXPECT_THAT(app.fingerprints, ElementsAre(7U));
    EXPECT_THAT(app.receivers, ElementsAre(&boiler));
    EXPECT_THAT(
        app.commands,
        ElementsAre(ElementsAre(
            written_entry{running_of(*list), 1.5},
            written_entry{speed_of(*list), 2.5},
            written_entry{running_of(*list), 3.5})));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(delivered_write_command, brings_every_type_and_no_quality_or_time) {
    static_cast<void>(start());
    auto with_more = number(3, -1.5);
    with_more.quality = 0;
    with_more.timestamp = wire::time_struct{1, 2};

    send_items(
        {item(1, 1, wire::value_table{true}),
         item(2, 2, wire::value_table{wire::time_struct{1, 1999}}),
         with_more,
         item(4, 4, wire::value_table{std::int64_t{-42}}),
         item(5, 5, wire::value_table{std::string{"hand"}}),
         item(6, 6, wire::value_table{wire::time_struct{-1, -1}})});

    EXPECT_THAT(
        app.commands,
        ElementsAre(ElementsAre(
            written_entry{1, true},
            written_entry{2, std::chrono::nanoseconds{1s + 1us}},
            written_entry{3, -1.5},
            written_entry{4, std::int64_t{-42}},
            written_entry{5, std::string{"hand"}},
            written_entry{6, timestamp{-1s - 1ns}})));
}

TEST_F(delivered_write_command, is_handed_over_without_items_that_have_no_value) {
    static_cast<void>(start());

    send_items(
        {item(1, 0, std::nullopt),
         item(2, 7, wire::value_table{true}),
         item(3, 3, std::nullopt),
         number(4, 1.5)});

    EXPECT_THAT(app.commands, ElementsAre(ElementsAre(written_entry{4, 1.5})));
}

TEST_F(delivered_write_command, is_handed_over_even_with_no_items) {
    static_cast<void>(start());

    send_items({});

    EXPECT_THAT(app.commands, ElementsAre(IsEmpty()));
}

TEST_F(
    delivered_write_command,
    is_handed_over_unchecked_for_read_only_and_unknown_variables_and_types) {
    auto const list = start();

    send_items(
        {item(running_of(*list), 1, wire::value_table{true}),
         number(unknown_id, 1.5),
         item(speed_of(*list), 5, wire::value_table{std::string{"fast"}})});

    EXPECT_THAT(
        app.commands,
        ElementsAre(ElementsAre(
            written_entry{running_of(*list), true},
            written_entry{unknown_id, 1.5},
            written_entry{speed_of(*list), std::string{"fast"}})));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(delivered_write_command, changes_nothing_by_itself_and_is_not_answered) {
    auto const list = start();

    send_items({number(speed_of(*list), 1.5)});

    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_value(), variable_value{0.5});
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(delivered_write_command, is_read_at_any_address) {
    static_cast<void>(start());
    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.deliver(
            {.subject = subjects::write_command,
             .bytes = command_to_write(7, 1, 1.5),
             .misalignment = misalignment});
    }

    EXPECT_THAT(app.commands, SizeIs(8));
    EXPECT_THAT(app.commands, testing::Each(ElementsAre(written_entry{1, 1.5})));
}

TEST_F(delivered_write_command, with_an_outdated_fingerprint_is_ignored) {
    static_cast<void>(start());

    send(command_to_write(18364758544493064720U, 1, 1.5));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: peer sent a write variables command with outdated fingerprint. Expected "
        "7, got 18364758544493064720 instead from peer. Ignoring.\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, without_a_fingerprint_counts_as_one_with_0) {
    static_cast<void>(start());

    send(wire::write_variables_command(wire::variable_list_table{.items = {{number(1, 1.5)}}}));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: peer sent a write variables command with outdated fingerprint. Expected "
        "7, got 0 instead from peer. Ignoring.\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, without_variables_is_reported) {
    static_cast<void>(start());

    send(wire::write_variables_command(std::nullopt));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_write_command: variables node is missing\n\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, without_data_is_reported_like_one_without_variables) {
    static_cast<void>(start());

    send("");

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_write_command: variables node is missing\n\n");
}

TEST_F(delivered_write_command, without_items_is_reported_before_its_fingerprint_is_looked_at) {
    static_cast<void>(start());

    send(wire::write_variables_command(wire::variable_list_table{.fingerprint = 6}));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_write_command: items node in variables data is missing\n\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, with_a_text_value_without_text_is_reported) {
    static_cast<void>(start());

    send_items({number(1, 1.5), item(2, 5, wire::value_table{})});

    EXPECT_THAT(
        errors.flushed_text(),
        testing::StartsWith("Provider boiler: encountered invalid serialized data for operation: "
                            "deserialize_write_command: "));
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, is_dropped_silently_without_a_callback) {
    static_cast<void>(start());
    boiler.set_variables_written_callback(nullptr, nullptr);

    send(command_to_write(7, 1, 1.5));

    EXPECT_THAT(app.commands, IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(delivered_write_command, is_reported_without_a_list) {
    connect();

    send(command_to_write(0, 1, 1.5));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: failed process write command: variable list unavailable\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, is_handed_over_after_a_rejection_and_after_a_failure) {
    connect();
    boiler_definition definition{7};
    EXPECT_THROW(
        with_verdict(
            verdict_on(7, 0), [&] { return boiler.register_provider_definition(definition); }),
        invalid_provider_definition);
    send(command_to_write(7, 1, 1.5));
    static_cast<void>(register_boiler(8));
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
    EXPECT_THROW(boiler.publish(noon), connection_failed);

    send(command_to_write(8, 1, 1.5));

    EXPECT_THAT(app.fingerprints, ElementsAre(7U, 8U));
}

// Another definition is registered while the command is decoded. The provider has failed, so that
// registering does not wait for the registry.
class write_command_during_a_registration : public delivered_write_command {
protected:
    write_command_during_a_registration() {
        static_cast<void>(start());
        nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
        EXPECT_THROW(boiler.publish(noon), connection_failed);
        nats.when_called("natsMsg_GetDataLength", [this] { static_cast<void>(register_again()); });
    }

    std::shared_ptr<variable_list> register_again() {
        boiler_definition definition{8};
        return boiler.register_provider_definition(definition);
    }
};

TEST_F(write_command_during_a_registration, is_handed_over_with_the_fingerprint_that_it_found) {
    send(command_to_write(7, 1, 1.5));

    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_THAT(app.fingerprints, ElementsAre(7U));
    EXPECT_THAT(app.commands, ElementsAre(ElementsAre(written_entry{1, 1.5})));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(write_command_during_a_registration, is_ignored_if_made_for_the_definition_that_comes) {
    send(command_to_write(8, 1, 1.5));

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: peer sent a write variables command with outdated fingerprint. Expected "
        "7, got 8 instead from peer. Ignoring.\n");
    EXPECT_THAT(app.commands, IsEmpty());
}

TEST_F(delivered_write_command, gets_the_fingerprint_that_is_registered_now) {
    static_cast<void>(start());
    static_cast<void>(register_boiler(18364758544493064720U));

    send(command_to_write(18364758544493064720U, 1, 1.5));

    EXPECT_THAT(app.fingerprints, ElementsAre(18364758544493064720U));
}

TEST_F(delivered_write_command, without_a_message_is_reported) {
    connect();

    nats.deliver_null(subjects::write_command);

    EXPECT_EQ(
        errors.flushed_text(), "Failed to process write command: command message unavailable\n");
}

// What the application may do in its callback.

using written_callback = delivered_write_command;

TEST_F(written_callback, may_write_the_variables_and_publish) {
    auto const list = start();
    app.act = [&](provider& receiver, variable_write_command const& command) {
        for (auto const& [id, value] : command.entries) {
            receiver.get_variable_list()->write_variable(id, value, noon);
        }
        receiver.publish(noon);
    };

    send(command_to_write(7, speed_of(*list), 1.5));

    EXPECT_THAT(
        change_event_in(last_published(subjects::change_event)).items,
        ElementsAre(sent_variable{speed_of(*list), 1.5, 192, std::nullopt}));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(written_callback, may_use_every_other_operation) {
    static_cast<void>(start());
    app.act = [&](provider& receiver, variable_write_command const& /*command*/) {
        EXPECT_TRUE(receiver.is_connected());
        EXPECT_EQ(receiver.get_fingerprint(), 7U);
        receiver.force_publish_all(noon);
        receiver.set_variables_written_callback(nullptr, nullptr);
        receiver.disconnect();
        boiler_definition definition{8};
        static_cast<void>(receiver.register_provider_definition(definition));
    };

    send(command_to_write(7, 1, 1.5));

    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
}

TEST_F(written_callback, may_throw_which_is_reported) {
    auto const list = start();
    app.act = [&](provider& /*receiver*/, variable_write_command const& command) {
        auto const& [id, value] = command.entries.at(0);
        list->write_variable(id, value, noon);
    };

    send_items({item(unknown_id, 1, wire::value_table{true})});

    EXPECT_EQ(
        errors.flushed_text(),
        "[4294967295] used in function write_variable(): this variable index is invalid\n");
    app.act = [](provider& /*receiver*/, variable_write_command const& /*command*/) {
        throw std::runtime_error{"the valve is stuck"};
    };
    send(command_to_write(7, 1, 1.5));
    EXPECT_THAT(errors.flushed_text(), testing::EndsWith("\nthe valve is stuck\n"));
    EXPECT_THAT(app.commands, SizeIs(2));
}

TEST_F(written_callback, may_even_throw_what_is_no_exception) {
    static_cast<void>(start());
    app.act = [](provider& /*receiver*/, variable_write_command const& /*command*/) {
        throw 42; // NOLINT(hicpp-exception-baseclass): that is the point
    };

    send(command_to_write(7, 1, 1.5));

    EXPECT_EQ(
        errors.flushed_text(), "A callback ended with an exception that is not a std::exception\n");
}

TEST_F(written_callback, may_destroy_the_provider) {
    auto doomed = std::make_unique<provider>("doomed");
    doomed->set_variables_written_callback(&record_command, &app);
    doomed->connect("nats://hub:4222", "http://hub/token", "id", "secret");
    boiler_definition definition{7};
    auto registered = std::async(
        std::launch::async, [&] { return doomed->register_provider_definition(definition); });
    while (registered.wait_for(1ms) != std::future_status::ready) {
        nats.deliver(
            {.subject = "v1.loc.registry.providers.doomed.def.evt.changed",
             .bytes = verdict_on(7, 1)});
    }
    app.act = [&](provider& /*receiver*/, variable_write_command const& /*command*/) {
        doomed.reset();
    };

    nats.deliver(
        {.subject = "v1.loc.doomed.vars.cmd.write",
         .bytes = command_to_write(7, speed_of(*registered.get()), 1.5)});

    EXPECT_EQ(doomed, nullptr);
    EXPECT_THAT(app.commands, SizeIs(1));
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(written_callback, is_replaced_by_a_later_one) {
    static_cast<void>(start());
    application other;
    boiler.set_variables_written_callback(&record_command, &other);

    send(command_to_write(7, 1, 1.5));

    EXPECT_THAT(app.commands, IsEmpty());
    EXPECT_THAT(other.commands, SizeIs(1));
}

} // namespace

} // namespace arvenhold::corvel::hub
