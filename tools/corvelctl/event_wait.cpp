// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/event_wait.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace arvenhold::corvel::hub::ctl {

void wait_for_events(
    output const& out, std::vector<int> const& descriptors, supervisor::clock::time_point until) {
    using std::chrono::milliseconds;
    constexpr milliseconds longest{60'000};
    std::vector<pollfd> watched;
    watched.reserve(descriptors.size() + 1);
    for (auto const descriptor : descriptors) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    // Without events to wait for, poll() reports that nobody reads standard output any more.
    watched.push_back({out.needs_reader() ? STDOUT_FILENO : -1, 0, 0});
    auto const now = supervisor::clock::now();
    auto const left = std::chrono::ceil<milliseconds>(std::clamp(until, now, now + longest) - now);
    ::poll(watched.data(), watched.size(), static_cast<int>(left.count()));
    if ((watched.back().revents & POLLERR) != 0) {
        throw output_closed{};
    }
}

} // namespace arvenhold::corvel::hub::ctl
