// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A program run as a child that never outlives its parent. Used for nats-server, and by tests for
// programs of our own.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::dev {

/// A running program.
///
/// The kernel kills the program when this process ends, however that happens. The program runs in a
/// process group of its own, so that Ctrl-C in a terminal reaches only the parent; it starts with
/// no signal blocked, and inherits no open file but its standard input, output and error.
///
/// @par Thread safety
/// All operations may be called from any thread.
class child_process {
public:
    /// Starts the program.
    ///
    /// @param executable      Path of the program; see find_executable().
    /// @param arguments       Its arguments, without the program's name.
    /// @param standard_input  What it can read from its standard input; at most 4 KiB.
    ///
    /// @throws dev_hub_failure  It could not be started. Nothing is left behind.
    child_process(
        std::string const& executable,
        std::vector<std::string> const& arguments,
        std::string_view standard_input = {});

    child_process(child_process const&) = delete;
    child_process(child_process&&) = delete;
    child_process& operator=(child_process const&) = delete;
    child_process& operator=(child_process&&) = delete;

    /// Kills the program if it still runs, and waits for its end.
    ~child_process();

    [[nodiscard]] pid_t get_pid() const;

    [[nodiscard]] bool is_running() const;

    /// Sends a signal; does nothing when the program has ended.
    void send_signal(int signal_number) const;

    /// Suspends the program until it gets SIGCONT. It is frozen when this returns.
    void freeze() const;

    /// Waits for the program's end.
    ///
    /// @return whether it ends before `limit` passes.
    [[nodiscard]] bool wait_until_ended(std::chrono::milliseconds limit) const;

    /// Waits until the program's output contains `text`.
    ///
    /// @return whether it does. False when the program ended without, or `limit` has passed.
    [[nodiscard]] bool wait_until_output_contains(
        std::string_view text, std::chrono::milliseconds limit) const;

    /// Everything that the program has written to its standard output and error so far; the latest
    /// 64 KiB of it.
    [[nodiscard]] std::string get_output() const;

    /// The exit code; nothing while the program runs or when a signal ended it.
    [[nodiscard]] std::optional<int> get_exit_code() const;

private:
    class guardian;
    std::unique_ptr<guardian> m_guardian;
};

/// Finds a program in the folders of PATH and in those of the system administrator, which a user's
/// PATH often lacks. A name with a slash is a path already and is returned as it is.
///
/// @return the path; nothing if there is no such program.
[[nodiscard]] std::optional<std::string> find_executable(std::string const& name);

} // namespace arvenhold::corvel::hub::dev
