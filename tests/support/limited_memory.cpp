// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The program's `new`, which obeys limited_memory.

#include "support/limited_memory.hpp"

#include <cstdlib>
#include <new>

namespace {

void refuse_without_memory() {
    if (arvenhold::corvel::hub::limited_memory::refuses_allocation()) {
        throw std::bad_alloc{};
    }
}

} // namespace

// Not inlined: GCC would see memory of one function released by the other kind.
[[gnu::noinline]] void* operator new(std::size_t size) {
    refuse_without_memory();
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what the standard library does here
    if (auto* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc{};
}

[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    refuse_without_memory();
    void* memory = nullptr;
    if (::posix_memalign(&memory, static_cast<std::size_t>(alignment), size) != 0) {
        throw std::bad_alloc{};
    }
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): the other half
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): the other half
}

[[gnu::noinline]] void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory); // NOLINT(cppcoreguidelines-no-malloc): the other half
}
