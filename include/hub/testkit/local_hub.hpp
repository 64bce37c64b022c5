// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>
#include <hub/session/hub_access.hpp>
#include <hub/testkit/waiting.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// Returns why no local_hub with a nats-server can be started here, with the cure, for the text of a
/// skipped test; empty if it can.
///
/// @param server_program  The NATS server: a name that is looked up in PATH and in the folders of the
///                        system administrator, or a path.
CORVEL_HUB_API std::string why_unavailable(std::string const& server_program = "nats-server");

/// A local_hub could not be started, or one of its services could not be started again. The text says
/// why and, where it is known, how to fix it.
class CORVEL_HUB_API hub_unavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the NATS server of a local_hub is.
enum class server_kind : std::uint32_t {
    /// The program nats-server, as on a controller.
    nats_server = 0,
    /// A small server in the test program itself, for machines without nats-server. It speaks what the
    /// library needs, and all faults work. It has no TLS, cluster, permissions, queue groups or
    /// published headers, and it sends no pings.
    in_process = 1,
};

/// What can be broken on a local_hub. Each fault lasts until it is ended.
enum class fault : std::uint32_t {
    /// The NATS server is killed, as in a crash; connections break at once.
    server_away = 0,
    /// The NATS server does not answer; connections stay open.
    server_frozen = 1,
    /// Nothing listens at the token endpoint.
    token_endpoint_away = 2,
    /// The token endpoint answers after 3 s, which is too late for the NATS client.
    tokens_late = 3,
    /// The token endpoint refuses all programs that got their access from get_access(), but not the
    /// scripted peers. Who is connected stays so; see also local_hub::restart_server().
    tokens_refused = 4,
    /// The registry drops everything that it receives: there is no verdict and no answer.
    registry_silent = 5,
    /// The registry rejects every definition that it receives.
    definitions_rejected = 6,
};

/// A hub on this machine, for one test: a NATS server, a token endpoint and a registry, on free
/// loopback ports. It is ready when constructed, which takes less than 0.1 s on a quiet machine.
///
/// Tests may run at the same time, each with a hub of its own. Nothing is left behind: no file, and
/// no process, even if the test program is killed.
///
/// @code
/// testkit::local_hub hub;
/// furnace_controller controller{hub.get_access()};
/// hub.wait_until_listed("furnace");
/// @endcode
///
/// The registry notices a lost provider within 0.1 s instead of a longer time on a controller.
///
/// @par Ownership
/// Scripted peers share the hub, so they may be destroyed later.
///
/// @par Thread safety
/// All operations may be called from any thread.
class CORVEL_HUB_API local_hub {
public:
    class CORVEL_HUB_INTERNAL impl; // the library's own

    /// Starts the hub.
    ///
    /// @param server  The NATS server. The program nats-server is found as why_unavailable() says.
    ///
    /// @throws hub_unavailable  The hub cannot be started, for example because the system has no thread
    ///                          left; nothing is left running.
    explicit local_hub(server_kind server = server_kind::nats_server);

    /// Starts the hub with another program as nats-server.
    ///
    /// @param server_program  The program, as for why_unavailable().
    ///
    /// @throws hub_unavailable  The hub cannot be started; nothing is left running.
    explicit local_hub(std::string const& server_program);

    local_hub(local_hub const&) = delete;
    local_hub& operator=(local_hub const&) = delete;

    /// Stops the hub, unless a scripted peer still uses it.
    ~local_hub();

    /// Returns what the program under test needs to connect. The NATS server's URL and all others stay
    /// the same through every fault.
    ///
    /// @param client_id  As whom the program connects: letters, digits, `-`, `_` and `.`.
    hub_access get_access(std::string const& client_id = "program-under-test");

    // -- what the registry knows ------------------------------------------------------------------

    /// Returns the identifiers of the providers on the hub.
    std::set<std::string> get_providers() const;

    /// Waits until a provider is on the hub, with an accepted definition.
    ///
    /// @param provider  The provider's identifier.
    /// @param limit     How long to wait.
    ///
    /// @throws expectation_failed  It is not listed within the limit.
    void wait_until_listed(
        std::string const& provider, std::chrono::milliseconds limit = default_limit) const;

    /// Waits until a provider is not on the hub.
    ///
    /// @param provider  The provider's identifier.
    /// @param limit     How long to wait.
    ///
    /// @throws expectation_failed  It is still listed when the limit has passed.
    void wait_until_gone(
        std::string const& provider, std::chrono::milliseconds limit = default_limit) const;

    /// Returns what has happened on the hub, one line for each event, oldest first; the latest ten
    /// thousand. For people, in the output of a failed test: the texts may change.
    std::vector<std::string> get_history() const;

    // -- faults -----------------------------------------------------------------------------------

    /// Breaks something until end_fault(). Has its effect when this returns. Different faults may be in
    /// force at the same time, except that a server cannot be frozen while it is away.
    ///
    /// @param begun  The fault.
    void begin_fault(fault begun);

    /// Ends a fault. Does nothing if it has not begun.
    ///
    /// Scripted providers that the fault has thrown off the hub are back when this returns, if no
    /// other fault prevents that. Everything else returns when it notices: the program under test, and
    /// scripted consumers.
    ///
    /// @param ended  The fault.
    ///
    /// @throws hub_unavailable  The service cannot be started, for example because another program
    ///                          has taken the port meanwhile; the fault lasts.
    ///
    /// @par Blocking
    /// Until the service works; up to 10 s for each scripted provider if there is a fault of the
    /// registry.
    void end_fault(fault ended);

    /// Ends all faults, as end_fault().
    ///
    /// @throws hub_unavailable  As for end_fault(); later faults last, too.
    void end_all_faults();

    /// Kills the NATS server and starts it again at once; also ends a fault of the server. Everybody
    /// has to connect again and to obtain another token.
    ///
    /// @throws hub_unavailable  As for end_fault(); the server is away.
    void restart_server();

private:
    friend class scripted_consumer;
    friend class scripted_provider;

    std::shared_ptr<impl> const m_impl;
};

} // namespace arvenhold::corvel::hub::testkit
