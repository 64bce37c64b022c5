// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/allocations.hpp"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

// NOLINTNEXTLINE(*-avoid-non-const-global-variables): operator new has no object to count in
thread_local std::size_t count = 0;

} // namespace

void* operator new(std::size_t size) {
    ++count;
    auto* const memory = std::malloc(size); // NOLINT(*-no-malloc): this is what is replaced
    if (memory == nullptr) {
        throw std::bad_alloc{};
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory); // NOLINT(*-no-malloc): likewise
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory); // NOLINT(*-no-malloc): likewise
}

namespace arvenhold::corvel::hub::bench {

std::size_t allocations() {
    return count;
}

std::size_t heap_bytes() {
    auto const held = mallinfo2();
    return held.uordblks + held.hblkhd;
}

} // namespace arvenhold::corvel::hub::bench
