// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// One attempt to connect to a NATS server, with whatever comes of it.

#pragma once

#include "dev_hub/nats_handles.hpp"

#include <string>

namespace arvenhold::corvel::hub::dev {

struct connect_attempt {
    natsStatus status = NATS_OK;
    nats_connection connection; ///< Null unless the status is NATS_OK.
};

[[nodiscard]] connect_attempt try_to_connect(std::string const& url, std::string const& token);

} // namespace arvenhold::corvel::hub::dev
