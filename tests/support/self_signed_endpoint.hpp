// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/certificates.hpp"

#include <memory>
#include <string>

namespace arvenhold::corvel::hub {

/// A token endpoint over TLS, by default with a self-signed certificate for another host name.
class self_signed_endpoint {
public:
    /// Creates a certificate with the program openssl, and serves on a free loopback port.
    ///
    /// @param reply  The body of every reply.
    explicit self_signed_endpoint(std::string reply);

    /// Serves with a given certificate.
    self_signed_endpoint(std::string reply, certificate_files const& certificate);

    self_signed_endpoint(self_signed_endpoint const&) = delete;
    self_signed_endpoint(self_signed_endpoint&&) = delete;
    self_signed_endpoint& operator=(self_signed_endpoint const&) = delete;
    self_signed_endpoint& operator=(self_signed_endpoint&&) = delete;

    ~self_signed_endpoint();

    /// Returns "https://127.0.0.1:", the port and "/token".
    [[nodiscard]] std::string get_url() const;

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

} // namespace arvenhold::corvel::hub
