// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Whatever arrives, a consumer and its connection end in one of the outcomes of docs/messages.md and
// docs/errors.md: the consumer remains usable, the connection is faulted or as good as before. Only
// the outcomes are fixed here, not which bytes lead to which.

#include "panel_test.hpp"
#include "support/case_name.hpp"
#include "support/damaged_messages.hpp"
#include "support/fresh_text.hpp"
#include "unit/protocol/sent_messages.hpp"

#include <gmock/gmock.h>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using testing::AnyOfArray;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointee;
using testing::StartsWith;

using texts = std::vector<std::string>;

std::string const invalid_data =
    "Consumer panel: encountered invalid serialized data for operation: ";

// What is wrong with a list of providers, as the reply to a request and as an event.
std::string const no_list_data =
    invalid_data + "de-serialize provider list: message data nullptr\n";
std::string const no_identifier =
    invalid_data + "de-serialize provider list: provider identifier nullptr\n";
texts const faults_of_list_reply{
    no_list_data,
    invalid_data
        + "de-serialize provider list: message data (providers_query_response/providers/items) "
          "nullptr\n",
    no_identifier};
texts const faults_of_list_event{
    no_list_data,
    invalid_data
        + "de-serialize provider list: message data (providers_changed_event/providers/items) "
          "nullptr\n",
    no_identifier};

// What is wrong with a definition, or with the values that are read for it.
std::string const no_definition_data =
    invalid_data + "de-serialize provider definition: message data nullptr\n";
std::string const mismatch =
    "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
    "Expected fingerprint: <number>, got <number> instead.";
std::string const other_type =
    "[<id>] set_value(): incompatible source data type (source type index: <number>, dest type "
    "index: <number>)";
std::string const unknown_id_in_reply =
    "[<id>] used in function read_variables(): this variable index is invalid";
texts const faults_of_definition{
    no_definition_data,
    invalid_data
        + "de-serialize provider definition: message data (variable_definitions) nullptr\n",
    invalid_data + "de-serialize variable definition: variable path nullptr\n",
    invalid_data + "de-serialize variable definition: variable index [<id>] is out of bounds\n",
    mismatch,
    other_type,
    unknown_id_in_reply};
std::string const no_definition_in_reply =
    invalid_data
    + "de-serialize provider definition: message data (provider_definition_reply) nullptr\n";
std::string const withdrawn = "Received a provider definition event, but zero fingerprint or zero "
                              "variable definitions were received\n";

// What is wrong with values.
std::string const no_reply_data =
    invalid_data + "de-serialize reply to a read request: message data nullptr\n";
texts const faults_of_read_reply{
    no_reply_data,
    invalid_data + "de-serialize reply to a read request: variable data nullptr\n",
    invalid_data + "de-serialize reply to a read request: variable data (items) nullptr\n",
    invalid_data + "de-serialize reply to a read request: string value nullptr\n",
    other_type,
    unknown_id_in_reply};
std::string const no_event_data =
    invalid_data + "de-serialize variable update: message data nullptr\n";
texts const faults_of_change_event{
    no_event_data,
    invalid_data + "de-serialize variable update: variable data nullptr\n",
    invalid_data + "de-serialize variable update: variable data (items) nullptr\n",
    invalid_data + "de-serialize variable update: string value nullptr\n",
    other_type,
    "[<id>] used in function deserialize_variable_update(): this variable index is invalid"};

constexpr definition_fingerprint earlier_fingerprint = 77;

std::string message_named(std::string const& name) {
    for (auto const& message : whole_messages()) {
        if (message.name == name) {
            return message.bytes;
        }
    }
    throw std::runtime_error{"no such message: " + name};
}

// The text of the exception that `work` throws, without its numbers; empty if it throws none.
template <class Work>
std::string thrown_text(Work const& work) {
    try {
        work();
    } catch (std::exception const& error) {
        return without_numbers(error.what());
    }
    return {};
}

// The text of an exception, as a line on standard error.
std::string line_of(std::string const& text) {
    return text + "\n";
}

texts lines_of(texts all) {
    for (auto& text : all) {
        text = line_of(text);
    }
    return all;
}

// A consumer that is attached to the boiler, whose definition has the variables of the messages.
class damaged_message : public panel_test, public testing::WithParamInterface<damage> {
protected:
    damaged_message() {
        attach_anew(sent_fingerprint);
    }

    // From the definition of the messages, or from an earlier one without values.
    void attach_anew(definition_fingerprint fingerprint) {
        connection.reset();
        panel.disconnect();
        good_answers(fingerprint);
        connection = attach();
        start_of_case();
    }

    // Lets the registry and the provider answer every request with the same definition.
    void good_answers(definition_fingerprint fingerprint) {
        answer(providers_query, wire::provider_list_reply({"boiler", "pump"}));
        answer(
            definition_query,
            fingerprint == sent_fingerprint ? definition : wire::definition_reply(fingerprint, {}));
        answer(
            variables_query,
            fingerprint == sent_fingerprint ? values : wire::read_reply(fingerprint, {}));
    }

    void deliver(char const* subject, std::string const& bytes, std::size_t misalignment) {
        nats.deliver({.subject = subject, .bytes = bytes, .misalignment = misalignment});
    }

    void answer_at(char const* subject, std::string const& bytes, std::size_t misalignment) {
        nats.answer_requests(subject, {NATS_OK, bytes, misalignment});
    }

    void start_of_case() {
        journal.forget();
        EXPECT_EQ(lines.take(), "");
        static_cast<void>(notices.take());
    }

    void expect_faulted() {
        EXPECT_EQ(connection->get_state(), state::faulted);
        EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    }

    // The consumer follows the registry's next list, whatever came before.
    void expect_lists_are_followed() {
        journal.forget();
        announce_providers({"boiler", "valve"});
        EXPECT_TRUE(panel.is_connected());
        EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "valve")));
        EXPECT_THAT(journal.get(), testing::Contains("list: boiler valve"));
        EXPECT_EQ(lines.take(), "");
    }

    // How often each variable was updated, and how good it is.
    std::vector<std::pair<std::uint64_t, variable_quality>> condition() {
        std::vector<std::pair<std::uint64_t, variable_quality>> found;
        for (auto const& [id, variable] : connection->get_current_variables()) {
            found.emplace_back(variable->get_update_count(), variable->get_quality());
        }
        return found;
    }

    std::string const definition = message_named("definition_reply");
    std::string const values = message_named("read_reply_of_a_peer");
    std::shared_ptr<provider_connection> connection;
    fresh_text lines{error_output};
    fresh_text notices{output};
};

TEST_P(damaged_message, as_a_list_event_is_followed_or_changes_nothing) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        start_of_case();
        auto const before = panel.get_provider_identifiers();
        auto const condition_before = condition();

        deliver(providers_changed, bytes, misalignment);

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, line_of(no_list_data));
        }
        if (line.empty()) {
            ASSERT_FALSE(journal.get().empty());
            EXPECT_THAT(journal.get().back(), StartsWith("list:"));
            EXPECT_EQ(
                connection->get_state(),
                panel.get_provider_identifiers()->contains("boiler") ? state::connected
                                                                     : state::provider_unavailable);
        } else {
            EXPECT_THAT(line, AnyOfArray(lines_of(faults_of_list_event)));
            EXPECT_THAT(journal.get(), IsEmpty());
            EXPECT_EQ(panel.get_provider_identifiers(), before);
            EXPECT_EQ(condition(), condition_before);
        }
        expect_lists_are_followed();
        EXPECT_EQ(connection->get_state(), state::connected);
        EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    }
}

TEST_P(damaged_message, as_a_definition_event_is_adopted_or_withdraws_or_faults_the_connection) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        attach_anew(earlier_fingerprint);
        good_answers(sent_fingerprint);

        deliver(definition_changed, bytes, misalignment);

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, line_of(no_definition_data));
        }
        if (line.empty()) {
            EXPECT_EQ(connection->get_state(), state::connected);
            EXPECT_EQ(connection->get_current_variables().fingerprint, sent_fingerprint);
            EXPECT_THAT(journal.get(), ElementsAre("updated boiler"));
        } else if (line == withdrawn) {
            EXPECT_EQ(connection->get_state(), state::connected);
            EXPECT_THAT(journal.get(), IsEmpty());
        } else {
            EXPECT_THAT(line, AnyOfArray(lines_of(faults_of_definition)));
            EXPECT_THAT(journal.get(), IsEmpty());
            expect_faulted();
        }
        expect_lists_are_followed();
    }
}

TEST_P(damaged_message, as_a_change_event_is_applied_or_dropped_or_faults_the_connection) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        start_of_case();
        auto const before = condition();

        deliver(variables_changed, bytes, misalignment);

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, line_of(no_event_data));
        }
        if (!line.empty()) {
            EXPECT_THAT(line, AnyOfArray(lines_of(faults_of_change_event)));
            EXPECT_THAT(journal.get(), IsEmpty());
            expect_faulted();
            attach_anew(sent_fingerprint);
            continue;
        }
        EXPECT_EQ(connection->get_state(), state::connected);
        if (journal.get().empty()) {
            EXPECT_EQ(condition(), before);
        } else {
            EXPECT_THAT(
                journal.get(), ElementsAre(StartsWith("changed boiler 18364758544493064720:")));
        }
    }
    start_of_case();
    nats.deliver({variables_changed, message_named("change_event_of_a_peer")});
    EXPECT_THAT(
        journal.get(), ElementsAre("changed boiler 18364758544493064720: 0 1 2 3 4 4294967295"));
    expect_lists_are_followed();
}

TEST_P(damaged_message, as_the_list_for_connect_is_used_or_thrown_and_the_consumer_is_connected) {
    connection.reset();
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        panel.disconnect();
        answer_at(providers_query, bytes, misalignment);

        auto const text = thrown_text([this] { connect(); });

        if (bytes.size() < shortest_message) {
            EXPECT_EQ(text, no_list_data);
        }
        if (!text.empty()) {
            EXPECT_THAT(text, AnyOfArray(faults_of_list_reply));
            EXPECT_THAT(panel.get_provider_identifiers(), testing::IsNull());
        }
        expect_lists_are_followed();
    }
}

TEST_P(damaged_message, as_the_list_after_a_reconnect_is_used_or_reported_and_changes_nothing) {
    texts reports;
    for (auto const& fault : faults_of_list_reply) {
        reports.push_back("Failed to execute consumer::post_connect_handler(): " + line_of(fault));
    }
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        start_of_case();
        auto const before = panel.get_provider_identifiers();
        auto const condition_before = condition();
        answer_at(providers_query, bytes, misalignment);

        nats.regain_connection();

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, reports.front());
        }
        if (line.empty()) {
            EXPECT_EQ(notices.take(), "Consumer has reconnected to NATS server!\n");
        } else {
            EXPECT_THAT(line, AnyOfArray(reports));
            EXPECT_EQ(notices.take(), "");
            EXPECT_EQ(panel.get_provider_identifiers(), before);
        }
        EXPECT_EQ(condition(), condition_before);
        EXPECT_THAT(journal.get(), IsEmpty());
        expect_lists_are_followed();
    }
}

TEST_P(damaged_message, as_the_definition_for_attaching_is_used_or_thrown) {
    auto allowed = faults_of_definition;
    allowed.push_back(no_definition_in_reply);
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        answer_at(definition_query, bytes, misalignment);

        auto const text = thrown_text([this] {
            auto const created = provider_connection::create("boiler", panel);
            EXPECT_EQ(created->get_state(), state::connected);
            EXPECT_EQ(created->get_current_variables().fingerprint, sent_fingerprint);
        });

        if (bytes.size() < shortest_message) {
            EXPECT_EQ(text, no_definition_data);
        }
        EXPECT_THAT(text, testing::AnyOf("", AnyOfArray(allowed)));
        EXPECT_EQ(lines.take(), "");
    }
    good_answers(sent_fingerprint);
    EXPECT_EQ(provider_connection::create("boiler", panel)->get_state(), state::connected);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    expect_lists_are_followed();
}

TEST_P(damaged_message, as_the_definition_of_a_returning_provider_is_used_or_faults) {
    auto allowed = faults_of_definition;
    allowed.push_back(no_definition_in_reply);
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        attach_anew(earlier_fingerprint);
        good_answers(sent_fingerprint);
        answer_at(definition_query, bytes, misalignment);
        announce_providers({"pump"});

        announce_providers({"boiler", "pump"});

        auto const line = lines.take();
        if (bytes.size() < shortest_message) {
            EXPECT_EQ(line, line_of(no_definition_data));
        }
        if (line.empty()) {
            EXPECT_EQ(connection->get_state(), state::connected);
            EXPECT_EQ(connection->get_current_variables().fingerprint, sent_fingerprint);
        } else {
            EXPECT_THAT(line, AnyOfArray(lines_of(allowed)));
            expect_faulted();
        }
        EXPECT_THAT(
            journal.get(),
            ElementsAre("lost boiler", "list: pump", "returned boiler", "list: boiler pump"));
        expect_lists_are_followed();
    }
}

TEST_P(damaged_message, as_a_read_reply_is_applied_or_thrown) {
    for (auto const& [name, bytes, misalignment] : GetParam().forms()) {
        SCOPED_TRACE(name);
        start_of_case();
        auto const before = condition();
        answer_at(variables_query, bytes, misalignment);

        auto const text = thrown_text([this] { connection->update_all_variables(); });

        if (bytes.size() < shortest_message) {
            EXPECT_EQ(text, no_reply_data);
        }
        if (text.empty() || text == mismatch) {
            EXPECT_EQ(connection->get_state(), state::connected);
        } else {
            EXPECT_THAT(text, AnyOfArray(faults_of_read_reply));
            expect_faulted();
            attach_anew(sent_fingerprint);
        }
        if (text == mismatch) {
            EXPECT_EQ(condition(), before);
        }
        EXPECT_THAT(journal.get(), IsEmpty());
    }
    good_answers(sent_fingerprint);
    connection->update_all_variables();
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    expect_lists_are_followed();
}

INSTANTIATE_TEST_SUITE_P(every, damaged_message, testing::ValuesIn(every_damage()), case_name);

} // namespace

} // namespace arvenhold::corvel::hub
