// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Writes the inputs that the targets begin with, a folder for each target, from the messages that
// the unit tests use. The same on every run.

#include "fuzz/support/inputs.hpp"
#include "support/boiler.hpp"
#include "support/consumer_messages.hpp"
#include "support/decoding_outcome.hpp"
#include "unit/protocol/sent_messages.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <span>

namespace arvenhold::corvel::hub::fuzz {

namespace {

using std::filesystem::path;

constexpr wire::time_struct this_century{1'700'000'000, 123'456'789};

// A folder of inputs, numbered from 0.
class input_folder {
public:
    input_folder(path const& top, std::string const& target)
        : m_folder{top / target} {
        std::filesystem::create_directories(m_folder);
    }

    void add_bytes(std::string_view bytes) {
        std::ofstream file{m_folder / std::to_string(m_count++), std::ios::binary};
        file.exceptions(std::ios::badbit | std::ios::failbit);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush();
    }

    template <class Input>
    void add(Input input) {
        table_sink sink;
        pass(sink, input);
        add_bytes(sink.bytes());
    }

    // One input of several messages.
    void add(std::vector<raw_message> messages) {
        table_sink sink;
        for (auto& message : messages) {
            pass(sink, message);
        }
        add_bytes(sink.bytes());
    }

private:
    path m_folder;
    int m_count = 0;
};

wire::variable_list_table list_of(std::vector<wire::variable_table> const& items) {
    return {.fingerprint = 7, .timestamp = this_century, .items = items};
}

std::vector<wire::variable_table> one_of_each_type() {
    auto cycle = wire::item(2, wire::time_struct{1, 1'999});
    cycle.value_type = wire::duration_code;
    return {
        wire::item(1, true),
        cycle,
        wire::item(3, -0.5),
        wire::item(4, std::numeric_limits<std::int64_t>::min()),
        wire::item(5, "hand"),
        wire::at({-1, -500'000'000}, wire::item(6, this_century))};
}

// Items that a reader takes with a default, skips or refuses.
std::vector<wire::variable_table> odd_items() {
    std::vector<wire::variable_table> items;
    items.emplace_back();
    for (std::uint8_t tag = 0; tag < 8; ++tag) {
        items.push_back({.value_type = tag});
        items.push_back({.value_type = tag, .value = wire::value_table{}, .quality = 65});
        if (tag != wire::string_code) { // would make an offset of the number
            items.push_back(
                {.value_type = tag, .value = wire::value_table{std::int64_t{-1}}, .quality = 255});
        }
    }
    return items;
}

std::vector<variables_input> variables_inputs() {
    std::vector<std::optional<wire::variable_list_table>> const lists{
        list_of(one_of_each_type()),
        list_of(odd_items()),
        list_of(std::vector<wire::variable_table>(300, wire::item(1, 1.5))),
        list_of({}),
        wire::variable_list_table{.items = one_of_each_type()},
        wire::variable_list_table{},
        std::nullopt};
    std::vector<variables_input> inputs{
        {.kind = 3, .ids = std::vector<std::uint32_t>{3, 1, 2}}, {.kind = 3}};
    std::uint8_t distance = 0;
    for (std::uint8_t kind = 0; kind < 3; ++kind) {
        for (auto const& list : lists) {
            inputs.push_back({.kind = kind, .distance = distance++, .list = list});
        }
    }
    return inputs;
}

// The same, expected to be none, too few, exact, too many and as many as can be.
std::vector<written_variables_input> written_variables_inputs() {
    constexpr std::array<std::uint16_t, 5> expected{
        0, 1, 6, 300, std::numeric_limits<std::uint16_t>::max()};
    std::vector<written_variables_input> inputs;
    for (auto const& variables : variables_inputs()) {
        inputs.push_back({expected.at(inputs.size() % expected.size()), variables});
    }
    return inputs;
}

std::vector<definition_input> definition_inputs() {
    std::vector<wire::variable_definition_table> variables;
    for (std::uint8_t type = 0; type < 8; ++type) {
        variables.push_back(wire::defined(type, "pump/speed", type, type % 4));
    }
    std::vector<std::optional<wire::provider_definition_table>> const definitions{
        wire::provider_definition_table{7, variables, std::uint8_t{1}},
        wire::provider_definition_table{
            7, std::vector<wire::variable_definition_table>{{}, {.path = ""}}},
        wire::provider_definition_table{.variable_definitions = {{}}},
        wire::provider_definition_table{.fingerprint = 7, .valid = 2},
        wire::provider_definition_table{},
        std::nullopt};
    std::vector<definition_input> inputs;
    std::uint8_t distance = 0;
    for (std::uint8_t kind = 0; kind < definition_kinds; ++kind) {
        for (auto const& definition : definitions) {
            inputs.push_back({kind, distance++, definition});
        }
    }
    return inputs;
}

std::vector<registry_input> registry_inputs() {
    std::vector<std::optional<wire::provider_list_table>> const lists{
        wire::provider_list_table{{{{"press-4"}, {"boiler"}, {"boiler"}, {""}}}},
        wire::provider_list_table{{{{"boiler"}, {}}}},
        wire::provider_list_table{.items = {{}}},
        wire::provider_list_table{},
        std::nullopt};
    std::vector<registry_input> inputs{{.state = 0}, {.state = 1}, {.state = 255}, {}};
    std::uint8_t distance = 0;
    for (std::uint8_t kind = 1; kind < registry_kinds; ++kind) {
        for (auto const& list : lists) {
            inputs.push_back({.kind = kind, .distance = distance++, .list = list});
        }
    }
    return inputs;
}

std::vector<std::string> token_reply_inputs() {
    std::string const reply{R"({"access_token":"abc.def","expires_in":60})"};
    auto const piece = [](std::string const& text) {
        return std::string(1, static_cast<char>(text.size())) + text;
    };
    std::vector<std::string> inputs{
        std::string(1, '\0') + reply,
        piece(R"({ "access_token":"abc"})"),
        piece(R"({"error":"invalid_client"})"),
        piece(R"({"access_token":")"),
        piece(R"({"access_token":"")"),
        piece("<html>"),
        ""};
    for (std::size_t end : {1U, 14U, 17U, 20U, 25U, 41U}) {
        inputs.push_back(piece(reply.substr(0, end)) + piece(reply.substr(end)));
    }
    return inputs;
}

std::vector<std::string> identifiers() {
    return {
        "",
        "boiler",
        "plant.hall-2.boiler",
        "a b",
        "*",
        ">",
        "\"\\",
        "\xC3\xBC\xFF",
        std::string(1, '\0'),
        std::string(300, 'x')};
}

std::vector<std::string> texts_to_encode() {
    return {"", "f", "fo", "foo", "foob", "fooba", "foobar", "client:secret", "\xFB\xFF\xFE"};
}

std::uint8_t number_of(provider_kind kind) {
    return static_cast<std::uint8_t>(kind);
}

std::uint8_t number_of(consumer_kind kind) {
    return static_cast<std::uint8_t>(kind);
}

std::vector<raw_message> messages_for_provider() {
    return {
        {number_of(provider_kind::read_request), 0, request_for_all()},
        {number_of(provider_kind::read_request), 1, wire::read_variables_query({{0, 1, 2, 0}})},
        {number_of(provider_kind::write_command), 2, command_to_write(7, 0, 1.5)},
        {number_of(provider_kind::write_command),
         3,
         wire::write_variables_command(list_of(one_of_each_type()))},
        {number_of(provider_kind::write_command),
         4,
         wire::write_variables_command(list_of(odd_items()))},
        {number_of(provider_kind::write_command), 5, wire::write_variables_command({})},
        {number_of(provider_kind::verdict), 6, verdict_on(7, 1)},
        {number_of(provider_kind::verdict), 7, wire::provider_definition_changed_event({})},
        {number_of(provider_kind::registry_state), 0, wire::registry_state_changed_event(0)},
        {number_of(provider_kind::registry_state), 1, ready_registry()},
        {number_of(provider_kind::awaited_verdict), 2, verdict_on(7, 0)}};
}

std::vector<raw_message> messages_for_consumer() {
    auto const definition = std::vector{
        wire::defined(1, "running", wire::bool_code), wire::defined(5, "mode", wire::string_code)};
    auto values = list_of(one_of_each_type());
    values.fingerprint = 77;
    auto odd_values = list_of(odd_items());
    odd_values.fingerprint = 77;
    return {
        {number_of(consumer_kind::providers_event), 0, wire::provider_list_event({"boiler"})},
        {number_of(consumer_kind::providers_event), 1, wire::provider_list_event({"pump", ""})},
        {number_of(consumer_kind::definition_event), 2, wire::definition_event(77, definition)},
        {number_of(consumer_kind::definition_event), 3, wire::definition_event(78, definition)},
        {number_of(consumer_kind::definition_event),
         4,
         wire::provider_definition_changed_event(std::nullopt)},
        {number_of(consumer_kind::variables_event), 5, wire::variables_changed_event(values)},
        {number_of(consumer_kind::variables_event), 6, wire::variables_changed_event(odd_values)},
        {number_of(consumer_kind::providers_reply), 7, wire::provider_list_reply({"boiler"})},
        {number_of(consumer_kind::definition_reply), 0, wire::definition_reply(79, definition)},
        {number_of(consumer_kind::read_reply), 1, wire::read_variables_query_response(values)},
        {number_of(consumer_kind::read_reply), 2, wire::read_reply(79, {})},
        {number_of(consumer_kind::connecting_reply), 3, wire::provider_list_reply({"boiler"})},
        {number_of(consumer_kind::attaching_reply), 4, wire::definition_reply(80, definition)}};
}

// Each message alone, all in a row, and all that the library itself sends to every place.
void write_messages(
    input_folder folder, std::vector<raw_message> const& messages, std::uint8_t kinds) {
    for (auto const& message : messages) {
        folder.add(std::vector{message});
    }
    folder.add(messages);
    for (auto const& sent : sent_messages()) {
        std::vector<raw_message> everywhere;
        for (std::uint8_t kind = 0; kind < kinds; ++kind) {
            everywhere.push_back({kind, kind, sent.bytes});
        }
        folder.add(everywhere);
    }
}

template <class Input>
void write_inputs(input_folder folder, std::vector<Input> const& inputs) {
    for (auto const& input : inputs) {
        if constexpr (std::is_same_v<Input, std::string>) {
            folder.add_bytes(input);
        } else {
            folder.add(input);
        }
    }
}

// Well-formed messages, each behind the number of the kind that it is decoded as.
void write_malformed(input_folder folder) {
    auto const add = [&folder](message_kind kind, std::string const& message) {
        folder.add_bytes(static_cast<char>(kind) + message);
    };
    std::map<std::string, message_kind> const sent_kinds{
        {"definition_changed_event", message_kind::definition_event},
        {"read_reply", message_kind::read_reply},
        {"read_request", message_kind::read_request},
        {"variables_changed_event", message_kind::change_event},
        {"write_command", message_kind::write_command}};
    for (auto const& sent : sent_messages()) {
        if (auto const found = sent_kinds.find(sent.name); found != sent_kinds.end()) {
            add(found->second, sent.bytes);
        }
    }
    add(message_kind::verdict,
        wire::provider_definition_changed_event(
            wire::provider_definition_table{.fingerprint = 5, .valid = 1}));
    add(message_kind::provider_list_event,
        wire::providers_changed_event(wire::provider_list_table{{{{"boiler"}, {"press-4"}}}}));
    add(message_kind::registry_state, wire::registry_state_changed_event(1));
}

void write_corpus(path const& top) {
    write_inputs({top, "variables"}, variables_inputs());
    write_inputs({top, "written_variables"}, written_variables_inputs());
    write_inputs({top, "definition"}, definition_inputs());
    write_inputs({top, "registry"}, registry_inputs());
    write_malformed({top, "malformed"});
    write_inputs({top, "token_reply"}, token_reply_inputs());
    write_inputs({top, "base64"}, texts_to_encode());
    write_inputs({top, "subjects"}, identifiers());
    write_messages({top, "provider_messages"}, messages_for_provider(), provider_kinds);
    write_messages({top, "consumer_messages"}, messages_for_consumer(), consumer_kinds);
}

} // namespace

} // namespace arvenhold::corvel::hub::fuzz

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::cerr << "usage: fuzz_corpus FOLDER\n";
        return 2;
    }
    try {
        arvenhold::corvel::hub::fuzz::write_corpus(std::span{arguments, 2}[1]);
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
