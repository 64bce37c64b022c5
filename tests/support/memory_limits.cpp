// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/limited_memory.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
thread_local limited_memory* limit_here = nullptr;

} // namespace

limited_memory::limited_memory(int allocations, int failures)
    : m_left{allocations}
    , m_failures_left{failures} {
    limit_here = this;
}

limited_memory::~limited_memory() {
    limit_here = nullptr;
}

bool limited_memory::refuses_allocation() {
    auto* const limit = limit_here;
    if (limit == nullptr || limit->m_failures_left == 0) {
        return false;
    }
    if (limit->m_left > 0) {
        --limit->m_left;
        return false;
    }
    --limit->m_failures_left;
    limit->m_has_run_out = true;
    return true;
}

bool limited_memory::has_run_out() const {
    return m_has_run_out;
}

unlimited_memory::unlimited_memory()
    : m_suspended{std::exchange(limit_here, nullptr)} {}

unlimited_memory::~unlimited_memory() {
    limit_here = m_suspended;
}

} // namespace arvenhold::corvel::hub
