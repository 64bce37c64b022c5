// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A plain NATS client without any of the library's code, which plays whatever a test needs at the
// other end: registry, provider or consumer. It sends and receives bytes; the tests know what is
// in them.

#pragma once

#include "dev_hub/nats_handles.hpp"

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

/// Long enough for everything that happens at all, on a slow machine under a sanitizer; a test that
/// reaches it fails.
inline constexpr std::chrono::seconds patience{30};

/// What the peer waited for did not happen, or the NATS client refused.
class peer_failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A message as it arrived.
struct peer_message {
    std::string subject;
    std::string reply_subject; ///< Where an answer is awaited; empty for none.
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

    /// Takes the next message out, and waits for it if there is none.
    ///
    /// @throws peer_failure  None arrives within the limit.
    peer_message take(std::chrono::milliseconds limit = patience);

    /// How many messages have arrived and were not taken.
    [[nodiscard]] std::size_t waiting() const;

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

    /// Ends the reactions, then leaves the server.
    ~raw_peer();

    /// Listens from now on: the server knows it when this returns. Wildcards are possible.
    peer_inbox listen(std::string const& subject);

    /// Calls `react` with every message on `subject` from now on, one after the other, on a thread
    /// of its own. It must not throw.
    void on_message(std::string const& subject, reaction react);

    /// Answers every request on `subject` with `bytes`.
    void answer(std::string const& subject, std::string const& bytes);

    /// Publishes; the server has the message when this returns.
    ///
    /// @param reply_subject  Where an answer is awaited; empty for none.
    void publish(
        std::string const& subject,
        std::string const& bytes,
        std::string const& reply_subject = {});

    /// Sends a request and waits for the answer.
    peer_answer request(
        std::string const& subject,
        std::string const& bytes,
        std::chrono::milliseconds limit = patience);

    /// Waits until the server has taken everything so far and everything that it sent before has
    /// arrived here; after a restart of the server also until the peer is connected again.
    ///
    /// @throws peer_failure  That takes too long.
    void settle();

private:
    dev::nats_connection m_connection;
    std::mutex m_mutex; // guards the lists
    std::list<dev::nats_subscription> m_subscriptions;
    std::vector<std::jthread> m_reactions;

    natsSubscription* subscribe(std::string const& subject);
};

} // namespace arvenhold::corvel::hub
