// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "token_attempt.hpp"

#include <httplib.h>

namespace arvenhold::corvel::hub::dev {

int request_token(
    std::string const& token_url,
    std::string const& authorization,
    std::chrono::milliseconds limit) {
    httplib::Client client{token_url.substr(0, token_url.rfind('/'))};
    client.set_read_timeout(limit);
    auto const response = client.Post(
        "/token",
        httplib::Headers{{"Authorization", authorization}},
        "grant_type=client_credentials&scope=hub.variables.readonly",
        "application/x-www-form-urlencoded");
    if (response) {
        return response->status;
    }
    return response.error() == httplib::Error::Connection ? 0 : -1;
}

} // namespace arvenhold::corvel::hub::dev
