// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider/provider_impl.hpp"

#include "errors/operation_names.hpp"
#include "protocol/variables_codec.hpp"
#include <hub/provider_variable.hpp>
#include <hub/variable_list.hpp>

namespace arvenhold::corvel::hub {

void provider::impl::publish(timestamp when) {
    short_message_memory memory;
    message_builder builder{initial_builder_size, &memory};
    auto const current = snapshot_for_publishing();
    serialize_publish_variables(builder, when, current->fingerprint, current->list);
    current->session->publish(
        operation_name::publish_updated_variables, m_change_event_subject, finished_bytes(builder));
}

provider::impl::shared_snapshot provider::impl::snapshot_for_publishing() {
    std::scoped_lock const lock{m_state_mutex};
    require_usable(operation_name::publish_variables);
    if (!m_registered) {
        throw_state_invalid("cannot publish, no provider definition registered");
    }
    return m_current;
}

// Writing and clearing happen under one hold of the list's lock, so that a value which another
// thread sets meanwhile goes either into this event or into the next one.
void provider::impl::serialize_publish_variables(
    message_builder& builder,
    timestamp when,
    definition_fingerprint fingerprint,
    std::shared_ptr<variable_list> const& list) {
    std::scoped_lock lock{*list};
    auto& pending = *list->get_modification_tracker();
    variables_writer writer{builder, pending.size()};
    for (auto const id : pending) {
        // The application may have put in any id.
        if (auto* const variable = list->find(id)) {
            writer.add_change(id, variable->get_value(), variable->get_listed_quality());
        }
    }
    writer.finish_change_event(fingerprint, when);
    // Intended: before the event is sent; what a failed publication loses is not sent again. But
    // only now, when all memory is there that the event takes.
    while (!pending.empty()) {
        auto mark = pending.extract(pending.begin());
        if (auto* const variable = list->find(mark.value())) {
            variable->m_tracker_node = std::move(mark);
        }
    }
}

void provider::impl::force_publish_all(timestamp when) {
    {
        std::scoped_lock const lock{m_state_mutex};
        require_usable(operation_name::force_publish_variables);
        if (!m_registered) {
            throw_state_invalid("cannot force-publish, no provider definition registered");
        }
        m_current->list->mark_all_variables_pending();
    }
    publish(when);
}

} // namespace arvenhold::corvel::hub
