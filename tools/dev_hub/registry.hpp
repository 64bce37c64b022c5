// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The registry service of the development hub: keeps the definitions of all providers, judges them,
// and announces which providers there are.

#pragma once

#include "dev_hub/definition.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace arvenhold::corvel::hub::dev {

class event_log;

struct registry_options {
    /// From the arrival of a definition to the verdict.
    std::chrono::milliseconds verdict_delay{5};

    /// From one check for lost and returned providers to the next.
    std::chrono::milliseconds probe_interval{500};
};

/// The registry, a client of the NATS server.
///
/// A definition is stored when it arrives and is valid, in place of an older one of the same
/// provider; queries are answered from then on. The verdict follows after the verdict delay, and
/// with it the provider enters the list of providers. A provider leaves the list when nobody
/// listens to its read requests any more. Its definition is kept: the provider enters the list
/// again when it answers with the fingerprint of that definition, or publishes one.
///
/// Identifiers may contain dots, up to sixteen tokens. Subjects that begin like the registry's own
/// ("v1.loc.registry.providers.") are not taken for those of a provider.
///
/// The registry survives restarts of the NATS server: it reconnects within a fraction of a second
/// and announces itself ready. It checks for lost providers again only after their clients have had
/// time to reconnect.
///
/// @par Thread safety
/// All operations may be called from any thread. An operation that changes something has had its
/// effect, publications included, when it returns.
class registry {
public:
    /// Connects and announces the registry ready.
    ///
    /// @param log  Gets the registry's events. Must outlive the registry.
    ///
    /// @throws dev_hub_failure  The server does not admit the registry, or the system has no thread
    ///                          left. Nothing is left running.
    registry(
        std::string const& nats_url,
        std::string const& token,
        registry_options options,
        event_log& log);

    registry(registry const&) = delete;
    registry(registry&&) = delete;
    registry& operator=(registry const&) = delete;
    registry& operator=(registry&&) = delete;

    ~registry();

    /// The providers in the list.
    [[nodiscard]] std::set<std::string> get_providers() const;

    /// The stored definition; nothing if there is none.
    [[nodiscard]] std::optional<definition> get_definition(std::string const& provider) const;

    /// @return whether the provider is in the list before `limit` has passed.
    [[nodiscard]] bool wait_until_provider_listed(
        std::string const& provider, std::chrono::milliseconds limit) const;

    /// @return whether the provider is not in the list before `limit` has passed.
    [[nodiscard]] bool wait_until_provider_gone(
        std::string const& provider, std::chrono::milliseconds limit) const;

    /// Applies to definitions that arrive from now on.
    void set_verdict_delay(std::chrono::milliseconds delay);

    /// Publishes every following verdict this many times; 0 keeps verdicts back, and their
    /// providers out of the list.
    void set_verdict_copies(unsigned copies);

    /// Drops every message that arrives, so that requests time out instead of being refused. Drops
    /// verdicts that are due, too, and does not check for lost providers.
    void go_silent();

    /// Ends go_silent(). Nothing is announced.
    void speak_again();

    /// Finds every following definition of this provider invalid.
    void reject(std::string const& provider);

    /// Finds every following definition invalid.
    void reject_all();

    /// Ends reject() and reject_all().
    void judge_normally();

    /// Drops the provider's definition and notifies the provider's consumers. The provider stays in
    /// the list; its next publication brings a definition back.
    void withdraw_definition(std::string const& provider);

    /// Drops everything known about the provider, which thereby leaves the list.
    void forget_provider(std::string const& provider);

    /// Goes away and comes back with no memory of definitions and providers, and announces itself
    /// ready, as a restarted service does. Switched-on faults, the verdict delay and copies stay.
    ///
    /// Changes of the list are held back for the first probe interval afterwards, so that consumers
    /// do not see providers as lost that are about to publish again; then the list is published
    /// even if unchanged.
    ///
    /// @throws dev_hub_failure  The server does not admit the registry, for example because it does
    ///                          not run. The registry is away then; restart() may be called again.
    void restart();

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

} // namespace arvenhold::corvel::hub::dev
