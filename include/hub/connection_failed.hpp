// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// An operation of the NATS client failed, or the client is not connected.
class CORVEL_HUB_API connection_failed : public std::exception {
public:
    /// The session with the server could not be opened.
    ///
    /// @param kind         The kind of the client.
    /// @param name         The client's identifier.
    /// @param operation    What was attempted, as "connect to".
    /// @param server_url   URL of the NATS server.
    /// @param nats_status  Status number of the NATS client.
    /// @param status_text  The NATS client's text for that number.
    static connection_failed while_connecting(
        client_kind kind,
        std::string_view name,
        std::string_view operation,
        std::string_view server_url,
        int nats_status,
        std::string_view status_text);

    /// A publication, request or subscription failed.
    ///
    /// @param kind         The kind of the client.
    /// @param name         The client's identifier.
    /// @param operation    What was attempted, as "publish variables".
    /// @param nats_status  Status number of the NATS client.
    /// @param status_text  The NATS client's text for that number.
    /// @param subject      The subject of the message or subscription.
    static connection_failed on_subject(
        client_kind kind,
        std::string_view name,
        std::string_view operation,
        int nats_status,
        std::string_view status_text,
        std::string_view subject);

    /// As on_subject(), for the one failure that is reported without its subject.
    ///
    /// @param kind         The kind of the client.
    /// @param name         The client's identifier.
    /// @param operation    What was attempted.
    /// @param nats_status  Status number of the NATS client.
    /// @param status_text  The NATS client's text for that number.
    static connection_failed without_subject(
        client_kind kind,
        std::string_view name,
        std::string_view operation,
        int nats_status,
        std::string_view status_text);

    /// The operation needs a connection and there is none.
    ///
    /// @param kind       The kind of the client.
    /// @param name       The client's identifier.
    /// @param operation  What was attempted.
    static connection_failed not_connected(
        client_kind kind, std::string_view name, std::string_view operation);

    /// An earlier failure has made the connection unusable; only disconnecting and connecting again
    /// helps.
    ///
    /// @param kind       The kind of the client.
    /// @param name       The client's identifier.
    /// @param operation  What was attempted.
    static connection_failed connection_lost(
        client_kind kind, std::string_view name, std::string_view operation);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;

    explicit connection_failed(std::string message);
};

} // namespace arvenhold::corvel::hub
