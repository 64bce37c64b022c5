// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The development hub behind a local_hub, shared by its scripted peers. Any thread.

#pragma once

#include "dev_hub/event_log.hpp"
#include "dev_hub/message_server.hpp"
#include "dev_hub/registry.hpp"
#include "dev_hub/token_endpoint.hpp"

#include <hub/detail/thread_annotations.hpp>
#include <hub/testkit/local_hub.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// A peer that returns to the hub after a fault, when the hub says so.
class returning_peer {
public:
    returning_peer() = default;
    returning_peer(returning_peer const&) = delete;
    returning_peer(returning_peer&&) = delete;
    returning_peer& operator=(returning_peer const&) = delete;
    returning_peer& operator=(returning_peer&&) = delete;
    virtual ~returning_peer() = default;

    /// Enters the hub again if it should be there and is not; a fault may still prevent it.
    ///
    /// @param ended  The fault that has ended.
    virtual void return_after(fault ended) = 0;
};

class local_hub::impl {
public:
    using server_factory = std::function<std::unique_ptr<dev::message_server>(dev::event_log&)>;

    explicit impl(server_factory const& make_server);

    /// @param is_peer  Whether a scripted peer connects, to which no token is refused.
    hub_access make_access(std::string const& client_id, bool is_peer) CORVEL_HUB_EXCLUDES(m_mutex);

    /// An access of its own for a scripted peer.
    hub_access make_peer_access() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Notifies the peer of faults that have ended, as long as it exists.
    void add_peer(std::weak_ptr<returning_peer> const& peer) CORVEL_HUB_EXCLUDES(m_mutex);

    void begin_fault(fault begun) CORVEL_HUB_EXCLUDES(m_mutex);
    void end_fault(fault ended) CORVEL_HUB_EXCLUDES(m_mutex);
    void end_all_faults() CORVEL_HUB_EXCLUDES(m_mutex);
    void restart_server() CORVEL_HUB_EXCLUDES(m_mutex);

    [[nodiscard]] dev::registry const& get_registry() const;
    [[nodiscard]] std::vector<std::string> get_history() const;

    /// As "the hub has the providers oven, pump".
    [[nodiscard]] std::string describe_providers() const;

private:
    struct client {
        dev::client_credentials credentials;
        bool is_peer = false;
    };

    // Destroyed from the last to the first: each one uses those above it.
    dev::event_log m_log{nullptr};
    std::unique_ptr<dev::message_server> const m_server;
    dev::token_endpoint m_token_endpoint;
    dev::registry m_registry;

    std::mutex m_mutex; // held while a fault begins or ends
    std::vector<client> m_clients CORVEL_HUB_GUARDED_BY(m_mutex);
    std::set<fault> m_faults CORVEL_HUB_GUARDED_BY(m_mutex);
    std::vector<std::weak_ptr<returning_peer>> m_peers CORVEL_HUB_GUARDED_BY(m_mutex);
    unsigned m_peer_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;

    void inject(fault begun) CORVEL_HUB_REQUIRES(m_mutex);
    void heal(fault ended) CORVEL_HUB_REQUIRES(m_mutex);
    bool end_if_begun(fault ended) CORVEL_HUB_EXCLUDES(m_mutex);
    void admit_clients() CORVEL_HUB_REQUIRES(m_mutex);
    void bring_peers_back(fault ended) CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub::testkit
