// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Injects faults into the services of a hub and ends each when its time is up.

#pragma once

#include "dev_hub/fault.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::dev {

class event_log;
class nats_server;
class registry;
class token_endpoint;

/// Every fault is recorded in the log when it begins and when it ends. A fault that cannot be
/// ended, because another program has taken the service's port, is recorded as lasting, and its end
/// is tried again every second.
///
/// @par Thread safety
/// All operations may be called from any thread; they run one at a time.
class fault_injector {
public:
    /// The services and the log must outlive the injector.
    fault_injector(
        nats_server& server, token_endpoint& endpoint, registry& providers, event_log& log);

    fault_injector(fault_injector const&) = delete;
    fault_injector(fault_injector&&) = delete;
    fault_injector& operator=(fault_injector const&) = delete;
    fault_injector& operator=(fault_injector&&) = delete;

    /// Leaves active faults as they are: their services end next.
    ~fault_injector();

    /// Begins a fault. It has its effect when this returns.
    ///
    /// Another fault of the same service ends first. The same fault again only gets its new
    /// duration, counted from now.
    ///
    /// @throws dev_hub_failure  The earlier fault cannot be ended; it lasts, and nothing has begun.
    void begin(fault const& wanted);

private:
    struct active_fault {
        fault_kind kind{};
        std::chrono::steady_clock::time_point ends_at;
    };

    void run();
    void end_others_locked(fault_kind beginning);
    void end_due_locked();
    void inject(fault const& wanted);
    void heal(fault_kind kind);

    nats_server& m_server;
    token_endpoint& m_endpoint;
    registry& m_providers;
    event_log& m_log;

    std::mutex m_mutex; // guards everything below, and is held while a fault begins or ends
    std::condition_variable m_changed;
    std::vector<active_fault> m_active;
    bool m_stopped = false;

    std::thread m_thread;
};

} // namespace arvenhold::corvel::hub::dev
