// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/dev_hub.hpp"
#include <hub/hub.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace arvenhold::corvel::hub::reliability {

/// How long anything may take that is announced by nobody.
inline constexpr std::chrono::seconds patience{60};

/// An application that provides variables of all six types and recovers the way the documents say:
/// after a failure it disconnects, registers again and connects.
class providing_application {
public:
    /// @param variables  How many; at least six.
    providing_application(dev::dev_hub& hub, std::string const& identifier, std::size_t variables);

    /// Changes every variable and publishes; recovers if the provider has failed.
    ///
    /// @return whether the values were handed over to the NATS client.
    bool publish_all();

    [[nodiscard]] provider& get_provider();
    [[nodiscard]] variable_list& get_list();
    [[nodiscard]] std::uint64_t get_recoveries() const;

private:
    dev::dev_hub& m_hub;
    std::size_t const m_variables;
    definition_fingerprint const m_fingerprint;
    provider m_provider;
    std::shared_ptr<variable_list> m_list;
    std::uint64_t m_round = 0;
    std::uint64_t m_recoveries = 0;

    bool start();
    static void apply_command(
        definition_fingerprint fingerprint,
        variable_write_command const& command,
        provider& receiver,
        void* user_data);
};

/// An application that follows one provider and recovers the way the documents say: after a fault
/// it disconnects, connects and attaches again.
class consuming_application {
public:
    consuming_application(
        dev::dev_hub& hub, std::string const& name, std::string provider_identifier);

    /// Reads everything and writes one variable; recovers if the connection is faulted.
    ///
    /// @return whether both succeeded.
    bool read_and_write();

    [[nodiscard]] consumer& get_consumer();
    [[nodiscard]] provider_connection& get_connection();
    [[nodiscard]] std::uint64_t get_recoveries() const;

private:
    dev::dev_hub& m_hub;
    std::string const m_provider_identifier;
    consumer m_consumer;
    std::shared_ptr<provider_connection> m_connection;
    std::uint64_t m_recoveries = 0;
    std::int64_t m_written = 0;

    bool start();
};

/// Tells whether the consumer's values, qualities and time stamps are those of the provider.
bool is_equal(variable_list& provided, provider_connection& consumed);

/// Makes a definition with `variables` variables, whose types take turns.
void fill(provider_definition& definition, std::size_t variables);

/// Returns a value of the type that the variable at `position` has, different for each round.
variable_value value_for(std::size_t position, std::uint64_t round);

/// Connects with the hub's first client.
template <class Client>
void connect(Client& client, dev::dev_hub& hub) {
    client.connect(
        hub.get_nats_server().get_url(),
        hub.get_token_endpoint().get_url(),
        "developer",
        "developer-secret");
}

} // namespace arvenhold::corvel::hub::reliability
