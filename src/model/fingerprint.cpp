// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/fingerprint.hpp>

#include <atomic>
#include <random>

namespace arvenhold::corvel::hub {

definition_fingerprint make_fingerprint(std::uint32_t version) {
    // Random, because a clock may start at the same time after every restart of a controller.
    // Always odd, so never 0.
    static std::atomic<std::uint32_t> next{std::random_device{}() | 1U};
    return definition_fingerprint{version} << 32U | next.fetch_add(2);
}

} // namespace arvenhold::corvel::hub
