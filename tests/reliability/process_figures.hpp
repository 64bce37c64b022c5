// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub::reliability {

/// What this process holds of the system.
struct process_figures {
    std::size_t resident_kib = 0;
    std::size_t open_files = 0;
    std::size_t threads = 0;
};

/// Whether the resident memory shows what the process needs: the sanitizers keep freed memory, and
/// memory of their own for each thread and each access.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool memory_is_meaningful = false;
#else
inline constexpr bool memory_is_meaningful = true;
#endif

/// Reads the figures of this process from the proc file system.
process_figures measure_process();

/// "12,345 KiB, 12 files, 9 threads"
std::string to_text(process_figures const& figures);

} // namespace arvenhold::corvel::hub::reliability
