// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "connect_attempt.hpp"

namespace arvenhold::corvel::hub::dev {

connect_attempt try_to_connect(std::string const& url, std::string const& token) {
    natsOptions* created = nullptr;
    natsOptions_Create(&created);
    nats_options const options{created};
    natsOptions_SetURL(created, url.c_str());
    natsOptions_SetToken(created, token.c_str());
    natsConnection* connection = nullptr;
    auto const status = natsConnection_Connect(&connection, created);
    return {status, nats_connection{connection}};
}

} // namespace arvenhold::corvel::hub::dev
