// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Receives what the library reports by itself: shown with --verbose, without secrets, and kept to
// explain why no token could be obtained.

#pragma once

#include "corvelctl/secrets.hpp"
#include <hub/diagnostics.hpp>

#include <mutex>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::ctl {

class output;

/// Why no token could be obtained.
struct token_failure {
    int curl_code = 0;  ///< Result of libcurl; 0 if the endpoint answered.
    std::string answer; ///< What the endpoint said, without secrets.
};

/// One object a process. Must end before the output.
class library_reports {
public:
    explicit library_reports(output& shown);

    library_reports(library_reports const&) = delete;
    library_reports& operator=(library_reports const&) = delete;

    ~library_reports();

    /// Adds secrets that no text must show. To be called before a client connects. Returns false if all
    /// were hidden already.
    bool hide(secret_list const& secrets);

    /// Returns why the latest request for a token has failed; nothing if none has, or if the endpoint
    /// sent an empty reply.
    [[nodiscard]] std::optional<token_failure> get_token_failure() const;

private:
    static void receive(diagnostic const& report, void* user_data);
    void handle(diagnostic const& report);

    output& m_output;
    mutable std::mutex m_mutex; // guards everything below
    secret_list m_secrets;
    std::optional<token_failure> m_token_failure;
};

/// Reads the text of the library that begins with "Failed to receive new NATS authentication token".
///
/// @return nothing if it is another text.
[[nodiscard]] std::optional<token_failure> parse_token_failure(
    std::string_view text, secret_list const& secrets);

} // namespace arvenhold::corvel::hub::ctl
