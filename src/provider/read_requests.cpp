// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Consumers' read requests, and the replies.

#include "provider/provider_impl.hpp"

#include "model/variable_list_impl.hpp"
#include "protocol/variables_codec.hpp"
#include "runtime/diagnostics.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

namespace {

// No server can be configured to accept a larger message.
constexpr std::size_t largest_payload = std::size_t{64} << 20U;

// Called while holding the list's lock.
void add_readings(
    message_builder const& builder,
    variables_writer& writer,
    variable_list const& list,
    std::vector<variable_id> const& ids) {
    for (auto const id : ids) {
        if (builder.GetSize() > largest_payload) {
            return; // cannot be sent anyway; a request may repeat ids without end
        }
        // Intended: a request for an unknown variable is no error; the reply leaves it out.
        if (auto const* const variable = impl_of(list).find(id)) {
            auto const state = variable->get_listed_state();
            writer.add_reading(id, state.value, state.quality, state.when);
        }
    }
}

} // namespace

// Intended: requests are answered as long as there is a list, also when the definition was rejected
// and whatever the state of the connection.
void provider::impl::variable_read_request_sub_handler(received_message message) {
    auto const current = get_snapshot();
    if (!current->list) {
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Provider ",
             m_identifier,
             ": failed to assemble reply for read request: variable list unavailable"});
        return;
    }
    if (!current->session) {
        return; // disconnected a moment ago
    }
    auto ids = decode_read_request(message.bytes());
    if (ids.empty()) {
        for (auto const& [id, variable] : current->list->get_variables()) {
            ids.push_back(id);
        }
    }
    message_builder builder{initial_builder_size};
    serialize_requested_variables(builder, current->fingerprint, ids, current->list);
    current->session->reply_to_read_request(message, finished_bytes(builder));
}

void provider::impl::serialize_requested_variables(
    message_builder& builder,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids,
    std::shared_ptr<variable_list> const& list) {
    // A request may ask for any number of unknown variables.
    variables_writer writer{builder, std::min(ids.size(), list->get_variables().size())};
    {
        std::scoped_lock const lock{*list};
        add_readings(builder, writer, *list, ids);
    }
    writer.finish_read_reply(fingerprint, std::chrono::system_clock::now());
}

} // namespace arvenhold::corvel::hub
