// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider/provider_impl.hpp"

#include "errors/operation_names.hpp"
#include "model/variable_list_impl.hpp"
#include "protocol/variables_codec.hpp"

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

void provider::impl::serialize_publish_variables(
    message_builder& builder,
    timestamp when,
    definition_fingerprint fingerprint,
    std::shared_ptr<variable_list> const& list) {
    using pending_changes = variable_list::impl::pending_changes;
    // Intended: drained before the event is sent; what a failed publication loses is not sent
    // again. But not before all memory for the event is allocated.
    impl_of(*list).drain_pending([&](pending_changes const& changes) {
        variables_writer writer{builder, changes.size()};
        changes.for_each(
            [&writer](variable_id id, variable_value const& value, variable_quality quality) {
                writer.add_change(id, value, quality);
            });
        writer.finish_change_event(fingerprint, when);
    });
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
