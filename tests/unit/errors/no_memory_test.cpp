// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/invalid_provider_definition.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace {

// The number of allocations of this thread that still succeed; all of them if negative.
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): each thread has its own
thread_local int allocations_left = -1;

} // namespace

// Not inlined: GCC would see memory of one function released by the other kind.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (allocations_left == 0) {
        throw std::bad_alloc{};
    }
    if (allocations_left > 0) {
        --allocations_left;
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

namespace arvenhold::corvel::hub {

namespace {

class composing_with_little_memory : public testing::TestWithParam<int> {};

TEST_P(composing_with_little_memory, throws_bad_alloc_and_no_error_with_half_a_text) {
    std::string const name(600, 'n');

    allocations_left = GetParam();
    bool out_of_memory = false;
    try {
        throw invalid_provider_definition{name, 7};
    } catch (std::bad_alloc const&) {
        out_of_memory = true;
    } catch (invalid_provider_definition const&) {
        out_of_memory = false;
    }
    allocations_left = -1;

    EXPECT_TRUE(out_of_memory);
}

// The message takes two allocations, because its buffer grows once.
INSTANTIATE_TEST_SUITE_P(whenever_it_ends, composing_with_little_memory, testing::Values(0, 1));

} // namespace

} // namespace arvenhold::corvel::hub
