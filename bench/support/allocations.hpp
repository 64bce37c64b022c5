// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>

namespace arvenhold::corvel::hub::bench {

/// How many times this thread has allocated memory with `new`, which everything in the library
/// does. A program that links this counts.
std::size_t allocations();

/// How many bytes this process holds of the heap, the allocator's own included.
std::size_t heap_bytes();

} // namespace arvenhold::corvel::hub::bench
