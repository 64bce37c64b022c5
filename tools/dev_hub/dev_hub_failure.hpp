// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The exception types of the development hub.

#pragma once

#include <stdexcept>
#include <string>

namespace arvenhold::corvel::hub::dev {

/// Something that the hub needs is not available: a program, a port, a connection. The message says
/// what and, where it is known, how to fix it.
class dev_hub_failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A port cannot be opened, for example because another program listens there.
class port_unavailable : public dev_hub_failure {
public:
    using dev_hub_failure::dev_hub_failure;
};

/// The NATS server cannot be reached, or refuses the connection.
class hub_connection_failure : public dev_hub_failure {
public:
    /// @param status  That of the NATS client.
    hub_connection_failure(std::string const& text, int status)
        : dev_hub_failure{text}
        , m_status{status} {}

    [[nodiscard]] int get_nats_status() const {
        return m_status;
    }

private:
    int m_status;
};

} // namespace arvenhold::corvel::hub::dev
