// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "errors/operation_names.hpp"
#include <hub/connection_failed.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_read_only.hpp>

#include <tuple>

namespace arvenhold::corvel::hub {

void provider_connection::impl::write_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    shared_variables variables;
    {
        std::scoped_lock const lock{m_mutex};
        require_connected("cannot write variables into provider: provider connection is not in "
                          "connected state");
        require_held(fingerprint);
        if (m_link.read_only) {
            throw variable_read_only::for_consumer(m_link.name, m_provider_id);
        }
        variables = m_variables; // our copy keeps this map whole while we work unlocked
    }
    message_builder command{initial_builder_size};
    try {
        serialize_write_command(command, *variables, fingerprint, ids);
    } catch (variable_index_invalid const&) {
        set_fault_state();
        throw;
    }
    try {
        m_link.session->publish(
            operation_name::write_variables, m_write_subject, finished_bytes(command));
    } catch (connection_failed const&) {
        set_fault_state();
        throw;
    }
}

void provider_connection::impl::serialize_write_command(
    message_builder& builder,
    consumer_variable_set const& variables,
    definition_fingerprint fingerprint,
    std::vector<variable_id> const& ids) {
    variables_writer writer{builder, ids.size()};
    for (auto const id : ids) {
        auto& variable = require_variable(variables, id, "serialize_write_command()");
        // A copy: a change event may replace the value at this moment.
        writer.add_write(id, std::get<variable_value>(variable.get_value_with_timestamp()));
    }
    writer.finish_write_command(fingerprint);
}

} // namespace arvenhold::corvel::hub
