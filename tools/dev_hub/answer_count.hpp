// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How many programs answer as one provider. Nothing on the hub prevents that there are two, and a
// client that requests takes the first reply.

#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <string>

namespace arvenhold::corvel::hub::dev {

/// Sends each provider a request that reads nothing, and counts the replies.
///
/// @param client  Name of the client, whose inbox gets the replies.
/// @param limit   How long replies are waited for.
///
/// @return 0 for a provider that does not answer.
///
/// @throws dev_hub_failure  The server does not admit the client.
[[nodiscard]] std::map<std::string, std::size_t> count_answers(
    std::string const& url,
    std::string const& token,
    std::string const& client,
    std::set<std::string> const& providers,
    std::chrono::milliseconds limit);

} // namespace arvenhold::corvel::hub::dev
