// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The boiler of `dev up --demo`: a provider with a variable of each type.

#pragma once

#include "plant.hpp"
#include <hub/session/provider_session.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace arvenhold::corvel::hub::ctl {

/// Provides "boiler" while it lives.
class demo_boiler {
public:
    explicit demo_boiler(hub_access access);

    demo_boiler(demo_boiler const&) = delete;
    demo_boiler& operator=(demo_boiler const&) = delete;

    ~demo_boiler();

    /// Waits until the registry has accepted the boiler.
    ///
    /// @return whether it has, before `limit` has passed.
    [[nodiscard]] bool wait_until_ready(std::chrono::milliseconds limit) const;

private:
    void run();
    void declare();
    void publish();

    plant m_plant; // before the session, whose handlers use it
    provider_session m_session;

    std::mutex m_mutex; // guards the end
    std::condition_variable m_changed;
    bool m_ended = false;
    std::thread m_thread;
};

} // namespace arvenhold::corvel::hub::ctl
