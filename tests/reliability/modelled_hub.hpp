// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A provider and a consumer on a real hub, and the model that predicts what they do. Every
// operation is done to both; afterwards the test waits for everything in flight and compares both.

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "reliability/hub_model.hpp"
#include "support/odd_messages.hpp"
#include "support/raw_peer.hpp"
#include <hub/hub.hpp>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::reliability {

/// The services that any number of sequences use, one after the other.
struct shared_hub {
    shared_hub();

    dev::dev_hub hub;
    raw_peer peer; ///< Its messages show that everything before them was received.
};

/// A list of the provider and its model.
struct held_list {
    std::shared_ptr<variable_list> real;
    std::shared_ptr<list_model> model;
};

/// The provider "provider-<number>" and the consumer "consumer-<number>", which is new to the hub.
class modelled_hub {
public:
    modelled_hub(shared_hub& services, std::uint64_t number);

    modelled_hub(modelled_hub const&) = delete;
    modelled_hub& operator=(modelled_hub const&) = delete;

    /// Leaves nothing behind on the hub.
    ~modelled_hub();

    /// Does an operation, lets the model predict it, and waits until everything is quiet.
    ///
    /// @return how the operation has ended.
    /// @throws row_failure  It has not ended as predicted, or something is not as predicted
    ///                      afterwards. The text says what.
    outcome perform(
        std::function<void()> const& operation, std::function<outcome()> const& prediction);

    /// The time of the current operation; every operation has its own.
    [[nodiscard]] timestamp now() const;

    void connect_provider(std::string const& secret);
    void replace_provider();
    std::shared_ptr<list_model> register_definition(
        definition_fingerprint fingerprint, std::size_t variables, std::uint64_t values);
    void restart_registry();
    void connect_consumer(std::string const& secret);
    void replace_consumer(bool read_only);
    void attach();

    /// Sends the consumer a change event without a time stamp, with the quality "uncertain" and
    /// nothing else for one variable.
    void send_uncertain_quality(variable_id id);

    [[nodiscard]] dev::registry& get_registry();
    [[nodiscard]] std::string const& get_provider_identifier() const;
    [[nodiscard]] provider& get_provider();
    [[nodiscard]] consumer& get_consumer();
    [[nodiscard]] provider_connection& get_connection();
    [[nodiscard]] held_list const& get_newest_list() const; ///< Null before the first one.
    [[nodiscard]] held_list const& get_older_list() const;  ///< The one before the newest.

    hub_model model;

private:
    // What the callbacks have seen.
    struct witness {
        std::atomic<timestamp> now{};
        std::atomic<std::size_t> commands{0};
        std::atomic<std::size_t> lists{0}; // of providers
        std::atomic<std::size_t> empty_changes{0};
        std::atomic<std::size_t> definition_updates{0};
    };

    shared_hub& m_services;
    std::string const m_provider_identifier;
    std::string const m_consumer_name;
    witness m_witness; // outlives the clients, whose callbacks use it
    std::optional<provider> m_provider;
    std::optional<consumer> m_consumer;
    std::shared_ptr<provider_connection> m_connection;
    held_list m_newest;
    held_list m_older;
    std::size_t m_lists_published_before = 0; // when the consumer connected
    std::size_t m_own_changes = 0;            // sent by the peer
    std::optional<std::size_t> m_list_due_after;

    static void on_written(
        definition_fingerprint fingerprint,
        variable_write_command const& command,
        provider& receiver,
        void* user_data);

    void create_provider();
    void create_consumer(bool read_only);
    [[nodiscard]] std::size_t count_published_lists() const;
    void settle(std::size_t updates_before, std::size_t certain_updates);
    void flush_registry();
    void settle_registry();
    void settle_provider();
    void repeat_definition_event();
    void settle_change_events();
    void send_change_event(wire::variable_list_table const& changes);
    [[nodiscard]] std::string find_difference();
    [[nodiscard]] std::string find_difference_of_provider();
    [[nodiscard]] std::string find_difference_of_consumer();
    [[nodiscard]] std::string find_difference_of_connection();
};

} // namespace arvenhold::corvel::hub::reliability
