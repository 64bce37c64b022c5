// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The way from the library's threads to the main thread.

#pragma once

#include <hub/hub.hpp>

#include <cstdint>
#include <mutex>
#include <set>
#include <vector>

namespace hub = arvenhold::corvel::hub;

/// What has happened to a connection since somebody last asked.
struct news {
    std::vector<hub::provider_connection_event> events;
    std::uint64_t change_events = 0;
    std::set<hub::variable_id> changed;
};

/// Collects what the library tells about a connection. The library calls back on threads of its
/// own, and the next event waits until the callback is done, so callbacks are best kept short.
///
/// @par Thread safety
/// All operations may be called from any thread. Must outlive the consumer.
class inbox {
public:
    /// Begins to collect.
    void follow(hub::provider_connection& connection);

    /// Hands over what was collected and forgets it.
    news take();

private:
    std::mutex m_mutex;
    news m_news; // guarded by the mutex

    static void take_event(
        hub::provider_connection_event event,
        hub::provider_connection& connection,
        void* user_data);

    static void take_changes(
        hub::definition_fingerprint fingerprint,
        std::vector<hub::variable_id> changed,
        hub::provider_connection& connection,
        void* user_data);
};
