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
    /// The client could not connect to the server.
    ///
    /// @param kind         The kind of the client.
    /// @param name         The client's identifier.
    /// @param operation    What was attempted, for example "connect to".
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
    /// @param operation    What was attempted, for example "publish variables".
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

    /// Like on_subject(), for the one subscription that is reported without its subject.
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

    /// The client is not connected.
    ///
    /// @param kind       The kind of the client.
    /// @param name       The client's identifier.
    /// @param operation  What was attempted.
    static connection_failed not_connected(
        client_kind kind, std::string_view name, std::string_view operation);

    /// An earlier failure has made the connection unusable. The application must disconnect and
    /// connect again.
    ///
    /// @param kind       The kind of the client.
    /// @param name       The client's identifier.
    /// @param operation  What was attempted.
    static connection_failed connection_lost(
        client_kind kind, std::string_view name, std::string_view operation);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

    /// Returns the status number of the NATS client, as it stands in the message. The numbers that
    /// need a reaction of their own:
    ///
    /// | Number | Meaning |
    /// |-------:|---------|
    /// | 0 | no call of the NATS client failed: not connected, connection lost, or no token |
    /// | 1, 2 | while connecting: also a token that took longer than 2 s |
    /// | 3 | input or output on the socket failed, as while a server goes down |
    /// | 5 | the connection is closed |
    /// | 6 | no server can be reached at the URL |
    /// | 8 | TLS is required, and the server has none |
    /// | 10 | disconnected, and the options let requests fail then |
    /// | 11 | the server refuses the token |
    /// | 16 | the URL of the server is not valid |
    /// | 21 | the message is larger than the server's `max_payload` |
    /// | 23 | while reconnecting: the buffer for messages, 8 MiB by default, is full |
    /// | 26 | no reply within the time limit, or nothing sent within the write deadline |
    /// | 29 | TLS failed, or the message names a file that cannot be read |
    /// | 34 | nobody answers requests on this subject |
    int get_nats_status() const noexcept;

    /// Returns the subject of the request, publication or subscription that failed; empty if the
    /// failure has none, as when the server could not be reached. It distinguishes a request without
    /// a reply from a server that hangs, which both have the status 26. Valid as long as this
    /// object.
    std::string_view get_subject() const noexcept;

private:
    std::string m_message;

    explicit connection_failed(std::string message);
};

} // namespace arvenhold::corvel::hub
