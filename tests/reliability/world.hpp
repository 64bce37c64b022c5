// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/dev_hub.hpp"
#include <hub/hub.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// The time limit for conditions that have to be polled.
inline constexpr std::chrono::seconds patience{60};

/// How long the longest call of each operation has taken. Used by one thread at a time.
class longest_calls {
public:
    template <class Call>
    auto measure(std::string const& operation, Call call) {
        measurement const ended_by_return_or_throw{m_longest[operation]};
        return call();
    }

    [[nodiscard]] std::map<std::string, std::chrono::milliseconds> const& get() const {
        return m_longest;
    }

private:
    class measurement {
    public:
        explicit measurement(std::chrono::milliseconds& longest);
        measurement(measurement const&) = delete;
        measurement& operator=(measurement const&) = delete;
        ~measurement();

    private:
        std::chrono::milliseconds& m_longest;
        std::chrono::steady_clock::time_point const m_begin = std::chrono::steady_clock::now();
    };

    std::map<std::string, std::chrono::milliseconds> m_longest;
};

/// The servers that an application knows; each connect tries the next one.
class known_servers {
public:
    /// @param urls  None for the hub's own.
    known_servers(dev::dev_hub& hub, std::vector<std::string> urls);

    /// Connects to the next server with the hub's first client.
    template <class Client>
    void connect(Client& client) {
        client.connect(
            m_urls.at(m_attempts++ % m_urls.size()),
            m_hub.get_token_endpoint().get_url(),
            "developer",
            "developer-secret");
    }

private:
    dev::dev_hub& m_hub;
    std::vector<std::string> const m_urls;
    std::size_t m_attempts = 0;
};

/// An application that provides variables of all six types and recovers as documented: after a
/// failure it disconnects, registers again with another fingerprint and connects.
class providing_application {
public:
    /// @param variables  How many; at least six.
    /// @param servers    As known_servers has them.
    providing_application(
        dev::dev_hub& hub,
        std::string const& identifier,
        std::size_t variables,
        std::vector<std::string> servers = {});

    /// Changes every variable and publishes; recovers if the provider has failed.
    ///
    /// @return whether the values were handed over to the NATS client.
    bool publish_all();

    [[nodiscard]] provider& get_provider();
    [[nodiscard]] variable_list& get_list();
    [[nodiscard]] std::uint64_t get_recoveries() const;
    [[nodiscard]] longest_calls const& get_longest_calls() const;

private:
    known_servers m_servers;
    longest_calls m_calls;
    std::size_t const m_variables;
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

/// An application that follows one provider and recovers as documented: after a fault it
/// disconnects, connects and attaches again; if the provider has another definition, it requests
/// that.
class consuming_application {
public:
    /// @param servers  As known_servers has them.
    consuming_application(
        dev::dev_hub& hub,
        std::string const& name,
        std::string provider_identifier,
        std::vector<std::string> servers = {});

    /// Reads everything and writes one variable; recovers if the connection is faulted.
    ///
    /// @return whether both succeeded.
    bool read_and_write();

    /// Requests the definition, and with it all values; recovers if the connection is faulted.
    ///
    /// @return whether the request succeeded.
    bool request_definition();

    /// Sends a write command without variables, which changes nothing and which the provider's
    /// application answers with a change event; recovers if the connection is faulted.
    ///
    /// @return whether the command was sent.
    bool write_nothing();

    [[nodiscard]] consumer& get_consumer();
    [[nodiscard]] provider_connection& get_connection();
    [[nodiscard]] std::uint64_t get_recoveries() const;
    [[nodiscard]] longest_calls const& get_longest_calls() const;

private:
    known_servers m_servers;
    longest_calls m_calls;
    std::string const m_provider_identifier;
    consumer m_consumer;
    std::shared_ptr<provider_connection> m_connection;
    std::uint64_t m_recoveries = 0;
    std::int64_t m_written = 0;

    bool start();
    template <class Work>
    bool attempt(Work work);
    void read_or_follow_definition();
};

/// Whether the consumer's values, qualities and time stamps are those of the provider.
bool is_equal(variable_list& provided, provider_connection& consumed);

/// Changes, reads and writes until everything is equal on both sides, which recover as needed.
///
/// @return whether that was so before the patience ended.
bool become_equal(providing_application& providing, consuming_application& consuming);

/// Fills a definition with `variables` variables, whose types alternate, with the values of the
/// round.
void fill(provider_definition& definition, std::size_t variables, std::uint64_t round = 0);

/// Returns a value, different for each round, of the type of the variable at `position`.
variable_value value_for(std::size_t position, std::uint64_t round);

/// Connects with the hub's first client.
template <class Client>
void connect(Client& client, dev::dev_hub& hub) {
    known_servers{hub, {}}.connect(client);
}

} // namespace arvenhold::corvel::hub::reliability
