// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The program's `new`, which obeys limited_memory.

#include "support/limited_memory.hpp"

#include <cstdlib>
#include <new>

// Not inlined: GCC would see memory of one function released by the other kind.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (arvenhold::corvel::hub::limited_memory::refuses_allocation()) {
        throw std::bad_alloc{};
    }
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what the standard library does here
    if (auto* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc{};
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): the other half
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): the other half
}
