// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "sent_messages.hpp"

#include "protocol/definition_codec.hpp"
#include "protocol/hub_messages_generated.h"
#include "protocol/registry_codec.hpp"
#include "protocol/variables_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

constexpr timestamp in_this_century{nanoseconds{1'700'000'000'123'456'789}};
constexpr timestamp before_the_epoch{nanoseconds{-1'500'000'001}};
constexpr nanoseconds cycle{90'000'000'500};
constexpr char const* mode = "hand \"wheel\" \xC3\xBC\n";

template <class Root, class Write>
sent_message sent(std::string const& name, std::string const& root_table, Write const& write) {
    message_builder builder;
    write(builder);
    auto const accepted = [](flatbuffers::Verifier& verifier) {
        return verifier.VerifyBuffer<Root>(nullptr);
    };
    return {
        name, "arvenhold.corvel.hub." + root_table, accepted, std::string{finished_bytes(builder)}};
}

void write_definition(message_builder& builder) {
    definition_writer writer{builder};
    writer.add(0, "pump/running", true, variable_permissions::read_only);
    writer.add(1, "cycle/duration", nanoseconds{}, variable_permissions::read_only);
    writer.add(2, "pump/speed", 0.0, variable_permissions::read_write);
    writer.add(3, "pieces", std::int64_t{}, variable_permissions::read_only);
    writer.add(4, "mode", std::string{}, variable_permissions::read_write);
    writer.add(0xFFFFFFFF, "service/last", timestamp{}, variable_permissions::read_only);
    writer.finish(sent_fingerprint);
}

void write_empty_definition(message_builder& builder) {
    definition_writer{builder}.finish(0);
}

void write_changes(message_builder& builder) {
    variables_writer writer{builder};
    writer.add_change(0, true, variable_quality::good);
    writer.add_change(1, cycle, variable_quality::bad);
    writer.add_change(2, -0.5, variable_quality::uncertain);
    writer.add_change(3, std::int64_t{-42}, variable_quality::uncertain_last_usable_value);
    writer.add_change(4, std::string{mode}, variable_quality::uncertain_initial_value);
    writer.add_change(0xFFFFFFFF, before_the_epoch, variable_quality{65});
    writer.finish_change_event(sent_fingerprint, in_this_century);
}

void write_zeros(message_builder& builder) {
    variables_writer writer{builder};
    writer.add_change(0, false, variable_quality::bad);
    writer.add_change(0, nanoseconds{}, variable_quality::bad);
    writer.add_change(0, 0.0, variable_quality::bad);
    writer.add_change(0, std::int64_t{}, variable_quality::bad);
    writer.add_change(0, std::string{}, variable_quality::bad);
    writer.add_change(0, timestamp{}, variable_quality::bad);
    writer.finish_change_event(0, timestamp{});
}

void write_no_changes(message_builder& builder) {
    variables_writer{builder}.finish_change_event(sent_fingerprint, in_this_century);
}

void write_read_reply(message_builder& builder) {
    variables_writer writer{builder};
    writer.add_reading(0, true, variable_quality::good, in_this_century);
    writer.add_reading(1, cycle, variable_quality::good, before_the_epoch);
    writer.add_reading(2, 0.0, variable_quality::bad, timestamp{});
    writer.add_reading(3, std::int64_t{-42}, variable_quality::good, in_this_century);
    writer.add_reading(4, std::string{mode}, variable_quality::good, in_this_century);
    writer.add_reading(0xFFFFFFFF, before_the_epoch, variable_quality::good, in_this_century);
    writer.finish_read_reply(sent_fingerprint, in_this_century);
}

void write_command(message_builder& builder) {
    variables_writer writer{builder};
    writer.add_write(4, std::string{mode});
    writer.add_write(2, 1.5);
    writer.add_write(0, false);
    writer.add_write(3, std::int64_t{-42});
    writer.add_write(1, cycle);
    writer.add_write(0xFFFFFFFF, before_the_epoch);
    writer.finish_write_command(sent_fingerprint);
}

void request_three(message_builder& builder) {
    serialize_read_request(builder, {2, 0, 0xFFFFFFFF});
}

void request_all(message_builder& builder) {
    serialize_read_request(builder, {});
}

} // namespace

std::vector<sent_message> sent_messages() {
    return {
        sent<ProviderDefinitionChangedEvent>(
            "definition_changed_event", "ProviderDefinitionChangedEvent", write_definition),
        sent<ProviderDefinitionChangedEvent>(
            "definition_changed_event_of_nothing",
            "ProviderDefinitionChangedEvent",
            write_empty_definition),
        sent<VariablesChangedEvent>(
            "variables_changed_event", "VariablesChangedEvent", write_changes),
        sent<VariablesChangedEvent>(
            "variables_changed_event_of_zeros", "VariablesChangedEvent", write_zeros),
        sent<VariablesChangedEvent>(
            "variables_changed_event_of_nothing", "VariablesChangedEvent", write_no_changes),
        sent<ReadVariablesQueryResponse>(
            "read_reply", "ReadVariablesQueryResponse", write_read_reply),
        sent<ReadVariablesQuery>("read_request", "ReadVariablesQuery", request_three),
        sent<ReadVariablesQuery>("read_request_for_all", "ReadVariablesQuery", request_all),
        sent<WriteVariablesCommand>("write_command", "WriteVariablesCommand", write_command),
        sent<ReadProviderDefinitionQuery>(
            "definition_request",
            "ReadProviderDefinitionQuery",
            serialize_provider_definition_request),
        sent<ReadProvidersQuery>(
            "provider_list_request", "ReadProvidersQuery", serialize_provider_list_request)};
}

} // namespace arvenhold::corvel::hub
