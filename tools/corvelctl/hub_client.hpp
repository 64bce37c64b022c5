// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The connection of a command that asks once: it fails at the first difficulty, in time, and with an
// explanation.

#pragma once

#include "corvelctl/connection_settings.hpp"
#include "corvelctl/tool.hpp"
#include <hub/hub.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Returns where the hub is and hides its secret from everything that is shown.
///
/// @throws failure  As find_connection().
[[nodiscard]] connection_settings prepare_connection(tool& with);

/// Returns the options for a connection that does not repair itself, and whose operations end in the
/// given time.
[[nodiscard]] connect_options make_one_shot_options(
    connection_settings const& settings, std::chrono::milliseconds limit);

/// The server accepts the client and its token, but the registry does not answer.
struct registry_failure : failure {
    explicit registry_failure(failure const& explained)
        : failure{explained} {}
};

/// Sets the further servers of a cluster, and how the connection is encrypted.
void set_servers(connect_options& options, connection_settings const& settings);

/// A consumer that is connected.
class hub_client {
public:
    /// Connects.
    ///
    /// @param permissions  `read_only` to ask for permission only to read.
    /// @param limit        Of each step; nothing for the time that the command has left.
    ///
    /// @throws registry_failure  The registry does not answer.
    /// @throws failure           The hub cannot be reached or refuses.
    explicit hub_client(
        tool& with,
        variable_permissions permissions = variable_permissions::read_only,
        std::optional<std::chrono::milliseconds> limit = {});

    hub_client(hub_client const&) = delete;
    hub_client& operator=(hub_client const&) = delete;

    ~hub_client() = default;

    /// Returns the identifiers of all providers, in alphabetical order.
    [[nodiscard]] std::vector<std::string> get_providers();

    /// Whether the link to the server was lost, which ends the client for good.
    [[nodiscard]] bool has_lost_link() const;

    /// Attaches to a provider, which reads its definition and all values.
    ///
    /// @throws failure  There is no such provider, or it does not answer.
    [[nodiscard]] std::shared_ptr<provider_connection> attach(std::string const& provider);

private:
    static void note_link(link_event event, std::uint64_t dropped, void* user_data);

    tool& m_tool;
    std::atomic<bool> m_link_lost{false}; // set on a thread of the library, only read here
    consumer m_consumer;
};

/// The failure of a command that names a provider which the registry does not list.
[[nodiscard]] failure make_unknown_provider(
    std::string const& provider, std::vector<std::string> const& providers);

} // namespace arvenhold::corvel::hub::ctl
