// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Providers that a command runs until it ends: registered in time at the beginning, and kept through
// every outage afterwards.

#pragma once

#include "corvelctl/command_line.hpp"
#include "corvelctl/definition_file.hpp"
#include "corvelctl/tool.hpp"
#include <hub/session/names.hpp>
#include <hub/session/provider_session.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

enum class row_style {
    text,
    json
};

/// A provider on the main thread: what happens to it waits for dispatch().
class kept_provider {
public:
    /// Every change of a variable is sent; so many of each wait during an outage.
    static constexpr std::size_t most_waiting = 1000;

    /// Does not connect.
    ///
    /// @param style  How changes of its state are shown: as notes, or as rows on standard output.
    kept_provider(
        tool& with,
        row_style style,
        hub_access access,
        std::string const& name,
        std::vector<ctl::defined_variable> const& variables);

    kept_provider(kept_provider const&) = delete;
    kept_provider& operator=(kept_provider const&) = delete;
    ~kept_provider() = default;

    void start();

    /// Shows what has happened to the session.
    ///
    /// @return the write requests that have arrived.
    ///
    /// @throws output_closed  Nobody reads standard output any more.
    [[nodiscard]] std::vector<any_write_request> dispatch();

    /// Returns the variable with this path.
    ///
    /// @throws failure  There is none; the text names near ones.
    [[nodiscard]] any_variable_handle const& require(std::string const& path) const;

    /// Returns the variable with this path, or a handle of no variable.
    [[nodiscard]] any_variable_handle find(std::string const& path) const;

    void set_all_qualities(variable_quality quality, timestamp when) const;

    [[nodiscard]] provider_session& get_session();
    [[nodiscard]] std::string const& get_name() const;

    /// Returns how many changes were dropped, because more than most_waiting waited.
    [[nodiscard]] std::uint64_t count_dropped_changes() const;

private:
    void show(session_status const& status);

    tool& m_tool;
    row_style const m_style;
    std::string const m_name;
    bool m_was_ready = false;
    std::vector<session_status> m_changes;
    std::vector<any_write_request> m_requests;
    std::unordered_map<std::string, any_variable_handle> m_variables;
    provider_session m_session;
};

using kept_providers = std::vector<std::unique_ptr<kept_provider>>;

/// What register_providers() needs to know of the command line.
struct registration_options {
    bool waits = false;          ///< Whether the hub need not be there yet.
    bool replaces = false;       ///< Whether providers of these names may be there already.
    std::string flag = "--name"; ///< The flag that gives another name, for error texts.
};

/// Adds the flag --wait.
void add_registration(CLI::App& command, registration_options& options);

/// Looks whether the hub is there and the names are free, unless it need not be there. To be called
/// before anything is started.
///
/// @throws failure  The hub cannot be reached, its registry does not answer (definition_rejected), or
///                  it has a provider of such a name (refused_locally).
void require_free_names(
    tool& with, std::vector<std::string> const& names, registration_options const& given);

/// Starts the providers, and waits until the registry has accepted all of them.
///
/// @return the exit code if a signal ends the command; nothing if they are registered.
///
/// @throws failure  The registry rejects one, or gives no verdict within the time of the command.
std::optional<exit_code> register_providers(
    tool& with, kept_providers const& all, registration_options const& given);

/// Returns what is readable when something happens to a provider, or a signal has come.
[[nodiscard]] std::vector<int> get_descriptors(tool& with, kept_providers const& all);

/// Warns how many changes were dropped, and which providers cannot send their latest values, and ends
/// the program soon, see supervisor::end_soon(). The sessions send what they have when they end.
void finish_providers(tool& with, kept_providers const& all, exit_code code);

} // namespace arvenhold::corvel::hub::ctl
