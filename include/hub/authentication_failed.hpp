// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A token could not be obtained from the OAuth2 token endpoint.
///
/// No operation of the library throws it. The library reports it as a diagnostic, and the connect()
/// that needed the token throws connection_failed.
class CORVEL_HUB_API authentication_failed : public std::exception {
public:
    /// The endpoint could not be reached or did not answer in time.
    ///
    /// @param endpoint   URL of the token endpoint.
    /// @param curl_code  The result code of libcurl.
    static authentication_failed transfer_failed(std::string_view endpoint, int curl_code);

    /// The endpoint answered, but not with a token. The message contains the client secret in plain
    /// text, so that a wrong credential can be recognised.
    ///
    /// @param endpoint   URL of the token endpoint.
    /// @param client_id  The client identifier, as given to connect or by the credentials callback.
    /// @param secret     The client secret, likewise.
    /// @param reply      What the endpoint answered.
    static authentication_failed token_refused(
        std::string_view endpoint,
        std::string_view client_id,
        std::string_view secret,
        std::string_view reply);

    /// The application's callback for credentials has failed.
    ///
    /// @param endpoint  URL of the token endpoint.
    /// @param reason    The text of the exception that left the callback.
    static authentication_failed without_credentials(
        std::string_view endpoint, std::string_view reason);

    /// Returns the composed message; valid as long as this object.
    char const* what() const noexcept override;

private:
    std::string m_message;

    explicit authentication_failed(std::string message);
};

} // namespace arvenhold::corvel::hub
