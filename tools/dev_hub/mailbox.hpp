// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What reaches the registry, in the order of arrival: messages, reconnects, and tasks from other
// threads. Filled by threads of the NATS client and of the application, emptied by the registry's.

#pragma once

#include "dev_hub/nats_handles.hpp"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

namespace arvenhold::corvel::hub::dev {

/// The connection is back, and everything subscribed again.
struct reconnected {};

using mail = std::variant<nats_message, reconnected, std::function<void()>>;

/// @par Thread safety
/// All operations may be called from any thread.
class mailbox {
public:
    /// @param most  How many items may wait; one more is dropped.
    explicit mailbox(std::size_t most = std::numeric_limits<std::size_t>::max())
        : m_most{most} {}

    void post(mail item);

    /// How many items were dropped so far.
    [[nodiscard]] std::uint64_t get_dropped() const;

    /// Waits for the next item and removes it.
    ///
    /// @return nothing when `deadline` has passed.
    [[nodiscard]] std::optional<mail> wait_for_next(std::chrono::steady_clock::time_point deadline);

private:
    std::size_t const m_most;
    mutable std::mutex m_mutex;
    std::uint64_t m_dropped = 0;
    std::condition_variable m_filled;
    std::deque<mail> m_items;
};

/// What the NATS client is given instead of a mailbox's address. Its callbacks can come after
/// everything else is gone; then they find nothing under this address, which is never used again.
class mailbox_address {
public:
    explicit mailbox_address(std::shared_ptr<mailbox> const& box);

    mailbox_address(mailbox_address const&) = delete;
    mailbox_address(mailbox_address&&) = delete;
    mailbox_address& operator=(mailbox_address const&) = delete;
    mailbox_address& operator=(mailbox_address&&) = delete;

    ~mailbox_address();

    [[nodiscard]] void* get_closure() const;

    /// @return null if the address has gone.
    [[nodiscard]] static std::shared_ptr<mailbox> find(void* closure);

private:
    std::uintptr_t const m_number;
};

} // namespace arvenhold::corvel::hub::dev
