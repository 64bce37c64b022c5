// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <limits>

namespace arvenhold::corvel::hub {

/// Lets the calling thread run out of memory: `new` throws std::bad_alloc until this object ends.
/// Has an effect only in a test program with limited_memory.cpp in it. One at a time per thread.
class limited_memory {
public:
    /// @param allocations  How many allocations still succeed.
    /// @param failures     How many fail after them, before there is memory again.
    explicit limited_memory(int allocations, int failures = std::numeric_limits<int>::max());
    limited_memory(limited_memory const&) = delete;
    limited_memory& operator=(limited_memory const&) = delete;
    ~limited_memory();

    /// Returns whether an allocation of the calling thread fails now; otherwise counts it.
    static bool refuses_allocation();

    /// Returns whether an allocation has failed.
    [[nodiscard]] bool has_run_out() const;

private:
    friend class unlimited_memory;

    int m_left;
    int m_failures_left;
    bool m_has_run_out = false;
};

/// Suspends the limit of the calling thread, for what plays the part of another library or of the
/// test.
class unlimited_memory {
public:
    unlimited_memory();
    unlimited_memory(unlimited_memory const&) = delete;
    unlimited_memory& operator=(unlimited_memory const&) = delete;
    ~unlimited_memory();

private:
    limited_memory* const m_suspended;
};

} // namespace arvenhold::corvel::hub
