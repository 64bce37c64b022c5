// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// An HTTP endpoint that sends exactly the bytes that a test gives it, valid or not, and keeps the
// requests that it receives.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

/// The connection to a client, while the server's script runs.
class raw_http_connection {
public:
    explicit raw_http_connection(int socket);

    /// Sends `bytes`; does nothing if the client has closed the connection.
    void send(std::string_view bytes) const;

    /// @return whether the client closes the connection before `limit` has passed.
    [[nodiscard]] bool is_left_within(std::chrono::milliseconds limit) const;

private:
    int const m_socket;
};

/// Serves one connection at a time on a free loopback port, each with one request.
///
/// @par Thread safety
/// All operations may be called from any thread.
class raw_http_server {
public:
    /// Called for a POST request once it is complete, and for anything else at once. The server
    /// closes the connection afterwards.
    using script = std::function<void(raw_http_connection&)>;

    /// @param answer  Runs on the server's thread, and must return when the client has closed the
    ///                connection.
    explicit raw_http_server(script answer);

    raw_http_server(raw_http_server const&) = delete;
    raw_http_server(raw_http_server&&) = delete;
    raw_http_server& operator=(raw_http_server const&) = delete;
    raw_http_server& operator=(raw_http_server&&) = delete;

    ~raw_http_server();

    /// Returns "http://127.0.0.1:", the port and "/token".
    [[nodiscard]] std::string get_url() const;

    [[nodiscard]] std::uint16_t get_port() const;

    /// Returns every request so far, head and body.
    [[nodiscard]] std::vector<std::string> get_requests() const;

private:
    script const m_answer;
    int const m_listener;

    mutable std::mutex m_mutex; // guards everything below
    std::vector<std::string> m_requests;
    int m_client = -1; // the connection that is being served
    bool m_ending = false;

    std::thread m_thread;

    void serve();
    void answer(int client);
    bool begin_serving(int client);
    void end_serving();
};

/// Returns a whole HTTP reply.
///
/// @param head  The status line and further header lines, without the last line's end.
std::string http_reply(std::string_view body, std::string_view head = "HTTP/1.1 200 OK");

} // namespace arvenhold::corvel::hub
