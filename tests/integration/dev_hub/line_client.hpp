// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A client that sends a NATS server exactly the bytes that a test gives it, and shows what comes
// back.

#pragma once

#include "dev_hub/file_descriptor.hpp"

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::dev {

class line_client {
public:
    /// Connects.
    ///
    /// @param url  "nats://127.0.0.1:" and the port.
    explicit line_client(std::string const& url);

    /// Sends bytes, as far as the server is there to get them.
    void send(std::string_view bytes);

    /// Returns what comes up to and with `end`, or up to the end of the connection or the patience of
    /// tests. Leaves out the greeting, and pings, which the server sends when it likes.
    [[nodiscard]] std::string receive_through(std::string_view end);

    /// Returns what comes before the end of the connection; with "(still open)" behind it if the
    /// patience of tests ends first.
    [[nodiscard]] std::string receive_rest();

private:
    file_descriptor const m_socket;
    std::string m_received;
    bool m_ended = false;

    void receive();
};

} // namespace arvenhold::corvel::hub::dev
