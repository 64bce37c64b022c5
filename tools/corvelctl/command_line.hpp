// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How commands are added to the command line, and run.

#pragma once

#include "corvelctl/exit_code.hpp"
#include "corvelctl/tool.hpp"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

/// Runs a command that was parsed.
using command_action = std::function<exit_code(tool&)>;

/// Shows why a command ends, and returns how the program ends.
using failure_report = std::function<exit_code(output&, failure const&)>;

/// The command line while it is parsed. A command adds itself with add(), and the one that the user
/// has chosen leaves its action here.
class command_line {
public:
    explicit command_line(CLI::App& application)
        : m_application{application} {}

    /// Adds a command.
    ///
    /// @param options  Receives what is given on the command line; shared with the action.
    /// @param run      Called with the options when the command was chosen.
    ///
    /// @return the command, for its flags and arguments.
    template <class Options>
    CLI::App& add(
        std::string const& name,
        std::string const& description,
        std::shared_ptr<Options> options,
        exit_code (*run)(tool&, Options const&)) {
        return add_below(m_application, name, description, std::move(options), run);
    }

    /// The same for a command of a group, as "add" of "context".
    template <class Options>
    CLI::App& add_below(
        CLI::App& group,
        std::string const& name,
        std::string const& description,
        std::shared_ptr<Options> options,
        exit_code (*run)(tool&, Options const&)) {
        auto& command = *group.add_subcommand(name, description)->group("Commands");
        command.footer(""); // not that of the group, which a command would show otherwise
        command.final_callback([this, options = std::move(options), run] {
            m_chosen = [options, run](tool& with) {
                return run(with, *options);
            };
        });
        return command;
    }

    /// Adds a group of commands, one of which must be chosen.
    CLI::App& add_group(std::string const& name, std::string const& description) {
        auto& group = *m_application.add_subcommand(name, description)->group("Commands");
        group.require_subcommand(1);
        group.footer("See how one is used: corvelctl " + name + " COMMAND --help");
        return group;
    }

    /// Sets how a command shows failures, also those of its arguments and that its time is up, in place
    /// of output::report().
    ///
    /// @param report  May be called on another thread while the command runs.
    /// @param stuck   How the program ends if `report` does not return.
    void set_failure_report(CLI::App const& command, failure_report report, exit_code stuck) {
        m_reports.emplace(&command, command_report{std::move(report), stuck});
    }

    /// Shows a failure as the chosen command does.
    [[nodiscard]] exit_code report(output& out, failure const& ended) const;

    /// Returns how the program ends if report() does not return: with the failure's own code, unless
    /// the chosen command has another one for that.
    [[nodiscard]] exit_code get_stuck_code(exit_code own) const;

    /// The whole command line, for commands that explain it.
    [[nodiscard]] CLI::App& get_application() const {
        return m_application;
    }

    /// The action of the chosen command.
    [[nodiscard]] command_action const& get_chosen() const {
        return m_chosen;
    }

private:
    struct command_report {
        failure_report show;
        exit_code stuck;
    };

    // Null if the chosen command has none.
    [[nodiscard]] command_report const* find_report() const;

    CLI::App& m_application;
    command_action m_chosen;
    std::map<CLI::App const*, command_report> m_reports;
};

/// Adds an option that takes a duration, as "10s" or "250ms"; a number without a unit counts seconds.
///
/// @param set  Called with the duration, which is not negative.
CLI::Option* add_duration(
    CLI::App& command,
    std::string const& name,
    std::function<void(std::chrono::milliseconds)> set,
    std::string const& description);

/// Adds the option --rate, as "5/s", "30/min" or "0.5/s"; without a unit a second is meant.
///
/// @param set  Called with the time between two values, 1 ms to 24 h.
CLI::Option* add_rate(
    CLI::App& command,
    std::function<void(supervisor::clock::duration)> set,
    std::string const& description);

/// Adds an option that takes a size, as "64M": bytes, with k, M or G for thousands of them.
///
/// @param set  Called with the size in bytes, at least 1000.
CLI::Option* add_size(
    CLI::App& command,
    std::string const& name,
    std::function<void(std::uint64_t)> set,
    std::string const& description);

/// Returns a check of an option's text: a whole number within limits.
///
/// @param highest  The largest number of the type for no limit.
std::function<std::string(std::string const&)> make_number_check(
    std::uint64_t lowest, std::uint64_t highest);

/// Runs the program.
///
/// @return the exit code.
int run_program(int count, char** arguments);

} // namespace arvenhold::corvel::hub::ctl
