// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/session_access.hpp"

#include <fstream>
#include <utility>

namespace arvenhold::corvel::hub::reliability {

namespace {

client_credentials read_credentials(void* secret_file) {
    std::string secret;
    std::ifstream{*static_cast<std::string const*>(secret_file)} >> secret;
    return {session_client, secret};
}

} // namespace

hub_access make_session_access(
    std::string server_url, std::string token_url, std::string& secret_file) {
    hub_access access{std::move(server_url), std::move(token_url), "", "", {}};
    access.options.set_credentials_callback(&read_credentials, &secret_file)
        .set_verdict_time_limit(std::chrono::seconds{3});
    return access;
}

session_settings make_session_settings(std::chrono::milliseconds ping_interval) {
    session_settings settings;
    settings.set_retry(std::chrono::milliseconds{250}, std::chrono::seconds{3})
        .set_ping(ping_interval, unanswered_pings)
        .set_probe_interval(session_probe_interval);
    return settings;
}

} // namespace arvenhold::corvel::hub::reliability
