// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The steps by which a client reaches a server, one by one, so that a diagnosis can name the one that
// fails. All of them block.

#pragma once

#include "dev_hub/file_descriptor.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// A step that has failed; the text says how.
struct probe_failure : std::runtime_error {
    using runtime_error::runtime_error;
};

struct url_parts {
    std::string scheme;
    std::string host; ///< Without the brackets of an IPv6 address.
    std::string port;
    std::string path; ///< From the first "/" on; empty for none.

    /// "host:port", with brackets where they are needed.
    [[nodiscard]] std::string get_address() const;
};

/// Splits a URL. A user and a password are left out; a port that is missing is that of the scheme:
/// 4222, or 80 and 443 for http and https.
[[nodiscard]] url_parts split_url(std::string_view url);

/// Looks a host name up.
///
/// @return the numeric addresses, with commas between them.
///
/// @throws probe_failure  The name has no address.
[[nodiscard]] std::string look_up(std::string const& host);

/// Opens a TCP connection.
///
/// @throws probe_failure  Nobody accepts it in time.
[[nodiscard]] dev::file_descriptor open_connection(
    url_parts const& server, std::chrono::milliseconds limit);

/// Reads the object that a NATS server sends first.
///
/// @throws probe_failure  Nothing comes in time, or something else.
[[nodiscard]] nlohmann::json read_server_info(
    dev::file_descriptor const& connection, std::chrono::milliseconds limit);

} // namespace arvenhold::corvel::hub::ctl
