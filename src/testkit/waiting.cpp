// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/testkit/waiting.hpp>

#include "testkit/text.hpp"

#include <thread>

namespace arvenhold::corvel::hub::testkit {

expectation_failed::expectation_failed(
    std::string const& awaited, std::chrono::milliseconds limit, std::string const& seen)
    : std::runtime_error{"awaited for " + text_of(limit) + ": " + awaited + "\n  seen: " + seen} {}

void wait_until(
    std::string const& awaited,
    std::function<bool()> const& condition,
    std::chrono::milliseconds limit) {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            throw expectation_failed{awaited, limit, "the condition stayed false"};
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
}

} // namespace arvenhold::corvel::hub::testkit
