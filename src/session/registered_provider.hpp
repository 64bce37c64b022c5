// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/change_block.hpp"
#include "session/failure_status.hpp"
#include "session/variable_slots.hpp"
#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/provider.hpp>
#include <hub/session/hub_access.hpp>
#include <hub/variable_list.hpp>
#include <hub/variable_write_command.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

class provider_variable;

/// One registration of a session's variables, on one connection. When anything is wrong with it, it
/// is replaced; nothing in it is repaired.
///
/// connect() is called once. Afterwards publish() and find_failure() are called by one thread.
class registered_provider {
public:
    /// A variable's position and the value that a consumer has written to it.
    using write = std::pair<std::uint32_t, variable_value>;

    /// Called on threads of the core. Must only enqueue what they receive.
    struct listeners {
        std::function<void()> link_lost;
        std::function<void(std::vector<write>)> written; ///< Types and permissions are unchecked.
    };

    registered_provider(std::string const& identifier, listeners called);
    registered_provider(registered_provider const&) = delete;
    registered_provider& operator=(registered_provider const&) = delete;

    /// Disconnects; waits for listeners.
    ~registered_provider() = default;

    /// Connects and registers. Consumers read the variables with their own times and qualities.
    ///
    /// @param access   Where to connect; its options are used as they are, except for the link
    ///                 callback.
    /// @param states   The variables in the order of their positions.
    /// @param version  The upper half of the fingerprint.
    ///
    /// @throws std::exception  As for provider::connect(). The object is of no use any more.
    ///
    /// @par Blocking
    /// As for provider::connect().
    void connect(
        hub_access const& access, std::vector<variable_state> states, std::uint32_t version);

    /// Makes a connect() of another thread that waits for the registry fail. Waits for one that has
    /// not reached the server yet.
    void abandon();

    /// Makes a connect() of another thread fail whose link was lost.
    void disconnect();

    /// Returns why the provider is of no use any more; nothing while it is.
    std::optional<failure> find_failure();

    /// Sends an event.
    ///
    /// @throws std::exception  It was not sent. The object is of no use any more.
    void publish(change_block::event const& event);

private:
    std::string const m_identifier;
    listeners const m_listeners;

    std::shared_ptr<variable_list> m_list;
    std::vector<provider_variable*> m_variables; // by position; the list owns them
    std::vector<variable_quality> m_qualities;   // theirs

    provider m_provider; // destroyed first: afterwards no callback runs

    void register_variables(std::vector<variable_state> states, std::uint32_t version);
    void record(change_block::event const& event);
    void receive(variable_write_command const& command);

    static void receive_command(
        definition_fingerprint fingerprint,
        variable_write_command const& command,
        provider& receiver,
        void* user_data);
    static void receive_link_event(
        link_event event, std::uint64_t dropped_messages, void* user_data);
};

} // namespace arvenhold::corvel::hub
