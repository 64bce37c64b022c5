// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the test kit needs of a NATS server, whether it is a process or a thread.

#pragma once

#include <string>

namespace arvenhold::corvel::hub::dev {

/// A NATS server on a loopback port that admits the holders of one token.
///
/// Port and token stay the same for the life of the object, through every stop and start.
///
/// @par Thread safety
/// All operations may be called from any thread.
class message_server {
public:
    message_server() = default;
    message_server(message_server const&) = delete;
    message_server(message_server&&) = delete;
    message_server& operator=(message_server const&) = delete;
    message_server& operator=(message_server&&) = delete;

    /// Stops the server.
    virtual ~message_server() = default;

    /// What clients connect to: "nats://127.0.0.1:" and the port.
    [[nodiscard]] virtual std::string get_url() const = 0;

    [[nodiscard]] virtual std::string get_token() const = 0;

    /// Ends the server at once, as a crash would. Does nothing when it does not run.
    virtual void kill() = 0;

    /// Starts the server again on its port after kill(). Does nothing when it runs.
    ///
    /// @throws dev_hub_failure  The server does not come up, for example because another program
    ///                          has taken its port meanwhile. start() may be called again.
    virtual void start() = 0;

    /// Suspends the server: connections stay open, and nothing is answered. Does nothing when the
    /// server does not run.
    virtual void freeze() = 0;

    /// Lets a frozen server continue.
    virtual void thaw() = 0;
};

} // namespace arvenhold::corvel::hub::dev
