// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: the value does not become the variable's type without loss

#include <hub/session/provider_session.hpp>

#include <chrono>
#include <cstdint>
#include <string>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven, std::string const& recipe) {
#ifdef MUST_NOT_COMPILE
    oven.declare<std::int64_t>("count", 2.9);
#endif
    oven.declare<std::int64_t>("count", 5);
    oven.declare<double>("temperature", 20.0);
    oven.declare<bool>("door", false);
    oven.declare<std::string>("recipe", "bread");
    oven.declare<std::string>("next_recipe", recipe);
    oven.declare<std::chrono::nanoseconds>("uptime", std::chrono::seconds{1});
    oven.declare<timestamp>("started", {});
}
