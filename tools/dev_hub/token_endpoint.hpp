// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The token endpoint of the development hub: OAuth2 client-credentials grant over HTTP on a
// loopback port, with faults that tests switch on.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

class event_log;

struct client_credentials {
    std::string client_id;
    std::string client_secret;

    friend bool operator==(client_credentials const&, client_credentials const&) = default;
};

struct token_endpoint_options {
    /// The port on 127.0.0.1; 0 for a free one.
    std::uint16_t port = 0;

    /// Who is given a token.
    std::vector<client_credentials> accepted_clients = {{"developer", "developer-secret"}};
};

/// A request as it arrived, whatever the answer was.
struct token_request {
    std::multimap<std::string, std::string> headers; ///< Names in lower case.
    std::string body;
    client_credentials client; ///< Decoded from the Basic header; empty if it cannot be decoded.
    std::string grant_type;    ///< Empty if the body has none.
    std::string scope;         ///< Empty if the body has none.
    std::chrono::steady_clock::time_point when; ///< Its arrival.
};

/// What the endpoint sends without looking at the request.
struct fixed_answer {
    int status = 200;
    std::string content_type = "application/json";

    /// The body in pieces. With more than one, each piece travels as an HTTP chunk of its own.
    std::vector<std::string> body;

    /// Announces a longer body than the pieces make up, and closes the connection after them.
    bool cut_off = false;
};

/// Hands out the token of the NATS server to clients that it knows.
///
/// A valid request is answered with status 200 and
/// `{"access_token":"...","token_type":"Bearer","expires_in":3600}`, without white space. Any other
/// gets an OAuth2 error document: 401 `invalid_client`; 400 `invalid_request` (content type, or no
/// grant type), `unsupported_grant_type` (other than `client_credentials`) or `invalid_scope` (not
/// one of `hub.variables.provide`, `hub.variables.readonly`, `hub.variables.readwrite`).
///
/// @par Thread safety
/// All operations may be called from any thread.
class token_endpoint {
public:
    /// Starts to listen.
    ///
    /// @param token  What clients are given.
    /// @param log    Gets the endpoint's events. Must outlive the endpoint.
    ///
    /// @throws dev_hub_failure  The given port is taken, or the system has no thread left. Nothing
    ///                          is left running.
    token_endpoint(token_endpoint_options options, std::string token, event_log& log);

    token_endpoint(token_endpoint const&) = delete;
    token_endpoint(token_endpoint&&) = delete;
    token_endpoint& operator=(token_endpoint const&) = delete;
    token_endpoint& operator=(token_endpoint&&) = delete;

    ~token_endpoint();

    /// "http://127.0.0.1:", the port and "/token".
    [[nodiscard]] std::string get_url() const;

    /// The latest thousand requests, in the order of their arrival. A request is here before it is
    /// answered.
    [[nodiscard]] std::vector<token_request> get_requests() const;

    /// @return whether at least `count` requests have arrived before `limit` passes.
    [[nodiscard]] bool wait_until_requested(
        std::size_t count, std::chrono::milliseconds limit) const;

    /// Every following request is judged by these clients in place of the earlier ones, as when a
    /// secret is rotated.
    void set_accepted_clients(std::vector<client_credentials> clients);

    /// Every following answer is sent after `delay`; zero sends at once.
    void set_delay(std::chrono::milliseconds delay);

    /// Every following request gets this answer.
    void answer_with(fixed_answer answer);

    /// Ends answer_with().
    void answer_normally();

    /// Closes the port: connections are refused. Answers in flight are still sent, without delay.
    void stop_listening();

    /// Opens the same port again. Does nothing when it is open.
    ///
    /// @throws dev_hub_failure  Another program has taken the port meanwhile, or the system has no
    ///                          thread left. The port stays closed.
    void listen_again();

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

} // namespace arvenhold::corvel::hub::dev
