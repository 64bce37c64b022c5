// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the documents promise of a provider session and a consumer session, in a form that can be
// compared with the real ones.

#pragma once

#include <hub/common.hpp>
#include <hub/session/consumer_session.hpp>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// How an operation ends.
enum class session_outcome {
    succeeds,
    breaks_order, ///< std::logic_error
    has_bad_argument,
    finds_provider_not_live,
    finds_no_path,
    finds_read_only,
    finds_wrong_type
};

/// A time that is known, or that a session has taken from the system clock.
struct time_range {
    timestamp earliest;
    timestamp latest;
};

/// What one variable holds.
struct held_value {
    variable_value value;
    variable_quality quality = variable_quality::uncertain_initial_value;
    time_range when{};

    [[nodiscard]] bool is_shown_by(any_reading const& shown) const;
};

/// What the application answers to write requests.
enum class write_answer {
    none, ///< There is no handler.
    accept,
    accept_as_it_is, ///< The present value in place of the wanted one.
    refuse,
    throws,
    later
};

struct session_variable_model {
    held_value held;
    variable_permissions permissions = variable_permissions::read_only;
    write_answer answer = write_answer::none;
};

enum class session_stage {
    created,
    started,
    stopped
};

struct provider_session_model {
    session_stage stage = session_stage::created;
    bool dispatches = false;
    std::map<std::string, session_variable_model> variables;

    [[nodiscard]] session_outcome declare(
        std::string const& path, variable_permissions permissions, bool has_handler) const;
    [[nodiscard]] session_outcome keep_changes(std::size_t limit) const;
    [[nodiscard]] session_outcome set(std::string const& path, variable_value const& value) const;
    [[nodiscard]] session_outcome start() const;
};

/// What was followed: a path with its type, or a pattern.
struct following_model {
    std::string paths;
    std::optional<std::size_t> type{};

    [[nodiscard]] bool matches(
        std::string const& path, session_variable_model const& variable) const;
};

struct consumer_session_model {
    session_stage stage = session_stage::created;
    bool dispatches = false;
    bool is_read_only = false;
    std::vector<following_model> followed;

    [[nodiscard]] session_outcome start() const;

    /// While everything that was begun has been completed.
    [[nodiscard]] session_outcome write(
        provider_session_model const& provider,
        std::string const& path,
        variable_value const& value) const;

    /// Whether exactly the values of the provider are shown as live that are followed.
    [[nodiscard]] bool is_shown_by(
        std::size_t following,
        provider_session_model const& provider,
        std::vector<any_reading> const& shown) const;

    /// Whether the session has attached to the provider, with nothing left to do.
    [[nodiscard]] bool is_attached(provider_session_model const& provider) const;

    /// Whether the session is ready, with nothing left to do.
    [[nodiscard]] bool is_ready(provider_session_model const& provider) const;
};

} // namespace arvenhold::corvel::hub::reliability
