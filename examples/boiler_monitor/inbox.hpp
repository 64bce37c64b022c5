// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The way from the threads of the NATS client to the main thread.

#pragma once

#include <hub/hub.hpp>

#include <cstdint>
#include <mutex>
#include <set>
#include <vector>

namespace hub = arvenhold::corvel::hub;

/// What has happened to a connection since the last call of inbox::collect().
struct news {
    std::vector<hub::provider_connection_event> events;
    std::uint64_t change_events = 0;
    std::set<hub::variable_id> changed;
};

/// Collects the events of a connection. The library calls back on threads of the NATS client, and
/// the next event waits until the callback has returned, so callbacks should be short.
///
/// @par Thread safety
/// All operations may be called from any thread. Must outlive the consumer.
class inbox {
public:
    /// Sets the callbacks of a connection.
    void follow(hub::provider_connection& connection);

    /// Returns what has happened since the last call.
    news collect();

private:
    std::mutex m_mutex;
    news m_news; // guarded by the mutex

    static void add_event(
        hub::provider_connection_event event,
        hub::provider_connection& connection,
        void* user_data);

    static void add_changes(
        hub::definition_fingerprint fingerprint,
        std::vector<hub::variable_id> changed,
        hub::provider_connection& connection,
        void* user_data);
};
