// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/damaged_messages.hpp"

#include "support/boiler.hpp"
#include "support/consumer_messages.hpp"
#include "unit/protocol/sent_messages.hpp"

namespace arvenhold::corvel::hub {

namespace {

std::vector<wire::variable_definition_table> defined_variables() {
    return {
        wire::defined(0, "pump/running", wire::bool_code),
        wire::defined(1, "cycle/duration", wire::duration_code),
        wire::defined(2, "pump/speed", wire::double_code),
        wire::defined(3, "pieces", wire::int64_code),
        wire::defined(4, "mode", wire::string_code),
        wire::defined(0xFFFFFFFF, "service/last", wire::timestamp_code)};
}

// In an order of tables and fields that is not the library's.
std::vector<wire::variable_table> items() {
    auto duration = wire::item(1, wire::time_struct{90, 500});
    duration.value_type = wire::duration_code;
    return {
        wire::item(0, true),
        duration,
        wire::at({1'700'000'000, 123'456'789}, wire::item(2, 1.5)),
        wire::item(3, std::int64_t{-42}),
        wire::item(4, "hand"),
        wire::item(0xFFFFFFFF, wire::time_struct{-1, -1})};
}

} // namespace

std::vector<named_bytes> whole_messages() {
    std::vector<named_bytes> messages{
        {"registry_state", ready_registry()},
        {"verdict", verdict_on(sent_fingerprint, 1)},
        {"definition_reply", wire::definition_reply(sent_fingerprint, defined_variables())},
        {"provider_list", wire::provider_list_event({"boiler", "pump"})},
        {"list_without_boiler", wire::provider_list_event({"pump"})},
        {"list_of_none", wire::provider_list_event({})},
        {"read_reply_of_a_peer", wire::read_reply(sent_fingerprint, items())},
        {"change_event_of_a_peer", wire::change_event(sent_fingerprint, items())},
        {"read_request_of_a_peer", wire::read_variables_query({{1, 2, 3}})},
        {"root_without_a_field", wire::read_variables_query(std::nullopt)}};
    for (auto const& message : sent_messages()) {
        messages.push_back({message.name, message.bytes});
    }
    return messages;
}

std::vector<damage> every_damage() {
    std::vector<damage> all{{"random_messages", &random_messages}};
    for (auto const& message : whole_messages()) {
        all.push_back({message.name, [bytes = message.bytes] {
                           return damaged_forms_of(bytes);
                       }});
    }
    return all;
}

} // namespace arvenhold::corvel::hub
