// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/session/consumer_session.hpp>

#include <atomic>

/// Watches an oven: switches its heating off and raises an alarm when it is too hot, and raises an
/// alarm when its temperature is not known.
class oven_guard {
public:
    explicit oven_guard(arvenhold::corvel::hub::hub_access const& access);

    bool is_alarmed() const {
        return m_alarmed;
    }

private:
    std::atomic<bool> m_alarmed{true}; // until the temperature is known
    arvenhold::corvel::hub::consumer_session m_consumer;

    void check(arvenhold::corvel::hub::reading<double> const& temperature);
};
