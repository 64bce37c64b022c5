// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How another process injects faults into a running hub: over a local socket whose name is the port
// of the hub's nats-server. The name belongs to the kernel, not to the file system, so that nothing
// is left behind and a hub is found as long as it runs.

#pragma once

#include "dev_hub/fault.hpp"
#include "dev_hub/file_descriptor.hpp"

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <thread>

namespace arvenhold::corvel::hub::dev {

class fault_injector;

/// The running hub's end. Answers one request after the other on a thread of its own.
class control_endpoint {
public:
    /// @param nats_port  The port of the hub's nats-server.
    /// @param faults     Must outlive the endpoint.
    ///
    /// @throws dev_hub_failure  The socket cannot be opened.
    control_endpoint(std::uint16_t nats_port, fault_injector& faults);

    control_endpoint(control_endpoint const&) = delete;
    control_endpoint(control_endpoint&&) = delete;
    control_endpoint& operator=(control_endpoint const&) = delete;
    control_endpoint& operator=(control_endpoint&&) = delete;

    ~control_endpoint();

private:
    void run();
    void answer(file_descriptor const& client);

    fault_injector& m_faults;
    file_descriptor m_listener;
    std::thread m_thread;
};

/// Begins a fault in another process's hub, and waits until it has its effect.
///
/// @param nats_port  The port of the hub's nats-server.
///
/// @return the sentence that announces the fault; see describe_begin().
///
/// @throws dev_hub_failure  No hub runs on that port, it does not answer, or it cannot begin the
///                          fault.
///
/// @par Blocking
/// Up to 30 s.
std::string request_fault(std::uint16_t nats_port, fault const& wanted);

/// The process of the hub whose nats-server has this port; nothing if there is none.
[[nodiscard]] std::optional<pid_t> find_hub_process(std::uint16_t nats_port);

/// The ports of the hubs that run on this machine.
[[nodiscard]] std::set<std::uint16_t> find_running_hubs();

/// The hub that a user means who names no port.
///
/// @throws dev_hub_failure  There is none, or more than one.
[[nodiscard]] std::uint16_t choose_hub(std::set<std::uint16_t> const& running);

} // namespace arvenhold::corvel::hub::dev
