// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A plain NATS client without any of the library's code. It plays the peer that a test needs:
// registry, provider or consumer. It sends and receives bytes, which only the tests decode.

#pragma once

#include "dev_hub/nats_handles.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

/// The time limit for every wait, long enough for a slow machine under a sanitizer. A test that
/// reaches it fails.
inline constexpr std::chrono::seconds patience{30};

/// A wait of the peer reached its time limit, or the NATS client reported an error.
class peer_failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A received message.
struct peer_message {
    std::string subject;
    std::string reply_subject; ///< The subject for the reply; empty if none is expected.
    std::string bytes;
};

/// The outcome of a request; no bytes unless the status is NATS_OK.
struct peer_answer {
    natsStatus status = NATS_OK;
    std::string bytes;
};

/// Messages on one subject in the order of their arrival. Must not outlive its peer.
class peer_inbox {
public:
    explicit peer_inbox(natsSubscription* subscription);

    /// Removes and returns the next message; waits for one if there is none.
    ///
    /// @throws peer_failure  None arrives within the limit.
    peer_message take(std::chrono::milliseconds limit = patience);

    /// The number of messages that have arrived and were not taken.
    [[nodiscard]] std::uint64_t waiting() const;

private:
    natsSubscription* m_subscription;
};

/// Connects with the server's own token, not through the token endpoint, and reconnects by itself
/// within a few hundredths of a second, faster than the library does.
///
/// @par Thread safety
/// All operations may be called from any thread, and from reactions.
class raw_peer {
public:
    using reaction = std::function<void(peer_message const&)>;

    /// Connects.
    ///
    /// @throws peer_failure  The server does not admit the peer.
    raw_peer(std::string const& url, std::string const& token);

    raw_peer(raw_peer const&) = delete;
    raw_peer(raw_peer&&) = delete;
    raw_peer& operator=(raw_peer const&) = delete;
    raw_peer& operator=(raw_peer&&) = delete;

    /// Ends the reactions, then disconnects.
    ~raw_peer();

    /// Subscribes. The subscription is active when this returns. Wildcards are allowed.
    peer_inbox listen(std::string const& subject);

    /// Calls `react` with every message on `subject` from now on, one after the other, on a thread
    /// of its own. It must not throw.
    void on_message(std::string const& subject, reaction react);

    /// Answers every request on `subject` with `bytes`.
    void answer(std::string const& subject, std::string const& bytes);

    /// Publishes; the server has the message when this returns.
    ///
    /// @param reply_subject  The subject for the reply; empty if none is expected.
    void publish(
        std::string const& subject,
        std::string const& bytes,
        std::string const& reply_subject = {});

    /// Sends a request and waits for the reply.
    peer_answer request(
        std::string const& subject,
        std::string const& bytes,
        std::chrono::milliseconds limit = patience);

    /// Flushes: waits until the server has processed everything sent so far, and everything that it
    /// sent before has arrived. After a restart of the server, waits for the reconnect first.
    ///
    /// @throws peer_failure  The time limit is reached.
    void settle();

private:
    dev::nats_connection m_connection;
    std::mutex m_mutex; // guards the lists
    std::list<dev::nats_subscription> m_subscriptions;
    std::vector<std::jthread> m_reactions;

    natsSubscription* subscribe(std::string const& subject);
};

} // namespace arvenhold::corvel::hub
