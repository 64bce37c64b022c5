// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the documents say about a provider, the registry and a consumer, without messages, threads
// and time: every operation takes full effect everywhere at once. Predicts how each operation ends
// and what all sides show once everything is quiet.

#pragma once

#include <hub/common.hpp>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// How an operation has ended.
struct outcome {
    std::string error; ///< The name of the exception's class; empty for success.
    std::string text;  ///< The exception's text; a prediction without one fits any.

    [[nodiscard]] bool succeeded() const {
        return error.empty();
    }
};

/// A variable as one side sees it. An empty member cannot be predicted.
struct variable_model {
    std::optional<variable_value> value;
    variable_quality quality = variable_quality::good;
    std::optional<timestamp> when;

    friend bool operator==(variable_model const&, variable_model const&) = default;
};

using variable_models = std::map<variable_id, variable_model>;

/// The variables of one definition on the provider's side.
struct list_model {
    definition_fingerprint fingerprint = 0;
    variable_models variables;
    std::set<variable_id> read_only; ///< Consumers may not write these.
    std::set<variable_id> pending;
    bool is_stale = false;
    bool is_orphaned = false; ///< Its provider is gone.

    [[nodiscard]] std::vector<variable_id> ids() const;
};

/// A consumer's connection to the provider.
struct connection_model {
    provider_connection_state state = provider_connection_state::connected;
    definition_fingerprint fingerprint = 0;
    variable_models variables;
    std::set<variable_id> read_only;

    /// Whether the provider's absence, returns and events are still followed.
    [[nodiscard]] bool is_live() const;
};

using new_value = std::tuple<variable_id, variable_value>;
using new_quality = std::tuple<variable_id, variable_quality>;

/// One hub with one provider, the registry, and one consumer that attaches to that provider.
class hub_model {
public:
    hub_model(std::string provider_identifier, std::string consumer_name);

    // The provider's application.

    outcome connect_provider();
    outcome connect_provider_with_wrong_secret();
    void disconnect_provider();
    /// Destroys the provider and creates another one of the same name.
    void replace_provider();
    outcome register_open_definition();
    outcome register_definition(std::shared_ptr<list_model> list);
    outcome publish(timestamp when);
    outcome force_publish_all(timestamp when);

    outcome publish(list_model& list, new_value const& change, timestamp when);
    outcome bulk_publish(list_model& list, std::vector<new_value> const& changes, timestamp when);
    outcome set_quality(list_model& list, new_quality const& change, timestamp when);
    outcome bulk_set_quality(
        list_model& list, std::vector<new_quality> const& changes, timestamp when);
    outcome write_variable(list_model& list, new_value const& change, timestamp when) const;
    static void mark_all_variables_pending(list_model& list);

    // The registry.

    void reject_definitions();
    void judge_normally();
    void withdraw_definition();
    void forget_provider();
    void restart_registry();

    // The consumer's application. Its operations on a connection use the latest one that it
    // attached.

    outcome connect_consumer();
    [[nodiscard]] outcome connect_consumer_with_wrong_secret() const;
    void disconnect_consumer();
    /// Destroys the consumer and creates another one of the same name.
    void replace_consumer(bool read_only);
    outcome attach();
    outcome set_local_value(new_value const& change, timestamp when);
    outcome read_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids);
    outcome update_all_variables();
    /// @param applied_when  The time stamp that the provider's application gives the values.
    outcome write_variables(
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& ids,
        timestamp applied_when);
    outcome request_provider_definition();
    void disconnect_connection();
    void fault_connection();

    /// The consumer reads all values while the provider publishes one. The latest connection is
    /// attached and connected, and holds the list's definition.
    void publish_during_a_read(list_model& list, new_value const& change, timestamp when);

    /// The registry's event about a definition that both sides hold already.
    void repeat_definition_event();

    /// A change event with a quality only: no value and no time stamp.
    void receive_quality_alone(new_quality const& change);

    // What can be seen.

    struct provider_state {
        bool is_connected = false;
        bool has_failed = false; ///< A connect failed because no token could be obtained.
        bool is_registered = false;
        std::shared_ptr<list_model> list; ///< Null for none.
    };

    struct registry_state {
        bool rejects = false;
        bool lists_provider = false;
        std::optional<definition_fingerprint> known;
        std::size_t definitions_received = 0;
    };

    struct consumer_state {
        bool is_connected = false;
        bool is_read_only = false;
        std::optional<bool> sees_provider = false; ///< Empty: there is no list.
        bool has_lost_provider = false;
        std::shared_ptr<connection_model> attached; ///< Null for none.
    };

    /// What callbacks have received, counted from the beginning.
    struct callback_counts {
        std::size_t commands = 0;           ///< Write commands to the provider.
        std::size_t empty_changes = 0;      ///< Change events without variables.
        std::size_t definition_updates = 0; ///< As far as they are certain.
    };

    [[nodiscard]] provider_state const& get_provider() const;
    [[nodiscard]] registry_state const& get_registry() const;
    [[nodiscard]] consumer_state const& get_consumer() const;
    [[nodiscard]] callback_counts const& get_counts() const;
    [[nodiscard]] std::shared_ptr<connection_model> const& get_connection() const;

    /// Whether neither the provider nor the server would answer a read request, which then runs
    /// into its timeout of five seconds.
    [[nodiscard]] bool attaching_takes_long() const;

    /// Whether events were sent since the last call whose effect on a receiver is not certain: they
    /// are not meant for it, or another event was faster. The final state is the same either way.
    bool take_uncertainty();

private:
    std::string const m_provider_identifier;
    std::string const m_consumer_name;
    provider_state m_provider;
    registry_state m_registry;
    consumer_state m_consumer;
    callback_counts m_counts;
    bool m_uncertain = false;
    std::shared_ptr<connection_model> m_connection;
    std::map<definition_fingerprint, std::shared_ptr<list_model>> m_lists; // ever registered

    [[nodiscard]] outcome provider_state_invalid(std::string_view detail) const;
    [[nodiscard]] outcome provider_not_connected(std::string_view operation) const;
    [[nodiscard]] outcome connection_state_invalid(std::string_view detail) const;
    [[nodiscard]] outcome mismatch(
        definition_fingerprint expected, definition_fingerprint received) const;
    [[nodiscard]] std::optional<outcome> why_not_current(list_model const& list) const;

    void forget_registration();
    outcome announce_definition();
    void send_changes(timestamp when);
    void send_providers();
    void receive_definition_event();
    void receive_changes(std::set<variable_id> const& ids, std::optional<timestamp> when);
    void adopt(connection_model& connection, definition_fingerprint fingerprint);
    outcome read(
        connection_model& connection,
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& ids);
    outcome fetch_definition(connection_model& connection);
    void apply_command(
        connection_model const& connection,
        std::vector<variable_id> const& ids,
        timestamp applied_when);
};

} // namespace arvenhold::corvel::hub::reliability
