// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/limited_memory.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
thread_local limited_memory* limit_here = nullptr;

} // namespace

limited_memory::limited_memory(int allocations)
    : m_left{allocations} {
    limit_here = this;
}

limited_memory::~limited_memory() {
    limit_here = nullptr;
}

bool limited_memory::refuses_allocation() {
    auto* const limit = limit_here;
    if (limit == nullptr) {
        return false;
    }
    limit->m_has_run_out = limit->m_left == 0;
    limit->m_left -= limit->m_has_run_out ? 0 : 1;
    return limit->m_has_run_out;
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
