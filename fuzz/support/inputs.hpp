// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "fuzz/support/table_bytes.hpp"
#include "support/odd_messages.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the inputs of the targets mean.

namespace arvenhold::corvel::hub::wire {

template <class Bytes>
void pass(Bytes& bytes, time_struct& time) {
    fuzz::pass_all(bytes, time.seconds, time.nanos);
}

template <class Bytes>
void pass(Bytes& bytes, value_table& table) {
    fuzz::pass_all(bytes, table.value);
}

template <class Bytes>
void pass(Bytes& bytes, variable_table& table) {
    fuzz::pass_all(bytes, table.value_type, table.value, table.id, table.timestamp, table.quality);
}

template <class Bytes>
void pass(Bytes& bytes, variable_list_table& table) {
    fuzz::pass_all(bytes, table.fingerprint, table.timestamp, table.items);
}

template <class Bytes>
void pass(Bytes& bytes, variable_definition_table& table) {
    fuzz::pass_all(bytes, table.path, table.id, table.data_type, table.access);
}

template <class Bytes>
void pass(Bytes& bytes, provider_definition_table& table) {
    fuzz::pass_all(bytes, table.fingerprint, table.variable_definitions, table.valid);
}

template <class Bytes>
void pass(Bytes& bytes, provider_table& table) {
    fuzz::pass_all(bytes, table.id);
}

template <class Bytes>
void pass(Bytes& bytes, provider_list_table& table) {
    fuzz::pass_all(bytes, table.items);
}

} // namespace arvenhold::corvel::hub::wire

namespace arvenhold::corvel::hub::fuzz {

enum class variables_kind : std::uint8_t {
    change_event,
    read_reply,
    write_command,
    read_request
};
inline constexpr std::uint8_t variables_kinds = 4;

enum class definition_kind : std::uint8_t {
    verdict,
    reply,
    event
};
inline constexpr std::uint8_t definition_kinds = 3;

enum class registry_kind : std::uint8_t {
    state,
    list_reply,
    list_event
};
inline constexpr std::uint8_t registry_kinds = 3;

/// One well-formed message, its tables of any shape, at an address of any alignment.
struct variables_input {
    std::uint8_t kind = 0; ///< Modulo the number of kinds, a variables_kind.
    std::uint8_t distance = 0;
    std::optional<wire::variable_list_table> list = std::nullopt;
    std::optional<std::vector<std::uint32_t>> ids = std::nullopt; ///< For a read request.
};

/// Variables to write, announced to the writer as any number of them.
struct written_variables_input {
    std::uint16_t expected_items = 0;
    variables_input variables;
};

struct definition_input {
    std::uint8_t kind = 0;
    std::uint8_t distance = 0;
    std::optional<wire::provider_definition_table> definition = std::nullopt;
};

struct registry_input {
    std::uint8_t kind = 0;
    std::uint8_t distance = 0;
    std::optional<std::uint8_t> state = std::nullopt;
    std::optional<wire::provider_list_table> list = std::nullopt;
};

template <class Bytes>
void pass(Bytes& bytes, variables_input& input) {
    pass_all(bytes, input.kind, input.distance, input.list, input.ids);
}

template <class Bytes>
void pass(Bytes& bytes, written_variables_input& input) {
    pass_all(bytes, input.expected_items, input.variables);
}

template <class Bytes>
void pass(Bytes& bytes, definition_input& input) {
    pass_all(bytes, input.kind, input.distance, input.definition);
}

template <class Bytes>
void pass(Bytes& bytes, registry_input& input) {
    pass_all(bytes, input.kind, input.distance, input.state, input.list);
}

/// Where the bytes of a message go to: in one program a handler of the provider, in another one of
/// the consumer or a reply to its request. Modulo the number of kinds.
enum class provider_kind : std::uint8_t {
    read_request,
    write_command,
    verdict,
    registry_state,
    awaited_verdict
};
inline constexpr std::uint8_t provider_kinds = 5;

enum class consumer_kind : std::uint8_t {
    providers_event,
    definition_event,
    variables_event,
    providers_reply,
    definition_reply,
    read_reply,
    connecting_reply,
    attaching_reply
};
inline constexpr std::uint8_t consumer_kinds = 8;

/// Any bytes as a message.
struct raw_message {
    std::uint8_t kind = 0;
    std::uint8_t distance = 0; ///< From a multiple of eight.
    std::string bytes;
};

template <class Bytes>
void pass(Bytes& bytes, raw_message& message) {
    pass_all(bytes, message.kind, message.distance, message.bytes);
}

/// Makes an input of the fuzzer's bytes.
template <class Input>
Input input_of(std::string_view bytes) {
    table_source source{bytes};
    Input input;
    pass(source, input);
    return input;
}

/// An input of messages goes on to the end of the bytes.
inline std::vector<raw_message> messages_of(std::string_view bytes) {
    table_source source{bytes};
    std::vector<raw_message> messages;
    while (!source.is_used_up()) {
        pass(source, messages.emplace_back());
    }
    return messages;
}

} // namespace arvenhold::corvel::hub::fuzz
