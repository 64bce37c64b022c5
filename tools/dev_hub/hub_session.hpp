// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The registry's connection to the NATS server. Used on the registry's thread alone; what arrives
// is posted to a mailbox by threads of the NATS client.

#pragma once

#include "dev_hub/mailbox.hpp"
#include "dev_hub/nats_handles.hpp"
#include "dev_hub/registry_messages.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

struct hub_session_settings {
    std::vector<std::string>
        urls; ///< Of servers of one cluster, at least one; tls:// requires TLS.
    std::string token;
    std::string client;  ///< How the server names the session.
    std::string ca_file; ///< Authorities for TLS, which is required then; may be empty.
};

enum class hub_session_state : std::uint8_t {
    connected,
    disconnected, ///< Reconnects by itself.
    closed        ///< For good: the server does not accept the token any more.
};

/// One connection, which reconnects by itself for as long as it exists. Does not get its own
/// publications.
class hub_session {
public:
    /// Connects.
    ///
    /// @param box  Gets every message of every subscription, and every reconnect.
    ///
    /// @throws dev_hub_failure  The server does not admit the session.
    hub_session(hub_session_settings const& settings, std::shared_ptr<mailbox> const& box);

    hub_session(hub_session const&) = delete;
    hub_session(hub_session&&) = delete;
    hub_session& operator=(hub_session const&) = delete;
    hub_session& operator=(hub_session&&) = delete;

    ~hub_session();

    [[nodiscard]] bool is_connected() const;

    [[nodiscard]] hub_session_state get_state() const;

    /// Whether the server has refused a subscription or a publication since the session connected.
    [[nodiscard]] bool was_forbidden() const;

    /// How often the session has reconnected.
    [[nodiscard]] std::uint64_t get_reconnect_count() const;

    /// How many messages the NATS client has dropped, because they came faster than they were delivered.
    [[nodiscard]] std::uint64_t get_dropped() const;

    /// @throws dev_hub_failure  The NATS client refuses.
    void subscribe(std::string const& subject);

    /// Waits until the server has taken everything so far, the subscriptions above all.
    ///
    /// @throws dev_hub_failure  The server does not answer.
    void flush();

    /// @param reply  The subject for answers; empty for none.
    [[nodiscard]] natsStatus publish(
        std::string const& subject, std::string const& reply, message_bytes const& bytes);

private:
    mailbox_address const m_address;
    nats_connection m_connection;
    nats_statistics m_statistics;
    std::vector<nats_subscription> m_subscriptions; // destroyed before the connection
};

} // namespace arvenhold::corvel::hub::dev
